#include "shared.concurrency-event.hpp"

#include "shared.concurrency-nativeevent.hpp"
#include "shared.concurrency-nativewait.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <utility>

#include <fmt/format.h>

namespace Shared::Concurrency
{

Event::Event(bool inheritable, bool manualReset) : Event(inheritable, manualReset, {}, {})
{
}

Event::Event(bool inheritable, bool manualReset, const std::wstring& name) : Event(inheritable, manualReset, name, {})
{
}

Event::Event(bool inheritable, bool manualReset, const std::wstring& name, const std::wstring& securityDescriptor)
    : m_manualReset(manualReset), m_name(name)
{
    Event::InternalCreate(false, inheritable, securityDescriptor);
}

Event::Event(const Event& other) = default;

Event::Event(Event&& other) noexcept
    : m_handle(std::move(other.m_handle)),
      m_manualReset(std::exchange(other.m_manualReset, false)),
      m_name(std::exchange(other.m_name, {}))
{
}

Event Event::OpenForWaiting(const std::wstring& name)
{
    Event event;
    event.m_handle.Attach(Native::OpenEventObject(name));
    if (!event.HasHandle())
    {
        const std::uint32_t code = Platform::LastError();
        throw Exception::Win32Exception(
            fmt::format("Failed to create or open event {}", Util::ConvertStringType(name)), code);
    }
    event.m_name = name;
    event.m_manualReset = true;
    return event;
}

Event& Event::operator=(Event&& other) noexcept
{
    if (this != &other)
    {
        m_handle = std::move(other.m_handle);
        m_manualReset = std::exchange(other.m_manualReset, false);
        m_name = std::exchange(other.m_name, {});
    }
    return *this;
}

Event& Event::operator=(const Event& other) = default;

bool Event::HasHandle() const noexcept
{
    return m_handle.IsValid();
}

void Event::SignalNoThrow() noexcept
{
    try
    {
        Signal();
    }
    catch (const std::exception& exception)
    {
        Log::LogException("Signal() failed", exception);
    }
}

void Event::Signal()
{
    if (!HasHandle())
    {
        throw Exception::RuntimeException("No Event to signal");
    }
    if (!Native::SetEventObject(GetHandle()))
    {
        throw Exception::Win32Exception("Failed to signal event", Platform::LastError());
    }
}

void Event::Reset()
{
    if (!HasHandle())
    {
        throw Exception::RuntimeException("No Event to reset");
    }
    if (m_manualReset && !Native::ResetEventObject(GetHandle()))
    {
        throw Exception::Win32Exception("ResetEvent() failed", Platform::LastError());
    }
}

bool Event::WaitOnEvent(std::uint32_t timeoutMs, bool alertable) const
{
    if (!HasHandle())
    {
        throw Exception::RuntimeException("No Event to wait on");
    }
    const Raii::RawHandle handle = GetHandle();
    const Native::WaitResult result = Native::Wait({&handle, 1}, false, timeoutMs, alertable);
    switch (result.status)
    {
    case Native::WaitStatus::Abandoned:
        throw Exception::RuntimeException("The wait was abandoned");
    case Native::WaitStatus::Failed:
        throw Exception::Win32Exception("WaitForSingleObject failed", result.error);
    case Native::WaitStatus::Signalled:
    case Native::WaitStatus::Timeout:
    case Native::WaitStatus::IoCompletion:
        break;
    }
    return result.status == Native::WaitStatus::Signalled;
}

bool Event::WaitOnEvent() const
{
    return WaitOnEvent(Time::Infinite, false);
}

Raii::RawHandle Event::Detach() noexcept
{
    m_name.clear();
    m_manualReset = false;
    return m_handle.Release();
}

Raii::RawHandle Event::GetHandle() const noexcept
{
    return m_handle.GetRawHandle();
}

void Event::Close() noexcept
{
    m_name.clear();
    m_manualReset = false;
    m_handle.Close();
}

const std::wstring& Event::GetName() const noexcept
{
    return m_name;
}

bool Event::IsManualReset() const noexcept
{
    return m_manualReset;
}

void Event::InternalCreate(bool initialState, bool inheritable, const std::wstring& securityDescriptor)
{
    m_handle.Attach(Native::CreateEventObject({inheritable, m_manualReset, initialState, m_name, securityDescriptor}));
}

} // namespace Shared::Concurrency
