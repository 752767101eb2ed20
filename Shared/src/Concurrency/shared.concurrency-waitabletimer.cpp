#include "shared.concurrency-waitabletimer.hpp"

#include "shared.concurrency-nativetimer.hpp"
#include "shared.concurrency-nativewait.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace Shared::Concurrency
{

WaitableTimer::WaitableTimer(bool inheritable, bool manualReset)
{
    WaitableTimer::InternalCreateTimer(inheritable, manualReset);
}

WaitableTimer::WaitableTimer(const WaitableTimer& other) = default;

WaitableTimer::WaitableTimer(WaitableTimer&& other) noexcept
    : m_handle(std::move(other.m_handle)),
      m_name(std::exchange(other.m_name, {})),
      m_manualReset(std::exchange(other.m_manualReset, false))
{
}

WaitableTimer& WaitableTimer::operator=(WaitableTimer&& other) noexcept
{
    if (this != &other)
    {
        m_handle = std::move(other.m_handle);
        m_name = std::exchange(other.m_name, {});
        m_manualReset = std::exchange(other.m_manualReset, false);
    }
    return *this;
}

WaitableTimer& WaitableTimer::operator=(const WaitableTimer& other) = default;

void WaitableTimer::SetTimerInNanos(std::int64_t dueTime, std::uint32_t periodMs)
{
    InternalSetTimer(dueTime, periodMs);
}

void WaitableTimer::SetTimerInMillis(std::int64_t dueTimeMs, std::uint32_t periodMs)
{
    constexpr std::int64_t UnitsPerMs = 10'000;
    constexpr std::int64_t Longest = std::numeric_limits<std::int64_t>::max() / UnitsPerMs;
    InternalSetTimer(std::clamp(dueTimeMs, -Longest, Longest) * UnitsPerMs, periodMs);
}

bool WaitableTimer::WaitOnTimer(std::uint32_t timeoutMs) const
{
    const Raii::RawHandle handle = GetHandle();
    if (handle == nullptr)
    {
        throw Exception::RuntimeException("No timer to wait on");
    }
    const Native::WaitResult result = Native::Wait({&handle, 1}, false, timeoutMs, false);
    if (result.status == Native::WaitStatus::Failed)
    {
        throw Exception::Win32Exception("WaitForSingleObject() failed", result.error);
    }
    return result.status == Native::WaitStatus::Signalled;
}

bool WaitableTimer::CancelTimer()
{
    if (!m_handle.IsValid())
    {
        throw Exception::RuntimeException("No timer to cancel");
    }
    return Native::CancelTimerObject(GetHandle());
}

bool WaitableTimer::IsManualReset() const noexcept
{
    return m_manualReset;
}

const std::wstring& WaitableTimer::GetName() const noexcept
{
    return m_name;
}

Raii::RawHandle WaitableTimer::GetHandle() const noexcept
{
    return m_handle.GetRawHandle();
}

Raii::RawHandle WaitableTimer::Detach() noexcept
{
    m_name.clear();
    m_manualReset = false;
    return m_handle.Release();
}

void WaitableTimer::InternalSetTimer(std::int64_t dueTime100ns, std::uint32_t periodMs)
{
    if (!m_handle.IsValid())
    {
        throw Exception::RuntimeException("Timer handle is null");
    }
    if (!Native::SetTimerObject(GetHandle(), dueTime100ns, periodMs))
    {
        throw Exception::Win32Exception("Failed to set timer", Platform::LastError());
    }
}

void WaitableTimer::InternalCreateTimer(bool inheritable, bool manualReset)
{
    m_handle.Attach(Native::CreateTimerObject(inheritable, manualReset));
    if (!m_handle.IsValid())
    {
        throw Exception::Win32Exception("Failed to create waitable timer", Platform::LastError());
    }
    m_manualReset = manualReset;
}

} // namespace Shared::Concurrency
