// Any text as what the server says of the agent itself: as an answer about the instance and about the account, as an order
// to update, as a notification about groups. The versions are those of a second, straightforward reading of the members;
// the same content, read again or in another writing, gives the same; what is refused changes nothing.

#include "agentcore.messaging-agentconfig.hpp"
#include "fuzz.require.hpp"
#include "fuzz.silence.hpp"
#include "shared.exception-exceptions.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonValue;
namespace Messaging = AgentCore::Messaging;

/// With all that a pointer must escape.
constexpr const char* Uuid = "a/~b";
constexpr std::uint64_t OldVersion = 41;

/// Everything that the agent keeps of such texts; it starts with something in each.
struct Kept
{
    Kept()
    {
        account.set_target_version("1.0");
        selfService.add_users("anna");
    }

    std::string Text() const
    {
        return instance.SerializeAsString() + '|' + std::to_string(instanceVersion) + '|' +
            account.SerializeAsString() + '|' + std::to_string(accountVersion) + '|' + selfService.SerializeAsString();
    }

    Config::Agent instance;
    std::uint64_t instanceVersion = OldVersion;
    Config::Account::Agent account;
    std::uint64_t accountVersion = OldVersion;
    SelfServiceConfiguration selfService;
};

/// What is kept after `process`, or nothing when it threw; it has changed nothing then.
template <typename Process>
std::optional<Kept> Run(Process process)
{
    Kept kept;
    try
    {
        process(kept);
        return kept;
    }
    catch (const RuntimeException&)
    {
        Require(kept.Text() == Kept().Text());
        return std::nullopt;
    }
}

std::optional<Kept> RunInstance(const std::string& text)
{
    return Run([&text](Kept& kept)
               { Messaging::ProcessInstanceAgentConfigMessage(text, kept.instance, kept.instanceVersion, Uuid); });
}

std::optional<Kept> RunAccount(const std::string& text)
{
    return Run(
        [&text](Kept& kept) {
            Messaging::ProcessAccountAgentConfigMessage(
                text, kept.account, kept.selfService, kept.accountVersion, Uuid);
        });
}

std::optional<Kept> RunUpdate(const std::string& text)
{
    return Run([&text](Kept& kept) { Messaging::ParseUpdateRequest(text, kept.account); });
}

void RequireSame(const std::optional<Kept>& first, const std::optional<Kept>& second)
{
    Require(first.has_value() == second.has_value() && (!first || first->Text() == second->Text()));
}

/// The first member of the name, or nothing.
RapidJsonValue Find(const RapidJsonValue& value, std::string_view name)
{
    for (const RapidJsonMember& member : value.GetMembers())
    {
        if (member.name == name)
        {
            return member.value;
        }
    }
    return {};
}

std::uint64_t VersionOf(const RapidJsonValue& entries, std::string_view key)
{
    const auto version = Find(entries, key).GetUint64();
    return version.HasValue() ? version.GetValue() : 0;
}

void CheckAnswers(
    const RapidJsonDocument& document, const std::optional<Kept>& instance, const std::optional<Kept>& account)
{
    const auto success = Find(document.GetRoot(), "success").GetBool();
    Require(instance.has_value() == success.HasValue() && account.has_value() == success.HasValue());
    if (!success.HasValue())
    {
        return;
    }
    if (!success.GetValue())
    {
        Require(instance->Text() == Kept().Text() && account->Text() == Kept().Text());
        return;
    }
    const RapidJsonValue entries = Find(Find(document.GetRoot(), "values"), Uuid);
    const RapidJsonValue agent = Find(entries, "/config/agent");
    const auto expected = agent.HasValue() ? VersionOf(entries, "/config/cversion/instance") : OldVersion;
    Require(instance->instanceVersion == expected);
    Require(!instance->instance.enabled() || agent.IsObject());
    Require(account->accountVersion == VersionOf(entries, "/config/cversion/account"));
    Require(account->account.target_version() == "1.0" || Find(entries, "/config/account/agent").IsObject());
}

void CheckUpdate(const RapidJsonDocument& document, const std::optional<Kept>& update)
{
    const auto version = Find(document.GetRoot(), "targetAgentVersion").GetString();
    Require(update.has_value());
    Require(update->account.target_version() == (version.HasValue() ? version.GetValue() : "1.0"));
}

void CheckConfig(const std::string& text)
{
    const auto instance = RunInstance(text);
    const auto account = RunAccount(text);
    const auto update = RunUpdate(text);
    RequireSame(instance, RunInstance(text));
    RequireSame(account, RunAccount(text));
    std::optional<RapidJsonDocument> document;
    try
    {
        document.emplace(text);
    }
    catch (const RuntimeException&)
    {
        Require(!instance && !account && update.has_value() == text.empty());
        return;
    }
    CheckAnswers(*document, instance, account);
    CheckUpdate(*document, update);
    const std::string again = document->GetJsonText();
    RequireSame(instance, RunInstance(again));
    RequireSame(account, RunAccount(again));
    RequireSame(update, RunUpdate(again));
}

std::optional<std::string> GroupsOf(const std::string& text)
{
    try
    {
        return Messaging::ParseUserGroupsNotification(text).SerializeAsString();
    }
    catch (const RuntimeException& failure)
    {
        // The text of an exception ends at a null character.
        const std::string told = std::string("Failed to parse UserGroups notification: ") + text.c_str();
        Require(std::string_view(failure.what()).find(told) != std::string_view::npos);
        return std::nullopt;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckConfig(text);
    Require(GroupsOf(text) == GroupsOf(text));
    return 0;
}
