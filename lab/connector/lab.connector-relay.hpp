#pragma once

#include "lab.connector-channel.hpp"
#include "lab.connector-cloudside.hpp"
#include "lab.connector-log.hpp"
#include "lab.control-messages.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "shared.time-clock.hpp"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace Lab::Connector
{

enum class RelayEnd
{
    Stopped,
    /// The agent's end of the message pipe is gone.
    ChannelBroken
};

/// Carries the messages between the agent's pipe and the cloud, and misbehaves as it is ordered to. One thread.
///
/// From the agent: each pipe message is one envelope; its payload is decompressed, its flag for that is taken away, and it
/// goes to the cloud. What is no envelope, or holds a broken payload, is logged and dropped; where an acknowledgement was
/// expected, one with a failure goes back.
/// From the cloud: each envelope becomes one pipe message, decompressed if it has to be, as the agent decompresses nothing.
/// Acknowledgements of the agent's messages are the cloud's and are passed on like everything else: only that side knows
/// that a message has arrived.
class Relay
{
public:
    using Orders = Shared::Concurrency::ThreadSafeQueue<Control::Order>;

    /// All of them must outlive the relay.
    /// @param stop the event that ends it; null when there is none.
    Relay(MessageChannel& agent, CloudSide& cloud, Orders& orders, LogLines& log, Shared::Raii::RawHandle stop);

    /// Whom to tell when the connector begins to hang (true) and when that is over. Before Run().
    void OnHang(std::function<void(bool)> listener);

    RelayEnd Run();

private:
    struct Trickle
    {
        std::uint64_t left = 0;
        std::chrono::milliseconds pause{0};
        Shared::Time::MonotonicTime due;
    };

    std::optional<RelayEnd> Step();
    void ReceiveFromAgent();
    void ForwardToCloud(const std::string& message);
    void ReceiveFromCloud();
    void StartNextSend();
    void Obey(const Control::Order& order);
    void Hang(std::chrono::milliseconds duration);
    void SendDueTrickle();
    std::uint32_t UntilTrickleMs() const;

    MessageChannel& e_agent;
    CloudSide& e_cloud;
    Orders& e_orders;
    LogLines& e_log;
    Shared::Raii::RawHandle m_stop;
    std::deque<std::string> m_toAgent;
    bool m_isSending = false;
    std::function<void(bool)> m_onHang = [](bool) {
    };
    Trickle m_trickle;
};

} // namespace Lab::Connector
