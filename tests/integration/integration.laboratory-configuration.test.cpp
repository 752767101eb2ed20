#include "integration.laboratoryfixture.hpp"
#include "lab.vellab-settings.hpp"

#include <cctype>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>

// The road from the posting of the inventory to polling, as the agent goes it on good answers and on bad ones.

namespace
{

using Integration::CountIn;
using Integration::ReadFile;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Lines = std::vector<std::string>;

constexpr const char* Registered = "The agent registered successfully.";
constexpr const char* Initialise = "Main loop state: Initialise";
constexpr const char* Startup = "Main loop state: Startup";
constexpr const char* Retry = "Main loop state: RetryPrevious";
constexpr const char* Refused = "Unsuccessful processing on MSGIDS_CONFIG_GET2_RESPONSE (6006)";
constexpr const char* ConfigTimedOut = " and AgentMessageId MSGIDS_CONFIG_GET2_RESPONSE (6006) timed out";
constexpr const char* Completed = "Main loop state: ConfigCompleted";
constexpr const char* Polling = "Main loop state: InPolling";

/// What the cloud sends when a test wants to know that everything before it has arrived.
constexpr const char* Marker = R"({"marker":true})";
constexpr const char* MarkerFault =
    R"({"fault":"send-message","after":"configuration","delay":5,"msgId":89,"payload":{"marker":true}})";

/// Members of a cloud: one of each that the tests below count.
constexpr const char* SmallConfiguration =
    R"("configuration":{
        "/config/network_object":{"o":{"uuid":"U","name":"N","domains":["n.lab.example"],"ips":[]}},
        "/config/tests":{"/config/mtr/t":{"enabled":true,"priority":1}},
        "/config/tags":{"mine":"x"},
        "/config/mtr":{"t":{"netobj":"U","tags":["/config/tags/mine"],
                            "mtr":{"l4_protocol":"tcp","port":443,"report_cycles":1,"interval":1}}},
        "/config/account/agent":{"target_versions":[{"version":"1.0.0"}]}})";

class LaboratoryConfigurationTest : public Integration::LaboratoryTest
{
protected:
    /// One of the laboratory's own scenarios.
    static std::string ScenarioFile(const std::string& name)
    {
        return ReadFile(std::filesystem::path(VEL_SOURCE_TREE) / "lab" / "scenarios" / (name + ".json"));
    }

    /// Delays of 2 and 4 s, and 5 s for an answer. Network tests are disabled: on a clock this fast the agent may hear of its
    /// own note of the last answer's time only in the delay, which that would end by a new beginning.
    static std::string Disabled(const std::string& answers, const std::string& faults = "")
    {
        return Scenario(R"("vpn":{"user-selection":"disable"},)", answers, faults);
    }

    static std::string Enabled(const std::string& answers, const std::string& faults = "")
    {
        return Scenario("", answers, faults);
    }

    static std::string Scenario(const std::string& more, const std::string& answers, const std::string& faults)
    {
        return fmt::format(
            R"({{"settings":{{"MinimumRetryDelaySeconds":2,"MaximumRetryDelaySeconds":4,"ResponseTimeout":"00:00:05"}},)"
            R"({}"cloud":{{{},"answers":[{}]}},"faults":[{}]}})",
            more, SmallConfiguration, answers, faults);
    }
};

TEST_F(LaboratoryConfigurationTest, TheExampleIsFetchedAndEachOfItsTestsKeptOrIgnoredForItsReason)
{
    Play(
        ScenarioFile("example"),
        {"The agent successfully posted Startup data.", "Caching network object config...", "Cached 5 network objects.",
         "Cached 19 Test objects", "Cached 2 tag objects.", "Cached 4 MTR objects, skipped 5 MTR objects.",
         "Cached 4 Curl objects, skipped 1 Curl objects.", "Cached 5 ETE objects, skipped 1 ETE objects.",
         "Caching Instance Agent config...", "Caching Account::Agent config...", Completed,
         "The current version is 1.0.0; the requested version is 1.0.0", Polling});
    for (
        const char* line :
        {"Detected a duplicate domain value intranet.lab.example on network object b7c1d0e0-0000-4000-8000-000000000002",
         "User LABORATORY\\ADA matched for test /config/mtr/path-customers.",
         "Ignored test /config/mtr/path-files as it's disabled",
         "Ignored test /config/mtr/path-payroll as it failed tags/instances and usergroups test.",
         "Ignoring split-tunnel MTR test /config/mtr/path-beside-the-vpn",
         "Ignored test /config/mtr/path-to-nothing due to missing netobj field",
         "Ignored test /config/mtr/path-without-tags due to missing tags field",
         "Discarding test /config/mtr/path-forgotten as it was not found in the test config map",
         "Group Engineering matched for test /config/curl/web-customers.",
         "No users field was detected on config object /config/curl/web-this-agent.",
         "Ignored test /config/curl/web-payroll as it failed tags/instances and usergroups test.",
         "User laboratory\\ada matched for test /config/ete/port-files.",
         "Ignored test /config/ete/port-payroll as it failed tags/instances and usergroups test."})
    {
        EXPECT_EQ(CountInLog(line), 1U) << line;
        EXPECT_THAT(Timeline(), HasSubstr(line));
    }
    EXPECT_EQ(CountInLog("Ignored test "), 6U);
    EXPECT_THAT(Log(), Not(HasSubstr(Retry)));
    EXPECT_THAT(
        Timeline(),
        AllOf(
            HasSubstr(" of its seconds after it posted its inventory: in 10 requests the cloud took "),
            HasSubstr("  account-agent "),
            HasSubstr("for the updater the agent left no target-version, and AutoUpdate 1\n")));
}

TEST_F(LaboratoryConfigurationTest, OfAnotherOwnerInFrontTheListsAreReadAndNotTheRest)
{
    Play(
        R"({"cloud":{)" + std::string(SmallConfiguration) +
            R"(,"owners":[{"uuid":"another","place":"first","configuration":{
                "/config/network_object":{"a":{"uuid":"A","name":"A"},"b":{"uuid":"B","name":"B"}},
                "/config/tests":{"/config/mtr/x":{"enabled":true},"/config/mtr/y":{"enabled":true}},
                "/config/tags":{"a":"1","b":"2","c":"3"},"/config/agent":{"enabled":false}}}]}})",
        {"Cached 2 network objects.", "Cached 1 Test objects", "Cached 1 tag objects.",
         "Cached 0 MTR objects, skipped 0 MTR objects.", "No member /values/5f0c5a52-0000-4000-8000-000000000001/",
         Polling});
}

TEST_F(LaboratoryConfigurationTest, ARefusedRequestIsRepeatedAfterTheDelay)
{
    Play(
        Disabled(R"({"to":"startup","how":"refuse","code":503},{"to":"mtr","how":"refuse","error":"not now"},)"
                 R"({"to":"curl","how":"refuse"},{"to":"ete","how":"refuse"},{"to":"instance-agent","how":"refuse"},)"
                 R"({"to":"account-agent","how":"refuse"})"),
        {"Server has encountered an internal error: 503",
         "Unsuccessful processing on MSGIDS_AGENT_STARTUP_RESPONSE (24101)",
         "An inbound message had an error: Startup response failed",
         Retry,
         "Retrying previous operation in 2000 ms",
         Startup,
         Refused,
         "An inbound message had an error: Mtr config failed",
         Retry,
         "Main loop state: GetMtrConfig",
         Refused,
         "An inbound message had an error: Curl config failed",
         Retry,
         "Main loop state: GetCurlConfig",
         Refused,
         "An inbound message had an error: Ete config failed",
         Retry,
         "Main loop state: GetEteConfig",
         Refused,
         "An inbound message had an error: ",
         Retry,
         "Main loop state: GetInstanceAgentConfig",
         Refused,
         "An inbound message had an error: ",
         Retry,
         "Main loop state: GetAccountAgentConfig",
         Completed,
         Polling});
    EXPECT_EQ(CountInLog(Startup), 2U) << "a step is repeated, and not all of them";
    EXPECT_THAT(Timeline(), HasSubstr("cloud     | the scenario's answer to it: refuse\n"));
}

TEST_F(LaboratoryConfigurationTest, ARefusalBeforeTheUserIsKnownIsRepeatedLikeAnyOther)
{
    Play(
        Disabled(R"({"to":"tests","how":"late","delay":4},{"to":"tags","how":"refuse"})"),
        {"An inbound message had an error: Tag config failed", Retry, "Main loop state: GetTagConfig", Completed,
         Polling});
    EXPECT_EQ(CountInLog(Startup), 1U);
}

TEST_F(LaboratoryConfigurationTest, ARequestWithoutAnAnswerUnderItsNumberIsGivenUpAndRepeated)
{
    Play(
        Disabled(
            R"({"to":"startup","how":"drop"},{"to":"user-groups","how":"drop"},{"to":"mtr","how":"drop","times":2},)"
            R"({"to":"curl","how":"wrong-number"})"),
        {" and AgentMessageId MSGIDS_AGENT_STARTUP_RESPONSE (24101) timed out", Retry,
         "Retrying previous operation in 2000 ms", Startup,
         "Message of type MSGIDS_AGENT_USER_GROUPS_NOTIFICATION timed out", Retry, "Main loop state: GetUserGroups",
         ConfigTimedOut, Retry, "Main loop state: GetMtrConfig", ConfigTimedOut, Retry, "Main loop state: GetMtrConfig",
         ConfigTimedOut, Retry, "Main loop state: GetCurlConfig", Completed, Polling});
    EXPECT_EQ(CountInLog(Startup), 2U);
}

TEST_F(LaboratoryConfigurationTest, AnAnswerThatCannotBeReadIsToldAndAskedForAgain)
{
    Play(
        Disabled(
            R"({"to":"startup","how":"delivery-failure"},{"to":"user-groups","how":"rubbish"},)"
            R"({"to":"mtr","how":"body","body":"{ \"success\": tru"},{"to":"ete","how":"body","body":{"values":{}}},)"
            R"({"to":"account-agent","how":"body","body":{"success":null}})"),
        {"The server responded with a delivery failure: 2", "rapidJSON encountered a parse error on string ==> ", Retry,
         Startup, "Failed to parse UserGroups notification: <html>502 Bad Gateway</html>", Retry,
         "Main loop state: GetUserGroups", "rapidJSON encountered a parse error on string ==> { \"success\": tru",
         Retry, "Main loop state: GetMtrConfig", Refused, Retry, "Main loop state: GetEteConfig", "Nullable is null",
         Retry, "Main loop state: GetAccountAgentConfig", Completed, Polling});
}

TEST_F(LaboratoryConfigurationTest, AnAnswerThatIsLateButInTimeIsTaken)
{
    // With the 30 s that an answer has by itself.
    Play(
        R"({"cloud":{"answers":[{"to":"startup","how":"late","delay":7},{"to":"mtr","how":"late","delay":3}]}})",
        {Completed, Polling});
    EXPECT_THAT(Log(), Not(HasSubstr(Retry)));
    EXPECT_EQ(CountIn(Timeline(), "cloud     | the scenario's answer to it: late\n"), 2U);
}

TEST_F(LaboratoryConfigurationTest, AnAnswerThatComesTooLateHasNoEffect)
{
    Play(
        Disabled(R"({"to":"mtr","how":"late","delay":12})", MarkerFault),
        {ConfigTimedOut, Retry, "Main loop state: GetMtrConfig", Completed, Polling, Marker});
    EXPECT_EQ(CountInLog("Caching MTR config..."), 1U);
    EXPECT_EQ(CountInLog(Completed), 1U);
}

TEST_F(LaboratoryConfigurationTest, ASecondAnswerIsTakenOncePollingAndWhatFollowsIsAskedForAgain)
{
    Play(
        Enabled(R"({"to":"startup","how":"twice"},{"to":"mtr","how":"twice"})"),
        {Completed, Polling, "Agent received an unexpected server MSGIDS_AGENT_STARTUP_RESPONSE with seq_num ",
         "Caching MTR config...", "Main loop state: GetCurlConfig", Completed, Polling});
    EXPECT_EQ(CountInLog("Main loop state: GetMtrConfig"), 1U);
    EXPECT_EQ(CountInLog(Startup), 1U);
}

TEST_F(LaboratoryConfigurationTest, AnOrderedRegistrationIsMadeAndWithNetworkTestsEnabledAStepIsRepeatedToo)
{
    Play(
        Enabled(R"({"to":"startup","how":"refuse","code":400,"action":"reregister"},{"to":"mtr","how":"refuse"})"),
        {Registered, "Server has instructed this agent to forcibly reregister.", "Main loop state: Register",
         Registered, Startup, "An inbound message had an error: Mtr config failed", Retry,
         "Main loop state: GetMtrConfig", Completed, Polling});
    EXPECT_EQ(CountInLog(Startup), 2U);
}

TEST_F(LaboratoryConfigurationTest, AServerThatOrdersAStopGetsIt)
{
    Play(R"({"exitCode":3500,"cloud":{"answers":[{"to":"startup","how":"refuse","code":400,"action":"stop"}]}})", {});
    EXPECT_THAT(
        Log(),
        AllOf(
            HasSubstr("Server has instructed this agent to shut down. This agent will now exit."),
            HasSubstr("The agent received a stop command from the server and will now exit.")));
}

TEST_F(LaboratoryConfigurationTest, AChangeOfTheConfigurationOrOfTheGroupsIsFetchedAndTakenIn)
{
    Lab::Options options = MakeOptions(
        ScenarioFile("changes"),
        {"Group engineering matched for test /config/mtr/path-mail-of-engineers.",
         "Cached 2 MTR objects, skipped 0 MTR objects.", Completed, Polling, Initialise, Startup,
         "Ignored test /config/mtr/path-mail as it's disabled",
         "Group engineering matched for test /config/mtr/path-mail-of-engineers.",
         "Cached 1 MTR objects, skipped 1 MTR objects.", "found for agent config", Completed, Polling,
         "Re-initialising as we received an unexpected MSGIDS_AGENT_USER_GROUPS_NOTIFICATION message", Initialise,
         "Ignored test /config/mtr/path-mail-of-engineers as it failed tags/instances and usergroups test.",
         "Cached 0 MTR objects, skipped 2 MTR objects.", Completed});
    // Its changes are minutes apart.
    options.speed = 2 * Speed;
    ASSERT_TRUE(Lab::IsGood(Run(options))) << Timeline() << Log();
    EXPECT_THAT(Timeline(), HasSubstr("fault     | change-configuration: 3 paths, and a notice on 1 link\n"));
    EXPECT_THAT(Timeline(), HasSubstr("fault     | change-groups: 1 group, told on 1 link\n"));
}

TEST_F(LaboratoryConfigurationTest, ANoticeThatComesWhileTheConfigurationIsFetchedIsDropped)
{
    Play(
        Enabled(
            R"({"to":"startup","how":"late","delay":2})",
            R"({"fault":"send-message","after":"link","delay":1,"msgId":6056},)" + std::string(MarkerFault)),
        {"(6056)\n", Completed, Polling, Marker});
    EXPECT_EQ(CountInLog(Startup), 1U);
}

TEST_F(LaboratoryConfigurationTest, ANewerVersionIsLeftForTheUpdaterAndAnUpdateRequestNamesAnother)
{
    Lab::Options options = MakeOptions(
        ScenarioFile("upgrade"),
        {Completed, "The current version is 1.0.0; the requested version is 1.9.9", Polling,
         "Processing update request...", "Main loop state: RunUpdateTask",
         "An upgrade was initiated but the current version 1.0.0 is greater than the target version 0.9", Polling,
         "Main loop state: RunUpdateTask", "The current version is 1.0.0; the requested version is 1.10.0", Polling,
         "An update request was received but it did not come with the targetAgentVersion property",
         "Main loop state: RunUpdateTask", "The current version is 1.0.0; the requested version is 1.10.0", Polling});
    options.speed = 2 * Speed;
    ASSERT_TRUE(Lab::IsGood(Run(options))) << Timeline() << Log();
    EXPECT_EQ(Lab::ReadUpgradeHandOff(), (Lab::UpgradeHandOff{"1.10.0", 1}));
    EXPECT_THAT(Timeline(), HasSubstr("for the updater the agent left target-version 1.10.0, and AutoUpdate 1\n"));
}

} // namespace
