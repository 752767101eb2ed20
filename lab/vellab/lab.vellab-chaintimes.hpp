#pragma once

#include "lab.cloud-exchanges.hpp"
#include "lab.scenario-scenario.hpp"
#include "lab.vellab-logfollower.hpp"
#include "lab.vellab-timeline.hpp"

#include <optional>
#include <string>
#include <vector>

// How long the agent took to get its configuration, and what it waited for: every answer is in its queue within a moment,
// but it looks there once a second.

namespace Lab
{

/// A request of a chain. All times in seconds of the timeline.
struct ChainRequest
{
    RequestKind kind = RequestKind::Startup;
    double requested = 0;
    std::optional<double> answered;
    std::string how;
};

/// From the posting of the inventory to the whole configuration.
struct Chain
{
    std::vector<ChainRequest> requests;
    /// When the agent had everything; nothing when it began anew before that.
    std::optional<double> completed;
};

/// The chains among the exchanges. When an agent had everything, its log tells: in relation to the last request, as the
/// clocks of agent and cloud need not agree.
/// @param exchanges and `states` in the order of their times.
std::vector<Chain> FindChains(
    const std::vector<Cloud::Exchange>& exchanges, const std::vector<AgentState>& states, const Timeline& timeline);

/// The first chain that was completed, with a row for each request: when it came, how long the cloud took to answer, how long
/// the agent took from there to its next request, and how the answer went wrong. Behind it how many chains there were, when
/// there were several. Empty when there was none.
/// @param speed how many times faster than the timeline's seconds the agent's passed. What is told are the agent's.
std::string DescribeChains(const std::vector<Chain>& chains, double speed);

} // namespace Lab
