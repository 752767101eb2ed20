#include "agentcore.messaging-objectgenerator.hpp"

#include "agentcore.messaging-configanswer.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.util-texthash.hpp"

#include <cstddef>
#include <string>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Messaging
{

using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonMembers;
using Shared::Json::RapidJsonValue;
using Shared::Util::TextHash;

namespace
{

/// As much of an object's UUID as a line of the log gets. One that is a UUID has 36 characters.
constexpr std::size_t MostOfUuid = 200;

/// What sets the three lists of tests apart.
struct TestKind
{
    std::string_view prefix;
    std::string_view errorText;
    std::string_view startLine;
    /// With places for the tests that were kept and for those that were not.
    std::string_view closingLine;
};

constexpr TestKind MtrKind = {
    "/config/mtr/", "ObjectGenerator::ProcessMtrConfigMessage(): error processing MTR config", "Caching MTR config...",
    "Cached {} MTR objects, skipped {} MTR objects."};
constexpr TestKind EteKind = {
    "/config/ete/", "ObjectGenerator::ProcessEteConfigMessage(): error processing ete config", "Caching ETE config...",
    "Cached {} ETE objects, skipped {} ETE objects."};
constexpr TestKind CurlKind = {
    "/config/curl/", "ObjectGenerator::ProcessCurlConfigMessage(): error processing Curl config",
    "Caching Curl config...", "Cached {} Curl objects, skipped {} Curl objects."};

template <typename T>
T ValueOrDefault(const Shared::Util::Nullable<T>& value)
{
    return value.HasValue() ? value.GetValue() : T();
}

std::string ReadText(const RapidJsonValue& json, std::string_view name)
{
    return std::string(ValueOrDefault(json.GetMember(name).GetStringView()));
}

bool ReadFlag(const RapidJsonValue& json, std::string_view name)
{
    return ValueOrDefault(json.GetMember(name).GetBool());
}

std::int32_t ReadInt32(const RapidJsonValue& json, std::string_view name)
{
    return ValueOrDefault(json.GetMember(name).GetInt32());
}

std::vector<std::string> ReadTexts(const RapidJsonValue& json, std::string_view name)
{
    std::vector<std::string> texts;
    for (const RapidJsonValue element : json.GetMember(name).GetElements())
    {
        const auto text = element.GetStringView();
        if (text.HasValue())
        {
            texts.emplace_back(text.GetValue());
        }
    }
    return texts;
}

/// All of the account has the same tests and network objects, so the owner's name does not matter.
RapidJsonMembers GetEntriesOfFirstOwner(const RapidJsonDocument& answer)
{
    const RapidJsonMembers owners = answer.GetRoot().GetMember("values").GetMembers();
    return owners.empty() ? RapidJsonMembers() : owners[0].value.GetMembers();
}

/// @param warning for a repeated address, with places for the address and the object's UUID
std::vector<std::string> ReadAddresses(
    const RapidJsonValue& json, std::string_view name, std::string_view warning, std::string_view uuid)
{
    std::vector<std::string> addresses;
    std::unordered_set<std::string_view, TextHash> taken;
    for (const RapidJsonValue element : json.GetMember(name).GetElements())
    {
        const auto text = element.GetStringView();
        if (!text.HasValue())
        {
            continue;
        }
        if (taken.insert(text.GetValue()).second)
        {
            addresses.emplace_back(text.GetValue());
        }
        else
        {
            // Each repetition names the object: one that calls itself by a book is named by its first page.
            Shared::Log::Warn(fmt::runtime(warning), text.GetValue(), uuid.substr(0, MostOfUuid));
        }
    }
    return addresses;
}

NetworkObject MakeNetworkObject(const RapidJsonMember& entry)
{
    NetworkObject object;
    object.id = entry.name;
    object.uuid = ReadText(entry.value, "uuid");
    object.name = ReadText(entry.value, "name");
    object.domains =
        ReadAddresses(entry.value, "domains", "Detected a duplicate domain value {} on network object {}", object.uuid);
    object.ips =
        ReadAddresses(entry.value, "ips", "Detected a duplicate IP value {} on network object {}", object.uuid);
    return object;
}

/// The parser's own word on a bad entry would be an error in the log.
bool TryReadTest(const RapidJsonValue& json, Config::Test& test)
{
    try
    {
        Shared::Protobuf::ParseJSON(json.GetJsonText(), test, Shared::Protobuf::UnknownFields::Ignore);
        return true;
    }
    catch (const Shared::Exception::RuntimeException&)
    {
        return false;
    }
}

/// What all kinds of tests have in common.
template <typename Test>
Test MakeTest(const RapidJsonMember& entry, std::string_view key)
{
    Test test;
    test.key = key;
    test.id = entry.name;
    test.netobj = ReadText(entry.value, "netobj");
    test.runFromTrustedNetworks = ReadFlag(entry.value, "mu_run_tests_from_trusted_networks");
    test.runFromUntrustedNetworksWithVpnDisabled =
        ReadFlag(entry.value, "mu_run_tests_from_untrusted_networks_with_vpn_disabled");
    test.runOnActivePathsOnly = ReadFlag(entry.value, "rn_run_tests_on_active_paths_only");
    return test;
}

MtrTest MakeMtrTest(const RapidJsonMember& entry, std::string_view key)
{
    const RapidJsonValue mtr = entry.value.GetMember("mtr");
    auto test = MakeTest<MtrTest>(entry, key);
    test.l4Protocol = ReadText(mtr, "l4_protocol");
    test.port = ReadInt32(mtr, "port");
    test.reportCycles = ReadInt32(mtr, "report_cycles");
    test.interval = ValueOrDefault(mtr.GetMember("interval").GetInt64());
    return test;
}

CurlTest MakeCurlTest(const RapidJsonMember& entry, std::string_view key)
{
    const RapidJsonValue curl = entry.value.GetMember("curl");
    auto test = MakeTest<CurlTest>(entry, key);
    test.protocol = ReadText(curl, "protocol");
    test.path = ReadText(curl, "path");
    test.ignoreSsl = ReadFlag(curl, "ignore_ssl");
    test.successCodes = ReadTexts(curl, "success");
    test.headers = ReadTexts(curl, "headers");
    test.port = ReadInt32(curl, "port");
    return test;
}

template <typename Test>
using MakeRecord = Test (*)(const RapidJsonMember& entry, std::string_view key);

/// Appends the tests that are meant for the subject. False for an answer that says it is an error.
template <typename Test>
bool SelectTests(
    std::string_view payload,
    std::vector<Test>& list,
    const TestKind& kind,
    const SelectionSubject& subject,
    MakeRecord<Test> make)
{
    const RapidJsonDocument answer(payload);
    if (!IsSuccessful(answer, kind.errorText))
    {
        return false;
    }
    const TestSelection selection(subject);
    const RapidJsonMembers entries = GetEntriesOfFirstOwner(answer);
    list.reserve(entries.size());
    std::string key;
    for (const RapidJsonMember entry : entries)
    {
        key.assign(kind.prefix).append(entry.name);
        if (selection.IsTestApplicable(entry.value, key))
        {
            list.push_back(make(entry, key));
        }
    }
    Shared::Log::Info(fmt::runtime(kind.closingLine), list.size(), entries.size() - list.size());
    return true;
}

template <typename Test>
void ProcessTestList(
    std::string_view payload,
    std::vector<Test>& list,
    const TestKind& kind,
    const SelectionSubject& subject,
    MakeRecord<Test> make)
{
    list = std::vector<Test>();
    Shared::Log::Info("{}", kind.startLine);
    // The document is gone before sorting takes memory.
    if (SelectTests(payload, list, kind, subject, make))
    {
        SortByPriority(list, subject.tests);
    }
}

} // namespace

void ProcessNetworkObjectConfigMessage(std::string_view payload, std::vector<NetworkObject>& networkObjects)
{
    networkObjects = std::vector<NetworkObject>();
    Shared::Log::Info("Caching network object config...");
    const RapidJsonDocument answer(payload);
    for (const RapidJsonMember entry : GetEntriesOfFirstOwner(answer))
    {
        if (entry.value.GetMember("name").GetStringView().HasValue())
        {
            networkObjects.push_back(MakeNetworkObject(entry));
        }
    }
    Shared::Log::Info("Cached {} network objects.", networkObjects.size());
}

void ProcessTestsConfigMessage(std::string_view payload, std::string_view agentUuid, TestMap& tests)
{
    tests.clear();
    Shared::Log::Info("Caching Tests config...");
    const RapidJsonDocument answer(payload);
    if (!IsSuccessful(answer, "Server responded with an error when attempting to retrieve Agent config"))
    {
        return;
    }
    const auto pointer = fmt::format("/values/{}/~1config~1tests", EscapeForPointer(agentUuid));
    const RapidJsonValue entries = answer.GetOptionalValueByPath(pointer);
    if (!entries.HasValue())
    {
        Shared::Log::Warn("No member {} found for test config", pointer);
        return;
    }
    for (const RapidJsonMember entry : entries.GetMembers())
    {
        Config::Test test;
        if (TryReadTest(entry.value, test))
        {
            tests.try_emplace(std::string(entry.name), std::move(test));
        }
    }
    Shared::Log::Info("Cached {} Test objects", tests.size());
}

void ProcessTagConfigMessage(std::string_view payload, std::vector<Tag>& tags, std::string_view agentUuid)
{
    tags = std::vector<Tag>();
    Shared::Log::Info("Caching tag config...");
    const RapidJsonDocument answer(payload);
    if (!IsSuccessful(answer, "ObjectGenerator::ProcessTagConfigMessage(): error processing tag config"))
    {
        return;
    }
    for (const RapidJsonMember entry : answer.GetRoot().GetMember("values").GetMember(agentUuid).GetMembers())
    {
        Tag tag;
        tag.key = fmt::format("/config/tags/{}", entry.name);
        tag.value = ValueOrDefault(entry.value.GetStringView());
        tag.id = entry.name;
        tags.push_back(std::move(tag));
    }
    Shared::Log::Info("Cached {} tag objects.", tags.size());
}

void ProcessMtrConfigMessage(std::string_view payload, std::vector<MtrTest>& mtrTests, const SelectionSubject& subject)
{
    ProcessTestList(payload, mtrTests, MtrKind, subject, &MakeMtrTest);
}

void ProcessEteConfigMessage(std::string_view payload, std::vector<MtrTest>& eteTests, const SelectionSubject& subject)
{
    ProcessTestList(payload, eteTests, EteKind, subject, &MakeMtrTest);
}

void ProcessCurlConfigMessage(
    std::string_view payload, std::vector<CurlTest>& curlTests, const SelectionSubject& subject)
{
    ProcessTestList(payload, curlTests, CurlKind, subject, &MakeCurlTest);
}

} // namespace AgentCore::Messaging
