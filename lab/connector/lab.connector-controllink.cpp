#include "lab.connector-controllink.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"

#include <optional>
#include <stdexcept>
#include <string>

namespace Lab::Connector
{

namespace
{

using Shared::Concurrency::WaitFor;
using std::chrono::milliseconds;

constexpr milliseconds SendTimeout(5000);
constexpr milliseconds ReceiveTimeout(10'000);

} // namespace

ControlLink::ControlLink(const Net::Endpoint& endpoint, std::uint64_t process, milliseconds timeout)
    : m_stream(Net::Socket::Connect(endpoint, timeout)),
      m_stop(false, true),
      m_receiver("lab-orders"),
      m_sender("lab-lines")
{
    m_stream.Send(Control::Encode(Control::Hello{Control::Role::Control, {}, process}), timeout);
    const std::optional<std::string> frame = m_stream.Receive(timeout);
    if (!frame)
    {
        throw std::runtime_error("the laboratory ended the stream for its orders");
    }
    m_startOrders = Control::DecodeOrders(*frame);
}

ControlLink::~ControlLink()
{
    Stop();
}

const std::vector<Control::Order>& ControlLink::GetStartOrders() const noexcept
{
    return m_startOrders;
}

void ControlLink::Start(Relay::Orders& orders, LogLines& log)
{
    m_receiver.Start([this, &orders, &log] { return RunReceiver(orders, log); });
    m_sender.Start([this, &log] { return RunSender(log); });
}

void ControlLink::Stop() noexcept
{
    m_stop.SignalNoThrow();
    m_sender.JoinNoThrow(Shared::Time::Infinite);
    m_stream.Shutdown();
    m_receiver.JoinNoThrow(Shared::Time::Infinite);
}

int ControlLink::RunReceiver(Relay::Orders& orders, LogLines& log)
{
    while (!m_stop.WaitOnEvent(0))
    {
        try
        {
            const std::optional<std::string> frame = m_stream.Receive(ReceiveTimeout);
            if (!frame)
            {
                break;
            }
            for (const Control::Order& order : Control::DecodeOrders(*frame))
            {
                orders.Push(order);
            }
        }
        catch (const Net::SocketError& problem)
        {
            if (problem.GetFailure() != Net::Failure::TimedOut)
            {
                break;
            }
        }
        catch (const std::runtime_error& problem)
        {
            log.Tell(Level::Error, "The laboratory's order was not understood: {}", problem.what());
        }
    }
    return 0;
}

int ControlLink::RunSender(LogLines& log)
{
    try
    {
        const auto waiting = log.GetHandle(LogLines::Outlet::Laboratory);
        while (WaitFor({m_stop.GetHandle(), waiting}, false, Shared::Time::Infinite) != 0)
        {
            SendWaiting(log, SendTimeout);
        }
        SendWaiting(log, milliseconds(500));
    }
    catch (const std::runtime_error&)
    {
        // The laboratory is gone; the lines have another outlet.
    }
    return 0;
}

void ControlLink::SendWaiting(LogLines& log, milliseconds timeout)
{
    std::string line;
    while (log.Take(LogLines::Outlet::Laboratory, line))
    {
        m_stream.Send(Control::EncodeLine(line), timeout);
    }
}

} // namespace Lab::Connector
