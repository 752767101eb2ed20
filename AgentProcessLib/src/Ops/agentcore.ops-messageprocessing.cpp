#include "agentcore.ops-messageprocessing.hpp"

#include "agentcore.messaging-agentconfig.hpp"
#include "agentcore.messaging-objectgenerator.hpp"
#include "agentcore.messaging-pollresponse.hpp"
#include "agentcore.messaging-responsehelper.hpp"
#include "agentcore.messaging-testconfigurations.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

#include <comms_protocol.pb.h>
#include <msg_ids.pb.h>

namespace AgentCore::Ops
{

namespace
{

using Messaging::MessageResponse;
using Messaging::MessageResponseStatus;
using Shared::Util::ConvertStringType;

/// One request for configuration: where its sequence number is kept, what takes its answer in, and what follows.
struct ConfigStep
{
    std::uint32_t AppState::*seqNum;
    void (*store)(const std::string& payload, AppState& appState);
    RuntimeState next;
};

/// By which the server names this agent.
std::string GetAgentUuid(const AppState& appState)
{
    return ConvertStringType(appState.settings.agentUuid);
}

/// Whom the tests are selected for, in the texts of the server.
class Subject
{
public:
    explicit Subject(const AppState& appState)
        : e_appState(appState), m_agentUuid(GetAgentUuid(appState)), m_username(ConvertStringType(appState.username))
    {
    }

    /// Valid as long as this and the state.
    Messaging::SelectionSubject View() const
    {
        return {e_appState.tests, e_appState.userGroups, e_appState.tags, m_agentUuid, m_username};
    }

private:
    const AppState& e_appState;
    std::string m_agentUuid;
    std::string m_username;
};

void StoreNetworkObjects(const std::string& payload, AppState& appState)
{
    Messaging::ProcessNetworkObjectConfigMessage(payload, appState.networkObjects);
}

void StoreTests(const std::string& payload, AppState& appState)
{
    Messaging::ProcessTestsConfigMessage(payload, GetAgentUuid(appState), appState.tests);
}

void StoreTags(const std::string& payload, AppState& appState)
{
    Messaging::ProcessTagConfigMessage(payload, appState.tags, GetAgentUuid(appState));
}

void StoreMtrTests(const std::string& payload, AppState& appState)
{
    Messaging::ProcessMtrConfigMessage(payload, appState.mtrTests, Subject(appState).View());
}

void StoreCurlTests(const std::string& payload, AppState& appState)
{
    Messaging::ProcessCurlConfigMessage(payload, appState.curlTests, Subject(appState).View());
}

void StoreEteTests(const std::string& payload, AppState& appState)
{
    Messaging::ProcessEteConfigMessage(payload, appState.eteTests, Subject(appState).View());
    appState.testConfigurations =
        Messaging::BuildTestConfigurations(appState.eteTests, appState.curlTests, appState.networkObjects);
}

void StoreInstanceAgent(const std::string& payload, AppState& appState)
{
    Messaging::ProcessInstanceAgentConfigMessage(
        payload, appState.instanceAgentConfig, appState.instanceConfigVersion, GetAgentUuid(appState));
}

void StoreAccountAgent(const std::string& payload, AppState& appState)
{
    Messaging::ProcessAccountAgentConfigMessage(
        payload, appState.accountAgentConfig, appState.selfServiceConfig, appState.accountConfigVersion,
        GetAgentUuid(appState));
}

/// In the order in which an answer's sequence number is compared.
constexpr std::array<ConfigStep, 8> ConfigSteps = {
    {{&AppState::networkConfigSeqNum, &StoreNetworkObjects, RuntimeState::GetTestsConfig},
     {&AppState::testsConfigSeqNum, &StoreTests, RuntimeState::GetTagConfig},
     {&AppState::tagConfigSeqNum, &StoreTags, RuntimeState::GetUserGroups},
     {&AppState::mtrConfigSeqNum, &StoreMtrTests, RuntimeState::GetCurlConfig},
     {&AppState::curlConfigSeqNum, &StoreCurlTests, RuntimeState::GetEteConfig},
     {&AppState::eteConfigSeqNum, &StoreEteTests, RuntimeState::GetInstanceAgentConfig},
     {&AppState::instanceAgentSeqNum, &StoreInstanceAgent, RuntimeState::GetAccountAgentConfig},
     {&AppState::accountAgentSeqNum, &StoreAccountAgent, RuntimeState::ConfigCompleted}}};

/// One kind of failed exchange: known by up to two ids, or by the sequence number of its request.
struct FailedStep
{
    std::array<std::uint32_t, 2> msgIds;
    std::uint32_t AppState::*seqNum;
    RuntimeState repeat;
    const char* text;
};

/// In the order of the tests; the last that holds wins.
constexpr std::array<FailedStep, 9> FailedSteps = {
    {{{Messages::MSGIDS_AGENT_REGISTER_REQUEST, Messages::MSGIDS_AGENT_REGISTER_RESPONSE},
      nullptr,
      RuntimeState::Register,
      "Register failed"},
     {{Messages::MSGIDS_AGENT_STARTUP_REQUEST, Messages::MSGIDS_AGENT_STARTUP_RESPONSE},
      nullptr,
      RuntimeState::Startup,
      "Startup response failed"},
     {{}, &AppState::networkConfigSeqNum, RuntimeState::GetNetworkConfig, "Network object config failed"},
     {{}, &AppState::testsConfigSeqNum, RuntimeState::GetTestsConfig, "Tests config failed"},
     {{}, &AppState::tagConfigSeqNum, RuntimeState::GetTagConfig, "Tag config failed"},
     {{Messages::MSGIDS_AGENT_USER_GROUPS_REQUEST, Messages::MSGIDS_AGENT_USER_GROUPS_REQUEST},
      nullptr,
      RuntimeState::GetUserGroups,
      "User groups failed"},
     {{}, &AppState::mtrConfigSeqNum, RuntimeState::GetMtrConfig, "Mtr config failed"},
     {{}, &AppState::eteConfigSeqNum, RuntimeState::GetEteConfig, "Ete config failed"},
     {{}, &AppState::curlConfigSeqNum, RuntimeState::GetCurlConfig, "Curl config failed"}}};

constexpr std::array<std::uint32_t, 3> OnlyLoggedWhenFailed = {
    Messages::MSGIDS_AGENT_POLL_RESPONSE, Messages::MSGIDS_AGENT_POLL_REQUEST, Messages::MSGIDS_CONFIG_ATTACH_RESULT};

enum class Judgement : std::uint8_t
{
    /// There is nothing to judge: the message counts as accepted.
    None,
    Config,
    Server
};

struct KnownMessage
{
    std::uint32_t msgId;
    Judgement judgement;
};

/// What the server sends on its own and in answer.
constexpr std::array<KnownMessage, 11> KnownMessages = {
    {{Messages::MSGIDS_ROUTER_ONLINE_STATUS_CHANGE, Judgement::None},
     {Messages::MSGIDS_ROUTER_FEATURES, Judgement::None},
     {Messages::MSGIDS_ROUTER_REMOTE_SUBSCRIPTIONS, Judgement::None},
     {Messages::MSGIDS_CONFIG_CHANGES, Judgement::None},
     {Messages::MSGIDS_AGENT_HISTORIC_POLL_REQUEST, Judgement::None},
     {Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST, Judgement::None},
     {Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION, Judgement::None},
     {Messages::MSGIDS_CONFIG_GET2_RESPONSE, Judgement::Config},
     {Messages::MSGIDS_CONFIG_ATTACH_RESULT, Judgement::Config},
     {Messages::MSGIDS_AGENT_STARTUP_RESPONSE, Judgement::Server},
     {Messages::MSGIDS_AGENT_POLL_RESPONSE, Judgement::Server}}};

/// Time for the server to have all of a changed configuration before it is asked for it.
constexpr std::chrono::milliseconds ConfigChangeDelay(2000);

/// Whether the router's first message of the present connection has come.
bool s_routerFeaturesSeen = false;

/// Whether a message answers the request whose number is kept in `kept`. 0 is kept where nothing was requested yet, and
/// is what the server puts on messages that answer nothing: the two never belong together.
bool Answers(std::uint32_t kept, const MessageResponse& message)
{
    return kept != 0 && kept == message.SeqNum;
}

bool Matches(const FailedStep& step, const AppState& appState, const MessageResponse& message)
{
    if (step.seqNum != nullptr)
    {
        return Answers(appState.*step.seqNum, message);
    }
    return std::find(step.msgIds.begin(), step.msgIds.end(), message.MsgId) != step.msgIds.end();
}

void OnAcknowledgement(const MessageResponse& message)
{
    // A delivery that failed acknowledges nothing, whatever its flags say.
    if (message.MsgId == Messages::MSGIDS_AGENT_HISTORIC_POLL_REQUEST && message.DeliveryFailed == 0)
    {
        Shared::Log::Info("Received ACK for historic poll with seqnum {}. Resending another...", message.SeqNum);
        Shared::Log::Warn("This build keeps no historic polls yet: nothing was deleted and nothing is sent");
    }
}

void OnRouterFeatures(AppState& appState)
{
    if (!s_routerFeaturesSeen)
    {
        s_routerFeaturesSeen = true;
        return;
    }
    Shared::Log::Info("Detected that the agent lost connection and re-connected. The agent will re-initialise.");
    appState.runtimeStates.Push(RuntimeState::Initialise);
    s_routerFeaturesSeen = false;
}

void OnStartupResponse(AppState& appState, const MessageResponse& message)
{
    if (appState.runtimeStates.IsCurrent(RuntimeState::Startup))
    {
        Shared::AppSettings::UpdateLastConnectedTime(appState.lastConnectedTime);
        appState.runtimeStates.Push(RuntimeState::GetNetworkConfig);
        return;
    }
    Shared::Log::Warn(
        "Agent received an unexpected server MSGIDS_AGENT_STARTUP_RESPONSE with seq_num {} whilst in "
        "state {}. The associated state transition was ignored.",
        message.SeqNum, ToNumber(appState.runtimeStates.GetCurrent()));
}

void OnPollResponse(AppState& appState, const MessageResponse& message)
{
    Shared::AppSettings::UpdateLastConnectedTime(appState.lastConnectedTime);
    if (Messaging::AsksForConfiguration(message.Payload))
    {
        Shared::Log::Info("The poll response has indicated that we should fetch our config");
        appState.runtimeStates.Push(RuntimeState::Initialise);
    }
}

void OnConfigResponse(AppState& appState, const MessageResponse& message)
{
    const auto step = std::find_if(
        ConfigSteps.begin(), ConfigSteps.end(),
        [&](const ConfigStep& candidate) { return Answers(appState.*candidate.seqNum, message); });
    if (step != ConfigSteps.end())
    {
        step->store(message.Payload, appState);
        appState.runtimeStates.Push(step->next);
    }
}

void OnUserGroups(AppState& appState, const MessageResponse& message)
{
    if (!appState.runtimeStates.IsCurrent(RuntimeState::GetUserGroups))
    {
        Shared::Log::Info("Re-initialising as we received an unexpected MSGIDS_AGENT_USER_GROUPS_NOTIFICATION message");
        appState.runtimeStates.Push(RuntimeState::Initialise);
        return;
    }
    appState.userGroups = Messaging::ParseUserGroupsNotification(message.Payload);
    appState.runtimeStates.Push(RuntimeState::GetMtrConfig);
}

void OnConfigChanges(AppState& appState)
{
    Shared::Time::SleepFor(ConfigChangeDelay);
    appState.runtimeStates.Push(RuntimeState::Initialise);
}

void OnUpdateRequest(AppState& appState, const MessageResponse& message)
{
    Messaging::ParseUpdateRequest(message.Payload, appState.accountAgentConfig);
    appState.runtimeStates.Push(RuntimeState::RunUpdateTask);
}

MessageResponse Judge(const Messaging::ResponseHelper& helper, WireProtocol::Comms::InboundMessage message)
{
    const auto* const known = std::find_if(
        KnownMessages.begin(), KnownMessages.end(),
        [&](const KnownMessage& candidate) { return candidate.msgId == message.MsgId; });
    if (known == KnownMessages.end())
    {
        Shared::Log::Warn("Unknown message ignored {}", WireProtocol::Comms::FormatMessageId(message.MsgId));
        return {std::move(message), MessageResponseStatus::Failure};
    }
    switch (known->judgement)
    {
    case Judgement::Config:
        return helper.HandleConfigResponse(std::move(message));
    case Judgement::Server:
        return helper.HandleServerResponse(std::move(message));
    case Judgement::None:
        break;
    }
    return {std::move(message), MessageResponseStatus::Success};
}

} // namespace

void ProcessIncomingMessages(MessageResponses& messageResponses, AppState& appState)
{
    const Messaging::ResponseHelper helper(&appState.inboundMessages);
    // What comes meanwhile waits for the next call: a connector that never pauses must not keep the main loop here.
    for (std::size_t left = appState.inboundMessages.Size(); left > 0; --left)
    {
        // One at a time, and only this thread takes: a message whose judgement throws takes no other with it.
        messageResponses.Push(Judge(helper, appState.inboundMessages.TakeAt(0)));
    }
}

void ProcessMessageResponse(AppState& appState, MessageResponses& messageResponses)
{
    // Only this thread takes responses, so one that is there stays there.
    if (messageResponses.Empty())
    {
        return;
    }
    const MessageResponse message = messageResponses.TakeAt(0);
    switch (message.Status)
    {
    case MessageResponseStatus::Success:
        ProcessSuccessfulMessage(appState, message);
        return;
    case MessageResponseStatus::Reregister:
        appState.runtimeStates.Push(RuntimeState::Register);
        return;
    case MessageResponseStatus::Stop:
        appState.runtimeStates.Push(RuntimeState::StopRequested);
        return;
    case MessageResponseStatus::Failure:
        Shared::Log::Warn("Unsuccessful processing on {}", WireProtocol::Comms::FormatMessageId(message.MsgId));
        ProcessAndSetFailed(appState, message);
        return;
    }
    Shared::Log::Warn(
        "Unknown status {} on {}", static_cast<std::uint32_t>(message.Status),
        WireProtocol::Comms::FormatMessageId(message.MsgId));
}

void ProcessSuccessfulMessage(AppState& appState, const MessageResponse& message)
{
    if ((message.Flags & FLAGS_ACK) != 0)
    {
        OnAcknowledgement(message);
        return;
    }
    switch (message.MsgId)
    {
    case Messages::MSGIDS_ROUTER_FEATURES:
        OnRouterFeatures(appState);
        break;
    case Messages::MSGIDS_AGENT_REGISTER_RESPONSE:
        appState.runtimeStates.Push(RuntimeState::Startup);
        break;
    case Messages::MSGIDS_AGENT_STARTUP_RESPONSE:
        OnStartupResponse(appState, message);
        break;
    case Messages::MSGIDS_AGENT_POLL_RESPONSE:
        OnPollResponse(appState, message);
        break;
    case Messages::MSGIDS_CONFIG_GET2_RESPONSE:
        OnConfigResponse(appState, message);
        break;
    case Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION:
        OnUserGroups(appState, message);
        break;
    case Messages::MSGIDS_CONFIG_CHANGES:
        OnConfigChanges(appState);
        break;
    case Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST:
        OnUpdateRequest(appState, message);
        break;
    default:
        break;
    }
}

void ProcessAndSetFailed(AppState& appState, const MessageResponse& message)
{
    std::string text;
    for (const FailedStep& step : FailedSteps)
    {
        if (Matches(step, appState, message))
        {
            appState.runtimeStates.Push(step.repeat);
            text = step.text;
        }
    }
    if (std::find(OnlyLoggedWhenFailed.begin(), OnlyLoggedWhenFailed.end(), message.MsgId) ==
        OnlyLoggedWhenFailed.end())
    {
        throw Shared::Exception::RuntimeException("An inbound message had an error: " + text);
    }
}

void ResetRouterFeatures() noexcept
{
    s_routerFeaturesSeen = false;
}

} // namespace AgentCore::Ops
