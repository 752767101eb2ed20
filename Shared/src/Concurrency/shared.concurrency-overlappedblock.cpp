#include "shared.concurrency-overlappedblock.hpp"

#include <atomic>

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

OverlappedBlock::OverlappedBlock() : m_event(false, true)
{
    m_system.event = m_event.GetHandle();
}

Event& OverlappedBlock::GetEvent() noexcept
{
    return m_event;
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

void OverlappedBlock::SetTargetOffset(std::size_t offset) noexcept
{
    m_targetOffset = offset;
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
    return block.GetEvent().WaitOnEvent(timeoutMs, true);
}

} // namespace Shared::Concurrency
