#include "shared.concurrency-overlappedblock.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <utility>

namespace Shared::Concurrency
{

namespace
{

/// The words are written by the kernel or by another thread while they are read here.
std::uint32_t ReadWord(std::uintptr_t& word) noexcept
{
    return static_cast<std::uint32_t>(std::atomic_ref(word).load(std::memory_order_acquire));
}

void WriteWord(std::uintptr_t& word, std::uintptr_t value) noexcept
{
    std::atomic_ref(word).store(value, std::memory_order_release);
}

} // namespace

OverlappedBlock::OverlappedBlock(std::shared_ptr<OverlappedSpare> spare) noexcept : m_spare(std::move(spare))
{
}

OverlappedBlock::~OverlappedBlock()
{
    if (m_spare == nullptr)
    {
        return;
    }
    m_spare->Give(std::move(m_buffer));
    if (IsEventFree())
    {
        m_spare->GiveEvent(std::move(m_event));
    }
}

const Event& OverlappedBlock::GetEvent()
{
    const std::scoped_lock hold(m_eventLock);
    MakeEvent();
    m_isGiven = true;
    if (m_isSignalled)
    {
        WriteSignal();
    }
    return m_event;
}

const Event& OverlappedBlock::GetOwnEvent()
{
    const std::scoped_lock hold(m_eventLock);
    MakeEvent();
    return m_event;
}

bool OverlappedBlock::IsEventGiven() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    return m_isGiven;
}

void OverlappedBlock::MakeEvent()
{
    if (m_event.HasHandle())
    {
        return;
    }
    Event made = m_spare == nullptr ? Event() : m_spare->TakeEvent();
    if (!made.HasHandle())
    {
        made = Event(false, true);
    }
    m_event = std::move(made);
    m_system.event = m_event.GetHandle();
}

void OverlappedBlock::WriteSignal() noexcept
{
    if (m_event.HasHandle() && !std::exchange(m_isWritten, true))
    {
        m_event.SignalNoThrow();
    }
}

void OverlappedBlock::Signal() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    m_isSignalled = true;
    WriteSignal();
}

void OverlappedBlock::SignalOthers() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    m_isSignalled = true;
    if (m_isGiven)
    {
        WriteSignal();
    }
}

void OverlappedBlock::ExpectSignal() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    m_isExpected = true;
}

void OverlappedBlock::Reset()
{
    const std::scoped_lock hold(m_eventLock);
    if (m_event.HasHandle())
    {
        m_event.Reset();
    }
    m_isSignalled = false;
    m_isWritten = false;
}

bool OverlappedBlock::IsEventFree() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    if (!m_event.HasHandle() || m_isExpected)
    {
        return false;
    }
    try
    {
        // Whoever was given it may have signalled it.
        if (m_isWritten || m_isGiven)
        {
            m_event.Reset();
        }
        return true;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

bool OverlappedBlock::IsSignalled() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    return m_isSignalled;
}

bool OverlappedBlock::Wait(std::uint32_t timeoutMs)
{
    return IsSignalled() || GetEvent().WaitOnEvent(timeoutMs, true);
}

std::uint32_t OverlappedBlock::GetStatus() const noexcept
{
    return ReadWord(m_system.status);
}

std::uint32_t OverlappedBlock::GetBytesTransferred() const noexcept
{
    return ReadWord(m_system.bytesTransferred);
}

std::vector<std::uint8_t>& OverlappedBlock::GetBuffer() noexcept
{
    return m_buffer;
}

std::span<std::uint8_t> OverlappedBlock::GetTarget() noexcept
{
    return std::span(m_buffer).subspan(m_targetOffset);
}

void OverlappedBlock::PrepareBuffer(std::span<const std::uint8_t> begun, std::size_t size)
{
    m_buffer.clear();
    if (m_spare != nullptr && !begun.empty())
    {
        m_buffer = m_spare->Take(begun.size() + size);
    }
    m_buffer.resize(begun.size() + size);
    std::ranges::copy(begun, m_buffer.begin());
    m_targetOffset = begun.size();
}

bool OverlappedBlock::IsJoined() const noexcept
{
    return m_isJoined;
}

void OverlappedBlock::SetJoined() noexcept
{
    m_isJoined = true;
}

void* OverlappedBlock::GetSystemBlock() noexcept
{
    return &m_system;
}

void OverlappedBlock::Begin() noexcept
{
    WriteWord(m_system.bytesTransferred, 0);
    WriteWord(m_system.status, NtStatus::Pending);
}

void OverlappedBlock::Finish(std::uint32_t status, std::size_t bytesTransferred) noexcept
{
    WriteWord(m_system.bytesTransferred, bytesTransferred);
    WriteWord(m_system.status, status);
}

void OverlappedSource::BringUpToDate(OverlappedBlock& /*block*/) noexcept
{
}

void OverlappedSource::OnEventGiven() noexcept
{
}

bool OverlappedSource::AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs)
{
    return block.Wait(timeoutMs);
}

const std::shared_ptr<OverlappedSpare>& OverlappedSource::GetSpare() const noexcept
{
    return m_spare;
}

} // namespace Shared::Concurrency
