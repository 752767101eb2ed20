#include "shared.concurrency-nativetimer.hpp"

#include "shared.time-clock.hpp"

#include <algorithm>
#include <chrono>

#include "shared.platform-windows.windows.hpp"

namespace Shared::Concurrency::Native
{

namespace
{

using HundredNanos = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

/// Relative times are of the agent's clock and become the kernel's; absolute ones are what the system's clock says.
std::int64_t ToKernelDueTime(std::int64_t dueTime) noexcept
{
    constexpr std::int64_t LongestInNanos = INT64_MAX / 100;
    if (dueTime >= 0 || dueTime < -LongestInNanos)
    {
        return dueTime;
    }
    const auto real = Time::ToRealSpan(HundredNanos(dueTime));
    return std::min<std::int64_t>(std::chrono::duration_cast<HundredNanos>(real).count(), -1);
}

} // namespace

Raii::RawHandle CreateTimerObject(bool inheritable, bool manualReset) noexcept
{
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = inheritable ? TRUE : FALSE;
    return ::CreateWaitableTimerW(&attributes, manualReset ? TRUE : FALSE, nullptr);
}

bool SetTimerObject(Raii::RawHandle handle, std::int64_t dueTime100ns, std::uint32_t periodMs) noexcept
{
    LARGE_INTEGER due = {};
    due.QuadPart = ToKernelDueTime(dueTime100ns);
    constexpr std::uint32_t LongestPeriod = INT32_MAX;
    const auto period = static_cast<LONG>(std::min(Time::ToRealTimeoutMs(periodMs), LongestPeriod));
    // Setting clears what was signalled. The kernel does that itself, but not every stand-in for it does so for
    // automatic reset, where taking the signal is the same.
    (void)::WaitForSingleObject(handle, 0);
    return ::SetWaitableTimer(handle, &due, period, nullptr, nullptr, FALSE) != FALSE;
}

bool CancelTimerObject(Raii::RawHandle handle) noexcept
{
    return ::CancelWaitableTimer(handle) != FALSE;
}

} // namespace Shared::Concurrency::Native
