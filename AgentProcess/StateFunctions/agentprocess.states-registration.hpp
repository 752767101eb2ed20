#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// Decides whether the identity that the registry holds may be used: pushes `EstablishConnection` or `Register`, and
/// writes the status. What waits from the server is forgotten, and the server's switch for network tests counts as on
/// until it is heard again.
void Initialise(LoopContext& context);

/// Registers the agent with the server of the settings. What waits from the server is forgotten. Pushes and throws as
/// AgentCore::Ops::Register().
void Register(LoopContext& context);

/// Pushes `Startup`.
void EstablishConnection(LoopContext& context);

} // namespace Agent::Process::StateFunctions
