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
    if (!m_event.HasHandle())
    {
        Event made = m_spare == nullptr ? Event() : m_spare->TakeEvent();
        if (!made.HasHandle())
        {
            made = Event(false, true);
        }
        if (m_isSignalled)
        {
            made.Signal();
            m_wasSignalledHere = true;
        }
        m_event = std::move(made);
        m_system.event = m_event.GetHandle();
    }
    return m_event;
}

void OverlappedBlock::Signal() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    if (!std::exchange(m_isSignalled, true) && m_event.HasHandle())
    {
        m_event.SignalNoThrow();
        m_wasSignalledHere = true;
    }
}

void OverlappedBlock::ExpectSignal() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    m_isExpected = true;
}

void OverlappedBlock::NoteSignal() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    m_isSignalled = true;
    m_isNoted = true;
    if (m_event.HasHandle() && !IsEventSignalled())
    {
        m_event.SignalNoThrow();
        m_wasSignalledHere = true;
    }
}

void OverlappedBlock::Reset()
{
    const std::scoped_lock hold(m_eventLock);
    if (m_event.HasHandle())
    {
        m_event.Reset();
        // From now on a signal that is there may be the kernel's or not.
        m_wasSignalledHere = true;
    }
    m_isSignalled = false;
}

bool OverlappedBlock::IsEventFree() noexcept
{
    const std::scoped_lock hold(m_eventLock);
    // Where the kernel was asked, its one signal must be the one that is there.
    if (!m_event.HasHandle() || (m_isExpected && (!m_isNoted || m_wasSignalledHere)))
    {
        return false;
    }
    try
    {
        const bool isFree = !m_isExpected || IsEventSignalled();
        m_event.Reset();
        return isFree;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

bool OverlappedBlock::IsEventSignalled() const noexcept
{
    try
    {
        return m_event.WaitOnEvent(0, false);
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

bool OverlappedSource::AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs)
{
    return block.Wait(timeoutMs);
}

const std::shared_ptr<OverlappedSpare>& OverlappedSource::GetSpare() const noexcept
{
    return m_spare;
}

} // namespace Shared::Concurrency
