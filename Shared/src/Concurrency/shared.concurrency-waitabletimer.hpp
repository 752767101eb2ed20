#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <string>

namespace Shared::Concurrency
{

/// A kernel timer that can be waited on, alone or with other handles. With automatic reset (the usual kind) one waiter
/// takes each expiry, and expiries that nobody took in between are one; with manual reset it stays signalled until it is
/// set again. It wakes no suspended system.
///
/// Relative due times and periods are of the agent's clock, absolute ones of the system's. Setting and cancelling is for one thread at a time; waiting for any number.
class WaitableTimer
{
public:
    /// No timer: every operation but assignment and the accessors throws.
    WaitableTimer() noexcept = default;
    /// A new unnamed timer that is not set. Throws Win32Exception "Failed to create waitable timer".
    WaitableTimer(bool inheritable, bool manualReset);
    /// Copies share the kernel object.
    WaitableTimer(const WaitableTimer& other);
    WaitableTimer(WaitableTimer&& other) noexcept;
    virtual ~WaitableTimer() = default;

    virtual WaitableTimer& operator=(WaitableTimer&& other) noexcept;
    virtual WaitableTimer& operator=(const WaitableTimer& other);

    /// Sets the timer; the unit of `dueTime` is 100 ns, whatever the name says. Negative is relative to now, 0 is at
    /// once, positive an absolute time since 1601 (UTC). @param periodMs milliseconds between further expiries, 0 for
    /// none. What was signalled before no longer is. Throws the runtime exception "Timer handle is null", Win32Exception
    /// "Failed to set timer".
    virtual void SetTimerInNanos(std::int64_t dueTime, std::uint32_t periodMs);
    /// The same with the due time in milliseconds; the sign is kept, so a relative time is negative.
    virtual void SetTimerInMillis(std::int64_t dueTimeMs, std::uint32_t periodMs);
    /// True when signalled within `timeoutMs` milliseconds, false at the time-out. Throws the runtime exception "No timer
    /// to wait on", Win32Exception "WaitForSingleObject() failed".
    virtual bool WaitOnTimer(std::uint32_t timeoutMs) const;
    /// Stops the timer; an expiry that nobody took yet stays. The result is the system's. Throws the runtime exception
    /// "No timer to cancel".
    virtual bool CancelTimer();
    virtual bool IsManualReset() const noexcept;
    /// Always empty: the agent's timers have no names.
    virtual const std::wstring& GetName() const noexcept;
    virtual Raii::RawHandle GetHandle() const noexcept;
    /// Clears the kind and gives the handle up without closing it.
    virtual Raii::RawHandle Detach() noexcept;

protected:
    virtual void InternalSetTimer(std::int64_t dueTime100ns, std::uint32_t periodMs);
    virtual void InternalCreateTimer(bool inheritable, bool manualReset);

private:
    Raii::Win32Handle m_handle;
    std::wstring m_name;
    bool m_manualReset = false;
};

} // namespace Shared::Concurrency
