#pragma once

#include "shared.concurrency-overlappedblock.hpp"
#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <memory>
#include <new>

namespace Shared::Concurrency
{

/// One asynchronous operation with a completion event of its own. It is started elsewhere (by a pipe), which hands it
/// out; its owner waits on it, alone or by GetWaitableHandle() together with other things.
///
/// Dropping an operation cancels nothing: it runs on, unobserved, and what the system needs for that stays alive. One
/// thread at a time; a copy shares the running operation and may be waited on by another thread.
///
/// A moved-from operation has neither event nor block.
class OverlappedOp
{
public:
    /// An operation on nothing: not pending, status 0, not signalled.
    OverlappedOp();
    /// An operation that is about to be started on `source`, which is not null. Only known of it: it may go away first.
    explicit OverlappedOp(const std::shared_ptr<OverlappedSource>& source);
    OverlappedOp(const OverlappedOp& other);
    OverlappedOp(OverlappedOp&& other) noexcept;

    virtual ~OverlappedOp();
    /// By way of Move() and Copy(); not virtual themselves, as the assignments of every subclass would hide them.
    OverlappedOp& operator=(OverlappedOp&& other) noexcept;
    OverlappedOp& operator=(const OverlappedOp& other);

    /// WaitForCompletion(timeoutMs) whose failure is written to the standard error stream and gives false.
    virtual bool WaitForCompletion(std::uint32_t timeoutMs, std::nothrow_t tag) noexcept;
    /// Waits, alertable, until the event is signalled; a successful operation then runs its completion hook. False at the
    /// time-out.
    /// @param timeoutMs milliseconds of the agent's clock, Shared::Time::Infinite for none.
    /// Throws the runtime exception "IoOverlapped is null", what Event::WaitOnEvent() and the hook throw.
    virtual bool WaitForCompletion(std::uint32_t timeoutMs);
    /// The event's handle, still owned here. Throws the runtime exception "Event is null", Win32Exception "Failed to create
    /// or open event".
    virtual Raii::RawHandle GetWaitableHandle() const;
    /// Never null. Throws the runtime exception "IoOverlapped is null".
    virtual OverlappedBlock* GetOverlapped() const;
    /// How the operation stands: the start result unless that is 997 (pending), else the NT status, which is 259 while it
    /// runs. Throws the runtime exception "IoOverlapped is null".
    virtual std::uint32_t GetStatus() const;
    /// The NT status whatever the start result; 0 without a block.
    virtual std::uint32_t GetRawStatus() const noexcept;
    /// Bytes read or written; 0 without a block.
    virtual std::uint32_t GetBytesTransferred() const noexcept;
    virtual bool IsValid() const noexcept;
    /// Whether the NT status is not pending.
    virtual bool IsComplete() const noexcept;
    /// Whether the NT status is 0.
    virtual bool IsSuccessful() const noexcept;
    /// Whether a read has ended with a buffer full of a longer message. Throws the runtime exception "IoOverlapped is
    /// null".
    virtual bool IsPartial() const;
    /// Signals the completion event or resets it; the operation itself does not notice. Throws the runtime exception
    /// "Event is null", and what OverlappedBlock::Reset() throws.
    virtual void SetSignalled(bool signalled);
    /// What the system said when the operation was started: 0, 997 (pending) or an error code.
    virtual void SetStartResult(std::uint32_t code) noexcept;
    virtual std::uint32_t GetStartResult() const noexcept;
    /// CancelIfSourceSet() whose failure is logged at level error as "CancelIfSourceSet() failed".
    virtual void CancelIfSourceSet(std::nothrow_t tag) noexcept;
    /// Asks the system to cancel the operation; nothing happens to one that was started on nothing. Throws Win32Exception
    /// "CancelIoEx() failed", with code 1168 when the operation is not pending.
    virtual void CancelIfSourceSet();

    /// A share of the block, for who starts the operation; null after a move.
    std::shared_ptr<OverlappedBlock> ShareBlock() const noexcept;

protected:
    /// Behind the move assignment: takes over everything.
    virtual void Move(OverlappedOp&& other) noexcept;
    /// Behind the copy assignment: shares the running operation.
    virtual void Copy(const OverlappedOp& other);
    /// What a successful end calls for.
    virtual void OnCompletion();

private:
    /// The NT status by now. There is a block.
    std::uint32_t LookAtStatus() const noexcept;

    /// Holds the completion event too, which has to outlive this object as well.
    std::shared_ptr<OverlappedBlock> m_block;
    std::uint32_t m_startResult = 0;
    /// Null for an operation on nothing.
    Raii::RawHandle m_sourceHandle = nullptr;
    std::weak_ptr<OverlappedSource> m_source;
};

} // namespace Shared::Concurrency
