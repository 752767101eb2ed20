#pragma once

#include <chrono>
#include <cstdint>

namespace Shared::Time
{

/// Time-out of a wait that has none.
inline constexpr std::uint32_t Infinite = 0xFFFFFFFF;

/// The agent's steady clock: never set, never going back. Its zero has no meaning.
struct MonotonicClock
{
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<MonotonicClock>;
    static constexpr bool is_steady = true;

    static time_point now() noexcept;
};

using MonotonicTime = MonotonicClock::time_point;
using UtcTime = std::chrono::sys_time<std::chrono::nanoseconds>;

// Everything in the agent that reads the time, sleeps, waits with a time-out or sets a timer does it by this clock. In
// the shipped agent it is the system's clock and nothing else. Tests and the laboratory can let it run faster or jump
// (shared.time-clockcontrol.hpp), which is how a day of cycles is tested in minutes. Every function here may be called
// from any thread and does not throw.

/// Coordinated universal time, as the system's clock has it. It can jump, as that one can.
UtcTime UtcNow() noexcept;

/// Whole seconds since 1970, rounded down.
std::int64_t EpochSeconds() noexcept;

/// Time of the steady clock.
MonotonicTime MonotonicNow() noexcept;

/// Blocks the calling thread for at least `span` of this clock's time; a span of zero or less returns at once. Nothing
/// interrupts it: where a stop must be seen, wait on the stop event instead.
void SleepFor(std::chrono::nanoseconds span) noexcept;

/// How long `span` of this clock's time takes for the kernel, which is what a wait or a timer must be given. The
/// result keeps the sign and is never rounded to zero from something else. The speed is that of the moment of the call.
std::chrono::nanoseconds ToRealSpan(std::chrono::nanoseconds span) noexcept;

/// A time-out in milliseconds as the kernel must be given it, rounded up; `Infinite` stays what it is, and no other
/// value becomes it.
std::uint32_t ToRealTimeoutMs(std::uint32_t timeoutMs) noexcept;

/// Time of the kernel's own steady clock, for the deadlines of waits that were given in real time.
std::chrono::nanoseconds RealMonotonicNow() noexcept;

} // namespace Shared::Time
