#pragma once

#include <chrono>

namespace Lab::Tools
{

enum class Woken
{
    Ready,
    TimedOut,
    BreakSignal
};

/// Waits until a descriptor is ready for one of `events` (as in poll), the break signal is given, or `span` is over; of
/// several, the break signal is told first. A descriptor of -1 is none. Throws std::system_error.
Woken AwaitDescriptor(int descriptor, short events, std::chrono::nanoseconds span);

} // namespace Lab::Tools
