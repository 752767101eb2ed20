#include "agentprocess.states-configuration.hpp"

#include "agentcore.messaging-agentconfig.hpp"
#include "agentcore.ops-requests.hpp"
#include "agentcore.ops-upgrade.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-memory.hpp"

#include <algorithm>
#include <string>

#include <msg_ids.pb.h>

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;
using Shared::Concurrency::Thread;
using WireProtocol::Comms::InboundMessage;

namespace
{

/// The tests come behind what they are selected by.
constexpr std::array<ConfigRequest, 8> ConfigRequests = {
    {{RuntimeState::GetNetworkConfig,
      "Main loop state: GetNetworkConfig",
      &AppState::networkConfigSeqNum,
      "/config/network_object",
      {}},
     {RuntimeState::GetTestsConfig,
      "Main loop state: GetTestsConfig",
      &AppState::testsConfigSeqNum,
      "",
      {"/config/tests"}},
     {RuntimeState::GetTagConfig, "Main loop state: GetTagConfig", &AppState::tagConfigSeqNum, "/config/tags", {}},
     {RuntimeState::GetMtrConfig, "Main loop state: GetMtrConfig", &AppState::mtrConfigSeqNum, "/config/mtr", {}},
     {RuntimeState::GetCurlConfig, "Main loop state: GetCurlConfig", &AppState::curlConfigSeqNum, "/config/curl", {}},
     {RuntimeState::GetEteConfig, "Main loop state: GetEteConfig", &AppState::eteConfigSeqNum, "/config/ete", {}},
     {RuntimeState::GetInstanceAgentConfig,
      "Main loop state: GetInstanceAgentConfig",
      &AppState::instanceAgentSeqNum,
      "",
      {"/config/agent", "/config/cversion/instance"}},
     {RuntimeState::GetAccountAgentConfig,
      "Main loop state: GetAccountAgentConfig",
      &AppState::accountAgentSeqNum,
      "",
      {"/config/account/agent", "/config/cversion/account", "/config/self_service"}}}};

/// Hands the configuration to the analytics, which are started the first time.
void ConfigureAnalytics(LoopContext& context)
{
    if (context.analytics == nullptr)
    {
        Shared::Log::Info("This build has no analytics to start");
        return;
    }
    AnalyticsLink& analytics = *context.analytics;
    const AppState& appState = context.appState;
    analytics.SetConfiguration(
        appState.selfServiceConfig, appState.accountAgentConfig, appState.userGroups, appState.username);
    analytics.SetShowConsole(appState.debugMode);
    const Thread::State state = analytics.GetState();
    if (state == Thread::State::Created)
    {
        analytics.Start();
        return;
    }
    Shared::Log::Info(
        "Didn't run AnalyticsIoWorker.Start() as AnalyticsIoWorker is in status: {}",
        static_cast<std::uint32_t>(state));
}

} // namespace

const std::array<ConfigRequest, 8>& GetConfigRequests() noexcept
{
    return ConfigRequests;
}

void PostStartup(LoopContext& context)
{
    context.messageResponses.Push(AgentCore::Ops::PostStartup(context.appState, context.makeQuerier));
}

void GetUserGroups(LoopContext& context)
{
    context.messageResponses.Push(AgentCore::Ops::GetUserGroups(context.appState, context.identity));
}

void RequestConfiguration(LoopContext& context, const ConfigRequest& request)
{
    const auto* const end = std::find(request.keys.begin(), request.keys.end(), nullptr);
    const std::vector<std::string> keys(request.keys.begin(), end);
    context.messageResponses.Push(
        AgentCore::Ops::RequestConfig(context.appState, request.seqNumField, request.tree, keys));
}

void ConfigCompleted(LoopContext& context)
{
    AppState& appState = context.appState;
    ConfigureAnalytics(context);
    // The configuration has just been fetched.
    appState.inboundMessages.RemoveAll([](const InboundMessage& message)
                                       { return message.MsgId == Messages::MSGIDS_CONFIG_CHANGES; });
    context.identity.EnableAutoUpdate();
    (void)AgentCore::Ops::CompareVersionsAndUpgrade(
        AgentCore::Messaging::FindTargetVersion(appState.accountAgentConfig), context.identity, context.upgradeTimer);
    (void)context.identity.UpdateEnablement(appState.instanceAgentConfig.enabled());
    // The answers may have been large, and such ones do not come again soon.
    Shared::Platform::ReturnFreeMemory();
    context.configured = true;
    appState.runtimeStates.Push(RuntimeState::InPolling);
}

} // namespace Agent::Process::StateFunctions
