#include "agentcore.ops-messageprocessing.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-logger.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-settingsstore.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <msg_ids.pb.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

namespace
{

using AgentCore::Messaging::MessageResponse;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::AppState;
using AgentCore::Ops::MessageResponses;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
namespace WinReg = Shared::WinReg;

class MessageProcessingTest : public ::testing::Test
{
protected:
    MessageProcessingTest()
    {
        AgentCore::Ops::ResetRouterFeatures();
        WinReg::CreateKey(WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Agent);
    }

    ~MessageProcessingTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    /// One response on the queue, and one call.
    void Process(
        std::uint32_t msgId,
        MessageResponseStatus status = MessageResponseStatus::Success,
        std::uint32_t seqNum = 77,
        std::string payload = "{}",
        std::uint32_t flags = 0)
    {
        m_responses.Push(MessageResponse({seqNum, msgId, std::move(payload), flags, 0, {}}, status));
        AgentCore::Ops::ProcessMessageResponse(m_state, m_responses);
    }

    RuntimeState Top() const
    {
        return m_state.runtimeStates.GetCurrent();
    }

    void Enter(RuntimeState state)
    {
        m_state.runtimeStates.Push(state);
    }

    /// The text behind the place of the exception that a failed exchange ends in.
    std::string FailureOf(std::uint32_t msgId, std::uint32_t seqNum = 77)
    {
        try
        {
            Process(msgId, MessageResponseStatus::Failure, seqNum);
        }
        catch (const Shared::Exception::RuntimeException& exception)
        {
            const std::string what = exception.what();
            EXPECT_THAT(what, HasSubstr("Exception in ProcessAndSetFailed() at "));
            return what.substr(what.find(" --> ") + 5);
        }
        return "no exception";
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    AppState m_state;
    MessageResponses m_responses;
};

TEST_F(MessageProcessingTest, AnEmptyQueueChangesNothing)
{
    AgentCore::Ops::ProcessMessageResponse(m_state, m_responses);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
}

TEST_F(MessageProcessingTest, OneResponseIsTakenPerCallAndTheEventFollowsWhatIsLeft)
{
    m_responses.Push(
        MessageResponse({1, Messages::MSGIDS_AGENT_REGISTER_RESPONSE, "", 0, 0, {}}, MessageResponseStatus::Success));
    m_responses.Push(MessageResponse({2, 4711, "", 0, 0, {}}, MessageResponseStatus::Reregister));
    AgentCore::Ops::ProcessMessageResponse(m_state, m_responses);
    EXPECT_EQ(Top(), RuntimeState::Startup);
    EXPECT_EQ(m_responses.Size(), 1U);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(m_responses.GetEventHandle(), 0));
    AgentCore::Ops::ProcessMessageResponse(m_state, m_responses);
    EXPECT_EQ(Top(), RuntimeState::Register);
    EXPECT_FALSE(Shared::Concurrency::WaitFor(m_responses.GetEventHandle(), 0));
}

TEST_F(MessageProcessingTest, AFailingResponseIsOffTheQueueToo)
{
    EXPECT_EQ(
        FailureOf(Messages::MSGIDS_AGENT_STARTUP_RESPONSE), "An inbound message had an error: Startup response failed");
    EXPECT_TRUE(m_responses.Empty());
    EXPECT_FALSE(Shared::Concurrency::WaitFor(m_responses.GetEventHandle(), 0));
}

TEST_F(MessageProcessingTest, StatusReregisterAndStopPushTheirStates)
{
    Process(4711, MessageResponseStatus::Reregister);
    EXPECT_EQ(Top(), RuntimeState::Register);
    Process(4711, MessageResponseStatus::Stop);
    EXPECT_EQ(Top(), RuntimeState::StopRequested);
}

TEST_F(MessageProcessingTest, AnUnknownStatusIsOnlyLogged)
{
    Process(4711, static_cast<MessageResponseStatus>(9));
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(m_log.Count(Level::Warning, "Unknown status 9 on unknown (4711)"), 1U);
}

TEST_F(MessageProcessingTest, TheFirstRouterFeaturesAreIgnoredTheSecondRestartTheThirdAreIgnored)
{
    Enter(RuntimeState::InPolling);
    Process(Messages::MSGIDS_ROUTER_FEATURES);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    Process(Messages::MSGIDS_ROUTER_FEATURES);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "Detected that the agent lost connection and re-connected. The agent "
            "will re-initialise."),
        1U);
    Enter(RuntimeState::InPolling);
    Process(Messages::MSGIDS_ROUTER_FEATURES);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(MessageProcessingTest, AStartupResponseLeadsOnOnlyFromStartup)
{
    Enter(RuntimeState::Startup);
    Process(Messages::MSGIDS_AGENT_STARTUP_RESPONSE);
    EXPECT_EQ(Top(), RuntimeState::GetNetworkConfig);
    EXPECT_GT(m_state.lastConnectedTime, 1'700'000'000);
    EXPECT_FALSE(
        WinReg::GetStringValue(WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Agent, L"last-connected-time")
            .empty());
}

TEST_F(MessageProcessingTest, ASecondStartupResponseDuringInPollingOnlyLogsAWarning)
{
    Enter(RuntimeState::InPolling);
    Process(Messages::MSGIDS_AGENT_STARTUP_RESPONSE, MessageResponseStatus::Success, 123);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_EQ(m_state.lastConnectedTime, 0);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Agent received an unexpected server MSGIDS_AGENT_STARTUP_RESPONSE with seq_num 123 "
            "whilst in state 15. The associated state transition was ignored."),
        1U);
}

TEST_F(MessageProcessingTest, APollResponseThatAsksForConfigurationRestarts)
{
    Enter(RuntimeState::InPolling);
    Process(Messages::MSGIDS_AGENT_POLL_RESPONSE, MessageResponseStatus::Success, 5, R"({"fetchConfig":false})");
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_GT(m_state.lastConnectedTime, 0);
    Process(Messages::MSGIDS_AGENT_POLL_RESPONSE, MessageResponseStatus::Success, 6, R"({"fetchConfig":true})");
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(m_log.Count(Level::Info, "The poll response has indicated that we should fetch our config"), 1U);
}

TEST_F(MessageProcessingTest, AnUnreadablePollResponseIsAnException)
{
    EXPECT_THROW(
        Process(Messages::MSGIDS_AGENT_POLL_RESPONSE, MessageResponseStatus::Success, 5, "x"),
        Shared::Exception::RuntimeException);
}

/// The answers to the requests of the chain, in its order, for the agent "agent" of the user "D\\anna".
struct ChainAnswer
{
    std::uint32_t AppState::*field;
    const char* payload;
    RuntimeState next;
};

constexpr std::array<ChainAnswer, 3> BeforeUserGroups = {
    {{&AppState::networkConfigSeqNum,
      R"({"success":true,"values":{"agent":{"n1":{"uuid":"u1","name":"one","domains":["a.example"],"ips":["10.0.0.1"]}}}})",
      RuntimeState::GetTestsConfig},
     {&AppState::testsConfigSeqNum,
      R"({"success":true,"values":{"agent":{"/config/tests":{
          "/config/mtr/m1":{"enabled":true,"priority":2},"/config/mtr/m2":{"enabled":true,"priority":1},
          "/config/curl/c1":{"enabled":true},"/config/ete/e1":{"enabled":true}}}}})",
      RuntimeState::GetTagConfig},
     {&AppState::tagConfigSeqNum, R"({"success":true,"values":{"agent":{"t1":"here"}}})",
      RuntimeState::GetUserGroups}}};

constexpr std::array<ChainAnswer, 5> BehindUserGroups = {
    {{&AppState::mtrConfigSeqNum,
      R"({"success":true,"values":{"agent":{
          "m1":{"netobj":"u1","tags":["/config/tags/t1"],"mtr":{}},
          "m2":{"netobj":"u1","tags":[],"users":["d\\ANNA"],"groups":[],"mtr":{}},
          "m3":{"netobj":"u1","tags":[],"users":[],"groups":["others"],"mtr":{}}}}})",
      RuntimeState::GetCurlConfig},
     {&AppState::curlConfigSeqNum,
      R"({"success":true,"values":{"agent":{"c1":{"netobj":"u1","tags":[],"instances":["agent"],"curl":{}}}}})",
      RuntimeState::GetEteConfig},
     {&AppState::eteConfigSeqNum,
      R"({"success":true,"values":{"agent":{
          "e1":{"netobj":"u1","tags":[],"users":[],"groups":["STAFF"],"mtr":{"port":443}}}}})",
      RuntimeState::GetInstanceAgentConfig},
     {&AppState::instanceAgentSeqNum,
      R"({"success":true,"values":{"agent":{"/config/agent":{"enabled":false},"/config/cversion/instance":7}}})",
      RuntimeState::GetAccountAgentConfig},
     {&AppState::accountAgentSeqNum,
      R"({"success":true,"values":{"agent":{"/config/account/agent":{"target_version":"9.9"},
          "/config/cversion/account":8,"/config/self_service":{"enabled":true}}}})",
      RuntimeState::ConfigCompleted}}};

TEST_F(MessageProcessingTest, EachConfigurationAnswerIsStoredAndLeadsToTheNextState)
{
    m_state.settings.agentUuid = L"agent";
    m_state.username = L"D\\anna";
    std::uint32_t number = 100;
    const auto answer = [&](const ChainAnswer& step)
    {
        m_state.*step.field = ++number;
        Process(Messages::MSGIDS_CONFIG_GET2_RESPONSE, MessageResponseStatus::Success, number, step.payload);
        EXPECT_EQ(Top(), step.next);
    };
    std::for_each(BeforeUserGroups.begin(), BeforeUserGroups.end(), answer);
    Process(
        Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION, MessageResponseStatus::Success, 0, R"({"groups":["staff"]})");
    EXPECT_EQ(Top(), RuntimeState::GetMtrConfig);
    std::for_each(BehindUserGroups.begin(), BehindUserGroups.end(), answer);

    ASSERT_EQ(m_state.networkObjects.size(), 1U);
    EXPECT_EQ(m_state.tests.size(), 4U);
    ASSERT_EQ(m_state.tags.size(), 1U);
    EXPECT_THAT(m_state.userGroups.groups(), ElementsAre("staff"));
    ASSERT_EQ(m_state.mtrTests.size(), 2U);
    EXPECT_EQ(m_state.mtrTests[0].id, "m2");
    EXPECT_EQ(m_state.mtrTests[1].id, "m1");
    ASSERT_EQ(m_state.curlTests.size(), 1U);
    ASSERT_EQ(m_state.eteTests.size(), 1U);
    ASSERT_EQ(m_state.testConfigurations.size(), 2U);
    EXPECT_EQ(m_state.testConfigurations[0].target, L"a.example");
    EXPECT_TRUE(m_state.testConfigurations[0].hasCurlTest);
    EXPECT_EQ(m_state.testConfigurations[1].target, L"10.0.0.1");
    EXPECT_FALSE(m_state.instanceAgentConfig.enabled());
    EXPECT_EQ(m_state.instanceConfigVersion, 7U);
    EXPECT_EQ(m_state.accountAgentConfig.target_version(), "9.9");
    EXPECT_EQ(m_state.accountConfigVersion, 8U);
    EXPECT_TRUE(m_state.selfServiceConfig.enabled());
}

TEST_F(MessageProcessingTest, AConfigurationThatIsNoJsonLeavesTheState)
{
    const auto refuse = [&](const ChainAnswer& step)
    {
        Enter(RuntimeState::GetUserGroups);
        m_state.*step.field = 50;
        EXPECT_EQ(
            TestSupport::RuntimeText(
                [&] { Process(Messages::MSGIDS_CONFIG_GET2_RESPONSE, MessageResponseStatus::Success, 50, "{"); }),
            "rapidJSON encountered a parse error on string ==> {");
        EXPECT_EQ(Top(), RuntimeState::GetUserGroups);
        m_state.*step.field = 0;
    };
    std::for_each(BeforeUserGroups.begin(), BeforeUserGroups.end(), refuse);
    std::for_each(BehindUserGroups.begin(), BehindUserGroups.end(), refuse);
}

TEST_F(MessageProcessingTest, AConfigurationAnswerThatNobodyAskedForHasNoEffect)
{
    Enter(RuntimeState::GetTagConfig);
    m_state.tagConfigSeqNum = 40;
    Process(Messages::MSGIDS_CONFIG_GET2_RESPONSE, MessageResponseStatus::Success, 41);
    Process(Messages::MSGIDS_CONFIG_GET2_RESPONSE, MessageResponseStatus::Success, 0);
    EXPECT_EQ(Top(), RuntimeState::GetTagConfig);
}

TEST_F(MessageProcessingTest, UserGroupsLeadOnFromTheirStateAndRestartFromEveryOther)
{
    Enter(RuntimeState::GetUserGroups);
    Process(
        Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION, MessageResponseStatus::Success, 3,
        R"({"user":"D\\anna","groups":["a","b"],"unknown":1})");
    EXPECT_EQ(Top(), RuntimeState::GetMtrConfig);
    EXPECT_THAT(m_state.userGroups.groups(), ElementsAre("a", "b"));
    Process(Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "Re-initialising as we received an unexpected "
            "MSGIDS_AGENT_USER_GROUPS_NOTIFICATION message"),
        1U);
}

TEST_F(MessageProcessingTest, UserGroupsThatCannotBeReadAreAnExceptionThatNamesThem)
{
    Enter(RuntimeState::GetUserGroups);
    m_state.userGroups.add_groups("before");
    EXPECT_EQ(
        TestSupport::RuntimeText(
            [&] {
                Process(
                    Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION, MessageResponseStatus::Success, 3,
                    R"({"groups":7})");
            }),
        R"(Failed to parse UserGroups notification: {"groups":7})");
    EXPECT_EQ(Top(), RuntimeState::GetUserGroups);
    EXPECT_THAT(m_state.userGroups.groups(), ElementsAre("before"));
}

TEST_F(MessageProcessingTest, AChangedConfigurationRestartsAfterTwoSeconds)
{
    Shared::Time::ClockControl::SetSpeed(100);
    Enter(RuntimeState::InPolling);
    const auto before = Shared::Time::MonotonicNow();
    Process(Messages::MSGIDS_CONFIG_CHANGES);
    EXPECT_GE(Shared::Time::MonotonicNow() - before, std::chrono::milliseconds(1990));
    EXPECT_EQ(Top(), RuntimeState::Initialise);
}

TEST_F(MessageProcessingTest, AnUpdateRequestLeadsToTheUpdateTask)
{
    Enter(RuntimeState::InPolling);
    Process(
        Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST, MessageResponseStatus::Success, 0,
        R"({"targetAgentVersion":"3.4"})");
    EXPECT_EQ(Top(), RuntimeState::RunUpdateTask);
    EXPECT_EQ(m_state.accountAgentConfig.target_version(), "3.4");
}

TEST_F(MessageProcessingTest, AnUpdateRequestWithoutAVersionLeadsToTheUpdateTaskAllTheSame)
{
    for (const char* payload : {"", "{}", R"({"targetAgentVersion":7})"})
    {
        Enter(RuntimeState::InPolling);
        m_state.accountAgentConfig.set_target_version("3.3");
        Process(Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST, MessageResponseStatus::Success, 0, payload);
        EXPECT_EQ(Top(), RuntimeState::RunUpdateTask);
        EXPECT_EQ(m_state.accountAgentConfig.target_version(), "3.3");
    }
}

TEST_F(MessageProcessingTest, AnUpdateRequestThatIsNoJsonLeadsNowhere)
{
    Enter(RuntimeState::InPolling);
    EXPECT_THROW(
        Process(Messages::MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST, MessageResponseStatus::Success, 0, "{"),
        Shared::Exception::RuntimeException);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(MessageProcessingTest, AnAcknowledgementMovesNothing)
{
    Enter(RuntimeState::Startup);
    Process(Messages::MSGIDS_AGENT_STARTUP_RESPONSE, MessageResponseStatus::Success, 9, "", 1);
    EXPECT_EQ(Top(), RuntimeState::Startup);
    Process(Messages::MSGIDS_AGENT_HISTORIC_POLL_REQUEST, MessageResponseStatus::Success, 9, "", 1 + 1024);
    EXPECT_EQ(Top(), RuntimeState::Startup);
    EXPECT_EQ(m_log.Count(Level::Info, "Received ACK for historic poll with seqnum 9. Resending another..."), 1U);
}

TEST_F(MessageProcessingTest, AHistoricPollThatWasNotDeliveredIsNoAcknowledgement)
{
    m_responses.Push(MessageResponse(
        {9, Messages::MSGIDS_AGENT_HISTORIC_POLL_REQUEST, "", 1, 1, {}}, MessageResponseStatus::Success));
    AgentCore::Ops::ProcessMessageResponse(m_state, m_responses);
    EXPECT_EQ(m_log.Count(Level::Info, "Received ACK"), 0U);
}

TEST_F(MessageProcessingTest, EachFailureGoesBackToItsStateAndSaysSo)
{
    struct Row
    {
        std::uint32_t msgId;
        std::uint32_t AppState::*field;
        RuntimeState state;
        std::string text;
    };

    const std::vector<Row> rows = {
        {24000, nullptr, RuntimeState::Register, "Register failed"},
        {24100, nullptr, RuntimeState::Register, "Register failed"},
        {24001, nullptr, RuntimeState::Startup, "Startup response failed"},
        {24101, nullptr, RuntimeState::Startup, "Startup response failed"},
        {6006, &AppState::networkConfigSeqNum, RuntimeState::GetNetworkConfig, "Network object config failed"},
        {6006, &AppState::testsConfigSeqNum, RuntimeState::GetTestsConfig, "Tests config failed"},
        {6006, &AppState::tagConfigSeqNum, RuntimeState::GetTagConfig, "Tag config failed"},
        {24200, nullptr, RuntimeState::GetUserGroups, "User groups failed"},
        {6006, &AppState::mtrConfigSeqNum, RuntimeState::GetMtrConfig, "Mtr config failed"},
        {6006, &AppState::eteConfigSeqNum, RuntimeState::GetEteConfig, "Ete config failed"},
        {6006, &AppState::curlConfigSeqNum, RuntimeState::GetCurlConfig, "Curl config failed"}};
    std::uint32_t number = 500;
    for (const Row& row : rows)
    {
        ++number;
        if (row.field != nullptr)
        {
            m_state.*row.field = number;
        }
        EXPECT_EQ(FailureOf(row.msgId, number), "An inbound message had an error: " + row.text);
        EXPECT_EQ(Top(), row.state);
        EXPECT_GE(
            m_log.Count(
                Level::Warning, "Unsuccessful processing on " + WireProtocol::Comms::FormatMessageId(row.msgId)),
            1U);
    }
}

TEST_F(MessageProcessingTest, OfSeveralMatchingFailuresTheLastWins)
{
    m_state.networkConfigSeqNum = 8;
    m_state.curlConfigSeqNum = 8;
    EXPECT_EQ(FailureOf(24000, 8), "An inbound message had an error: Curl config failed");
    EXPECT_EQ(Top(), RuntimeState::GetCurlConfig);
}

TEST_F(MessageProcessingTest, AFailureThatMatchesNothingThrowsWithoutAReasonAndLeavesTheState)
{
    Enter(RuntimeState::GetInstanceAgentConfig);
    m_state.instanceAgentSeqNum = 90;
    EXPECT_EQ(FailureOf(6006, 90), "An inbound message had an error: ");
    EXPECT_EQ(FailureOf(4711, 0), "An inbound message had an error: ");
    EXPECT_EQ(Top(), RuntimeState::GetInstanceAgentConfig);
}

TEST_F(MessageProcessingTest, FailedPollsAndAttachResultsAreOnlyLogged)
{
    Enter(RuntimeState::InPolling);
    for (const std::uint32_t msgId : {24102U, 24002U, 6054U})
    {
        EXPECT_EQ(FailureOf(msgId), "no exception");
        EXPECT_EQ(Top(), RuntimeState::InPolling);
    }
}

TEST_F(MessageProcessingTest, EachKindOfIncomingMessageIsJudgedInItsWay)
{
    for (const std::uint32_t unjudged : {19U, 22U, 89U, 6056U, 24003U, 24104U, 24201U})
    {
        m_state.inboundMessages.Push({1, unjudged, "no JSON", 0, 0, {}});
    }
    m_state.inboundMessages.Push({1, 6006, R"({"success":true})", 0, 0, {}});
    m_state.inboundMessages.Push({1, 6054, R"({"success":false})", 0, 0, {}});
    m_state.inboundMessages.Push({1, 24101, R"({"statusCode":200})", 0, 0, {}});
    m_state.inboundMessages.Push({1, 24102, R"({"statusCode":400,"action":"reregister"})", 0, 0, {}});
    m_state.inboundMessages.Push({1, 24100, "{}", 0, 0, {}});
    m_state.inboundMessages.Push({1, 4711, "{}", 0, 0, {}});
    AgentCore::Ops::ProcessIncomingMessages(m_responses, m_state);
    ASSERT_EQ(m_responses.Size(), 13U);
    for (std::size_t i = 0; i < 8; ++i)
    {
        EXPECT_EQ(m_responses.At(i).Status, MessageResponseStatus::Success) << i;
    }
    EXPECT_EQ(m_responses.At(8).Status, MessageResponseStatus::Failure);
    EXPECT_EQ(m_responses.At(9).Status, MessageResponseStatus::Success);
    EXPECT_EQ(m_responses.At(10).Status, MessageResponseStatus::Reregister);
    EXPECT_EQ(m_responses.At(11).Status, MessageResponseStatus::Failure);
    EXPECT_EQ(m_responses.At(12).Status, MessageResponseStatus::Failure);
    EXPECT_EQ(m_log.Count(Level::Warning, "Unknown message ignored MSGIDS_AGENT_REGISTER_RESPONSE (24100)"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Unknown message ignored unknown (4711)"), 1U);
}

TEST_F(MessageProcessingTest, AMessageThatCannotBeJudgedTakesNoOtherWithIt)
{
    m_state.inboundMessages.Push({1, 24101, "no JSON", 0, 0, {}});
    m_state.inboundMessages.Push({2, 24101, R"({"statusCode":200})", 0, 0, {}});
    EXPECT_THROW(AgentCore::Ops::ProcessIncomingMessages(m_responses, m_state), Shared::Exception::RuntimeException);
    EXPECT_EQ(m_state.inboundMessages.Size(), 1U);
    AgentCore::Ops::ProcessIncomingMessages(m_responses, m_state);
    ASSERT_EQ(m_responses.Size(), 1U);
    EXPECT_EQ(m_responses.At(0).SeqNum, 2U);
}

/// A log whose every line brings another message, as a connector that never pauses would.
class DeliveringSink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    explicit DeliveringSink(AppState& appState) : e_appState(appState)
    {
    }

protected:
    void sink_it_(const spdlog::details::log_msg& /*message*/) override
    {
        e_appState.inboundMessages.Push({2, 4711, "{}", 0, 0, {}});
    }

    void flush_() override
    {
    }

private:
    AppState& e_appState;
};

TEST_F(MessageProcessingTest, WhatIsDeliveredDuringTheCallWaitsForTheNext)
{
    Shared::Log::Detail::SetDefaultLogger(
        std::make_shared<spdlog::logger>("delivering", std::make_shared<DeliveringSink>(m_state)));
    // Not known, so there is a line about it.
    m_state.inboundMessages.Push({1, 4711, "{}", 0, 0, {}});
    AgentCore::Ops::ProcessIncomingMessages(m_responses, m_state);
    ASSERT_EQ(m_responses.Size(), 1U);
    EXPECT_EQ(m_responses.At(0).SeqNum, 1U);
    ASSERT_EQ(m_state.inboundMessages.Size(), 1U);
    EXPECT_EQ(m_state.inboundMessages.At(0).SeqNum, 2U);
}

} // namespace
