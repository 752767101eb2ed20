#pragma once

#include "lab.connector-cloudside.hpp"
#include "lab.connector-log.hpp"
#include "lab.net-framing.hpp"
#include "lab.net-timedswitch.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.concurrency-threadsafequeue.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Lab::Connector
{

/// The TCP stream to the cloud, made again whenever it is down. Two threads: one makes the stream and receives, the other
/// one sends; what is to be sent waits for the stream and for the cloud's greeting on it. A frame whose sending failed is
/// sent again on the next stream.
class CloudLink final : public CloudSide
{
public:
    /// Frames that wait in one direction, at most. When nobody takes what was received, the stream is not read any more,
    /// and the cloud is slowed down.
    static constexpr std::size_t MostWaiting = 1000;

    struct Settings
    {
        std::string server;
        std::uint64_t process = 0;
        std::chrono::milliseconds reconnectDelay{1000};
        /// Where the server is; nothing when nobody knows. Asked before each attempt, on a thread of the link's own.
        std::function<std::optional<Net::Endpoint>()> findServer;
    };

    /// `log` must outlive the link.
    CloudLink(Settings settings, LogLines& log);
    CloudLink(const CloudLink&) = delete;
    CloudLink& operator=(const CloudLink&) = delete;
    /// Stops it.
    ~CloudLink() override;

    /// Begins to connect. Once.
    void Start();
    /// Ends both threads and waits for them; what was not sent is lost. Safe to repeat.
    void Stop() noexcept;

    bool Send(std::string envelope) override;
    Shared::Raii::RawHandle GetReceivedHandle() const override;
    bool TakeReceived(std::string& envelope) override;
    void Fragment(const Net::Fragments& fragments, std::chrono::milliseconds duration) override;

private:
    using StreamPointer = std::shared_ptr<Net::FrameStream>;

    int RunReceiver();
    int RunSender();
    void ConnectAndReceive();
    void Receive(Net::FrameStream& stream, const std::string& place);
    void TellDown(std::string_view reason);
    bool AwaitRoom();
    void SendOne(const std::string& envelope);
    void SetStream(StreamPointer stream);
    StreamPointer GetStream();
    StreamPointer GetGreetedStream();
    bool IsStopping() const;

    Settings m_settings;
    LogLines& e_log;
    Shared::Concurrency::ThreadSafeQueue<std::string> m_toCloud;
    Shared::Concurrency::ThreadSafeQueue<std::string> m_received;
    Shared::Concurrency::Event m_stop;
    /// Signalled while there is a stream on which the cloud has said something: one that it accepts only to cut it takes
    /// no frame along.
    Shared::Concurrency::Event m_greeted;
    Shared::Concurrency::SystemCriticalSection m_lock;
    StreamPointer m_stream VEL_GUARDED_BY(m_lock);
    Net::FragmentPlan m_fragments;
    /// The receiver's.
    bool m_isDownTold = false;
    Shared::Concurrency::Thread m_receiver;
    Shared::Concurrency::Thread m_sender;
};

} // namespace Lab::Connector
