#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// Requests the upgrade that the server asked for, if it is one, and returns to the state from which it was asked for. Throws
/// Win32Exception when the registry cannot be used; nothing was pushed then.
void RunUpdateTask(LoopContext& context);

/// The server told the agent to stop: pushes `Stopped`, exit code 3500.
void StopRequested(LoopContext& context);

} // namespace Agent::Process::StateFunctions
