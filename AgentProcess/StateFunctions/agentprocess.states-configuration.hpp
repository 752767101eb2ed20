#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// The states that send one request and wait for its answer, from `Startup` to `GetAccountAgentConfig`. There is no link
/// to the server yet, so each throws the runtime exception that says so, and the main loop repeats it after the retry
/// delay.
void RequestFromServer(LoopContext& context);

/// Drops the change notices that came while the configuration was fetched, writes the status, and pushes `InPolling`.
void ConfigCompleted(LoopContext& context);

} // namespace Agent::Process::StateFunctions
