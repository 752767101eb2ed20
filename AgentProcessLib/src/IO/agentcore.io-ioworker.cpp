#include "agentcore.io-ioworker.hpp"

#include "shared.appsettings-functions.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.ipc-util.hpp"
#include "shared.log-functions.hpp"
#include "shared.security-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <array>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <msg_ids.pb.h>

namespace AgentCore::IO
{

using Shared::Concurrency::Event;
using Shared::Concurrency::OverlappedOp;
using Shared::Exception::RuntimeException;
using Shared::Ipc::AsyncMessageBasedNamedPipeServer;
using Shared::Ipc::PipeIoException;
using WireProtocol::Comms::InboundMessage;
using WireProtocol::Comms::OutboundMessage;

namespace
{

constexpr const wchar_t* ConnectorPath = L".\\VELPortalProcess.exe";
constexpr std::uint32_t PipeBufferSize = 5120;

constexpr std::uint32_t ConnectTimeoutMs = 5000;
constexpr std::uint32_t WriteTimeoutMs = 5000;
/// For a connector that has just broken its pipe to come to its end.
constexpr std::uint32_t EndTimeoutMs = 1000;

/// What the account of network services may do with the stop event: read it and wait for it.
constexpr std::uint32_t ReadAndSynchronise = 0x80100000;
/// The same account may use the pipes.
constexpr const wchar_t* PipeDescriptor = L"D:(A;;GRGW;;;NS)";

/// In debug mode the connector is the same user as the agent, whom the default descriptor lets in.
std::wstring EventDescriptor(bool debugMode)
{
    return debugMode ? std::wstring() : fmt::format(L"D:(A;;{:#X};;;NS)", ReadAndSynchronise);
}

/// Levels of the connector's lines, by the tag that is found first.
struct LogTag
{
    std::string_view tag;
    void (*write)(const std::string& line);
};

const std::array<LogTag, 4> LogTags = {
    {{"[info]",
      [](const std::string& line)
      {
          Shared::Log::Info("Connector: {}", line);
      }},
     {"[warning]",
      [](const std::string& line)
      {
          Shared::Log::Warn("Connector: {}", line);
      }},
     {"[error]",
      [](const std::string& line)
      {
          Shared::Log::LogErrorAt(fmt::format("Connector: {}", line));
      }},
     {"[debug]",
      [](const std::string& line)
      {
          Shared::Log::Debug("Connector: {}", line);
      }}}};

void LogConnectorLine(const std::string& line)
{
    for (const LogTag& candidate : LogTags)
    {
        if (line.find(candidate.tag) != std::string::npos)
        {
            candidate.write(line);
            return;
        }
    }
}

void RequireSuccess(const OverlappedOp& connect, const char* text)
{
    if (const std::uint32_t status = connect.GetRawStatus(); status != 0)
    {
        throw PipeIoException::FromStatus(text, status);
    }
}

} // namespace

IOWorker::IOWorker(bool debugMode, std::wstring serverAddress, OutQueue* outQueue, InQueue* inQueue)
    : Thread("connector-io"),
      e_outQueue(outQueue),
      e_inQueue(inQueue),
      m_debugMode(debugMode),
      m_serverAddress(std::move(serverAddress))
{
    if (e_outQueue == nullptr)
    {
        throw RuntimeException("e_outQueue is required");
    }
    if (e_inQueue == nullptr)
    {
        throw RuntimeException("e_inQueue is required");
    }
    m_stopEvent = Event(true, true, StopEventName, EventDescriptor(debugMode));
}

void IOWorker::ReconnectConnector(const std::wstring& server)
{
    Post({Command::Reconnect, server, Event(false, true)});
}

void IOWorker::Post(const Command& command)
{
    m_commands.Push(command);
    (void)command.doneEvent.WaitOnEvent();
}

Event& IOWorker::GetConnectorStopEvent() noexcept
{
    return m_stopEvent;
}

void IOWorker::ValidateRunPrerequisites() const
{
    if (e_outQueue == nullptr)
    {
        throw RuntimeException(
            "No e_outQueue available. You probably didn't initialise this thread with a non-default constructor.");
    }
    if (e_inQueue == nullptr)
    {
        throw RuntimeException(
            "No e_inQueue available. You probably didn't initialise this thread with a non-default constructor.");
    }
    if (!m_stopEvent.HasHandle())
    {
        throw RuntimeException(
            "No stop event found. You probably didn't initialise this thread with a non-default constructor.");
    }
}

int IOWorker::Run()
{
    ValidateRunPrerequisites();
    Shared::Log::Info("IOWorker started");
    m_retryCount = 0;
    WakeUp last = WakeUp::None;
    while (last != WakeUp::Stop)
    {
        try
        {
            last = RunPass(last);
            m_retryCount = 0;
        }
        catch (const PipeIoException& failure)
        {
            OnPipeFailure(failure);
            ++m_retryCount;
        }
        catch (const std::exception& failure)
        {
            Shared::Log::Error("Exception in IOWorker main loop: {}", failure.what());
            ++m_retryCount;
        }
    }
    Shared::Log::Info("IOWorker exiting successfully");
    return 0;
}

IOWorker::WakeUp IOWorker::RunPass(WakeUp last)
{
    if (m_retryCount > 0)
    {
        const std::uint32_t delayMs = Shared::AppSettings::CalculateRetryDelay(m_retryCount);
        Shared::Log::Warn("IOWorker will retry in {}ms", delayMs);
        if (m_stopEvent.WaitOnEvent(delayMs, true))
        {
            return WakeUp::Stop;
        }
    }
    if (!m_connected)
    {
        EstablishProcessConnection();
    }
    if (m_commands.Empty())
    {
        return ConnectedMainLoop();
    }
    HandleCommand();
    return last;
}

void IOWorker::HandleCommand()
{
    // It stays at the head of the queue until it is done, so that it is tried again after a failure.
    Command command = m_commands.At(0);
    if (command.value == Command::Reconnect)
    {
        m_serverAddress = command.serverAddress;
        m_connected = false;
        EstablishProcessConnection();
    }
    else
    {
        Shared::Log::Error("IOWorker unknown command value {}", command.value);
    }
    command.doneEvent.Signal();
    m_commands.RemoveAt(0);
}

void IOWorker::OnPipeFailure(const std::exception& failure)
{
    Shared::Log::Error("A pipe IO error occurred: {}.", failure.what());
    if (std::uint32_t exitCode = 0; HasConnectorEnded(exitCode))
    {
        Shared::Log::Error(
            "Connector unexpectedly exited (an attempt will be made to restablish connection): {}.", exitCode);
    }
    m_connected = false;
}

void IOWorker::EstablishProcessConnection()
{
    m_connected = false;
    RenewJob();
    e_outQueue->Clear();
    m_pipe = MakePipe(m_pipeName);
    m_logPipe = MakePipe(m_logPipeName);
    OverlappedOp connect = m_pipe.Connect();
    OverlappedOp logConnect = m_logPipe.Connect();
    StartConnector();
    AwaitConnector(connect, logConnect);
    Shared::Log::Info("IOWorker successfully connected");
    m_connected = true;
    m_read = m_pipe.Read();
    m_logRead = m_logPipe.Read();
}

void IOWorker::RenewJob()
{
    Shared::Concurrency::Job job;
    job.Create(false);
    job.SetInformation({Shared::Concurrency::JobLimits::KillOnJobClose});
    // Ends the job before, and with it the connector before.
    m_job = std::move(job);
}

AsyncMessageBasedNamedPipeServer IOWorker::MakePipe(std::wstring& name) const
{
    name = Shared::Util::GenerateGuid();
    std::erase_if(name, [](wchar_t character) { return character == L'{' || character == L'}'; });
    return {name, PipeBufferSize, false, m_debugMode ? std::wstring() : PipeDescriptor};
}

void IOWorker::StartConnector()
{
    Shared::Concurrency::ProcessDescription description;
    description.executablePath = ConnectorPath;
    description.commandLine = fmt::format(L"-s {} -p {} -l {}", m_serverAddress, m_pipeName, m_logPipeName);
    description.workingDirectory = Shared::Util::GetCurrentExecutableDirectory();
    // The stop event goes with it.
    description.inheritHandles = true;
    m_connector = Shared::Concurrency::Process(std::move(description));
    if (!m_connectorIdentity.IsValid())
    {
        CreateConnectorProcessIdentity();
    }
    Shared::Log::Info("Attempting to start Connector...");
    m_connector.StartAsUser(m_connectorIdentity);
    m_job.AssignProcessToThisJob(m_connector.GetProcessHandle());
}

void IOWorker::CreateConnectorProcessIdentity()
{
    m_connectorIdentity = m_debugMode
        ? Shared::Security::CreateAdminRestrictedToken()
        : Shared::Security::LogonService(Shared::Security::WellKnownAccount::NetworkService, "LogonUserW() failed: ");
}

void IOWorker::AwaitConnector(OverlappedOp& connect, OverlappedOp& logConnect)
{
    const bool isConnected = connect.WaitForCompletion(ConnectTimeoutMs);
    const bool isLogConnected = logConnect.WaitForCompletion(ConnectTimeoutMs);
    if (!isConnected || !isLogConnected)
    {
        GiveUpOnConnector();
    }
    RequireSuccess(connect, "Connect failed");
    RequireSuccess(logConnect, "LogConnect failed");
}

void IOWorker::GiveUpOnConnector()
{
    if (std::uint32_t exitCode = 0; HasConnectorEnded(exitCode))
    {
        Shared::Log::Error("VELPortalProcess unexpectedly exited: {}", exitCode);
    }
    m_pipe.Close();
    m_logPipe.Close();
    throw RuntimeException(
        "Failed to establish pipe to VELPortalProcess. Please ensure that any security software you have installed is not "
        "interfering with VELPortalProcess.exe.");
}

IOWorker::WakeUp IOWorker::ConnectedMainLoop()
{
    const std::uint32_t index = Shared::Concurrency::WaitFor(
        {m_commands.GetEventHandle(), m_stopEvent.GetHandle(), m_connector.GetProcessHandle(),
         m_read.GetWaitableHandle(), e_outQueue->GetEventHandle(), m_logRead.GetWaitableHandle()},
        false, Shared::Time::Infinite);
    const auto wakeUp = static_cast<WakeUp>(index);
    switch (wakeUp)
    {
    case WakeUp::Command:
        break;
    case WakeUp::Stop:
        Shared::Log::Info("IOWorker received exit signal");
        break;
    case WakeUp::ConnectorEnded:
        m_connected = false;
        throw RuntimeException(fmt::format("Connector unexpectedly exited: {:#X}", m_connector.GetProcessExitCode()));
    case WakeUp::Received:
        Receive();
        break;
    case WakeUp::ToSend:
        Send();
        break;
    case WakeUp::LogLine:
        ReceiveLogLine();
        break;
    case WakeUp::None:
    default:
        Shared::Log::Error("IOWorker unknown wait value {}", index);
        break;
    }
    return wakeUp;
}

void IOWorker::Receive()
{
    Shared::Log::Info("IOWorker: connector socket read data available");
    if (!m_read.GetBuffer().empty())
    {
        VelRouter::V4_Message message =
            WireProtocol::Comms::DecodeRouterMessage(Shared::Ipc::CompleteRead(m_pipe, m_read));
        const bool isAcknowledgement = WireProtocol::Comms::IsAcknowledgement(message);
        // The acknowledgement of a historic poll is what the next one waits for.
        if (isAcknowledgement && message.msg_id() != Messages::MSGIDS_AGENT_HISTORIC_POLL_REQUEST)
        {
            Shared::Log::Debug(
                "An ACK response (msg_id: {}, seq_num: {}) was received and dropped from further processing",
                WireProtocol::Comms::FormatMessageId(message.msg_id()), message.seq_num());
        }
        else
        {
            InboundMessage inbound = WireProtocol::Comms::RouterMessageToInboundMessage(std::move(message));
            Shared::Log::Info(
                "Received inbound message:\n  SeqNum {}\n  MsgId {}\n  Flags {}\n  Payload: {}", inbound.SeqNum,
                WireProtocol::Comms::FormatMessageId(inbound.MsgId), inbound.Flags, inbound.Payload);
            e_inQueue->Push(std::move(inbound));
        }
    }
    m_read = m_pipe.Read();
}

void IOWorker::Send()
{
    OutboundMessage message;
    if (!e_outQueue->TakeFirst([](const OutboundMessage&) { return true; }, message))
    {
        return;
    }
    Shared::Concurrency::OverlappedIo write = m_pipe.Write(std::move(message.Data));
    if (!write.WaitForCompletion(WriteTimeoutMs))
    {
        throw RuntimeException("Write timed out");
    }
    Shared::Log::Info("IOWorker wrote socket data to VELAgentPortalProcess");
}

void IOWorker::ReceiveLogLine()
{
    Shared::Log::Info("IOWorker: connector log message available");
    if (!m_logRead.GetBuffer().empty())
    {
        const std::vector<std::uint8_t> bytes = Shared::Ipc::CompleteRead(m_logPipe, m_logRead);
        LogConnectorLine(std::string(bytes.begin(), bytes.end()));
    }
    m_logRead = m_logPipe.Read();
}

bool IOWorker::HasConnectorEnded(std::uint32_t& exitCode)
{
    const Shared::Raii::RawHandle process = m_connector.GetProcessHandle();
    if (process == nullptr || !Shared::Concurrency::WaitFor(process, EndTimeoutMs))
    {
        return false;
    }
    exitCode = m_connector.GetProcessExitCode();
    return true;
}

} // namespace AgentCore::IO
