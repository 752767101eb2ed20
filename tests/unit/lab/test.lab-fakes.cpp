#include "test.lab-fakes.hpp"

#include "shared.concurrency-functions.hpp"

#include <utility>

namespace TestLab
{

namespace
{

using Queue = Shared::Concurrency::ThreadSafeQueue<std::string>;

bool TakeFront(Queue& queue, std::string& item)
{
    return queue.TakeFirst([](const std::string&) { return true; }, item);
}

std::optional<std::string> Await(Queue& queue, std::uint32_t timeoutMs)
{
    std::string item;
    if (!Shared::Concurrency::WaitFor(queue.GetEventHandle(), timeoutMs) || !TakeFront(queue, item))
    {
        return std::nullopt;
    }
    return item;
}

} // namespace

FakeChannel::FakeChannel() : m_mayTake(false, true)
{
    m_mayTake.Signal();
}

void FakeChannel::Arrive(const std::string& message)
{
    m_arrived.Push(message);
}

void FakeChannel::Break()
{
    m_isBroken = true;
    m_arrived.Push("");
}

void FakeChannel::Block(bool blocks)
{
    if (blocks)
    {
        m_mayTake.Reset();
    }
    else
    {
        m_mayTake.Signal();
    }
}

std::optional<std::string> FakeChannel::TakeSent(std::uint32_t timeoutMs)
{
    return Await(m_sent, timeoutMs);
}

Shared::Raii::RawHandle FakeChannel::GetReceivedHandle() const
{
    return m_arrived.GetEventHandle();
}

std::optional<std::string> FakeChannel::TakeReceived()
{
    if (m_isBroken)
    {
        throw Lab::ChannelError("the agent's end is gone");
    }
    std::string message;
    return TakeFront(m_arrived, message) ? std::optional(message) : std::nullopt;
}

void FakeChannel::StartSend(const std::string& message)
{
    m_sending = message;
}

Shared::Raii::RawHandle FakeChannel::GetSentHandle() const
{
    return m_mayTake.GetHandle();
}

void FakeChannel::FinishSend()
{
    m_sent.Push(std::move(m_sending));
}

bool FakeCloudSide::Send(std::string envelope)
{
    if (m_isFull)
    {
        return false;
    }
    m_sent.Push(std::move(envelope));
    return true;
}

Shared::Raii::RawHandle FakeCloudSide::GetReceivedHandle() const
{
    return m_arrived.GetEventHandle();
}

bool FakeCloudSide::TakeReceived(std::string& envelope)
{
    return TakeFront(m_arrived, envelope);
}

void FakeCloudSide::Fragment(const Lab::Net::Fragments& fragments, std::chrono::milliseconds)
{
    m_fragmentBytes = fragments.bytes;
}

void FakeCloudSide::Arrive(const std::string& envelope)
{
    m_arrived.Push(envelope);
}

std::optional<std::string> FakeCloudSide::TakeSent(std::uint32_t timeoutMs)
{
    return Await(m_sent, timeoutMs);
}

void FakeCloudSide::SetFull()
{
    m_isFull = true;
}

std::size_t FakeCloudSide::GetFragmentBytes() const
{
    return m_fragmentBytes;
}

} // namespace TestLab
