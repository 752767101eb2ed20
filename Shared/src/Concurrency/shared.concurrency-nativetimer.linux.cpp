#include "shared.concurrency-nativetimer.hpp"

#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

#include <fcntl.h>
#include <poll.h>
#include <sys/timerfd.h>

namespace Shared::Concurrency::Native
{

namespace
{

using std::chrono::nanoseconds;
namespace Raw = Raii::Native;

/// 100-ns units from 1601, where absolute times begin, to 1970.
constexpr std::int64_t UnixEpoch100ns = 116'444'736'000'000'000;
constexpr std::int64_t NanosPer100ns = 100;
constexpr std::int64_t Longest100ns = std::numeric_limits<std::int64_t>::max() / NanosPer100ns;

timespec ToTimespec(nanoseconds span) noexcept
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

/// An all-zero time disarms a timerfd, so "at once" is the smallest time there is.
nanoseconds AtLeastOne(nanoseconds span) noexcept
{
    return std::max(span, nanoseconds(1));
}

bool Arm(Raii::RawHandle handle, int flags, nanoseconds due, nanoseconds period) noexcept
{
    const itimerspec times = {ToTimespec(period), ToTimespec(AtLeastOne(due))};
    return ::timerfd_settime(Raw::DescriptorOf(handle), flags, &times, nullptr) == 0;
}

bool IsExpired(Raii::RawHandle handle, int patienceMs) noexcept
{
    pollfd entry = {Raw::DescriptorOf(handle), POLLIN, 0};
    return ::poll(&entry, 1, patienceMs) == 1;
}

/// Whoever looks right after the call finds the timer signalled, although the kernel's interrupt takes its microseconds.
bool ArmForNow(Raii::RawHandle handle, nanoseconds period) noexcept
{
    constexpr int LongestInterruptMs = 1;
    const bool armed = Arm(handle, 0, nanoseconds::zero(), period);
    (void)(armed && IsExpired(handle, LongestInterruptMs));
    return armed;
}

} // namespace

Raii::RawHandle CreateTimerObject(bool inheritable, bool manualReset) noexcept
{
    // The clock of the day, for absolute times; relative ones run steadily with it all the same.
    const int descriptor = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | (inheritable ? 0 : TFD_CLOEXEC));
    return Raw::FromDescriptor(descriptor, manualReset ? Raw::WaitMode::Latch : Raw::WaitMode::TakeCounter);
}

bool SetTimerObject(Raii::RawHandle handle, std::int64_t dueTime100ns, std::uint32_t periodMs) noexcept
{
    const nanoseconds period = Time::ToRealSpan(std::chrono::milliseconds(periodMs));
    if (dueTime100ns > 0)
    {
        const std::int64_t sinceUnix = std::clamp<std::int64_t>(dueTime100ns - UnixEpoch100ns, 0, Longest100ns);
        return Arm(handle, TFD_TIMER_ABSTIME, nanoseconds(sinceUnix * NanosPer100ns), period);
    }
    if (dueTime100ns == 0)
    {
        return ArmForNow(handle, period);
    }
    const std::int64_t ahead = -std::max(dueTime100ns, -Longest100ns);
    return Arm(handle, 0, Time::ToRealSpan(nanoseconds(ahead * NanosPer100ns)), period);
}

bool CancelTimerObject(Raii::RawHandle handle) noexcept
{
    // Disarming also forgets an expiry that nobody took. So one that is over is left alone, and one that repeats is
    // replaced by one that fires at once.
    itimerspec timer = {};
    if (::timerfd_gettime(Raw::DescriptorOf(handle), &timer) != 0)
    {
        return false;
    }
    if (timer.it_value.tv_sec == 0 && timer.it_value.tv_nsec == 0)
    {
        return true;
    }
    if (IsExpired(handle, 0))
    {
        return ArmForNow(handle, nanoseconds::zero());
    }
    const itimerspec disarmed = {};
    return ::timerfd_settime(Raw::DescriptorOf(handle), 0, &disarmed, nullptr) == 0;
}

} // namespace Shared::Concurrency::Native
