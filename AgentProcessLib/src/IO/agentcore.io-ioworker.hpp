#pragma once

#include "agentcore.ops-functions.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-job.hpp"
#include "shared.concurrency-overlappedio.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"
#include "shared.raii-win32handle.hpp"
#include "wireprotocol.comms-messages.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace AgentCore::IO
{

/// What other threads ask of the worker.
struct Command
{
    /// The only value in use: connect to another server.
    static constexpr std::uint32_t Reconnect = 1;

    std::uint32_t value = 0;
    std::wstring serverAddress;
    /// Signalled once the command has been carried out. Manual reset.
    Shared::Concurrency::Event doneEvent;
};

/// The thread that owns the link to the server: the connector child process and the two pipes to it. It writes what is in
/// the outbound queue to the connector, puts what the connector passes up in the inbound queue, copies the connector's log
/// lines to the agent's log, and starts the connector again after any failure, with a growing delay.
///
/// What waits in the outbound queue when a connection is made was meant for the one before, and is dropped. The connector
/// goes before the agent: as long as it sends without a pause, nothing is sent to it and none of its log lines is read.
/// The inbound queue has no limit; whoever takes from it keeps it small. A message has the limit of the pipe.
///
/// The delay after the n-th failure in a row is CalculateRetryDelay(n); anything that goes well starts the count anew. A
/// message that is none is not dropped: it fails again after each delay, until there is a command, a stop, or the end of
/// the connector. A write that is not taken within 5 seconds is lost, and the connection stays.
///
/// It stops when the event that GetConnectorStopEvent() gives is signalled, which the connector sees too: at once in all
/// of its waits but those for the connector's first sign of life (up to 10 seconds), for a write (up to 5), for the rest
/// of a long message (up to 4 for each piece) and for the end of a connector that failed (1). Commands go before it. The
/// connector ends with the worker's job, whatever it does.
///
/// Its thread alone touches pipes, process and operations; others meet it through the queues, the commands and the stop
/// event. Join() before destruction.
class IOWorker : public Shared::Concurrency::Thread, public Ops::ConnectorLink
{
public:
    using OutQueue = Shared::Concurrency::ThreadSafeQueue<WireProtocol::Comms::OutboundMessage>;
    using InQueue = Shared::Concurrency::ThreadSafeQueue<WireProtocol::Comms::InboundMessage>;

    /// The name of the event by which worker and connector are told to stop.
    static constexpr const wchar_t* StopEventName = L"ConnectorStopEvent";

    /// @param debugMode whether the connector runs under a restricted form of the agent's own identity, rather than under
    /// that of network services
    /// @param serverAddress the host that the connector is given
    /// @param outQueue, inQueue not owned; they outlive the thread
    /// Throws the runtime exceptions "e_outQueue is required" and "e_inQueue is required", and Win32Exception when the
    /// stop event cannot be made.
    IOWorker(bool debugMode, std::wstring serverAddress, OutQueue* outQueue, InQueue* inQueue);
    IOWorker(const IOWorker&) = delete;
    IOWorker& operator=(const IOWorker&) = delete;
    ~IOWorker() override = default;

    /// Gives the worker a command and waits, without limit, until it has been carried out: the worker has a connection to
    /// `server` then. A command that fails is tried again, at the growing delay, until it succeeds; so this never returns
    /// once the worker has ended. Any other thread; several are served in the order in which they come. Throws
    /// Win32Exception "WaitForSingleObject failed".
    void ReconnectConnector(const std::wstring& server) override;

    /// Signalled, from any thread, by whoever wants the link to end. Owned here.
    Shared::Concurrency::Event& GetConnectorStopEvent() noexcept;

protected:
    /// Queues a command and waits until it has been carried out, as ReconnectConnector(). One of a value that is not known
    /// is logged as an error and counts as carried out.
    void Post(const Command& command);

    /// Always 0. Throws the runtime exceptions that tell which of its surroundings is missing.
    int Run() override;

private:
    /// What ended a pass of the connected loop: the place of the handle in its wait.
    enum class WakeUp : std::uint32_t
    {
        Command = 0,
        Stop = 1,
        ConnectorEnded = 2,
        Received = 3,
        ToSend = 4,
        LogLine = 5,
        /// Nothing has been waited for yet.
        None = 65535
    };

    void ValidateRunPrerequisites() const;
    /// One step of the thread; what it throws counts as a failed attempt.
    WakeUp RunPass(WakeUp last);
    void HandleCommand();
    void OnPipeFailure(const std::exception& failure);

    void EstablishProcessConnection();
    void RenewJob();
    Shared::Ipc::AsyncMessageBasedNamedPipeServer MakePipe(std::wstring& name) const;
    void StartConnector();
    void CreateConnectorProcessIdentity();
    void AwaitConnector(Shared::Concurrency::OverlappedOp& connect, Shared::Concurrency::OverlappedOp& logConnect);
    void GiveUpOnConnector();

    WakeUp ConnectedMainLoop();
    void Receive();
    void Send();
    void ReceiveLogLine();
    /// Whether the connector has ended within a second; its exit code is then in `exitCode`.
    bool HasConnectorEnded(std::uint32_t& exitCode);

    Shared::Concurrency::ThreadSafeQueue<Command> m_commands;
    OutQueue* e_outQueue;
    InQueue* e_inQueue;
    bool m_debugMode;
    /// Empty until the first connector is started.
    Shared::Raii::Win32Handle m_connectorIdentity;
    std::wstring m_pipeName;
    Shared::Ipc::AsyncMessageBasedNamedPipeServer m_pipe;
    std::wstring m_logPipeName;
    Shared::Ipc::AsyncMessageBasedNamedPipeServer m_logPipe;
    Shared::Concurrency::Event m_stopEvent;
    Shared::Concurrency::Process m_connector;
    Shared::Concurrency::Job m_job;
    Shared::Concurrency::OverlappedIo m_read;
    Shared::Concurrency::OverlappedIo m_logRead;
    std::wstring m_serverAddress;
    /// Whether both pipes are connected.
    bool m_connected = false;
    std::uint32_t m_retryCount = 0;
};

} // namespace AgentCore::IO
