#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// Returns to the state from which the update was asked for. No versions are compared yet.
void RunUpdateTask(LoopContext& context);

/// The server told the agent to stop: pushes `Stopped`, exit code 3500.
void StopRequested(LoopContext& context);

} // namespace Agent::Process::StateFunctions
