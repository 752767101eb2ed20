#include "lab.connector-relay.hpp"

#include "lab.wire-envelope.hpp"
#include "lab.wire-lz4.hpp"
#include "lab.wire-names.hpp"
#include "shared.concurrency-functions.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace Lab::Connector
{

namespace
{

using std::chrono::milliseconds;

/// Messages of the connector's own that wait for the agent, at most.
constexpr std::size_t MostWaiting = 1000;

/// Each thing that the relay waits for, in the order of its rank.
enum class Wake
{
    Stop,
    FromAgent,
    Order,
    Sent,
    FromCloud
};

void Decompress(Wire::Envelope& envelope)
{
    if ((envelope.flags & Wire::FlagLz4) == 0)
    {
        return;
    }
    // An empty payload is not compressed, though its flag is set.
    if (!envelope.payload.empty())
    {
        envelope.payload = Wire::DecompressFrame(envelope.payload);
    }
    envelope.flags &= ~Wire::FlagLz4;
}

std::string FailedAcknowledgement(const Wire::Envelope& of, std::uint32_t status)
{
    Wire::Envelope answer;
    answer.seqNum = of.seqNum;
    answer.msgId = of.msgId;
    answer.srcComp = of.dstComp;
    answer.dstComp = of.srcComp;
    answer.flags = Wire::FlagAcknowledgement;
    answer.status = status;
    return Wire::Encode(answer);
}

/// No message begins with this byte: it would be field 0, of a wire type that does not exist.
std::string MakeGarbage(std::uint64_t size)
{
    constexpr char NoField = 0x07;
    constexpr std::uint64_t Largest = 16U << 20U;
    return std::string(static_cast<std::size_t>(std::clamp<std::uint64_t>(size, 1, Largest)), NoField);
}

/// A message that the agent takes note of without any consequence.
std::string MakeSmallEnvelope(std::uint64_t number)
{
    Wire::Envelope envelope;
    envelope.msgId = Wire::MsgId::RouterRemoteSubscriptions;
    envelope.seqNum = static_cast<std::uint32_t>(number);
    envelope.payload = "{}";
    return Wire::Encode(envelope);
}

} // namespace

Relay::Relay(MessageChannel& agent, CloudSide& cloud, Orders& orders, LogLines& log, Shared::Raii::RawHandle stop)
    : e_agent(agent), e_cloud(cloud), e_orders(orders), e_log(log), m_stop(stop)
{
}

void Relay::OnHang(std::function<void(bool)> listener)
{
    m_onHang = std::move(listener);
}

RelayEnd Relay::Run()
{
    try
    {
        while (true)
        {
            if (const std::optional<RelayEnd> end = Step())
            {
                return *end;
            }
        }
    }
    catch (const ChannelError& problem)
    {
        e_log.Tell(Level::Info, "The agent's pipe is gone");
        e_log.Tell(Level::Debug, "It ended so: {}", problem.what());
        return RelayEnd::ChannelBroken;
    }
}

std::optional<RelayEnd> Relay::Step()
{
    StartNextSend();
    std::vector<Shared::Raii::RawHandle> handles;
    std::vector<Wake> meanings;
    const auto add = [&](Wake meaning, Shared::Raii::RawHandle handle)
    {
        handles.push_back(handle);
        meanings.push_back(meaning);
    };
    if (m_stop != nullptr)
    {
        add(Wake::Stop, m_stop);
    }
    add(Wake::FromAgent, e_agent.GetReceivedHandle());
    add(Wake::Order, e_orders.GetEventHandle());
    // While the agent is not taking a message, none is taken from the cloud.
    if (m_isSending)
    {
        add(Wake::Sent, e_agent.GetSentHandle());
    }
    else
    {
        add(Wake::FromCloud, e_cloud.GetReceivedHandle());
    }

    const std::uint32_t woken = Shared::Concurrency::WaitFor(handles, false, UntilTrickleMs());
    if (woken >= meanings.size())
    {
        SendDueTrickle();
        return std::nullopt;
    }
    switch (meanings[woken])
    {
    case Wake::Stop:
        return RelayEnd::Stopped;
    case Wake::FromAgent:
        ReceiveFromAgent();
        break;
    case Wake::Order:
        Obey(e_orders.TakeAt(0));
        break;
    case Wake::Sent:
        m_isSending = false;
        e_agent.FinishSend();
        break;
    case Wake::FromCloud:
        ReceiveFromCloud();
        break;
    }
    return std::nullopt;
}

void Relay::ReceiveFromAgent()
{
    const std::optional<std::string> message = e_agent.TakeReceived();
    if (!message)
    {
        return;
    }
    try
    {
        ForwardToCloud(*message);
    }
    catch (const Wire::EnvelopeError& problem)
    {
        e_log.Tell(
            Level::Error, "Dropped {} bytes from the agent that are no envelope: {}", message->size(), problem.what());
    }
}

void Relay::ForwardToCloud(const std::string& message)
{
    Wire::Envelope envelope = Wire::Decode(message);
    e_log.Tell(
        Level::Debug, "From the agent: {} ({}), seq_num {}, flags {}, {} bytes", Wire::NameOf(envelope.msgId),
        envelope.msgId, envelope.seqNum, envelope.flags, message.size());
    std::uint32_t failure = Wire::StatusSuccess;
    try
    {
        Decompress(envelope);
        if (!e_cloud.Send(Wire::Encode(envelope)))
        {
            failure = Wire::StatusUnreachable;
            e_log.Tell(Level::Warning, "Dropped message {} of the agent: too many wait for the link", envelope.seqNum);
        }
    }
    catch (const Wire::CompressionError& problem)
    {
        failure = Wire::StatusPayloadNotDecoded;
        e_log.Tell(Level::Error, "Dropped message {} of the agent: {}", envelope.seqNum, problem.what());
    }
    const bool isAwaited = (envelope.flags & Wire::FlagAcknowledgementExpected) != 0;
    if (failure != Wire::StatusSuccess && isAwaited && m_toAgent.size() < MostWaiting)
    {
        m_toAgent.push_back(FailedAcknowledgement(envelope, failure));
    }
}

void Relay::ReceiveFromCloud()
{
    std::string bytes;
    if (!e_cloud.TakeReceived(bytes))
    {
        return;
    }
    try
    {
        Wire::Envelope envelope = Wire::Decode(bytes);
        Decompress(envelope);
        e_log.Tell(
            Level::Debug, "From the cloud: {} ({}), seq_num {}, flags {}, {} bytes", Wire::NameOf(envelope.msgId),
            envelope.msgId, envelope.seqNum, envelope.flags, envelope.payload.size());
        m_toAgent.push_back(Wire::Encode(envelope));
    }
    catch (const std::runtime_error& problem)
    {
        e_log.Tell(Level::Error, "Dropped {} bytes from the cloud: {}", bytes.size(), problem.what());
    }
}

void Relay::StartNextSend()
{
    if (!m_isSending && !m_toAgent.empty())
    {
        m_isSending = true;
        e_agent.StartSend(m_toAgent.front());
        m_toAgent.pop_front();
    }
}

void Relay::Obey(const Control::Order& order)
{
    e_log.Tell(Level::Warning, "Ordered to misbehave: {}", Control::NameOf(order.kind));
    switch (order.kind)
    {
    case Control::OrderKind::Hang:
        Hang(order.duration);
        break;
    case Control::OrderKind::Garble:
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(order.count, MostWaiting); ++i)
        {
            m_toAgent.push_back(MakeGarbage(order.size));
        }
        break;
    case Control::OrderKind::Trickle:
        m_trickle = {order.count, order.pause, Shared::Time::MonotonicNow()};
        break;
    case Control::OrderKind::Fragment:
        e_cloud.Fragment({static_cast<std::size_t>(order.size), order.pause}, order.duration);
        break;
    case Control::OrderKind::ExitAtStart:
    case Control::OrderKind::NeverConnect:
        // For the start, which is over.
        break;
    }
}

/// As a program does that is stuck: nothing is looked at meanwhile, not even the stop event.
void Relay::Hang(milliseconds duration)
{
    constexpr std::chrono::hours ALongTime(1);
    m_onHang(true);
    do
    {
        Shared::Time::SleepFor(duration.count() > 0 ? duration : milliseconds(ALongTime));
    } while (duration.count() == 0);
    m_onHang(false);
    e_log.Tell(Level::Info, "Does not hang any more");
}

void Relay::SendDueTrickle()
{
    if (m_trickle.left > 0 && Shared::Time::MonotonicNow() >= m_trickle.due)
    {
        m_toAgent.push_back(MakeSmallEnvelope(m_trickle.left));
        --m_trickle.left;
        m_trickle.due += m_trickle.pause;
    }
}

std::uint32_t Relay::UntilTrickleMs() const
{
    // One after the other: the next one waits until the last one has gone.
    if (m_trickle.left == 0 || !m_toAgent.empty())
    {
        return Shared::Time::Infinite;
    }
    const auto left = std::chrono::ceil<milliseconds>(m_trickle.due - Shared::Time::MonotonicNow());
    return static_cast<std::uint32_t>(std::max<long long>(left.count(), 0));
}

} // namespace Lab::Connector
