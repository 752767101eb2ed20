#include "shared.util-retrydelay.hpp"

#include <algorithm>
#include <cmath>

#include "shared.time-clock.hpp"

namespace Shared::Util
{

std::uint32_t CalculateRetryDelayMs(std::uint32_t attempt, const RetryDelayLimits& limits) noexcept
{
    constexpr std::uint64_t longestFiniteWait = Time::Infinite - 1;
    constexpr std::uint64_t msPerSecond = 1000;

    const double exponent = attempt == 0 ? 0.0 : static_cast<double>(attempt) - 1.0;
    double seconds = std::pow(limits.multiplier, exponent) * static_cast<double>(limits.minimumSeconds);
    // Limited before the cut: the power of a large attempt is infinite, and casting that is undefined.
    if (std::isnan(seconds) || seconds < 0.0)
    {
        seconds = 0.0;
    }
    seconds = std::min(seconds, static_cast<double>(limits.maximumSeconds));
    const std::uint64_t whole = std::max(static_cast<std::uint64_t>(seconds), std::uint64_t{limits.minimumSeconds});
    return static_cast<std::uint32_t>(std::min(whole * msPerSecond, longestFiniteWait));
}

} // namespace Shared::Util
