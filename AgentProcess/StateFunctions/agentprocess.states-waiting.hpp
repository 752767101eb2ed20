#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// Where the agent spends its life: waits, without a limit, for the stop event, a change of the agent key, messages of the
/// server, a finished response, the upgrade timer and the heartbeat, and reacts to the first of them in this order. No
/// polling happens yet.
/// Throws what the wait and the reactions throw; the watch on the key is armed again all the same.
void InPolling(LoopContext& context);

/// Holds back the repeat of a state that failed, by a delay that grows with every attempt, then returns to it. A change
/// of the agent key ends the wait.
void RetryPrevious(LoopContext& context);

/// Holds back the next look for a tenant, by a delay that grows with every attempt. A change of the agent key updates the
/// status and does not end the wait.
void Disconnected(LoopContext& context);

} // namespace Agent::Process::StateFunctions
