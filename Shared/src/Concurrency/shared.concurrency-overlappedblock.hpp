#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-overlappedspare.hpp"
#include "shared.raii-nativehandle.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
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
/// While the operation is pending, GetStatus(), GetBytesTransferred() and all about the event are allowed on any thread; the
/// buffer is the system's. Once the status is no longer pending all of it belongs to the operation's owner. The event
/// is never signalled before the status says that the operation has ended; it may be a moment after somebody else has seen
/// the status.
class OverlappedBlock
{
public:
    /// All zero, which is the status of success, and not signalled.
    /// @param spare where the event, and the buffer when it is a long one, come from and go to; may be null.
    explicit OverlappedBlock(std::shared_ptr<OverlappedSpare> spare = nullptr) noexcept;
    OverlappedBlock(const OverlappedBlock&) = delete;
    OverlappedBlock& operator=(const OverlappedBlock&) = delete;
    ~OverlappedBlock();

    /// The event to wait on: unnamed, manual-reset, not inheritable. Made by the system when it is asked for first, as most
    /// writes end without anybody waiting. Throws Win32Exception "Failed to create or open event".
    const Event& GetEvent();
    /// The same event, for the one thread that does all there is to do for the operation while it waits.
    const Event& GetOwnEvent();
    /// Whether GetEvent() was called, so that anybody may wait on the event.
    bool IsEventGiven() noexcept;
    /// Signals the event, also for who asks for it later. Only the first call does anything until it is reset.
    void Signal() noexcept;
    /// As Signal(), by the thread that has GetOwnEvent(): it knows, so the event is signalled only for others.
    void SignalOthers() noexcept;
    /// The kernel was asked to signal the event, now or later, perhaps long after this block: it serves no other one.
    void ExpectSignal() noexcept;
    /// Throws Win32Exception "ResetEvent() failed".
    void Reset();
    /// Whether Signal() or SignalOthers() was called, and no Reset() since.
    bool IsSignalled() noexcept;
    /// Whether the event is signalled, or becomes so within `timeoutMs` milliseconds. Throws what Event::WaitOnEvent()
    /// throws.
    bool Wait(std::uint32_t timeoutMs);
    /// The NT status of the request, which is the first word of the block.
    std::uint32_t GetStatus() const noexcept;
    /// The second word: how many bytes were read or written.
    std::uint32_t GetBytesTransferred() const noexcept;
    std::vector<std::uint8_t>& GetBuffer() noexcept;
    /// The part of the buffer that the operation moves: all of it, or what lies behind bytes that were there before.
    std::span<std::uint8_t> GetTarget() noexcept;
    /// Makes the buffer `begun` and room for `size` bytes behind it, which are the target and zeros, unless something has
    /// begun: then they mean nothing before they were read.
    void PrepareBuffer(std::span<const std::uint8_t> begun, std::size_t size);

    /// Whether the buffer holds a whole message that was put together from several reads.
    bool IsJoined() const noexcept;
    void SetJoined() noexcept;

    /// The block as the system calls of Windows take it, an OVERLAPPED, with the event if that was asked for. Never null.
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

    /// Whether nobody will signal the event any more; if so, it is not signalled afterwards.
    bool IsEventFree() noexcept;
    // These two under m_eventLock.
    void MakeEvent();
    void WriteSignal() noexcept;

    mutable SystemBlock m_system{};
    std::mutex m_eventLock;
    // The five below are under m_eventLock; there may be no event yet.
    Event m_event;
    bool m_isSignalled = false;
    /// Whether the event itself is.
    bool m_isWritten = false;
    bool m_isGiven = false;
    bool m_isExpected = false;
    std::shared_ptr<OverlappedSpare> m_spare;
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

    /// Somebody is about to wait on the block's event: from now on it is signalled at the operation's end, whoever does what
    /// there is to do. Nothing on Windows, where the kernel does.
    virtual void OnEventGiven() noexcept;

    /// Waits until the block's event is signalled, and does for the pending operation meanwhile what there is to do. True
    /// when it is, false at the time-out. Throws what Event::WaitOnEvent() throws.
    virtual bool AwaitEnd(OverlappedBlock& block, std::uint32_t timeoutMs);

    /// For the blocks of its operations. Never null.
    const std::shared_ptr<OverlappedSpare>& GetSpare() const noexcept;

private:
    std::shared_ptr<OverlappedSpare> m_spare = std::make_shared<OverlappedSpare>();
};

} // namespace Shared::Concurrency
