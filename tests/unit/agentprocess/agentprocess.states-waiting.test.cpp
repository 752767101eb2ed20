#include "agentprocess.states-waiting.hpp"

#include "shared.concurrency-thread.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-mainloop.hpp"

#include <chrono>
#include <limits>

namespace
{

using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace StateFunctions = Agent::Process::StateFunctions;

class WaitingStatesTest : public TestSupport::MainLoopTest
{
protected:
    /// Whether the watch on the agent key is armed: it fires for a change.
    bool IsWatchArmed()
    {
        TouchAgentKey(L"a text that nobody else writes");
        return m_registryChanged.WaitOnEvent(TestSupport::LimitMs);
    }

    /// Writes a value of the agent key once the given state has begun to wait.
    void TouchAgentKeySoon()
    {
        m_toucher.Start(
            [this]
            {
                Shared::Time::SleepFor(std::chrono::milliseconds(200));
                TouchAgentKey(L"changed");
                return 0;
            });
    }

    /// Runs the state with a change of the key behind its beginning.
    void RetryThroughAChange()
    {
        TouchAgentKeySoon();
        StateFunctions::RetryPrevious(m_context);
        m_toucher.JoinNoThrow(TestSupport::LimitMs);
    }

    Shared::Concurrency::Thread m_toucher{"toucher"};
};

TEST_F(WaitingStatesTest, PollingEndsWithTheStopEvent)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_stopEvent.Signal();
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::Stopped);
    EXPECT_EQ(m_log.Count(Level::Info, "Main loop state: InPolling, Tunnel Status: connected-internal"), 1U);
}

TEST_F(WaitingStatesTest, TheStopEventComesBeforeEverythingElse)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_registryChanged.Signal();
    PushResponse(24101, MessageResponseStatus::Success);
    m_heartbeatTimer.SetTimerInMillis(0, 0);
    m_stopEvent.Signal();
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::Stopped);
    EXPECT_EQ(m_identity.identityChecks, 0);
}

TEST_F(WaitingStatesTest, AChangedIdentityLeadsFromPollingToInitialise)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    ChangeIdentity();
    TouchAgentKey(L"changed");
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_THAT(m_identity.enablementUpdates, IsEmpty());
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, AnyOtherRegistryChangeUpdatesTheStatusAndPollingGoesOn)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_identity.testsEnabled = true;
    TouchAgentKey(L"changed");
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(true));
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, ATestSwitchThatTheServerHasTurnedOffIsKeptOff)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_state.instanceAgentConfig.set_enabled(false);
    TouchAgentKey(L"changed");
    StateFunctions::InPolling(m_context);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(false));
}

TEST_F(WaitingStatesTest, TheWatchIsArmedAgainAlsoWhenTheReactionThrows)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_identity.fails = true;
    TouchAgentKey(L"changed");
    EXPECT_THROW(StateFunctions::InPolling(m_context), Shared::Exception::RuntimeException);
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, MessagesOfTheServerBecomeResponses)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_state.inboundMessages.Push({5, 24102, R"({"statusCode":200})", 0, 0, {}});
    m_state.inboundMessages.Push({6, 22, "", 0, 0, {}});
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_TRUE(m_state.inboundMessages.Empty());
    ASSERT_EQ(m_responses.Size(), 2U);
    EXPECT_EQ(m_responses.At(0).Status, MessageResponseStatus::Success);
    EXPECT_EQ(m_responses.At(1).MsgId, 22U);
}

TEST_F(WaitingStatesTest, AResponseEndsTheWaitAndIsLeftToTheMainLoop)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    PushResponse(24101, MessageResponseStatus::Success);
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_EQ(m_responses.Size(), 1U);
}

TEST_F(WaitingStatesTest, TheHeartbeatEndsTheWaitAndDoesNothing)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_heartbeatTimer.SetTimerInMillis(0, 0);
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
    EXPECT_THAT(m_identity.enablementUpdates, IsEmpty());
}

TEST_F(WaitingStatesTest, TheUpgradeTimerIsReportedAndTheUpgradeRequestedAgain)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_identity.installedVersion = L"3.2";
    m_state.accountAgentConfig.set_target_version("3.3");
    m_upgradeTimer.SetTimerInMillis(0, 0);
    StateFunctions::InPolling(m_context);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning, "An upgrade was initiated, but it does not appear to have yet completed. Retrying..."),
        1U);
    EXPECT_THAT(m_identity.targetVersions, ElementsAre(L"3.3"));
}

TEST_F(WaitingStatesTest, ARetryReturnsToTheStateBelowAfterItsDelay)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = 50;
    const TestSupport::Stopwatch watch;
    StateFunctions::RetryPrevious(m_context);
    EXPECT_GE(watch.ElapsedMs(), 50.0);
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::RetryPrevious, RuntimeState::GetTagConfig));
    EXPECT_EQ(m_context.retryAttempts, 1U);
    EXPECT_EQ(m_context.retryDelayMs, 50U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Retrying previous operation in 50 ms"), 1U);
}

TEST_F(WaitingStatesTest, ARetryOnAStackOfOneEntryReturnsToInitialise)
{
    SetStack({RuntimeState::RetryPrevious});
    StateFunctions::RetryPrevious(m_context);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
}

TEST_F(WaitingStatesTest, AStopEndsTheRetryAtOnce)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = TestSupport::LimitMs;
    m_stopEvent.Signal();
    StateFunctions::RetryPrevious(m_context);
    EXPECT_EQ(Top(), RuntimeState::Stopped);
}

TEST_F(WaitingStatesTest, ARegistryChangeDuringARetryStartsItOverOneAttemptLonger)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = TestSupport::LimitMs;
    RetryThroughAChange();
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetTagConfig, RuntimeState::RetryPrevious));
    EXPECT_EQ(m_context.retryAttempts, 1U);
    m_stopEvent.Signal();
    StateFunctions::RetryPrevious(m_context);
    EXPECT_THAT(m_identity.attempts, ElementsAre(1U, 2U));
}

TEST_F(WaitingStatesTest, ARegistryChangeThatEnablesTheTestsEndsTheRetry)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = TestSupport::LimitMs;
    m_identity.testsEnabled = true;
    m_state.instanceAgentConfig.set_enabled(false);
    RetryThroughAChange();
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(false)) << "the server's switch is asked too";
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, AChangedIdentityEndsTheRetry)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = TestSupport::LimitMs;
    ChangeIdentity();
    RetryThroughAChange();
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_THAT(m_identity.enablementUpdates, IsEmpty());
}

TEST_F(WaitingStatesTest, WhatTheAgentItselfWroteBeforeTheDelayDoesNotCutItShort)
{
    SetStack({RuntimeState::GetUserGroups, RuntimeState::RetryPrevious});
    m_identity.delayMs = 100;
    m_identity.testsEnabled = true;
    m_registryChanged.Signal();
    const TestSupport::Stopwatch watch;
    StateFunctions::RetryPrevious(m_context);
    EXPECT_GE(watch.ElapsedMs(), 100.0);
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::RetryPrevious, RuntimeState::GetUserGroups));
    EXPECT_THAT(m_identity.enablementUpdates, IsEmpty());
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, AUserWhoChangedBeforeTheDelayEndsIt)
{
    SetStack({RuntimeState::GetMtrConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = TestSupport::LimitMs;
    m_identity.registration.subtenantId = L"tenant";
    m_identity.vpnInfo.subTenantId = L"tenant";
    m_identity.vpnInfo.fullUsername = L"berta";
    m_state.username = L"anna";
    m_registryChanged.Signal();
    StateFunctions::RetryPrevious(m_context);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_TRUE(IsWatchArmed());
}

TEST_F(WaitingStatesTest, AUserWhoIsNotKnownYetHasNotChanged)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.registration.subtenantId = L"tenant";
    m_identity.vpnInfo.subTenantId = L"tenant";
    m_identity.vpnInfo.fullUsername = L"anna";
    m_registryChanged.Signal();
    StateFunctions::RetryPrevious(m_context);
    EXPECT_EQ(Top(), RuntimeState::GetTagConfig);
}

TEST_F(WaitingStatesTest, TheAttemptsStayAtTheirMaximum)
{
    constexpr std::uint32_t Most = std::numeric_limits<std::uint32_t>::max();
    m_context.retryAttempts = Most - 1;
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    StateFunctions::RetryPrevious(m_context);
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    StateFunctions::RetryPrevious(m_context);
    EXPECT_THAT(m_identity.attempts, ElementsAre(Most, Most));
}

TEST_F(WaitingStatesTest, DisconnectedGoesBackToTheStartOnceThereIsATenant)
{
    SetStack({RuntimeState::Register, RuntimeState::Disconnected});
    m_identity.vpnInfo.subTenantId = L"tenant";
    m_identity.delayMs = 30;
    m_context.retryAttempts = 5;
    const TestSupport::Stopwatch watch;
    StateFunctions::Disconnected(m_context);
    EXPECT_GE(watch.ElapsedMs(), 30.0);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(m_context.retryAttempts, 0U);
    EXPECT_EQ(m_identity.serverRefreshes, 1);
    EXPECT_EQ(m_log.Count(Level::Info, "Connection re-established"), 1U);
}

TEST_F(WaitingStatesTest, DisconnectedStaysWithoutATenant)
{
    SetStack({RuntimeState::Register, RuntimeState::Disconnected});
    StateFunctions::Disconnected(m_context);
    StateFunctions::Disconnected(m_context);
    EXPECT_EQ(Top(), RuntimeState::Disconnected);
    EXPECT_THAT(m_identity.attempts, ElementsAre(1U, 2U));
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Agent is disconnected and no subtenant-id is available. No attempt will be "
            "made to re-connect until a subtenant is available."),
        2U);
}

TEST_F(WaitingStatesTest, ARegistryChangeInDisconnectedUpdatesTheStatusAndTheWaitGoesOnWithTheTimeLeft)
{
    SetStack({RuntimeState::Register, RuntimeState::Disconnected});
    m_identity.delayMs = 400;
    TouchAgentKey(L"changed");
    const TestSupport::Stopwatch watch;
    StateFunctions::Disconnected(m_context);
    EXPECT_GE(watch.ElapsedMs(), 400.0);
    EXPECT_THAT(m_identity.enablementUpdates, ElementsAre(true));
    EXPECT_GE(m_log.Count(Level::Warning, "Agent will attempt to reconnect in "), 2U);
    EXPECT_EQ(m_context.retryAttempts, 1U);
}

TEST_F(WaitingStatesTest, AStopEndsDisconnectedAtOnceAlsoWithADelayOfNothing)
{
    SetStack({RuntimeState::Register, RuntimeState::Disconnected});
    m_identity.delayMs = 0;
    m_stopEvent.Signal();
    StateFunctions::Disconnected(m_context);
    EXPECT_EQ(Top(), RuntimeState::Stopped);
}

TEST_F(WaitingStatesTest, DelaysAreOfTheAgentsClock)
{
    Shared::Time::ClockControl::SetSpeed(1000);
    SetStack({RuntimeState::GetTagConfig, RuntimeState::RetryPrevious});
    m_identity.delayMs = 3'600'000;
    const TestSupport::Stopwatch watch;
    StateFunctions::RetryPrevious(m_context);
    EXPECT_GE(watch.ElapsedMs(), 3'600.0);
    EXPECT_EQ(Top(), RuntimeState::GetTagConfig);
}

} // namespace
