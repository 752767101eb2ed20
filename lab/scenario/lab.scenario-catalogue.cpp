#include "lab.scenario-catalogue.hpp"

#include <algorithm>
#include <array>

#include <fmt/format.h>

namespace Lab
{

namespace
{

using enum ValueKind;
using Of = ScenarioObject;

constexpr double Day = 86'400;
constexpr double Word = 4'294'967'295.0;
constexpr double Million = 1'000'000;
constexpr double Payload = 268'435'456;
/// What a number with a fraction still holds exactly.
constexpr double LargestExact = 9'007'199'254'740'992.0;

constexpr std::array Keys = std::to_array<KeyRule>({
    {Of::Scenario, "title", Text, 0, 0, "", "one line for people"},
    {Of::Scenario, "duration", Number, 0.1, 30 * Day, "25",
     "seconds until the agent is told to stop, for each of its starts; `--duration` and `--keep` win over it"},
    {Of::Scenario, "server", Text, 0, 0, "https://cloud.lab.example",
     "what the settings name as the server; empty leaves it out, and the agent ends with 1500"},
    {Of::Scenario, "exitCode", Count, 0, 65535, "0", "with which the agent must end, each time"},
    {Of::Scenario, "user", Object, 0, 0, "lab.user", "who is signed in at the VPN client"},
    {Of::Scenario, "vpn", Object, 0, 0, "connected", "what the VPN client leaves in the registry"},
    {Of::Scenario, "settings", Object, 0, 0, "", "values of the agent's config key"},
    {Of::Scenario, "cloud", Object, 0, 0, "accepts", "how the cloud behaves"},
    {Of::Scenario, "faults", ObjectList, 0, 0, "none", "what goes wrong, and when"},

    {Of::User, "signedIn", Flag, 0, 0, "true", "whether anybody is"},
    {Of::User, "username", Text, 0, 0, "lab.user", ""},
    {Of::User, "domain", Text, 0, 0, "LABORATORY", ""},
    {Of::User, "tenant", Text, 0, 0, "lab-tenant", ""},
    {Of::User, "subtenant", Text, 0, 0, "lab-subtenant", "for what the agent registers; empty, it does not"},
    {Of::User, "groups", TextList, 0, 0, "none", "what the cloud answers when it is asked for the user's groups"},
    {Of::User, "agentUuid", Text, 0, 0, "none",
     "the identity that an earlier agent of this machine left for the subtenant; at the beginning only"},

    {Of::Vpn, "gateway-address", Text, 0, 0, "gateway=lab,ipv4=127.0.0.1", ""},
    {Of::Vpn, "gateway-location", Text, 0, 0, "laboratory", ""},
    {Of::Vpn, "source-region", Text, 0, 0, "laboratory", ""},
    {Of::Vpn, "tunnel-ip", Text, 0, 0, "ipv4=127.0.0.2", ""},
    {Of::Vpn, "tunnel-status", Text, 0, 0, "connected", ""},
    {Of::Vpn, "user-selection", Text, 0, 0, "enable", "whether the user lets the tests run"},
    {Of::Vpn, "machine-id", Text, 0, 0, "none", ""},
    {Of::Vpn, "Version", Text, 0, 0, "5.0.0", "of the VPN client"},

    {Of::Settings, "MinimumLogLevel", Text, 0, 0, "debug", ""},
    {Of::Settings, "LogTarget", Text, 0, 0, "filesystem", ""},
    {Of::Settings, "MaxLogFiles", Count, 0, Word, "4", ""},
    {Of::Settings, "MaxLogFileSize", Count, 0, Word, "10485760", "bytes"},
    {Of::Settings, "DisabledUsernames", Text, 0, 0, "", "separated by commas"},
    {Of::Settings, "RetryDelayMultiplier", Text, 0, 0, "2.0", ""},
    {Of::Settings, "MinimumRetryDelaySeconds", Count, 0, Word, "30", ""},
    {Of::Settings, "MaximumRetryDelaySeconds", Count, 0, Word, "3600", ""},
    {Of::Settings, "ResponseTimeout", Text, 0, 0, "00:00:30", ""},
    {Of::Settings, "TransmissionRandomisationPeriod", Text, 0, 0, "00:04:30", ""},
    {Of::Settings, "PingTimeoutMs", Count, 0, Word, "5000", ""},
    {Of::Settings, "ConnectTimeout", Count, 0, Word, "60", "seconds"},

    {Of::Cloud, "registration", ObjectList, 0, 0, "success",
     "the answers to registrations, one after the other; the last one holds for all that follow"},
    {Of::Cloud, "accountId", Count, 1, Word, "1001", ""},
    {Of::Cloud, "agentUuid", Text, 0, 0, "5f0c5a52-0000-4000-8000-000000000001",
     "the identity of an agent that has none yet"},
    {Of::Cloud, "unreachable", TextList, 0, 0, "none",
     "servers that the connector finds nowhere; all others that the file names are the laboratory's cloud"},
    {Of::Cloud, "configuration", Object, 0, 0, "empty", "what the agent gets that asks for it"},
    {Of::Cloud, "owners", ObjectList, 0, 0, "none", "others whose configuration stands in the same answers"},
    {Of::Cloud, "answers", ObjectList, 0, 0, "none",
     "to requests besides registrations: each is used up by the requests that it is for, in this order, and all other "
     "requests are answered well"},

    {Of::Configuration, "/config/network_object", AnyObject, 0, 0, "empty",
     "by their ids: `uuid`, `name`, `domains`, `ips`"},
    {Of::Configuration, "/config/tests", AnyObject, 0, 0, "empty",
     "by the tests' paths, as `/config/mtr/ID`: `enabled`, `priority`"},
    {Of::Configuration, "/config/tags", AnyObject, 0, 0, "empty", "by their ids, a text each"},
    {Of::Configuration, "/config/mtr", AnyObject, 0, 0, "empty",
     "by their ids: `netobj`, `tags`, `instances`, `users`, `groups`, and `mtr` with `l4_protocol`, `port`, "
     "`report_cycles`, `interval`, `split_tunnel`"},
    {Of::Configuration, "/config/curl", AnyObject, 0, 0, "empty",
     "the same with `curl` instead of `mtr`: `protocol`, `path`, `port`, `ignore_ssl`, `success`, `headers`"},
    {Of::Configuration, "/config/ete", AnyObject, 0, 0, "empty", "as `/config/mtr`"},
    {Of::Configuration, "/config/agent", AnyObject, 0, 0, "none", "`enabled`"},
    {Of::Configuration, "/config/cversion/instance", Count, 0, LargestExact, "none", ""},
    {Of::Configuration, "/config/account/agent", AnyObject, 0, 0, "none",
     "`target_versions`, a list of `agent_class`, `product`, `operating_system`, `version`; `auto_updates_enabled`, "
     "`agent_capabilities`"},
    {Of::Configuration, "/config/cversion/account", Count, 0, LargestExact, "none", ""},
    {Of::Configuration, "/config/self_service", AnyObject, 0, 0, "none", "what the user is notified of"},

    {Of::Owner, "uuid", Text, 0, 0, "needed", ""},
    {Of::Owner, "place", Text, 0, 0, "behind", "`first` or `behind`, of the agent's own"},
    {Of::Owner, "configuration", Object, 0, 0, "empty", "as `configuration` of the whole"},

    {Of::Answer, "answer", Text, 0, 0, "needed", "its name"},
    {Of::Answer, "server", Text, 0, 0, "the server that was asked", "the server that the answer names"},
    {Of::Answer, "code", Count, 0, 999, "500", "the answer's code"},
    {Of::Answer, "delay", Number, 0, Day, "0", "seconds before it is given"},

    {Of::ScriptedAnswer, "to", Text, 0, 0, "needed", "the request"},
    {Of::ScriptedAnswer, "how", Text, 0, 0, "needed", "the way of the answer"},
    {Of::ScriptedAnswer, "times", Count, 0, Million, "1", "to how many such requests; 0 is to all that follow"},
    {Of::ScriptedAnswer, "delay", Number, 0, Day, "0", "seconds before it is given"},
    {Of::ScriptedAnswer, "error", Text, 0, 0, "none", "the text of the error"},
    {Of::ScriptedAnswer, "code", Count, 0, 999, "500", "of `startup` and `poll`: the answer's code"},
    {Of::ScriptedAnswer, "action", Text, 0, 0, "none", "of `startup` and `poll`: what the agent is to do"},
    {Of::ScriptedAnswer, "body", TextOrObject, 0, 0, "", "what is in the message"},
    {Of::ScriptedAnswer, "msgId", Count, 1, Word, "as usual", "number of the message"},

    {Of::Fault, "fault", Text, 0, 0, "needed", "its name"},
    {Of::Fault, "at", Number, 0, 30 * Day, "0", "seconds after the agent's start"},
    {Of::Fault, "after", Text, 0, 0, "",
     "instead of `at`: `registration`, the first one that is accepted after the start; `link`, the next one behind it; or "
     "`configuration`, the first one that the agent has completely"},
    {Of::Fault, "delay", Number, 0, 30 * Day, "0", "seconds after that"},
    {Of::Fault, "start", Count, 1, 1000, "1", "of which start of the agent (`--starts`)"},
    {Of::Fault, "seconds", Number, 0, 30 * Day, "0", "how long it lasts; 0 is for good"},
    {Of::Fault, "count", Count, 1, Million, "1", "how many messages, or starts of the connector"},
    {Of::Fault, "size", Count, 1, Payload, "64", "bytes of each message, or of each bite"},
    {Of::Fault, "pause", Number, 0, Day, "0.05", "seconds between two messages or bites"},
    {Of::Fault, "exitCode", Count, 0, 255, "1", "of the connector"},
    {Of::Fault, "msgId", Count, 1, Word, "", "number of the message"},
    {Of::Fault, "payload", TextOrObject, 0, 0, "{}", "what is in the message"},
    {Of::Fault, "configuration", Object, 0, 0, "",
     "as `configuration` of the whole: members take the place of those that there are, null takes one away, and objects are "
     "gone into"},
    {Of::Fault, "groups", TextList, 0, 0, "", "as `groups` of the user"},
    {Of::Fault, "notify", Flag, 0, 0, "true",
     "whether the agent is told: of configuration by a notice (6056), of groups by themselves (24201)"},
    {Of::Fault, "version", Text, 0, 0, "", "to which the agent is to be updated"},
    {Of::Fault, "user", Object, 0, 0, "lab.user", "as `user` of the whole"},
    {Of::Fault, "vpn", Object, 0, 0, "", "as `vpn` of the whole; what is not named stays"},
});

constexpr std::array Answers = std::to_array<NameRule<AnswerKind>>({
    {AnswerKind::Success, "success", "200 with an identity: the one that the agent names, or a new one",
     "server delay"},
    {AnswerKind::Redirect, "redirect", "307 to another server, which the same cloud serves", "server! delay"},
    {AnswerKind::RefuseUuid, "refuse-uuid", "400: the identity that the agent names is not the right one", "delay"},
    {AnswerKind::Stop, "stop", "400 with the action to stop: the agent ends with 3500", "delay"},
    {AnswerKind::NotFound, "not-found", "404", "delay"},
    {AnswerKind::InternalError, "internal-error", "500, or another code", "code delay"},
    {AnswerKind::Status, "status", "any other code, and nothing else", "code! delay"},
    {AnswerKind::AnotherTenant, "another-tenant", "200 for a subtenant that was not asked for", "delay"},
    {AnswerKind::DeliveryFailure, "delivery-failure", "the router could not deliver the request", "delay"},
    {AnswerKind::Rubbish, "rubbish", "a payload that is no JSON", "delay"},
    {AnswerKind::Silence, "silence", "none", ""},
});

constexpr std::array Requests = std::to_array<NameRule<RequestKind>>({
    {RequestKind::Startup, "startup", "the inventory (24001), which the answer (24101) accepts", ""},
    {RequestKind::NetworkObjects, "network-objects", "`/config/network_object`", ""},
    {RequestKind::Tests, "tests", "`/config/tests`", ""},
    {RequestKind::Tags, "tags", "`/config/tags`", ""},
    {RequestKind::UserGroups, "user-groups", "the user's groups (24200), which come as a notification (24201)", ""},
    {RequestKind::Mtr, "mtr", "`/config/mtr`", ""},
    {RequestKind::Curl, "curl", "`/config/curl`", ""},
    {RequestKind::Ete, "ete", "`/config/ete`", ""},
    {RequestKind::InstanceAgent, "instance-agent", "`/config/agent` and `/config/cversion/instance`", ""},
    {RequestKind::AccountAgent, "account-agent",
     "`/config/account/agent`, `/config/cversion/account` and `/config/self_service`", ""},
    {RequestKind::Poll, "poll", "a poll (24002), which the answer (24102) accepts", ""},
});

constexpr std::array AnswerWays = std::to_array<NameRule<AnswerWay>>({
    {AnswerWay::Good, "good", "as if it did not stand here", ""},
    {AnswerWay::Late, "late", "a good answer, after a while: still in time, or when the agent has given up", "delay!"},
    {AnswerWay::Drop, "drop", "none", ""},
    {AnswerWay::Refuse, "refuse", "the request was not successful: `success` is false, or the code says so",
     "error code action delay"},
    {AnswerWay::WrongNumber, "wrong-number", "a good answer under another sequence number", "delay"},
    {AnswerWay::Twice, "twice", "a good answer, and the same again", "delay"},
    {AnswerWay::Rubbish, "rubbish", "a payload that is no JSON", "delay"},
    {AnswerWay::Body, "body", "a payload as it stands here", "body! msgId delay"},
    {AnswerWay::DeliveryFailure, "delivery-failure", "the router could not deliver the request", "delay"},
});

constexpr std::array Faults = std::to_array<NameRule<FaultKind>>({
    {FaultKind::KillConnector, "kill-connector", "the connector's process is ended at once", ""},
    {FaultKind::HangConnector, "hang-connector", "the connector neither reads nor writes, and does not stop when told",
     "seconds"},
    {FaultKind::ExitAtStart, "exit-at-start", "the connector ends as soon as it is started, for `count` of its starts",
     "exitCode count"},
    {FaultKind::NeverConnect, "never-connect", "the connector opens no pipe, for `count` of its starts", "count"},
    {FaultKind::GarbleFrame, "garble-frame", "the agent gets pipe messages that are no envelopes", "count size"},
    {FaultKind::Trickle, "trickle", "the agent gets small, good messages, slowly", "count! pause"},
    {FaultKind::Fragment, "fragment", "everything between connector and cloud goes in small bites",
     "size! pause seconds"},
    {FaultKind::Flood, "flood", "the cloud sends messages as fast as it can", "count! size"},
    {FaultKind::CutLink, "cut-link", "the TCP streams to the cloud break, and new ones do too", "seconds"},
    {FaultKind::SilenceCloud, "silence-cloud", "the cloud takes everything and answers nothing", "seconds"},
    {FaultKind::SendMessage, "send-message", "the cloud sends a message that nobody asked for", "msgId! payload"},
    {FaultKind::ChangeConfiguration, "change-configuration", "the agent's own configuration becomes another one",
     "configuration! notify"},
    {FaultKind::ChangeGroups, "change-groups", "the user's groups become others", "groups! notify"},
    {FaultKind::UpdateRequest, "update-request", "the cloud wants the agent to be updated (24104)", "version!"},
    {FaultKind::ChangeUser, "change-user", "somebody else signs in at the VPN client, or nobody", "user!"},
    {FaultKind::ChangeVpn, "change-vpn", "the VPN client changes what it leaves in the registry", "vpn!"},
});

struct ObjectTitle
{
    ScenarioObject object;
    std::string_view title;
};

constexpr std::array<ObjectTitle, 10> Titles = {
    {{Of::Scenario, "The file is an object with these keys, none of which is needed:"},
     {Of::User, "`user`:"},
     {Of::Vpn, "`vpn`, named as in the registry:"},
     {Of::Settings, "`settings`, named as in the registry:"},
     {Of::Cloud, "`cloud`:"},
     {Of::Configuration, "`configuration`, by its paths; null is none:"},
     {Of::Owner, "Each entry of `owners`:"},
     {Of::Answer, "Each entry of `registration`:"},
     {Of::ScriptedAnswer, "Each entry of `answers`:"},
     {Of::Fault, "Each entry of `faults`:"}}};

std::string_view NameOf(ValueKind kind) noexcept
{
    switch (kind)
    {
    case Text:
        return "text";
    case Flag:
        return "true or false";
    case Number:
        return "number";
    case Count:
        return "whole number";
    case TextList:
        return "list of texts";
    case ObjectList:
        return "list of objects";
    case Object:
    case AnyObject:
        return "object";
    case TextOrObject:
        return "text or object";
    }
    return "";
}

std::string DescribeObject(const ObjectTitle& title)
{
    std::string text = fmt::format("{}\n\n| Key | Is | Without it | Meaning |\n|---|---|---|---|\n", title.title);
    for (const KeyRule& rule : Keys)
    {
        if (rule.object == title.object)
        {
            text += fmt::format("| `{}` | {} | {} | {} |\n", rule.key, NameOf(rule.kind), rule.standard, rule.meaning);
        }
    }
    return text + "\n";
}

/// "count! size" as it is read: `count` (needed), `size`.
std::string DescribeNameKeys(std::string_view keys)
{
    std::string text;
    while (!keys.empty())
    {
        const std::size_t end = std::min(keys.find(' '), keys.size());
        std::string_view key = keys.substr(0, end);
        const bool isNeeded = key.ends_with('!');
        key.remove_suffix(isNeeded ? 1 : 0);
        text += fmt::format("{}`{}`{}", text.empty() ? "" : ", ", key, isNeeded ? " (needed)" : "");
        keys.remove_prefix(std::min(end + 1, keys.size()));
    }
    return text;
}

template <typename Rules>
std::string DescribeNames(std::string_view title, const Rules& rules)
{
    std::string text = fmt::format("{}\n\n| Name | What happens | Its keys |\n|---|---|---|\n", title);
    for (const auto& rule : rules)
    {
        text += fmt::format("| `{}` | {} | {} |\n", rule.name, rule.meaning, DescribeNameKeys(rule.keys));
    }
    return text + "\n";
}

std::string DescribeRequests()
{
    std::string text = "The requests:\n\n| Name | What the agent asks for |\n|---|---|\n";
    for (const auto& rule : Requests)
    {
        text += fmt::format("| `{}` | {} |\n", rule.name, rule.meaning);
    }
    return text + "\n";
}

template <typename Kind, typename Rules>
std::string_view FindName(Kind kind, const Rules& rules) noexcept
{
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const auto& rule) { return rule.kind == kind; });
    return found == rules.end() ? std::string_view() : found->name;
}

} // namespace

std::span<const KeyRule> KeyRules() noexcept
{
    return Keys;
}

std::span<const NameRule<AnswerKind>> AnswerRules() noexcept
{
    return Answers;
}

std::span<const NameRule<RequestKind>> RequestRules() noexcept
{
    return Requests;
}

std::span<const NameRule<AnswerWay>> AnswerWayRules() noexcept
{
    return AnswerWays;
}

std::span<const NameRule<FaultKind>> FaultRules() noexcept
{
    return Faults;
}

std::string_view NameOf(FaultKind kind) noexcept
{
    return FindName(kind, Faults);
}

std::string_view NameOf(AnswerKind kind) noexcept
{
    return FindName(kind, Answers);
}

std::string_view NameOf(RequestKind kind) noexcept
{
    return FindName(kind, Requests);
}

std::string_view NameOf(AnswerWay way) noexcept
{
    return FindName(way, AnswerWays);
}

std::string DescribeScenarioKeys()
{
    std::string text;
    for (const ObjectTitle& title : Titles)
    {
        text += DescribeObject(title);
    }
    text += DescribeNames("The answers to a registration:", Answers);
    text += DescribeRequests();
    text += DescribeNames("The ways of an answer to them:", AnswerWays);
    text += DescribeNames("The faults:", Faults);
    text.pop_back();
    return text;
}

} // namespace Lab
