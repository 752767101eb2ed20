#include "agentprocess.states-waiting.hpp"

#include "agentcore.ops-functions.hpp"
#include "agentcore.ops-messageprocessing.hpp"
#include "agentcore.ops-upgrade.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-functions.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <iterator>
#include <limits>
#include <vector>

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;

namespace
{

/// One thing that InPolling waits for. The order of the list is the order in which they are handled when several have
/// come together.
struct Source
{
    Shared::Raii::RawHandle handle;
    std::function<void()> react;
};

/// Reacts to a change of the agent key and arms the watch again, also when the reaction throws: a watch that is not armed
/// is deaf for good.
void ReactToRegistry(LoopContext& context, const std::function<void()>& react)
{
    std::exception_ptr failure;
    try
    {
        react();
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    Shared::WinReg::WatchKey(context.agentKey, context.registryChangedEvent);
    if (failure)
    {
        std::rethrow_exception(failure);
    }
}

void OnRegistryChangedInPolling(LoopContext& context)
{
    ReactToRegistry(
        context,
        [&]
        {
            if (AgentCore::Ops::HasIdentityChanged(context.appState, context.identity))
            {
                context.appState.runtimeStates.Push(RuntimeState::Initialise);
                return;
            }
            (void)context.identity.UpdateEnablement(context.appState.instanceAgentConfig.enabled());
        });
}

/// The updater has not replaced the agent yet, or has not seen that it should.
void OnUpgradeDue(LoopContext& context)
{
    Shared::Log::Warn("An upgrade was initiated, but it does not appear to have yet completed. Retrying...");
    (void)AgentCore::Ops::CompareVersionsAndUpgrade(
        context.appState.accountAgentConfig.target_version(), context.identity, context.upgradeTimer);
}

/// Takes note of a change from before the wait. Mostly that is the agent's own doing, as it writes down when it had its last
/// answer: taken for news, it would cut short every delay of the way to polling, and an agent without a user would post its
/// machine every few seconds. Who the agent works for may have changed all the same, once that was known.
void TakeEarlierChange(LoopContext& context)
{
    if (!context.registryChangedEvent.WaitOnEvent(0))
    {
        return;
    }
    ReactToRegistry(
        context,
        [&]
        {
            if (!context.appState.username.empty() &&
                AgentCore::Ops::HasIdentityChanged(context.appState, context.identity))
            {
                context.appState.runtimeStates.Push(RuntimeState::Initialise);
            }
        });
}

void CountAttempt(LoopContext& context)
{
    if (context.retryAttempts < std::numeric_limits<std::uint32_t>::max())
    {
        ++context.retryAttempts;
    }
}

/// What ends a wait of the two retry states, besides the time.
enum class WakeUp : std::uint32_t
{
    Stop = 0,
    RegistryChanged = 1,
    Timeout = Shared::Concurrency::WaitResultTimeout
};

WakeUp WaitForStopOrRegistry(LoopContext& context, std::uint32_t timeoutMs)
{
    return static_cast<WakeUp>(Shared::Concurrency::WaitFor(
        {context.stopEvent.GetHandle(), context.registryChangedEvent.GetHandle()}, false, timeoutMs));
}

std::uint32_t MillisecondsUntil(Shared::Time::MonotonicTime end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Shared::Time::MonotonicNow());
    return static_cast<std::uint32_t>(std::max<std::int64_t>(left.count(), 0));
}

/// After the whole delay: back to the start when there is a tenant by now, else another round.
void LookForTenant(LoopContext& context)
{
    if (context.identity.GetVpnConnectionInfo().subTenantId.empty())
    {
        Shared::Log::Warn("Agent is disconnected and no subtenant-id is available. No attempt will be made to "
                          "re-connect until a subtenant is available.");
        return;
    }
    context.identity.RefreshServer(context.appState.settings);
    context.retryAttempts = 0;
    Shared::Log::Info("Connection re-established");
    context.appState.runtimeStates.Push(RuntimeState::Initialise);
}

} // namespace

void InPolling(LoopContext& context)
{
    Shared::Log::Info(
        "Main loop state: InPolling, Tunnel Status: {}",
        Shared::Util::ConvertStringType(context.identity.GetTunnelStatus()));
    AppState& appState = context.appState;
    const std::vector<Source> sources = {
        {context.stopEvent.GetHandle(),
         [&]
         {
             appState.runtimeStates.Push(RuntimeState::Stopped);
         }},
        {context.registryChangedEvent.GetHandle(),
         [&]
         {
             OnRegistryChangedInPolling(context);
         }},
        {appState.inboundMessages.GetEventHandle(),
         [&]
         {
             AgentCore::Ops::ProcessIncomingMessages(context.messageResponses, appState);
         }},
        // Handled by the main loop right after this function.
        {context.messageResponses.GetEventHandle(),
         [] {
         }},
        {context.upgradeTimer.GetHandle(),
         [&]
         {
             OnUpgradeDue(context);
         }},
        // A wake-up, so that the main loop passes at least that often.
        {context.heartbeatTimer.GetHandle(), [] {
         }}};
    std::vector<Shared::Raii::RawHandle> handles;
    std::transform(
        sources.begin(), sources.end(), std::back_inserter(handles),
        [](const Source& source) { return source.handle; });
    const std::uint32_t index = Shared::Concurrency::WaitFor(handles, false, Shared::Time::Infinite);
    sources.at(index).react();
}

void RetryPrevious(LoopContext& context)
{
    CountAttempt(context);
    context.retryDelayMs = context.identity.CalculateRetryDelay(context.retryAttempts);
    Shared::Log::Warn("Retrying previous operation in {} ms", context.retryDelayMs);
    auto& states = context.appState.runtimeStates;
    TakeEarlierChange(context);
    if (!states.IsCurrent(RuntimeState::RetryPrevious))
    {
        return;
    }
    switch (WaitForStopOrRegistry(context, context.retryDelayMs))
    {
    case WakeUp::Stop:
        states.Push(RuntimeState::Stopped);
        break;
    case WakeUp::RegistryChanged:
        ReactToRegistry(
            context,
            [&]
            {
                if (AgentCore::Ops::HasIdentityChanged(context.appState, context.identity) ||
                    context.identity.UpdateEnablement(context.appState.instanceAgentConfig.enabled()))
                {
                    states.Push(RuntimeState::Initialise);
                }
            });
        break;
    case WakeUp::Timeout:
        states.PushAt(states.Size() - 2, RuntimeState::Initialise);
        break;
    }
}

void Disconnected(LoopContext& context)
{
    CountAttempt(context);
    const Shared::Time::MonotonicTime end = Shared::Time::MonotonicNow() +
        std::chrono::milliseconds(context.identity.CalculateRetryDelay(context.retryAttempts));
    std::uint32_t leftMs = MillisecondsUntil(end);
    do
    {
        Shared::Log::Warn("Agent will attempt to reconnect in {} ms", leftMs);
        switch (WaitForStopOrRegistry(context, leftMs))
        {
        case WakeUp::Stop:
            context.appState.runtimeStates.Push(RuntimeState::Stopped);
            return;
        case WakeUp::RegistryChanged:
            ReactToRegistry(
                context,
                [&] { (void)context.identity.UpdateEnablement(context.appState.instanceAgentConfig.enabled()); });
            break;
        case WakeUp::Timeout:
            LookForTenant(context);
            return;
        }
        leftMs = MillisecondsUntil(end);
    } while (leftMs > 0);
}

} // namespace Agent::Process::StateFunctions
