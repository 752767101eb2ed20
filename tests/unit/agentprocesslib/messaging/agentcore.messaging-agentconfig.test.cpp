#include "agentcore.messaging-agentconfig.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <agent_kinds.pb.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

namespace
{

using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using TestSupport::RuntimeText;
namespace Messaging = AgentCore::Messaging;

constexpr const char* Uuid = "d6fd1d3a-6f3c-4a5e-9a51-8e1c9b6f2f10";
constexpr std::uint64_t OldVersion = 41;

/// An answer with one owner's entries, each with its key.
std::string AnswerFor(const std::string& owner, const std::string& entries)
{
    return R"({"success":true,"values":{")" + owner + "\":{" + entries + "}}}";
}

std::string Nested(std::size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

class AgentConfigTest : public ::testing::Test
{
protected:
    AgentConfigTest()
    {
        m_account.set_target_version("1.0");
        m_selfService.add_users("anna");
    }

    void ProcessInstance(const std::string& payload, const std::string& uuid = Uuid)
    {
        Messaging::ProcessInstanceAgentConfigMessage(payload, m_instance, m_instanceVersion, uuid);
    }

    void ProcessAccount(const std::string& payload, const std::string& uuid = Uuid)
    {
        Messaging::ProcessAccountAgentConfigMessage(payload, m_account, m_selfService, m_accountVersion, uuid);
    }

    /// What the entries make of a config that was disabled.
    bool IsEnabledBy(const std::string& entries)
    {
        m_instance.set_enabled(false);
        ProcessInstance(AnswerFor(Uuid, entries));
        return m_instance.enabled();
    }

    /// The account's settings after an answer with this alone.
    const Config::Account::Agent& AccountFrom(const std::string& object)
    {
        ProcessAccount(AnswerFor(Uuid, R"("/config/account/agent":)" + object));
        return m_account;
    }

    const SelfServiceConfiguration& SelfServiceFrom(const std::string& object)
    {
        ProcessAccount(AnswerFor(Uuid, R"("/config/self_service":)" + object));
        return m_selfService;
    }

    std::uint64_t InstanceVersionFrom(const std::string& version)
    {
        m_instanceVersion = OldVersion;
        ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{},"/config/cversion/instance":)" + version));
        return m_instanceVersion;
    }

    void ExpectInstanceUntouched() const
    {
        EXPECT_FALSE(m_instance.enabled());
        EXPECT_EQ(m_instanceVersion, OldVersion);
    }

    void ExpectAccountUntouched() const
    {
        EXPECT_EQ(m_account.target_version(), "1.0");
        EXPECT_THAT(m_selfService.users(), ElementsAre("anna"));
        EXPECT_EQ(m_accountVersion, OldVersion);
    }

    /// All lines so far, with the level in front; of an exception only what was said of it.
    std::vector<std::string> Lines() const
    {
        std::vector<std::string> lines;
        for (const auto& line : m_log.Lines())
        {
            switch (line.level)
            {
            case Level::Info:
                lines.push_back("info: " + line.text);
                break;
            case Level::Warning:
                lines.push_back("warn: " + line.text);
                break;
            default:
                EXPECT_EQ(line.level, Level::Error);
                EXPECT_NE(line.text.find("---> ParseJSON() failed."), std::string::npos) << line.text;
                lines.emplace_back("error: ParseJSON() failed");
            }
        }
        return lines;
    }

    TestSupport::CapturedLog m_log;
    Config::Agent m_instance;
    std::uint64_t m_instanceVersion = OldVersion;
    Config::Account::Agent m_account;
    SelfServiceConfiguration m_selfService;
    std::uint64_t m_accountVersion = OldVersion;
};

/// Texts that are no JSON.
const std::vector<std::string> Broken = {
    "",
    " ",
    "nonsense",
    "{",
    "{}}",
    R"({"success":true)",
    R"({"success":1e999})",
    std::string("{}\0", 3),
    "{\"success\":true,\"x\":\"\xFF\"}",
    R"({"success":true,"x":"\uD800"})"};

using InstanceAgentConfigTest = AgentConfigTest;

TEST_F(InstanceAgentConfigTest, TheObjectAndItsVersionAreTakenOver)
{
    m_instance.set_enabled(true);
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{"enabled":false},"/config/cversion/instance":7)"));
    EXPECT_FALSE(m_instance.enabled());
    EXPECT_EQ(m_instanceVersion, 7U);
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{"enabled":true},"/config/cversion/instance":8)"));
    EXPECT_TRUE(m_instance.enabled());
    EXPECT_EQ(m_instanceVersion, 8U);
    EXPECT_THAT(
        Lines(), ElementsAre("info: Caching Instance Agent config...", "info: Caching Instance Agent config..."));
}

TEST_F(InstanceAgentConfigTest, AnObjectThatDoesNotSayMeansEnabled)
{
    for (const char* object : {"{}", R"({"name":"x","new":{"enabled":false}})", R"({"Enabled":false})"})
    {
        EXPECT_TRUE(IsEnabledBy(std::string(R"("/config/agent":)") + object)) << object;
    }
}

TEST_F(InstanceAgentConfigTest, AKeyOfNullSaysTheDefault)
{
    m_instance.set_enabled(true);
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{"enabled":null})"));
    EXPECT_FALSE(m_instance.enabled());
}

TEST_F(InstanceAgentConfigTest, UnknownMembersAreIgnored)
{
    EXPECT_TRUE(IsEnabledBy(R"("/config/agent":{"a":[1,{"b":2}],"enabled":true,"c":"d"},"/config/other":5)"));
}

TEST_F(InstanceAgentConfigTest, WithoutTheObjectEverythingStaysTheVersionToo)
{
    ProcessInstance(AnswerFor(Uuid, R"("/config/cversion/instance":7)"));
    ExpectInstanceUntouched();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Instance Agent config...",
            fmt::format("warn: No member /values/{}/~1config~1agent found for agent config", Uuid)));
}

TEST_F(InstanceAgentConfigTest, AMissingObjectLeavesAnEnabledAgentEnabled)
{
    m_instance.set_enabled(true);
    ProcessInstance(R"({"success":true,"values":{}})");
    EXPECT_TRUE(m_instance.enabled());
}

TEST_F(InstanceAgentConfigTest, NeitherAnotherOwnersObjectNorAnAnswerWithoutValuesCounts)
{
    const std::string object = R"("/config/agent":{"enabled":true},"/config/cversion/instance":7)";
    for (const std::string& payload :
         {AnswerFor("another", object), AnswerFor("D6FD1D3A-6F3C-4A5E-9A51-8E1C9B6F2F10", object),
          std::string(R"({"success":true})"), std::string(R"({"success":true,"values":null})"),
          std::string(R"({"success":true,"values":[{}]})"), std::string(R"({"success":true,"values":"text"})"),
          fmt::format(R"({{"success":true,"values":{{"{}":[]}}}})", Uuid)})
    {
        ProcessInstance(payload);
        ExpectInstanceUntouched();
    }
    EXPECT_EQ(m_log.Count(Level::Warning, "No member "), 7U);
}

TEST_F(InstanceAgentConfigTest, OfSeveralOwnersThisAgentIsFound)
{
    ProcessInstance(fmt::format(
        R"({{"success":true,"values":{{"a":{{"/config/agent":{{"enabled":false}}}},)"
        R"("{}":{{"/config/agent":{{"enabled":true}},"/config/cversion/instance":9}},)"
        R"("z":{{"/config/agent":{{"enabled":false}}}}}}}})",
        Uuid));
    EXPECT_TRUE(m_instance.enabled());
    EXPECT_EQ(m_instanceVersion, 9U);
}

TEST_F(InstanceAgentConfigTest, AUuidWithTheMarksOfAPointerIsANameLikeAnyOther)
{
    for (const char* uuid : {"a/b", "/", "~", "~1", "a~0b~/", ""})
    {
        m_instance.set_enabled(false);
        ProcessInstance(AnswerFor(uuid, R"("/config/agent":{},"/config/cversion/instance":5)"), uuid);
        EXPECT_TRUE(m_instance.enabled()) << uuid;
        EXPECT_EQ(m_instanceVersion, 5U) << uuid;
    }
    ProcessInstance(R"({"success":true})", "a/b~c");
    EXPECT_EQ(m_log.Count(Level::Warning, "No member /values/a~1b~0c/~1config~1agent found for agent config"), 1U);
}

TEST_F(InstanceAgentConfigTest, AnObjectThatCannotBeReadLeavesTheOldOneAndTheVersionIsRead)
{
    std::uint64_t version = 100;
    for (const char* object :
         {R"({"enabled":"maybe"})", R"({"enabled":2})", R"({"enabled":[true]})", R"({"enabled":{}})", R"({"":0})",
          "null", "[]", "true", "5", R"("text")"})
    {
        for (const bool old : {false, true})
        {
            m_instance.set_enabled(old);
            ProcessInstance(AnswerFor(
                Uuid, fmt::format(R"("/config/agent":{},"/config/cversion/instance":{})", object, ++version)));
            EXPECT_EQ(m_instance.enabled(), old) << object;
            EXPECT_EQ(m_instanceVersion, version) << object;
        }
    }
}

TEST_F(InstanceAgentConfigTest, AnObjectThatCannotBeReadIsToldWithTheReason)
{
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{"enabled":"maybe"})"));
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Instance Agent config...", "error: ParseJSON() failed",
            "warn: Failed parsing InstanceAgentConfig."));
}

TEST_F(InstanceAgentConfigTest, OfMembersWithTheSameNameTheFirstObjectAndTheFirstVersionCount)
{
    EXPECT_TRUE(IsEnabledBy(R"("/config/agent":{"enabled":true},"/config/agent":{"enabled":false},)"
                            R"("/config/cversion/instance":1,"/config/cversion/instance":2)"));
    EXPECT_EQ(m_instanceVersion, 1U);
    // Within the object it is the protobuf library that reads: the last one counts.
    EXPECT_TRUE(IsEnabledBy(R"("/config/agent":{"enabled":false,"enabled":true})"));
}

TEST_F(InstanceAgentConfigTest, AMissingVersionIs0)
{
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{})"));
    EXPECT_EQ(m_instanceVersion, 0U);
}

TEST_F(InstanceAgentConfigTest, VersionsAreUnsignedIntegersOf64Bits)
{
    EXPECT_EQ(InstanceVersionFrom("0"), 0U);
    EXPECT_EQ(InstanceVersionFrom("4294967296"), 4'294'967'296U);
    EXPECT_EQ(InstanceVersionFrom("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(InstanceAgentConfigTest, AVersionThatIsNoSuchIntegerIs0)
{
    for (const char* version :
         {"-1", "18446744073709551616", "7.0", "7.5", "7e0", "1e300", R"("7")", "true", "null", "[7]", "{}"})
    {
        EXPECT_EQ(InstanceVersionFrom(version), 0U) << version;
    }
}

TEST_F(InstanceAgentConfigTest, AServersRefusalIsToldAndChangesNothing)
{
    const std::string rest = AnswerFor(Uuid, R"("/config/agent":{},"/config/cversion/instance":7)").substr(15);
    ProcessInstance(R"({"success":false)" + rest);
    ProcessInstance(R"({"success":false,"error":"no such agent")" + rest);
    ExpectInstanceUntouched();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Instance Agent config...",
            "warn: Server responded with an error when attempting to retrieve Instance Agent config",
            "info: Caching Instance Agent config...",
            "warn: Server responded with an error when attempting to retrieve Instance Agent config: no such agent"));
}

TEST_F(InstanceAgentConfigTest, AnAnswerThatDoesNotSayWhetherItIsOneIsAnException)
{
    const std::string values = AnswerFor(Uuid, R"("/config/agent":{})").substr(15);
    for (const std::string& payload :
         {"{" + values.substr(1), R"({"success":1)" + values, R"({"success":"true")" + values,
          R"({"success":null)" + values, std::string("[]"), std::string("7"), std::string("null")})
    {
        EXPECT_EQ(RuntimeText([&] { ProcessInstance(payload); }), "Nullable is null") << payload;
    }
    ExpectInstanceUntouched();
}

TEST_F(InstanceAgentConfigTest, ATextThatIsNoJsonIsAnException)
{
    for (const std::string& payload : Broken)
    {
        EXPECT_THROW(ProcessInstance(payload), RuntimeException) << payload;
    }
    ExpectInstanceUntouched();
    EXPECT_EQ(Lines(), std::vector<std::string>(Broken.size(), "info: Caching Instance Agent config..."));
}

TEST_F(InstanceAgentConfigTest, DeepNestingBesideTheObjectDoesNotMatter)
{
    EXPECT_TRUE(IsEnabledBy(R"("x":)" + Nested(100'000) + R"(,"/config/agent":{"enabled":true})"));
    // Within it the protobuf library decides whether it follows; it ends either way.
    m_instance.set_enabled(true);
    ProcessInstance(AnswerFor(Uuid, R"("/config/agent":{"enabled":true,"x":)" + Nested(100'000) + "}"));
    EXPECT_TRUE(m_instance.enabled());
}

using AccountAgentConfigTest = AgentConfigTest;

TEST_F(AccountAgentConfigTest, BothObjectsAndTheVersionAreTakenOver)
{
    ProcessAccount(AnswerFor(
        Uuid,
        R"("/config/account/agent":{"target_version":"2.0"},"/config/cversion/account":7,)"
        R"("/config/self_service":{"enabled":true})"));
    EXPECT_EQ(m_account.target_version(), "2.0");
    EXPECT_EQ(m_accountVersion, 7U);
    EXPECT_TRUE(m_selfService.enabled());
    EXPECT_THAT(m_selfService.users(), IsEmpty()) << "the old object is replaced whole";
    EXPECT_THAT(Lines(), ElementsAre("info: Caching Account::Agent config..."));
}

TEST_F(AccountAgentConfigTest, AllFieldsOfTheAccountAreRead)
{
    const auto& account = AccountFrom(
        R"({"target_version":"3.2.1","auto_updates_enabled":true,"target_versions":[)"
        R"({"agent_class":"REMOTE_NETWORK","product":"GATEOS","operating_system":"AGENT_OPERATING_SYSTEM_LINUX",)"
        R"("version":"9"},{"agent_class":0,"product":1,"operating_system":1,"version":"8"}],)"
        R"("agent_capabilities":["AGENT_CAPABILITY_SELF_SERVE",3],"more":[]})");
    EXPECT_EQ(account.target_version(), "3.2.1");
    EXPECT_TRUE(account.auto_updates_enabled());
    ASSERT_EQ(account.target_versions_size(), 2);
    EXPECT_EQ(account.target_versions(0).agent_class(), REMOTE_NETWORK);
    EXPECT_EQ(account.target_versions(0).product(), GATEOS);
    EXPECT_EQ(account.target_versions(0).operating_system(), AGENT_OPERATING_SYSTEM_LINUX);
    EXPECT_EQ(account.target_versions(0).version(), "9");
    EXPECT_EQ(account.target_versions(1).agent_class(), MOBILE_USER);
    EXPECT_EQ(account.target_versions(1).product(), EDGEUNIT);
    EXPECT_EQ(account.target_versions(1).operating_system(), AGENT_OPERATING_SYSTEM_MACOS);
    EXPECT_THAT(
        account.agent_capabilities(), ElementsAre(AGENT_CAPABILITY_SELF_SERVE, AGENT_CAPABILITY_ASYNC_POLL_RESULT));
}

TEST_F(AccountAgentConfigTest, TheLibrarysOwnNamesOfFieldsAreReadToo)
{
    const auto& account =
        AccountFrom(R"({"targetVersion":"3","autoUpdatesEnabled":true,"targetVersions":[{"agentClass":1}]})");
    EXPECT_EQ(account.target_version(), "3");
    EXPECT_TRUE(account.auto_updates_enabled());
    EXPECT_EQ(account.target_versions(0).agent_class(), REMOTE_NETWORK);
}

TEST_F(AccountAgentConfigTest, NamesOfEnumValuesThatAreUnknownOrInAnotherCaseLeaveTheFirstValue)
{
    const auto& account = AccountFrom(
        R"({"target_versions":[{"agent_class":"remote_network","product":"gateos","operating_system":"ELSEWHERE",)"
        R"("version":"9"}],"agent_capabilities":["agent_capability_self_serve","AGENT_CAPABILITY_SIMULATED"]})");
    ASSERT_EQ(account.target_versions_size(), 1);
    EXPECT_EQ(account.target_versions(0).agent_class(), MOBILE_USER);
    EXPECT_EQ(account.target_versions(0).product(), DESKTOP);
    EXPECT_EQ(account.target_versions(0).operating_system(), AGENT_OPERATING_SYSTEM_WINDOWS);
    EXPECT_THAT(account.agent_capabilities(), ElementsAre(AGENT_CAPABILITY_SIMULATED));
}

TEST_F(AccountAgentConfigTest, NumbersOfEnumValuesThatAreUnknownAreKept)
{
    const auto& account = AccountFrom(R"({"target_versions":[{"operating_system":77}],"agent_capabilities":[99]})");
    EXPECT_EQ(static_cast<int>(account.target_versions(0).operating_system()), 77);
    EXPECT_EQ(account.agent_capabilities(0), 99);
}

TEST_F(AccountAgentConfigTest, AllFieldsOfSelfServiceAreRead)
{
    const auto& config = SelfServiceFrom(
        R"({"enabled":true,"users":["LAB\\anna","berta"],"groups":["g"],"wifi_quality":{"notifications_enabled":true,)"
        R"("minimum_seconds_between_notifications":1,"notification_threshold":2,"poor_quality_threshold":3,)"
        R"("fair_quality_threshold":4,"good_quality_threshold":5,"ssid_change_window_seconds":4294967295},)"
        R"("wifi_connection":{"notifications_enabled":true,"minimum_seconds_between_notifications":6},)"
        R"("internet_connection":{"minimum_seconds_between_notifications":7,"addresses":["a","b"]},)"
        R"("cpu_usage":{"high_usage_threshold":8},"memory_usage":{"high_usage_threshold":"9"}})");
    EXPECT_TRUE(config.enabled());
    EXPECT_THAT(config.users(), ElementsAre("LAB\\anna", "berta"));
    EXPECT_THAT(config.groups(), ElementsAre("g"));
    EXPECT_TRUE(config.wifi_quality().notifications_enabled());
    EXPECT_EQ(config.wifi_quality().minimum_seconds_between_notifications(), 1U);
    EXPECT_EQ(config.wifi_quality().notification_threshold(), 2U);
    EXPECT_EQ(config.wifi_quality().poor_quality_threshold(), 3U);
    EXPECT_EQ(config.wifi_quality().fair_quality_threshold(), 4U);
    EXPECT_EQ(config.wifi_quality().good_quality_threshold(), 5U);
    EXPECT_EQ(config.wifi_quality().ssid_change_window_seconds(), 4'294'967'295U);
    EXPECT_EQ(config.wifi_connection().minimum_seconds_between_notifications(), 6U);
    EXPECT_EQ(config.internet_connection().minimum_seconds_between_notifications(), 7U);
    EXPECT_THAT(config.internet_connection().addresses(), ElementsAre("a", "b"));
    EXPECT_EQ(config.cpu_usage().high_usage_threshold(), 8U);
    EXPECT_EQ(config.memory_usage().high_usage_threshold(), 9U);
}

TEST_F(AccountAgentConfigTest, WithNoMemberAtAllTheObjectsStayAndTheVersionIs0)
{
    ProcessAccount(AnswerFor(Uuid, ""));
    EXPECT_EQ(m_account.target_version(), "1.0");
    EXPECT_THAT(m_selfService.users(), ElementsAre("anna"));
    EXPECT_EQ(m_accountVersion, 0U);
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Account::Agent config...",
            fmt::format("warn: No member /values/{}/~1config~1account~1agent found for agent config", Uuid),
            fmt::format("warn: No member /values/{}/~1config~1self_service found for agent config", Uuid)));
}

TEST_F(AccountAgentConfigTest, TheVersionIsReadWhateverBecomesOfTheAccount)
{
    ProcessAccount(AnswerFor(Uuid, R"("/config/cversion/account":7)"));
    EXPECT_EQ(m_accountVersion, 7U);
    ProcessAccount(AnswerFor(Uuid, R"("/config/account/agent":[],"/config/cversion/account":8)"));
    EXPECT_EQ(m_accountVersion, 8U);
    EXPECT_EQ(m_account.target_version(), "1.0");
}

TEST_F(AccountAgentConfigTest, SelfServiceIsReadWhateverBecomesOfTheAccount)
{
    for (const char* account : {"", R"("/config/account/agent":5,)"})
    {
        m_selfService.set_enabled(false);
        ProcessAccount(AnswerFor(Uuid, std::string(account) + R"("/config/self_service":{"enabled":true})"));
        EXPECT_TRUE(m_selfService.enabled());
    }
    EXPECT_EQ(m_account.target_version(), "1.0");
}

TEST_F(AccountAgentConfigTest, ObjectsThatCannotBeReadLeaveTheOldOnesAndAreTold)
{
    ProcessAccount(AnswerFor(
        Uuid,
        R"("/config/account/agent":{"target_version":"2.0","auto_updates_enabled":"maybe"},)"
        R"("/config/self_service":{"users":[],"cpu_usage":7},"/config/cversion/account":41)"));
    ExpectAccountUntouched();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Account::Agent config...", "error: ParseJSON() failed",
            "warn: Failed parsing AccountAgentConfig.", "error: ParseJSON() failed",
            "warn: Failed parsing SelfServiceConfig."));
}

TEST_F(AccountAgentConfigTest, ValuesOfAnotherTypeOrOutOfRangeCannotBeRead)
{
    for (const char* object :
         {"null", "[]", "true", "5", R"("text")", R"({"target_version":5})", R"({"target_version":{}})",
          R"({"target_versions":["2"]})", R"({"":0})", R"({"target_versions":[{"product":1.5}]})",
          R"({"target_versions":[{"product":4294967296}]})", R"({"agent_capabilities":[{}]})"})
    {
        m_account.set_target_version("1.0");
        EXPECT_EQ(AccountFrom(object).target_version(), "1.0") << object;
    }
    for (const char* object :
         {"null", "[]", "7", R"({"users":{}})", R"({"users":[1]})", R"({"cpu_usage":{"high_usage_threshold":-1}})",
          R"({"cpu_usage":{"high_usage_threshold":4294967296}})", R"({"cpu_usage":{"high_usage_threshold":0.5}})"})
    {
        m_selfService.Clear();
        m_selfService.add_users("anna");
        EXPECT_THAT(SelfServiceFrom(object).users(), ElementsAre("anna")) << object;
    }
    EXPECT_EQ(m_log.Count(Level::Warning, "Failed parsing AccountAgentConfig."), 12U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Failed parsing SelfServiceConfig."), 8U);
}

TEST_F(AccountAgentConfigTest, ALoneElementStandsForAListOfOne)
{
    EXPECT_EQ(AccountFrom(R"({"target_versions":{"version":"2"}})").target_versions(0).version(), "2");
    EXPECT_THAT(SelfServiceFrom(R"({"users":"berta"})").users(), ElementsAre("berta"));
}

TEST_F(AccountAgentConfigTest, OnlyThisAgentsObjectsCount)
{
    ProcessAccount(
        AnswerFor("another", R"("/config/account/agent":{},"/config/self_service":{},"/config/cversion/account":7)"));
    EXPECT_EQ(m_account.target_version(), "1.0");
    EXPECT_THAT(m_selfService.users(), ElementsAre("anna"));
    EXPECT_EQ(m_accountVersion, 0U);
}

TEST_F(AccountAgentConfigTest, AUuidWithTheMarksOfAPointerIsANameLikeAnyOther)
{
    for (const char* uuid : {"a/b", "~", "~1/~0"})
    {
        m_account.set_target_version("1.0");
        ProcessAccount(
            AnswerFor(uuid, R"("/config/account/agent":{},"/config/self_service":{},"/config/cversion/account":7)"),
            uuid);
        EXPECT_EQ(m_account.target_version(), "") << uuid;
        EXPECT_THAT(m_selfService.users(), IsEmpty()) << uuid;
        EXPECT_EQ(m_accountVersion, 7U) << uuid;
    }
}

TEST_F(AccountAgentConfigTest, AServersRefusalIsToldAndChangesNothing)
{
    const std::string rest =
        AnswerFor(Uuid, R"("/config/account/agent":{},"/config/self_service":{},"/config/cversion/account":7)")
            .substr(15);
    ProcessAccount(R"({"success":false)" + rest);
    ProcessAccount(R"({"success":false,"error":"busy")" + rest);
    ProcessAccount(R"({"success":false,"error":5)" + rest);
    ExpectAccountUntouched();
    EXPECT_THAT(
        Lines(),
        ElementsAre(
            "info: Caching Account::Agent config...",
            "warn: Server responded with an error when attempting to retrieve Agent config",
            "info: Caching Account::Agent config...",
            "warn: Server responded with an error when attempting to retrieve Agent config: busy",
            "info: Caching Account::Agent config...",
            "warn: Server responded with an error when attempting to retrieve Agent config"));
}

TEST_F(AccountAgentConfigTest, AnAnswerThatDoesNotSayWhetherItIsOneIsAnException)
{
    for (const char* payload : {"{}", "[]", R"({"success":"true"})", R"({"success":null,"values":{}})"})
    {
        EXPECT_EQ(RuntimeText([&] { ProcessAccount(payload); }), "Nullable is null") << payload;
    }
    ExpectAccountUntouched();
}

TEST_F(AccountAgentConfigTest, ATextThatIsNoJsonIsAnException)
{
    for (const std::string& payload : Broken)
    {
        EXPECT_THROW(ProcessAccount(payload), RuntimeException) << payload;
    }
    ExpectAccountUntouched();
    EXPECT_EQ(Lines(), std::vector<std::string>(Broken.size(), "info: Caching Account::Agent config..."));
}

TEST(ConfigVersionTest, IsFoundUnderItsOwnerAndKey)
{
    const RapidJsonDocument answer(R"({"values":{"a/~":{"k/1":5,"k":6},"b":{"k/1":7}}})");
    EXPECT_EQ(Messaging::GetConfigVersion(answer, "a/~", "k~11"), 5U);
    EXPECT_EQ(Messaging::GetConfigVersion(answer, "a/~", "k"), 6U);
    EXPECT_EQ(Messaging::GetConfigVersion(answer, "b", "k~11"), 7U);
    EXPECT_EQ(Messaging::GetConfigVersion(answer, "b", "k"), 0U);
    EXPECT_EQ(Messaging::GetConfigVersion(answer, "c", "k"), 0U);
    EXPECT_EQ(Messaging::GetConfigVersion(RapidJsonDocument("5"), "a", "k"), 0U);
}

using UpdateRequestTest = AgentConfigTest;

TEST_F(UpdateRequestTest, TheWantedVersionIsKept)
{
    Messaging::ParseUpdateRequest(R"({"x":1,"targetAgentVersion":"3.2.1"})", m_account);
    EXPECT_EQ(m_account.target_version(), "3.2.1");
    EXPECT_THAT(Lines(), ElementsAre("info: Processing update request..."));
}

TEST_F(UpdateRequestTest, AnEmptyVersionIsATextToo)
{
    Messaging::ParseUpdateRequest(R"({"targetAgentVersion":""})", m_account);
    EXPECT_EQ(m_account.target_version(), "");
}

TEST_F(UpdateRequestTest, NothingElseOfTheAccountChanges)
{
    m_account.set_auto_updates_enabled(true);
    m_account.add_target_versions()->set_version("9");
    Messaging::ParseUpdateRequest(R"({"targetAgentVersion":"4"})", m_account);
    EXPECT_TRUE(m_account.auto_updates_enabled());
    EXPECT_EQ(m_account.target_versions(0).version(), "9");
}

TEST_F(UpdateRequestTest, AnEmptyPayloadIsToldAndChangesNothing)
{
    Messaging::ParseUpdateRequest("", m_account);
    EXPECT_EQ(m_account.target_version(), "1.0");
    EXPECT_THAT(
        Lines(),
        ElementsAre("info: Processing update request...", "warn: Update request payload was unexpectedly empty"));
}

TEST_F(UpdateRequestTest, ARequestWithoutAVersionTextIsToldAndChangesNothing)
{
    for (const char* payload :
         {"{}", "[]", "null", R"("3.2")", R"({"TargetAgentVersion":"3.2"})", R"({"targetAgentVersion":3.2})",
          R"({"targetAgentVersion":null})", R"({"targetAgentVersion":["3.2"]})",
          R"({"a":{"targetAgentVersion":"3.2"}})"})
    {
        Messaging::ParseUpdateRequest(payload, m_account);
        EXPECT_EQ(m_account.target_version(), "1.0") << payload;
    }
    EXPECT_EQ(
        m_log.Count(
            Level::Warning, "An update request was received but it did not come with the targetAgentVersion property"),
        9U);
}

TEST_F(UpdateRequestTest, ATextThatIsNoJsonIsAnException)
{
    for (const char* payload : {" ", "nonsense", "{", R"({"targetAgentVersion":"3.2"}x)", "\"\xC3\""})
    {
        EXPECT_THROW(Messaging::ParseUpdateRequest(payload, m_account), RuntimeException) << payload;
    }
    EXPECT_EQ(m_account.target_version(), "1.0");
}

using UserGroupsNotificationTest = AgentConfigTest;

TEST_F(UserGroupsNotificationTest, TheGroupsOfTheUserAreRead)
{
    const UserGroups groups = Messaging::ParseUserGroupsNotification(
        R"({"user":"LAB\\anna","groups":["a","b","a"],"groups_timestamp":"18446744073709551615"})");
    EXPECT_EQ(groups.user(), "LAB\\anna");
    EXPECT_THAT(groups.groups(), ElementsAre("a", "b", "a"));
    EXPECT_EQ(groups.groups_timestamp(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(Messaging::ParseUserGroupsNotification(R"({"groupsTimestamp":5})").groups_timestamp(), 5U);
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(UserGroupsNotificationTest, UnknownAndMissingMembersAreIgnored)
{
    EXPECT_EQ(Messaging::ParseUserGroupsNotification(R"({"new":[{}],"user":"anna"})").user(), "anna");
    EXPECT_EQ(Messaging::ParseUserGroupsNotification("{}").SerializeAsString(), "");
}

TEST_F(UserGroupsNotificationTest, AnyOtherTextIsReportedWithThePayload)
{
    for (const std::string payload :
         {"", "nonsense", "[]", "true", "{", R"({"user":5})", R"({"groups":{}})", R"({"groups":[1]})",
          R"({"groups_timestamp":-1})", R"({"groups_timestamp":1.5})", "{\"user\":\"\xFF\"}"})
    {
        EXPECT_EQ(
            RuntimeText([&] { (void)Messaging::ParseUserGroupsNotification(payload); }),
            "Failed to parse UserGroups notification: " + payload);
    }
    EXPECT_EQ(Lines(), std::vector<std::string>(11, "error: ParseJSON() failed"));
}

TEST_F(UserGroupsNotificationTest, DeepNestingNeitherCrashesNorHangs)
{
    const UserGroups groups =
        Messaging::ParseUserGroupsNotification(R"({"a":)" + Nested(100'000) + R"(,"user":"anna"})");
    EXPECT_EQ(groups.user(), "anna");
}

class TargetVersionTest : public ::testing::Test
{
protected:
    void Add(AgentClass agentClass, Product product, AgentOperatingSystem system, const std::string& version)
    {
        auto& entry = *m_account.add_target_versions();
        entry.set_agent_class(agentClass);
        entry.set_product(product);
        entry.set_operating_system(system);
        entry.set_version(version);
    }

    std::string Found() const
    {
        return Messaging::FindTargetVersion(m_account);
    }

    Config::Account::Agent m_account;
};

TEST_F(TargetVersionTest, IsThatOfTheFirstEntryForThisKindOfAgent)
{
    Add(REMOTE_NETWORK, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "1");
    Add(MOBILE_USER, EDGEUNIT, AGENT_OPERATING_SYSTEM_WINDOWS, "2");
    Add(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_LINUX, "3");
    Add(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "4");
    Add(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "5");
    EXPECT_EQ(Found(), "4");
}

TEST_F(TargetVersionTest, IsEmptyWithoutAnEntryForThisKindOfAgent)
{
    m_account.set_target_version("of another source");
    EXPECT_EQ(Found(), "");
    Add(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_MACOS, "3");
    EXPECT_EQ(Found(), "");
}

TEST_F(TargetVersionTest, AnEntryThatSaysNothingElseIsForThisKindOfAgent)
{
    m_account.add_target_versions()->set_version("6");
    EXPECT_EQ(Found(), "6");
}

} // namespace
