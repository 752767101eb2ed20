#pragma once

#include "agentcore.ops-appstate.hpp"
#include "agentcore.ops-functions.hpp"
#include "agentcore.ops-identity.hpp"
#include "agentcore.ops-messageprocessing.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.winreg-regkey.hpp"

#include <cstdint>

namespace Agent::Process
{

/// What the state functions work on: the objects of ProcessMain(), which owns them and outlives every use, and the values
/// of the main loop that survive from pass to pass. Main thread only.
struct LoopContext
{
    AgentCore::Ops::AppState& appState;
    AgentCore::Ops::Identity& identity;
    AgentCore::Ops::ConnectorLink& link;
    const Shared::WinReg::RegKey& agentKey;
    Shared::Concurrency::Event& stopEvent;
    Shared::Concurrency::Event& registryChangedEvent;
    AgentCore::Ops::MessageResponses& messageResponses;
    Shared::Concurrency::WaitableTimer& upgradeTimer;
    Shared::Concurrency::WaitableTimer& heartbeatTimer;

    std::int32_t exitCode = 0;
    std::uint32_t retryAttempts = 0;
    std::uint32_t retryDelayMs = 0;
};

/// Exit code when the server told the agent to stop.
inline constexpr std::int32_t StoppedByServerExitCode = 3500;

} // namespace Agent::Process
