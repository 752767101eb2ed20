#include "agentcore.ops-requests.hpp"

#include "agentcore.messaging-responsehelper.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <utility>

#include <component.pb.h>
#include <user_groups.pb.h>

namespace AgentCore::Ops
{

using Messaging::MessageResponse;
using Messaging::ResponseHelper;
using Shared::Util::ConvertStringType;

namespace
{

void Push(AppState& appState, std::vector<std::uint8_t> frame)
{
    WireProtocol::Comms::OutboundMessage message;
    message.Data = std::move(frame);
    appState.outboundMessages.Push(std::move(message));
}

} // namespace

std::uint32_t SendToServer(AppState& appState, Messages::MsgIds msgId, const google::protobuf::Message& message)
{
    const std::uint32_t seqNum = ++appState.nextSeqNum;
    Push(
        appState,
        WireProtocol::Comms::Serialise(
            msgId, COMPONENT_AGENT_SERVER, Shared::Protobuf::GenerateJSONFrom(message), seqNum, 0));
    return seqNum;
}

MessageResponse PostStartup(AppState& appState, const QuerierFactory& makeQuerier)
{
    const Startup startup = BuildStartup(appState.settings, Shared::Time::UtcNow(), makeQuerier);
    const auto& drives = startup.system().logical_drives();
    appState.logicalDrives.assign(drives.begin(), drives.end());
    Shared::Log::Debug("Attempting to post Startup data");
    const std::uint32_t seqNum = SendToServer(appState, Messages::MSGIDS_AGENT_STARTUP_REQUEST, startup);
    // Posted means queued: whether the server takes it is what the answer says.
    Shared::Log::Debug("The agent successfully posted Startup data.");
    return ResponseHelper(&appState.inboundMessages).HandleMessage(seqNum, Messages::MSGIDS_AGENT_STARTUP_RESPONSE);
}

MessageResponse GetUserGroups(AppState& appState, Identity& identity)
{
    const std::wstring username = identity.GetVpnConnectionInfo().fullUsername;
    if (username.empty())
    {
        throw Shared::Exception::RuntimeException("No valid username was detected to retrieve user groups with.");
    }
    UserGroupsRequest request;
    request.set_account_id(static_cast<std::int32_t>(appState.settings.accountId));
    request.set_user(ConvertStringType(username));
    appState.username = username;
    (void)SendToServer(appState, Messages::MSGIDS_AGENT_USER_GROUPS_REQUEST, request);
    return ResponseHelper(&appState.inboundMessages).HandleUserGroupNotification();
}

MessageResponse RequestConfig(
    AppState& appState,
    std::uint32_t AppState::*seqNumField,
    const std::string& tree,
    const std::vector<std::string>& keys)
{
    const std::uint32_t seqNum = ++appState.nextSeqNum;
    appState.*seqNumField = seqNum;
    Push(
        appState,
        WireProtocol::Comms::SerialiseConfigGet2Request(
            seqNum, tree, keys, static_cast<std::uint32_t>(appState.settings.accountId)));
    return ResponseHelper(&appState.inboundMessages).HandleMessage(seqNum, Messages::MSGIDS_CONFIG_GET2_RESPONSE);
}

} // namespace AgentCore::Ops
