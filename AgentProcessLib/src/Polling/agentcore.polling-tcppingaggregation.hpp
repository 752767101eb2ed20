#pragma once

#include "agentcore.polling-helpers.hpp"

#include <vector>

#include <test_results.pb.h>

namespace AgentCore::Polling
{

/// Ends the TCP pings of a cycle and folds what they have found into one element for each test and target, ordered by
/// these. `runners` is empty afterwards.
///
/// A test with the same target as an HTTP test counts only if that one was started; the log tells when it was not. Of the
/// results of one test and target counters and periods are the sums, round trips and jitter the means, those that are
/// integers cut to integers. A minute without any answer takes part in the mean of the minima with 4294967295, in the 32
/// bits of that field: this is how the numbers are read.
///
/// Tools that still run are asked to break off, all at the same time, and then awaited one after the other.
/// @param discard whether user or tenant have changed: then nothing counts
std::vector<AggregatePingStatistics> AggregateTcpPingStats(
    TcpPingRunners& runners, bool discard, const CurlRunners& curlRunners);

} // namespace AgentCore::Polling
