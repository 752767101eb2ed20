#pragma once

#include <chrono>
#include <cstdint>

namespace TestSupport
{

/// A limit that a test gives to what ought to happen soon, stretched where everything is slower. Reaching it is a
/// failure, so it is long, and no test may depend on how long.
inline constexpr std::uint32_t LimitMs = 20'000U * VEL_TIME_SCALE;

/// Time for something that ought not to happen: long enough that a fault shows, short enough to be waited out.
inline constexpr std::uint32_t QuietMs = 60U;

/// Real time since construction.
class Stopwatch
{
public:
    std::chrono::nanoseconds Elapsed() const
    {
        return std::chrono::steady_clock::now() - m_start;
    }

    /// In milliseconds, for comparisons with time-outs. A kernel may count in ticks and end a wait within the last one,
    /// so a lower bound is met from 1 ms below it.
    double ElapsedMs() const
    {
        return std::chrono::duration<double, std::milli>(Elapsed()).count() + 1.0;
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace TestSupport
