#pragma once

#include "agentcore.ops-appstate.hpp"
#include "agentcore.ops-functions.hpp"
#include "agentcore.ops-identity.hpp"
#include "agentcore.ops-messageprocessing.hpp"
#include "agentcore.ops-startup.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.winreg-regkey.hpp"

#include <cstdint>
#include <string>

#include <config.pb.h>
#include <self_service.pb.h>
#include <user_groups.pb.h>

namespace Agent::Process
{

/// What the states ask of the analytics worker.
class AnalyticsLink
{
public:
    AnalyticsLink() = default;
    AnalyticsLink(const AnalyticsLink&) = delete;
    AnalyticsLink& operator=(const AnalyticsLink&) = delete;
    virtual ~AnalyticsLink() = default;

    /// Hands the configuration over, whether the worker runs or not; copies are taken.
    virtual void SetConfiguration(
        const SelfServiceConfiguration& configuration,
        const Config::Account::Agent& accountAgent,
        const UserGroups& userGroups,
        const std::wstring& username) = 0;
    /// Whether the analyser gets a console of its own.
    virtual void SetShowConsole(bool showConsole) = 0;
    virtual Shared::Concurrency::Thread::State GetState() const = 0;
    /// For a worker that has never run.
    virtual void Start() = 0;
};

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
    /// Asks the machine for its inventory.
    AgentCore::Ops::QuerierFactory makeQuerier;
    /// Null in a build without analytics.
    AnalyticsLink* analytics = nullptr;

    /// Whether the configuration has been whole once.
    bool configured = false;
    std::int32_t exitCode = 0;
    std::uint32_t retryAttempts = 0;
    std::uint32_t retryDelayMs = 0;
};

/// Exit code when the server told the agent to stop.
inline constexpr std::int32_t StoppedByServerExitCode = 3500;

} // namespace Agent::Process
