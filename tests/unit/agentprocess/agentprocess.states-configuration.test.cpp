#include "agentprocess.states-configuration.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-mainloop.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using Agent::Process::MainLoop;
using Agent::Process::StateFunctions::ConfigRequest;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using WireProtocol::Comms::InboundMessage;
namespace StateFunctions = Agent::Process::StateFunctions;

/// Analytics that keep what they are told.
class FakeAnalytics : public Agent::Process::AnalyticsLink
{
public:
    using State = Shared::Concurrency::Thread::State;

    void SetConfiguration(
        const SelfServiceConfiguration& configuration,
        const Config::Account::Agent& accountAgent,
        const UserGroups& userGroups,
        const std::wstring& username) override
    {
        isEnabled = configuration.enabled();
        targetVersion = accountAgent.target_version();
        groups = {userGroups.groups().begin(), userGroups.groups().end()};
        user = username;
    }

    void SetShowConsole(bool showConsole) override
    {
        showsConsole = showConsole;
    }

    State GetState() const override
    {
        return state;
    }

    void Start() override
    {
        ++starts;
        userAtStart = user;
        state = State::Running;
    }

    State state = State::Created;
    int starts = 0;
    std::wstring userAtStart;
    bool isEnabled = false;
    std::string targetVersion;
    std::vector<std::string> groups;
    std::wstring user;
    bool showsConsole = false;
};

class ConfigurationStatesTest : public TestSupport::MainLoopTest
{
protected:
    void Answer(std::uint32_t msgId, std::uint32_t seqNum, const std::string& payload)
    {
        m_state.inboundMessages.Push(InboundMessage{seqNum, msgId, payload, 0, 0, {}});
    }

    /// What the latest request asked for.
    std::string Requested(std::string_view path) const
    {
        std::string text = "{}";
        for (const TestSupport::CapturedLog::Line& line : m_log.Lines())
        {
            const std::size_t at = line.text.find("Payload: ");
            if (line.text.starts_with("Serialised message:") && at != std::string::npos)
            {
                text = line.text.substr(at + std::string_view("Payload: ").size());
            }
        }
        return Shared::Json::RapidJsonDocument(std::string_view(text)).GetJsonTextByPath(path);
    }

    void AddTargetVersion(AgentClass agentClass, Product product, AgentOperatingSystem system, const char* version)
    {
        Config::AgentVersion& entry = *m_state.accountAgentConfig.add_target_versions();
        entry.set_agent_class(agentClass);
        entry.set_product(product);
        entry.set_operating_system(system);
        entry.set_version(version);
    }
};

TEST_F(ConfigurationStatesTest, EachRequestNamesItsTreeOrItsKeysAndKeepsItsNumber)
{
    struct Row
    {
        RuntimeState state;
        std::uint32_t AppState::*field;
        std::string trees;
        std::string keys;
        RuntimeState next;
    };

    const std::vector<Row> rows = {
        {RuntimeState::GetNetworkConfig, &AppState::networkConfigSeqNum, R"(["/config/network_object"])", "",
         RuntimeState::GetTestsConfig},
        {RuntimeState::GetTestsConfig, &AppState::testsConfigSeqNum, "", R"(["/config/tests"])",
         RuntimeState::GetTagConfig},
        {RuntimeState::GetTagConfig, &AppState::tagConfigSeqNum, R"(["/config/tags"])", "",
         RuntimeState::GetUserGroups},
        {RuntimeState::GetMtrConfig, &AppState::mtrConfigSeqNum, R"(["/config/mtr"])", "", RuntimeState::GetCurlConfig},
        {RuntimeState::GetCurlConfig, &AppState::curlConfigSeqNum, R"(["/config/curl"])", "",
         RuntimeState::GetEteConfig},
        {RuntimeState::GetEteConfig, &AppState::eteConfigSeqNum, R"(["/config/ete"])", "",
         RuntimeState::GetInstanceAgentConfig},
        {RuntimeState::GetInstanceAgentConfig, &AppState::instanceAgentSeqNum, "",
         R"(["/config/agent","/config/cversion/instance"])", RuntimeState::GetAccountAgentConfig},
        {RuntimeState::GetAccountAgentConfig, &AppState::accountAgentSeqNum, "",
         R"(["/config/account/agent","/config/cversion/account","/config/self_service"])",
         RuntimeState::ConfigCompleted}};
    EXPECT_EQ(rows.size(), StateFunctions::GetConfigRequests().size());
    MainLoop loop(m_context);
    for (const Row& row : rows)
    {
        SetStack({row.state});
        const std::uint32_t number = m_state.nextSeqNum + 1;
        Answer(6006, number, R"({"success":true,"values":{}})");
        ASSERT_TRUE(loop.RunPass());
        EXPECT_EQ(m_state.*row.field, number);
        EXPECT_EQ(Requested("/trees"), row.trees);
        EXPECT_EQ(Requested("/keys"), row.keys);
        EXPECT_EQ(Top(), row.next) << "in the same pass";
        EXPECT_TRUE(m_responses.Empty());
    }
}

TEST_F(ConfigurationStatesTest, AStartupThatIsAnsweredLeadsOnInTheSamePass)
{
    SetStack({RuntimeState::Startup});
    Answer(24101, m_state.nextSeqNum + 1, R"({"statusCode":200})");
    EXPECT_TRUE(MainLoop(m_context).RunPass());
    EXPECT_EQ(Top(), RuntimeState::GetNetworkConfig);
    EXPECT_EQ(m_log.Count(Level::Info, "Main loop state: Startup"), 1U);
}

TEST_F(ConfigurationStatesTest, UserGroupsLeadOnInTheSamePass)
{
    SetStack({RuntimeState::GetUserGroups});
    m_identity.vpnInfo.fullUsername = L"anna";
    Answer(24201, 0, R"({"groups":["staff"]})");
    EXPECT_TRUE(MainLoop(m_context).RunPass());
    EXPECT_EQ(Top(), RuntimeState::GetMtrConfig);
    EXPECT_THAT(m_state.userGroups.groups(), ElementsAre("staff"));
}

TEST_F(ConfigurationStatesTest, WithoutAUserTheAgentStaysAtTheUserGroups)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::GetUserGroups});
    EXPECT_TRUE(MainLoop(m_context).RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetUserGroups, RuntimeState::RetryPrevious));
}

TEST_F(ConfigurationStatesTest, ARefusedRequestIsRepeatedAfterTheDelay)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::GetMtrConfig});
    Answer(6006, m_state.nextSeqNum + 1, R"({"success":false,"error":"busy"})");
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetMtrConfig, RuntimeState::RetryPrevious));
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Unsuccessful processing on " + WireProtocol::Comms::FormatMessageId(6006)), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "An inbound message had an error: Mtr config failed"), 1U);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::GetMtrConfig);
}

TEST_F(ConfigurationStatesTest, ALateAnswerToAnEarlierRequestIsNoneAndTheStateIsRepeated)
{
    Shared::Time::ClockControl::SetSpeed(10'000);
    SetStack({RuntimeState::GetTestsConfig, RuntimeState::GetTagConfig});
    Answer(6006, m_state.nextSeqNum, R"({"success":true,"values":{}})");
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetTagConfig, RuntimeState::RetryPrevious));
    EXPECT_EQ(m_state.inboundMessages.Size(), 1U);
}

TEST_F(ConfigurationStatesTest, AResponseWhoseNumberMatchesNothingHasNoEffectAndTheStateRunsAgain)
{
    SetStack({RuntimeState::GetTestsConfig, RuntimeState::GetTagConfig});
    // Stands before the state's own response.
    m_responses.Push(AgentCore::Messaging::MessageResponse(
        {m_state.nextSeqNum, 6006, R"({"success":true,"values":{}})", 0, 0, {}}, MessageResponseStatus::Success));
    Answer(6006, m_state.nextSeqNum + 1, R"({"success":true,"values":{}})");
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::GetTagConfig);
    Answer(6006, m_state.nextSeqNum + 1, R"({"success":true,"values":{}})");
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(m_log.Count(Level::Info, "Main loop state: GetTagConfig"), 2U);
}

TEST_F(ConfigurationStatesTest, TestsThatTheServerHasTurnedOffAreTurnedOffWhenTheConfigurationIsWhole)
{
    m_state.instanceAgentConfig.set_enabled(false);
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(false));
}

TEST_F(ConfigurationStatesTest, ACompletionThatFailsIsRepeatedAndPushesNothing)
{
    SetStack({RuntimeState::GetAccountAgentConfig, RuntimeState::ConfigCompleted});
    m_identity.installedVersion = L"1.0";
    m_identity.targetVersionFails = true;
    AddTargetVersion(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "2.0");
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::ConfigCompleted, RuntimeState::RetryPrevious));
    EXPECT_FALSE(m_context.configured);
    m_identity.targetVersionFails = false;
    EXPECT_TRUE(loop.RunPass());
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_TRUE(m_context.configured);
}

TEST_F(ConfigurationStatesTest, ARequestedUpgradeIsDueAgainAfterFifteenMinutes)
{
    Shared::Time::ClockControl::SetSpeed(10'000);
    m_identity.installedVersion = L"1.0";
    AddTargetVersion(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "2.0");
    const auto start = Shared::Time::MonotonicNow();
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(m_upgradeTimer.GetHandle(), 3'600'000));
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::minutes(15));
}

TEST_F(ConfigurationStatesTest, ACompletedConfigurationDropsStaleNoticesAndLeadsToPolling)
{
    Answer(6056, 1, "");
    Answer(24104, 2, "");
    Answer(6056, 3, "");
    StateFunctions::ConfigCompleted(m_context);
    ASSERT_EQ(m_state.inboundMessages.Size(), 1U);
    EXPECT_EQ(m_state.inboundMessages.At(0).SeqNum, 2U);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(true));
    EXPECT_EQ(m_identity.autoUpdateEnablings, 1);
    EXPECT_TRUE(m_context.configured);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(ConfigurationStatesTest, WithoutTargetVersionsItSaysSoAndGoesOnToPolling)
{
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "An upgrade was initiated, but the target version is unexpectedly empty. Check the server's "
            "ConfigAccountAgent response to ensure the correct OS, agent class, and product is present in "
            "target_versions."),
        1U);
    EXPECT_THAT(m_identity.targetVersions, IsEmpty());
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(ConfigurationStatesTest, ANewerVersionForThisKindOfAgentIsHandedToTheUpdater)
{
    m_identity.installedVersion = L"3.2.0";
    m_state.accountAgentConfig.set_target_version("9.9.9");
    AddTargetVersion(REMOTE_NETWORK, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "4.0");
    AddTargetVersion(MOBILE_USER, EDGEUNIT, AGENT_OPERATING_SYSTEM_WINDOWS, "5.0");
    AddTargetVersion(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_LINUX, "6.0");
    AddTargetVersion(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "3.2.1");
    AddTargetVersion(MOBILE_USER, DESKTOP, AGENT_OPERATING_SYSTEM_WINDOWS, "7.0");
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L"3.2.1"));
    EXPECT_EQ(m_log.Count(Level::Info, "The current version is 3.2.0; the requested version is 3.2.1"), 1U);
}

TEST_F(ConfigurationStatesTest, TheAnalyticsAreConfiguredAndThenStarted)
{
    FakeAnalytics analytics;
    m_context.analytics = &analytics;
    m_state.selfServiceConfig.set_enabled(true);
    m_state.accountAgentConfig.set_target_version("3.4");
    m_state.userGroups.add_groups("staff");
    m_state.username = L"anna";
    m_state.debugMode = true;
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_EQ(analytics.starts, 1);
    EXPECT_TRUE(analytics.isEnabled);
    EXPECT_EQ(analytics.targetVersion, "3.4");
    EXPECT_THAT(analytics.groups, ElementsAre("staff"));
    EXPECT_EQ(analytics.user, L"anna");
    EXPECT_TRUE(analytics.showsConsole);
    EXPECT_EQ(analytics.userAtStart, L"anna");
}

TEST_F(ConfigurationStatesTest, AnalyticsThatHaveRunOnceAreConfiguredAgainAndNotStarted)
{
    FakeAnalytics analytics;
    m_context.analytics = &analytics;
    StateFunctions::ConfigCompleted(m_context);
    m_state.username = L"berta";
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_EQ(analytics.starts, 1);
    EXPECT_EQ(analytics.user, L"berta");
    EXPECT_EQ(
        m_log.Count(Level::Info, "Didn't run AnalyticsIoWorker.Start() as AnalyticsIoWorker is in status: 3"), 1U);
}

TEST_F(ConfigurationStatesTest, ABuildWithoutAnalyticsSaysSo)
{
    StateFunctions::ConfigCompleted(m_context);
    EXPECT_EQ(m_log.Count(Level::Info, "This build has no analytics to start"), 1U);
}

} // namespace
