#pragma once

#include "agentprocess.loopcontext.hpp"

namespace Agent::Process::StateFunctions
{

/// Decides whether the identity that the registry holds may be used: pushes `EstablishConnection` or `Register`, and
/// writes the status. What waits from the server is forgotten, and the server's switch for network tests counts as on
/// until it is heard again.
void Initialise(LoopContext& context);

/// Without a tenant: pushes `Disconnected`. With one: throws the runtime exception that there is no link to the server
/// yet.
void Register(LoopContext& context);

/// Pushes `Startup`.
void EstablishConnection(LoopContext& context);

} // namespace Agent::Process::StateFunctions
