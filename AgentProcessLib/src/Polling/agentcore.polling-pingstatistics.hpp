#pragma once

#include <cstdint>
#include <vector>

#include <test_results.pb.h>

#include "agentcore.tests-pingcollector.hpp"

namespace AgentCore::Polling
{

/// Statistics of the samples of one key, in the order of time. `min_rtt` stays 0xFFFFFFFF without a success. An answer that
/// tells an error counts neither as received nor as a gap, but its round trip is in the sum of which `avg_rtt` is the
/// successes' share; without a success that sum stays undivided. A gap of fewer than 5 unanswered samples counts as
/// available, at the end too if there was a success. Times are milliseconds. Pure.
/// @param intervalMs the time that one sample stands for
PingStatistics ComputeStatistics(const std::vector<Tests::PingBatch>& batches, std::uint32_t intervalMs);

/// Folds the samples that the collector has found since the last call into its results, one more for each key.
void ComputePingStatistics(Tests::PingCollector& collector, std::uint32_t intervalMs);

/// The results in the order of the keys; the collector has none afterwards.
/// @param isGatewayOnly whether all but those of default gateways are left out
std::vector<AggregatePingStatistics> ExportPingStatistics(Tests::PingCollector& collector, bool isGatewayOnly);

} // namespace AgentCore::Polling
