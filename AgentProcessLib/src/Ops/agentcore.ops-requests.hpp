#pragma once

#include "agentcore.messaging-messageresponse.hpp"
#include "agentcore.ops-appstate.hpp"
#include "agentcore.ops-identity.hpp"
#include "agentcore.ops-startup.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <google/protobuf/message.h>
#include <msg_ids.pb.h>

/// What the agent asks its server for before it polls. Each of the requests is queued with the next sequence number, and
/// its call blocks until the answer is there or the time is up; a stop is not seen meanwhile. What else the connector
/// delivers stays in its queue. Main thread only.
///
/// Besides what is told at each, they throw what Serialise() throws.
namespace AgentCore::Ops
{

/// Queues a message, as JSON and with the next sequence number, to the agents' own component of the server, and waits for
/// nothing. Gives the number. Throws as Serialise().
std::uint32_t SendToServer(AppState& appState, Messages::MsgIds msgId, const google::protobuf::Message& message);

/// Tells the server what machine this is. What of the inventory cannot be had is missing in it; the logical disks are kept
/// in `logicalDrives`. Waits as many seconds as `ResponseTimeout` says. Throws as ResponseHelper::HandleMessage().
Messaging::MessageResponse PostStartup(AppState& appState, const QuerierFactory& makeQuerier);

/// Asks for the groups of the VPN client's user, who becomes `username`. Waits up to 30 seconds for the next message with
/// groups, which answers by its kind and not by its number. Throws the runtime exception "No valid username was detected to
/// retrieve user groups with.", with nothing sent, and as ResponseHelper::HandleUserGroupNotification().
Messaging::MessageResponse GetUserGroups(AppState& appState, Identity& identity);

/// Asks for one tree of the configuration, or for single keys when `tree` is empty. Waits as many seconds as
/// `ResponseTimeout` says. Throws as ResponseHelper::HandleMessage().
/// @param seqNumField where the request's sequence number is kept, by which its answer is known
Messaging::MessageResponse RequestConfig(
    AppState& appState,
    std::uint32_t AppState::*seqNumField,
    const std::string& tree,
    const std::vector<std::string>& keys);

} // namespace AgentCore::Ops
