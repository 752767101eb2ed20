#pragma once

#include <cstdint>

namespace Shared::Util
{

/// What the delays between retries grow by and stay between.
struct RetryDelayLimits
{
    double multiplier = 2.0;
    std::uint32_t minimumSeconds = 30;
    std::uint32_t maximumSeconds = 3600;
};

/// Milliseconds to wait before the given attempt: `multiplier` to the power of `attempt` - 1 (0 for attempt 0), times the
/// minimum, cut to whole seconds; at most the maximum, then at least the minimum, which thus wins when the two are
/// crossed. Whatever the limits hold (they come from settings), the result is a wait that ends: what is no number or
/// negative counts as the minimum, and the result stays below 0xFFFFFFFF, which would mean for ever.
std::uint32_t CalculateRetryDelayMs(std::uint32_t attempt, const RetryDelayLimits& limits) noexcept;

} // namespace Shared::Util
