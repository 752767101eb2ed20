#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.raii-nativehandle.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Shared::Concurrency
{

/// Statuses of operations on which the agent's logic decides. They have these values on both platforms.
namespace NtStatus
{
inline constexpr std::uint32_t Success = 0x00000000;
inline constexpr std::uint32_t Pending = 0x00000103;
inline constexpr std::uint32_t BufferOverflow = 0x80000005;
inline constexpr std::uint32_t InsufficientResources = 0xC000009A;
inline constexpr std::uint32_t PipeDisconnected = 0xC00000B0;
inline constexpr std::uint32_t Cancelled = 0xC0000120;
inline constexpr std::uint32_t PipeBroken = 0xC000014B;
} // namespace NtStatus

/// Everything of one asynchronous operation that the system touches while the operation runs: the block of its status,
/// the event that it signals at the end, and the bytes that it reads or writes. Held by shared pointers, one of them by
/// the pipe until the operation has ended, so that whoever started it may drop it at any time.
///
/// While the operation is pending, GetStatus(), GetBytesTransferred() and waits on the event are allowed on any thread;
/// the buffer is the system's. Once the status is no longer pending all of it belongs to the operation's owner. The event
/// may be signalled a moment before the status says so: who sees it asks OverlappedSource::BringUpToDate().
class OverlappedBlock
{
public:
    /// All zero, which is the status of success; the event is unnamed, manual-reset, not inheritable and not signalled.
    /// Throws Win32Exception "Failed to create or open event".
    OverlappedBlock();
    OverlappedBlock(const OverlappedBlock&) = delete;
    OverlappedBlock& operator=(const OverlappedBlock&) = delete;
    ~OverlappedBlock() = default;

    Event& GetEvent() noexcept;
    /// The NT status of the request, which is the first word of the block.
    std::uint32_t GetStatus() const noexcept;
    /// The second word: how many bytes were read or written.
    std::uint32_t GetBytesTransferred() const noexcept;
    std::vector<std::uint8_t>& GetBuffer() noexcept;
    /// The part of the buffer that the operation moves: all of it, or what lies behind bytes that were there before.
    std::span<std::uint8_t> GetTarget() noexcept;
    void SetTargetOffset(std::size_t offset) noexcept;

    /// Whether the buffer holds a whole message that was put together from several reads.
    bool IsJoined() const noexcept;
    void SetJoined() noexcept;

    /// The block as the system calls of Windows take it, an OVERLAPPED. Never null.
    void* GetSystemBlock() noexcept;

    /// For a body that does itself what the kernel does elsewhere: the operation is under way.
    void Begin() noexcept;
    /// As above: the operation has ended, and everything that the calling thread wrote before is seen by whoever sees
    /// this status. The event is signalled separately, when no lock is held.
    void Finish(std::uint32_t status, std::size_t bytesTransferred) noexcept;

private:
    /// Laid out as the OVERLAPPED of Windows, which the Windows body asserts.
    struct SystemBlock
    {
        std::uintptr_t status;
        std::uintptr_t bytesTransferred;
        std::uint64_t offset;
        Raii::RawHandle event;
    };

    mutable SystemBlock m_system{};
    Event m_event;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_targetOffset = 0;
    bool m_isJoined = false;
};

/// What operations run on, as they see it: one end of a pipe.
class OverlappedSource
{
public:
    OverlappedSource() = default;
    OverlappedSource(const OverlappedSource&) = delete;
    OverlappedSource& operator=(const OverlappedSource&) = delete;
    virtual ~OverlappedSource() = default;

    /// Not null.
    virtual Raii::RawHandle GetSourceHandle() const noexcept = 0;

    /// Asks the system to cancel one operation. 0, or the error code: Platform::ErrorCode::NotFound when it is not
    /// pending on this source. An operation that is cancelled ends with NtStatus::Cancelled, soon but perhaps not at once.
    virtual std::uint32_t Cancel(OverlappedBlock& block) noexcept = 0;

    /// Called before a pending block is looked at: ends the operation if it can be ended by now. Nothing on Windows,
    /// where the kernel ends it.
    virtual void BringUpToDate(OverlappedBlock& block) noexcept;

    /// Waits until the block's event is signalled, and does for the pending operation meanwhile what there is to do. True
    /// when it is, false at the time-out. Throws what Event::WaitOnEvent() throws.
    virtual bool AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs);
};

} // namespace Shared::Concurrency
