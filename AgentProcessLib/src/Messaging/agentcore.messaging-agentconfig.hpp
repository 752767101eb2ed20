#pragma once

#include "shared.json-rapidjsondocument.hpp"

#include <cstdint>
#include <string>
#include <string_view>

#include <config.pb.h>
#include <self_service.pb.h>
#include <user_groups.pb.h>

/// What the server says of the agent itself. Payloads are JSON texts of the server, the agent's UUID is UTF-8 text. Members
/// that are not known are ignored, and so is the name of an enum value that is not known, case included: its field has then
/// the value 0, and a list leaves it out. Any thread.
namespace AgentCore::Messaging
{

/// Takes over whether this agent is enabled, and the version of that object. An object that does not say so means enabled.
/// While the server has no object for this agent, or refuses to answer, both targets keep what they have, with a warning in
/// the log; so does the config, but not the version, for an object that cannot be read.
/// Throws the runtime exceptions of RapidJsonDocument for a text that is not JSON and "Nullable is null" for an answer
/// without a boolean "success", with nothing changed.
void ProcessInstanceAgentConfigMessage(
    std::string_view payload,
    Config::Agent& instanceAgentConfig,
    std::uint64_t& instanceConfigVersion,
    std::string_view agentUuid);

/// Takes over the settings of the account and of self-service, each of which stays as it is, with a warning in the log,
/// while the server has none or they cannot be read; and the version, whatever became of those. Refusals and exceptions as
/// above.
void ProcessAccountAgentConfigMessage(
    std::string_view payload,
    Config::Account::Agent& accountAgentConfig,
    SelfServiceConfiguration& selfServiceConfig,
    std::uint64_t& accountConfigVersion,
    std::string_view agentUuid);

/// The version number that an answer holds for the agent; 0 when it holds none, and for anything but an integer from 0 to
/// 2^64 - 1.
/// @param key of the number, as a token of a JSON pointer
std::uint64_t GetConfigVersion(
    const Shared::Json::RapidJsonDocument& document, std::string_view agentUuid, std::string_view key);

/// Keeps the version that the server asks this agent to become, in `target_version`. A request that names none changes
/// nothing, with a warning in the log. Throws the runtime exception of RapidJsonDocument for a text that is not JSON.
void ParseUpdateRequest(std::string_view payload, Config::Account::Agent& accountAgentConfig);

/// The groups of a user. Throws the runtime exception "Failed to parse UserGroups notification: " and the payload for any
/// other text, after an error in the log that says why.
UserGroups ParseUserGroupsNotification(const std::string& payload);

/// The version that the account wants this kind of agent to have, or an empty text: of the first entry for the class
/// MOBILE_USER, the product DESKTOP and the system AGENT_OPERATING_SYSTEM_WINDOWS. That is how the server knows these
/// agents, whatever system they run on.
std::string FindTargetVersion(const Config::Account::Agent& accountAgentConfig);

} // namespace AgentCore::Messaging
