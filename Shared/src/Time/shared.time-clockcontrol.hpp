#pragma once

#include <chrono>

/// The switch of the process's clock, for tests and the laboratory. The shipped executable does not contain a call of
/// it, and a check sees to that.
namespace Shared::Time::ClockControl
{

/// From now on the clock runs `speed` times as fast as the system's; both readings go on from where they stand.
/// @param speed above 0, at most 100000; anything else throws std::invalid_argument.
/// Waits and timers that have already begun keep the real time that they were given.
void SetSpeed(double speed);

/// Sets universal time forward (or back, when negative), as a user does who corrects the machine's clock. The steady
/// clock, waits and timers do not notice.
void JumpUtc(std::chrono::nanoseconds span);

/// Back to the system's clock. The steady clock may go back by this, so nothing else may be running.
void Reset();

} // namespace Shared::Time::ClockControl
