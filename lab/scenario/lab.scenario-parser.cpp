#include "lab.scenario-parser.hpp"

#include "lab.json-functions.hpp"
#include "lab.scenario-reader.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace Lab
{

namespace
{

/// Keys that every answer and every fault takes beside those of its own.
constexpr std::string_view AnswerKeys = "answer";
constexpr std::string_view ScriptedAnswerKeys = "to how times";
constexpr std::string_view FaultKeys = "fault at after delay start";

ScenarioUser ReadUser(const ObjectReader& reader)
{
    ScenarioUser user;
    user.isSignedIn = reader.Flag("signedIn", user.isSignedIn);
    user.username = reader.Text("username", user.username);
    user.domain = reader.Text("domain", user.domain);
    user.tenantId = reader.Text("tenant", user.tenantId);
    user.subTenantId = reader.Text("subtenant", user.subTenantId);
    user.groups = reader.TextList("groups");
    user.agentUuid = reader.Text("agentUuid", user.agentUuid);
    return user;
}

std::map<std::string, std::string> ReadVpn(const ObjectReader& reader)
{
    std::map<std::string, std::string> values;
    for (const KeyRule& rule : KeyRules())
    {
        if (rule.object == ScenarioObject::Vpn && reader.Has(rule.key))
        {
            values[std::string(rule.key)] = reader.Text(rule.key);
        }
    }
    return values;
}

void ReadSettings(const ObjectReader& reader, Scenario& scenario)
{
    for (const KeyRule& rule : KeyRules())
    {
        if (rule.object != ScenarioObject::Settings || !reader.Has(rule.key))
        {
            continue;
        }
        auto& value = scenario.settings[std::string(rule.key)];
        if (rule.kind == ValueKind::Text)
        {
            value = reader.Text(rule.key);
        }
        else
        {
            value = static_cast<std::uint32_t>(reader.Count(rule.key, 0));
        }
    }
}

RegistrationAnswer ReadAnswer(const ObjectReader& reader)
{
    RegistrationAnswer answer;
    if (const auto* const rule = reader.ChooseName("answer", "answer", AnswerRules(), AnswerKeys))
    {
        answer.kind = rule->kind;
    }
    answer.server = reader.Text("server");
    answer.code = static_cast<std::int32_t>(reader.Count("code", static_cast<std::uint64_t>(answer.code)));
    answer.delay = AgentSeconds(reader.Number("delay", 0));
    return answer;
}

/// What a request knows of a refusal.
void CheckRefusal(const ObjectReader& reader, RequestKind to)
{
    if (to == RequestKind::UserGroups)
    {
        reader.Refuse(
            "how", "\"refuse\" is not for \"user-groups\": they come as a notification, which refuses nothing");
    }
    const bool hasCode = to == RequestKind::Startup || to == RequestKind::Poll;
    for (const std::string_view key : {"code", "action"})
    {
        if (!hasCode && reader.Has(key))
        {
            reader.Refuse(
                key, fmt::format("means nothing for {}, only for \"startup\" and \"poll\"", Quote(NameOf(to))));
        }
    }
}

std::optional<std::string> ReadOptionalText(const ObjectReader& reader, std::string_view key)
{
    return reader.Has(key) ? std::optional(reader.Text(key)) : std::nullopt;
}

ScriptedAnswer ReadScriptedAnswer(const ObjectReader& reader)
{
    ScriptedAnswer answer;
    const auto* const to = reader.FindName("to", "request", RequestRules());
    const auto* const how = reader.ChooseName("how", "way to answer", AnswerWayRules(), ScriptedAnswerKeys);
    answer.to = to == nullptr ? answer.to : to->kind;
    answer.way = how == nullptr ? answer.way : how->kind;
    if (to != nullptr && how != nullptr && how->kind == AnswerWay::Refuse)
    {
        CheckRefusal(reader, to->kind);
    }
    answer.times = reader.Count("times", answer.times);
    answer.delay = AgentSeconds(reader.Number("delay", 0));
    answer.code = static_cast<std::int32_t>(reader.Count("code", static_cast<std::uint64_t>(answer.code)));
    answer.error = ReadOptionalText(reader, "error");
    answer.action = ReadOptionalText(reader, "action");
    answer.body = reader.TextOrObject("body");
    answer.msgId = static_cast<std::uint32_t>(reader.Count("msgId", 0));
    return answer;
}

/// The member "configuration"; null when there is none.
ConfigurationPointer ReadConfiguration(const ObjectReader& reader, Problems& problems)
{
    constexpr std::string_view Key = "configuration";
    const rapidjson::Value* const configuration = reader.Object(Key);
    if (configuration == nullptr)
    {
        return nullptr;
    }
    // What is wrong in it is told by this.
    (void)ObjectReader(*configuration, reader.PathOf(Key), ScenarioObject::Configuration, problems);
    auto copy = std::make_shared<rapidjson::Document>();
    copy->CopyFrom(*configuration, copy->GetAllocator());
    return copy;
}

OtherOwner ReadOwner(const ObjectReader& reader, Problems& problems)
{
    OtherOwner owner;
    owner.uuid = reader.Text("uuid");
    const std::string place = reader.Text("place", "behind");
    if (place != "first" && place != "behind")
    {
        reader.Refuse("place", fmt::format("{} is no place; there are: behind, first", Quote(place)));
    }
    owner.isFirst = place == "first";
    owner.configuration = ReadConfiguration(reader, problems);
    return owner;
}

void ReadCloud(const ObjectReader& reader, CloudBehaviour& cloud, Problems& problems)
{
    if (const auto entries = reader.ObjectList("registration"); !entries.empty())
    {
        cloud.registration.clear();
        for (const ObjectReader::Entry& entry : entries)
        {
            cloud.registration.push_back(
                ReadAnswer(ObjectReader(*entry.value, entry.path, ScenarioObject::Answer, problems)));
        }
    }
    if (reader.IsEmptyList("registration"))
    {
        reader.Refuse("registration", "needs at least one answer");
    }
    cloud.accountId = static_cast<std::uint32_t>(reader.Count("accountId", cloud.accountId));
    cloud.agentUuid = reader.Text("agentUuid", cloud.agentUuid);
    cloud.unreachable = reader.TextList("unreachable");
    cloud.configuration = ReadConfiguration(reader, problems);
    for (const ObjectReader::Entry& entry : reader.ObjectList("owners"))
    {
        cloud.owners.push_back(
            ReadOwner(ObjectReader(*entry.value, entry.path, ScenarioObject::Owner, problems), problems));
    }
    for (const ObjectReader::Entry& entry : reader.ObjectList("answers"))
    {
        cloud.answers.push_back(
            ReadScriptedAnswer(ObjectReader(*entry.value, entry.path, ScenarioObject::ScriptedAnswer, problems)));
    }
}

/// What a fault's time may be counted from, by its name.
struct OriginName
{
    std::string_view name;
    FaultOrigin origin;
};

/// In the order in which they are told.
constexpr std::array<OriginName, 3> Origins = {
    {{"configuration", FaultOrigin::Configuration},
     {"link", FaultOrigin::Link},
     {"registration", FaultOrigin::Registration}}};

FaultOrigin ReadOrigin(const ObjectReader& reader)
{
    const std::string after = reader.Text("after");
    const auto* const found =
        std::find_if(Origins.begin(), Origins.end(), [&](const OriginName& known) { return known.name == after; });
    if (found != Origins.end())
    {
        return found->origin;
    }
    reader.Refuse(
        "after",
        fmt::format("{} is nothing that can be awaited; there are: configuration, link, registration", Quote(after)));
    return FaultOrigin::Start;
}

void ReadTime(const ObjectReader& reader, Fault& fault)
{
    const bool isAfter = reader.Has("after");
    if (isAfter && reader.Has("at"))
    {
        reader.Refuse("at", "cannot be given beside \"after\"");
    }
    if (!isAfter && reader.Has("delay"))
    {
        reader.Refuse("delay", "means nothing without \"after\"");
    }
    if (isAfter)
    {
        fault.origin = ReadOrigin(reader);
    }
    fault.time = AgentSeconds(reader.Number(isAfter ? "delay" : "at", 0));
}

Fault ReadFault(const ObjectReader& reader, Problems& problems)
{
    constexpr double StandardPause = 0.05;
    constexpr std::uint64_t StandardSize = 64;
    Fault fault;
    if (const auto* const rule = reader.ChooseName("fault", "fault", FaultRules(), FaultKeys))
    {
        fault.kind = rule->kind;
    }
    ReadTime(reader, fault);
    fault.start = static_cast<std::uint32_t>(reader.Count("start", 1));
    fault.duration = AgentSeconds(reader.Number("seconds", 0));
    fault.pause = AgentSeconds(reader.Number("pause", StandardPause));
    fault.count = reader.Count("count", 1);
    fault.size = reader.Count("size", StandardSize);
    fault.exitCode = static_cast<std::int32_t>(reader.Count("exitCode", 1));
    fault.msgId = static_cast<std::uint32_t>(reader.Count("msgId", 0));
    fault.payload = reader.TextOrObject("payload", "{}");
    fault.configuration = ReadConfiguration(reader, problems);
    fault.groups = reader.TextList("groups");
    fault.notifies = reader.Flag("notify", true);
    fault.version = reader.Text("version");
    if (const rapidjson::Value* const user = reader.Object("user"))
    {
        fault.user = ReadUser(ObjectReader(*user, reader.PathOf("user"), ScenarioObject::User, problems));
    }
    if (const rapidjson::Value* const vpn = reader.Object("vpn"))
    {
        fault.vpn = ReadVpn(ObjectReader(*vpn, reader.PathOf("vpn"), ScenarioObject::Vpn, problems));
    }
    return fault;
}

void ReadParts(const ObjectReader& reader, Scenario& scenario, Problems& problems)
{
    const auto part = [&](std::string_view key, ScenarioObject object, auto&& read)
    {
        if (const rapidjson::Value* const value = reader.Object(key))
        {
            read(ObjectReader(*value, reader.PathOf(key), object, problems));
        }
    };
    part("user", ScenarioObject::User, [&](const ObjectReader& user) { scenario.user = ReadUser(user); });
    part("vpn", ScenarioObject::Vpn, [&](const ObjectReader& vpn) { scenario.vpn = ReadVpn(vpn); });
    part("settings", ScenarioObject::Settings, [&](const ObjectReader& settings) { ReadSettings(settings, scenario); });
    part(
        "cloud", ScenarioObject::Cloud, [&](const ObjectReader& cloud) { ReadCloud(cloud, scenario.cloud, problems); });
    for (const ObjectReader::Entry& entry : reader.ObjectList("faults"))
    {
        scenario.faults.push_back(
            ReadFault(ObjectReader(*entry.value, entry.path, ScenarioObject::Fault, problems), problems));
    }
}

} // namespace

Scenario ParseScenario(std::string_view text)
{
    rapidjson::Document document;
    try
    {
        document = Json::Parse(text);
    }
    catch (const Json::JsonError& problem)
    {
        throw ScenarioError(problem.what());
    }
    Problems problems;
    Scenario scenario;
    const ObjectReader reader(document, "$", ScenarioObject::Scenario, problems);
    scenario.title = reader.Text("title");
    scenario.server = reader.Text("server", scenario.server);
    scenario.exitCode = static_cast<std::int32_t>(reader.Count("exitCode", 0));
    if (reader.Has("duration"))
    {
        scenario.duration = AgentSeconds(reader.Number("duration", 0));
    }
    ReadParts(reader, scenario, problems);
    if (problems.AreThere())
    {
        throw ScenarioError(problems.Describe());
    }
    return scenario;
}

Scenario ReadScenario(const std::filesystem::path& file)
{
    if (std::filesystem::is_directory(file))
    {
        throw ScenarioError(fmt::format("{}: is a folder, and a scenario is a file", file.string()));
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (!stream)
    {
        throw ScenarioError(fmt::format("{}: cannot be read", file.string()));
    }
    try
    {
        return ParseScenario(text);
    }
    catch (const ScenarioError& problem)
    {
        const std::string prefix = file.string() + ": ";
        throw ScenarioError(prefix + Shared::Util::ReplaceAll(std::string_view(problem.what()), "\n", "\n" + prefix));
    }
}

} // namespace Lab
