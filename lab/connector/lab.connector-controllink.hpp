#pragma once

#include "lab.connector-log.hpp"
#include "lab.connector-relay.hpp"
#include "lab.control-messages.hpp"
#include "lab.net-framing.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace Lab::Connector
{

/// The stream by which the laboratory gives its orders and sees the connector's lines at once. A connector whose laboratory
/// is gone works on without it.
class ControlLink
{
public:
    /// Connects, and waits for the orders for the start. Throws what the stream throws, and Control::ControlError.
    ControlLink(const Net::Endpoint& endpoint, std::uint64_t process, std::chrono::milliseconds timeout);
    ControlLink(const ControlLink&) = delete;
    ControlLink& operator=(const ControlLink&) = delete;
    /// Stops it.
    ~ControlLink();

    const std::vector<Control::Order>& GetStartOrders() const noexcept;
    /// From now on orders come into `orders`, and lines go out of `log`; both must outlive the link.
    void Start(Relay::Orders& orders, LogLines& log);
    /// Lines that wait are still sent, as long as that goes at once. Safe to repeat.
    void Stop() noexcept;

private:
    int RunReceiver(Relay::Orders& orders, LogLines& log);
    int RunSender(LogLines& log);
    void SendWaiting(LogLines& log, std::chrono::milliseconds timeout);

    Net::FrameStream m_stream;
    std::vector<Control::Order> m_startOrders;
    Shared::Concurrency::Event m_stop;
    Shared::Concurrency::Thread m_receiver;
    Shared::Concurrency::Thread m_sender;
};

} // namespace Lab::Connector
