#include "agentcore.messaging-agentconfig.hpp"

#include "agentcore.messaging-configanswer.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"

#include <algorithm>

#include <agent_kinds.pb.h>
#include <fmt/format.h>
#include <google/protobuf/message.h>

namespace AgentCore::Messaging
{

using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonValue;

namespace
{

/// What the answer holds under the JSON pointer, or nothing, with a line in the log.
RapidJsonValue FindMember(const RapidJsonDocument& answer, const std::string& path)
{
    const RapidJsonValue member = answer.GetOptionalValueByPath(path);
    if (!member.HasValue())
    {
        Shared::Log::Warn("No member {} found for agent config", path);
    }
    return member;
}

/// Puts `member` in the place of `config`; if it cannot be read, `config` stays and `failureText` is logged.
bool Replace(const RapidJsonValue& member, google::protobuf::Message& config, std::string_view failureText)
{
    if (Shared::Protobuf::TryParseJSON(member.GetJsonText(), config, Shared::Protobuf::UnknownFields::Ignore))
    {
        return true;
    }
    Shared::Log::Warn("{}", failureText);
    return false;
}

} // namespace

void ProcessInstanceAgentConfigMessage(
    std::string_view payload,
    Config::Agent& instanceAgentConfig,
    std::uint64_t& instanceConfigVersion,
    std::string_view agentUuid)
{
    Shared::Log::Info("Caching Instance Agent config...");
    const RapidJsonDocument answer(payload);
    if (!IsSuccessful(answer, "Server responded with an error when attempting to retrieve Instance Agent config"))
    {
        return;
    }
    const RapidJsonValue member =
        FindMember(answer, fmt::format("/values/{}/~1config~1agent", EscapeForPointer(agentUuid)));
    if (!member.HasValue())
    {
        return;
    }
    const bool isReplaced = Replace(member, instanceAgentConfig, "Failed parsing InstanceAgentConfig.");
    // The server leaves the key out for an agent that is enabled, which is not what a message without it means. What could
    // not be read does not enable an agent that was disabled.
    if (isReplaced && !member.GetOptionalValueByPath("/enabled").HasValue())
    {
        instanceAgentConfig.set_enabled(true);
    }
    instanceConfigVersion = GetConfigVersion(answer, agentUuid, "~1config~1cversion~1instance");
}

void ProcessAccountAgentConfigMessage(
    std::string_view payload,
    Config::Account::Agent& accountAgentConfig,
    SelfServiceConfiguration& selfServiceConfig,
    std::uint64_t& accountConfigVersion,
    std::string_view agentUuid)
{
    Shared::Log::Info("Caching Account::Agent config...");
    const RapidJsonDocument answer(payload);
    if (!IsSuccessful(answer, "Server responded with an error when attempting to retrieve Agent config"))
    {
        return;
    }
    const std::string owner = EscapeForPointer(agentUuid);
    const RapidJsonValue account = FindMember(answer, fmt::format("/values/{}/~1config~1account~1agent", owner));
    if (account.HasValue())
    {
        (void)Replace(account, accountAgentConfig, "Failed parsing AccountAgentConfig.");
    }
    accountConfigVersion = GetConfigVersion(answer, agentUuid, "~1config~1cversion~1account");
    const RapidJsonValue selfService = FindMember(answer, fmt::format("/values/{}/~1config~1self_service", owner));
    if (selfService.HasValue())
    {
        (void)Replace(selfService, selfServiceConfig, "Failed parsing SelfServiceConfig.");
    }
}

std::uint64_t GetConfigVersion(const RapidJsonDocument& document, std::string_view agentUuid, std::string_view key)
{
    const auto version =
        document.GetOptionalValueByPath(fmt::format("/values/{}/{}", EscapeForPointer(agentUuid), key)).GetUint64();
    return version.HasValue() ? version.GetValue() : 0;
}

void ParseUpdateRequest(std::string_view payload, Config::Account::Agent& accountAgentConfig)
{
    Shared::Log::Info("Processing update request...");
    if (payload.empty())
    {
        Shared::Log::Warn("Update request payload was unexpectedly empty");
        return;
    }
    const RapidJsonDocument request(payload);
    const auto version = request.GetOptionalValueByPath("targetAgentVersion").GetString();
    if (!version.HasValue())
    {
        Shared::Log::Warn("An update request was received but it did not come with the targetAgentVersion property");
        return;
    }
    accountAgentConfig.set_target_version(version.GetValue());
}

UserGroups ParseUserGroupsNotification(const std::string& payload)
{
    UserGroups groups;
    if (!Shared::Protobuf::TryParseJSON(payload, groups, Shared::Protobuf::UnknownFields::Ignore))
    {
        throw Shared::Exception::RuntimeException(fmt::format("Failed to parse UserGroups notification: {}", payload));
    }
    return groups;
}

std::string FindTargetVersion(const Config::Account::Agent& accountAgentConfig)
{
    const auto& entries = accountAgentConfig.target_versions();
    const auto isOurs = [](const Config::AgentVersion& entry)
    {
        return entry.agent_class() == MOBILE_USER && entry.product() == DESKTOP &&
            entry.operating_system() == AGENT_OPERATING_SYSTEM_WINDOWS;
    };
    const auto found = std::find_if(entries.begin(), entries.end(), isOurs);
    return found == entries.end() ? std::string() : found->version();
}

} // namespace AgentCore::Messaging
