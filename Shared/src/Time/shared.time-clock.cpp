#include "shared.time-clock.hpp"

#include "shared.time-clockcontrol.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

namespace Shared::Time
{

namespace
{

using std::chrono::nanoseconds;

constexpr double FastestSpeed = 100000.0;

nanoseconds SystemUtc() noexcept
{
    return std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch());
}

nanoseconds SystemMonotonic() noexcept
{
    return std::chrono::duration_cast<nanoseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

/// How this clock differs from the system's: at the moment `realStart` it stood at `monotonicStart` and `utcStart`, and
/// has run `speed` times as fast since.
struct Course
{
    double speed = 1.0;
    nanoseconds realStart{0};
    nanoseconds monotonicStart{0};
    nanoseconds utcStart{0};

    nanoseconds Elapsed(nanoseconds real) const noexcept
    {
        return nanoseconds(std::llround(static_cast<double>((real - realStart).count()) * speed));
    }
};

/// Set only by ClockControl. While it is false, which is always in the shipped agent, nobody takes the lock.
std::atomic<bool> s_altered{false};
std::mutex s_courseLock;
Course s_course;

double CurrentSpeed()
{
    const std::scoped_lock hold(s_courseLock);
    return s_course.speed;
}

/// Takes another course from where both clocks stand. The system's clock is read under the lock here and by those who
/// read this one, or a reader could be ahead of the course that follows.
void ChangeCourse(std::optional<double> speed, nanoseconds utcJump)
{
    const std::scoped_lock hold(s_courseLock);
    const nanoseconds real = SystemMonotonic();
    const Course before = s_altered.load(std::memory_order_relaxed) ? s_course : Course{1.0, real, real, SystemUtc()};
    const nanoseconds run = before.Elapsed(real);
    s_course = {speed.value_or(before.speed), real, before.monotonicStart + run, before.utcStart + run + utcJump};
    s_altered.store(true, std::memory_order_release);
}

} // namespace

MonotonicTime MonotonicClock::now() noexcept
{
    return MonotonicNow();
}

UtcTime UtcNow() noexcept
{
    if (!s_altered.load(std::memory_order_acquire))
    {
        return UtcTime(SystemUtc());
    }
    const std::scoped_lock hold(s_courseLock);
    return UtcTime(s_course.utcStart + s_course.Elapsed(SystemMonotonic()));
}

std::int64_t EpochSeconds() noexcept
{
    return std::chrono::floor<std::chrono::seconds>(UtcNow()).time_since_epoch().count();
}

MonotonicTime MonotonicNow() noexcept
{
    if (!s_altered.load(std::memory_order_acquire))
    {
        return MonotonicTime(SystemMonotonic());
    }
    const std::scoped_lock hold(s_courseLock);
    return MonotonicTime(s_course.monotonicStart + s_course.Elapsed(SystemMonotonic()));
}

nanoseconds RealMonotonicNow() noexcept
{
    return SystemMonotonic();
}

void SleepFor(nanoseconds span) noexcept
{
    if (span <= nanoseconds::zero())
    {
        return;
    }
    // Some systems round a sleep down to their ticks; what is missing is slept again.
    const nanoseconds end = SystemMonotonic() + ToRealSpan(span);
    for (nanoseconds left = ToRealSpan(span); left > nanoseconds::zero(); left = end - SystemMonotonic())
    {
        std::this_thread::sleep_for(left);
    }
}

nanoseconds ToRealSpan(nanoseconds span) noexcept
{
    if (!s_altered.load(std::memory_order_acquire) || span == nanoseconds::zero())
    {
        return span;
    }
    // Half of the range, 146 years, so that a time can still be added.
    constexpr double Longest = 4.6e18;
    const auto real = std::llround(std::clamp(static_cast<double>(span.count()) / CurrentSpeed(), -Longest, Longest));
    if (real == 0)
    {
        return nanoseconds(span.count() < 0 ? -1 : 1);
    }
    return nanoseconds(real);
}

std::uint32_t ToRealTimeoutMs(std::uint32_t timeoutMs) noexcept
{
    if (timeoutMs == Infinite || timeoutMs == 0 || !s_altered.load(std::memory_order_acquire))
    {
        return timeoutMs;
    }
    const double real = std::ceil(static_cast<double>(timeoutMs) / CurrentSpeed());
    constexpr double Longest = static_cast<double>(Infinite - 1);
    return static_cast<std::uint32_t>(std::min(real, Longest));
}

namespace ClockControl
{

void SetSpeed(double speed)
{
    if (!(speed > 0.0) || speed > FastestSpeed)
    {
        throw std::invalid_argument("The clock's speed must be above 0 and at most 100000");
    }
    ChangeCourse(speed, nanoseconds::zero());
}

void JumpUtc(nanoseconds span)
{
    ChangeCourse(std::nullopt, span);
}

void Reset()
{
    s_altered.store(false, std::memory_order_release);
}

} // namespace ClockControl

} // namespace Shared::Time
