#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <string>

namespace Shared::Concurrency
{

/// A latch that threads and, by name or inheritance, processes can wait on: signalled or not. With automatic reset,
/// exactly one waiter takes each signal; with manual reset it stays signalled until Reset().
///
/// Signal(), Reset() and the waits may be called from any thread at once. Everything else is for the owner. An event
/// should outlive its waiters; one that is destroyed under a waiter ends that wait by its time-out, by the signal that
/// came before, or by a Win32Exception, never by a crash.
///
/// Named events: a kernel object on Windows, a FIFO in the runtime directory on Linux. There the name may hold any
/// character; the event exists as long as some process holds it, and starts unsignalled when nobody does.
class Event
{
public:
    /// No event: every operation but assignment, HasHandle() and Close() throws.
    Event() noexcept = default;
    /// A new unnamed event, not signalled. Throws Win32Exception "Failed to create or open event".
    Event(bool inheritable, bool manualReset);
    /// Creates the named event, not signalled, or opens it in the state and kind that it has.
    Event(bool inheritable, bool manualReset, const std::wstring& name);
    /// The same with a security descriptor in SDDL form, revision 1; empty means the default one. Throws Win32Exception
    /// "Failed to convert security descriptor".
    Event(bool inheritable, bool manualReset, const std::wstring& name, const std::wstring& securityDescriptor);
    /// Copies share the kernel object.
    Event(const Event& other);
    Event(Event&& other) noexcept;
    virtual ~Event() = default;

    /// Opens an existing named event for waiting alone; signalling and resetting it are refused by the system. Throws
    /// Win32Exception "Failed to create or open event {}" with the name when nobody holds an event of that name.
    static Event OpenForWaiting(const std::wstring& name);

    virtual Event& operator=(Event&& other) noexcept;
    virtual Event& operator=(const Event& other);
    virtual bool HasHandle() const noexcept;
    /// Signal() whose failure is logged at level error as "Signal() failed".
    virtual void SignalNoThrow() noexcept;
    /// Throws the runtime exception "No Event to signal", Win32Exception "Failed to signal event".
    virtual void Signal();
    /// Clears a manual-reset event. An automatic-reset event is left to its waiters: nothing is done. Throws the runtime
    /// exception "No Event to reset", Win32Exception "ResetEvent() failed".
    virtual void Reset();
    /// True when signalled within `timeoutMs` milliseconds, false at the time-out (and on an I/O completion wake-up when
    /// `alertable`). Throws the runtime exceptions "No Event to wait on", "The wait was abandoned", and Win32Exception
    /// "WaitForSingleObject failed".
    virtual bool WaitOnEvent(std::uint32_t timeoutMs, bool alertable = false) const;
    /// Waits without a time-out.
    virtual bool WaitOnEvent() const;
    /// Clears name and kind and gives the handle up without closing it.
    virtual Raii::RawHandle Detach() noexcept;
    virtual Raii::RawHandle GetHandle() const noexcept;
    /// Clears name and kind and closes the handle.
    virtual void Close() noexcept;
    virtual const std::wstring& GetName() const noexcept;
    virtual bool IsManualReset() const noexcept;

protected:
    virtual void InternalCreate(bool initialState, bool inheritable, const std::wstring& securityDescriptor);

private:
    Raii::Win32Handle m_handle;
    bool m_manualReset = false;
    std::wstring m_name;
};

} // namespace Shared::Concurrency
