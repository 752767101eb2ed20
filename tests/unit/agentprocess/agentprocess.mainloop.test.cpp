#include "agentprocess.mainloop.hpp"

#include "agentcore.ops-exceptions.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-mainloop.hpp"

#include <stdexcept>
#include <utility>

namespace
{

using Agent::Process::LoopContext;
using Agent::Process::MainLoop;
using Agent::Process::StateTable;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using TestSupport::MainLoopTest;

/// One state whose function is the test's.
StateTable Only(RuntimeState state, std::function<void(LoopContext&)> function)
{
    return {{state, {nullptr, std::move(function)}}};
}

void Nothing(LoopContext&)
{
}

TEST_F(MainLoopTest, EndsAtStoppedWithTheExitCode)
{
    SetStack({RuntimeState::InPolling, RuntimeState::Stopped});
    m_context.exitCode = 17;
    EXPECT_EQ(MainLoop(m_context).Run(), 17);
}

TEST_F(MainLoopTest, EveryStateButStoppedHasAFunctionAndItsLine)
{
    const StateTable table = Agent::Process::MakeStateTable();
    EXPECT_EQ(table.size(), 19U);
    const std::pair<RuntimeState, const char*> lines[] = {
        {RuntimeState::Initialise, "Main loop state: Initialise"},
        {RuntimeState::Register, "Main loop state: Register"},
        {RuntimeState::EstablishConnection, "Main loop state: EstablishConnection"},
        {RuntimeState::Startup, "Main loop state: Startup"},
        {RuntimeState::GetNetworkConfig, "Main loop state: GetNetworkConfig"},
        {RuntimeState::GetTestsConfig, "Main loop state: GetTestsConfig"},
        {RuntimeState::GetTagConfig, "Main loop state: GetTagConfig"},
        {RuntimeState::GetUserGroups, "Main loop state: GetUserGroups"},
        {RuntimeState::GetMtrConfig, "Main loop state: GetMtrConfig"},
        {RuntimeState::GetCurlConfig, "Main loop state: GetCurlConfig"},
        {RuntimeState::GetEteConfig, "Main loop state: GetEteConfig"},
        {RuntimeState::GetInstanceAgentConfig, "Main loop state: GetInstanceAgentConfig"},
        {RuntimeState::GetAccountAgentConfig, "Main loop state: GetAccountAgentConfig"},
        {RuntimeState::ConfigCompleted, "Main loop state: ConfigCompleted"},
        {RuntimeState::RetryPrevious, "Main loop state: RetryPrevious"},
        {RuntimeState::Disconnected, "Main loop state: Disconnected"},
        {RuntimeState::RunUpdateTask, "Main loop state: RunUpdateTask"},
        {RuntimeState::StopRequested, "The agent received a stop command from the server and will now exit."}};
    for (const auto& [state, line] : lines)
    {
        EXPECT_STREQ(table.at(state).logLine, line);
    }
    EXPECT_EQ(table.at(RuntimeState::InPolling).logLine, nullptr) << "it logs its line with the tunnel's status";
}

TEST_F(MainLoopTest, AStateOutsideOfTheTableIsLoggedAndTheLoopGoesOn)
{
    SetStack({static_cast<RuntimeState>(99)});
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(m_log.Count(Level::Debug, "Nothing to action on runtime state: 99"), 2U);
}

TEST_F(MainLoopTest, AnExceptionPushesRetryPreviousOverTheState)
{
    SetStack({RuntimeState::GetTestsConfig, RuntimeState::GetTagConfig});
    MainLoop loop(
        m_context, Only(RuntimeState::GetTagConfig, [](LoopContext&) { throw std::runtime_error("no answer"); }));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetTagConfig, RuntimeState::RetryPrevious));
    EXPECT_EQ(m_log.Count(Level::Error, "Encountered an exception in main loop: no answer"), 1U);
}

TEST_F(MainLoopTest, AnExceptionInPollingChangesNeitherStateNorCounters)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    m_context.retryAttempts = 3;
    MainLoop loop(m_context, Only(RuntimeState::InPolling, [](LoopContext&) { throw std::runtime_error("odd"); }));
    const TestSupport::Stopwatch watch;
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::ConfigCompleted, RuntimeState::InPolling));
    EXPECT_EQ(m_context.retryAttempts, 3U);
    EXPECT_GE(watch.ElapsedMs(), 990.0) << "a lasting fault must not keep a processor busy";
}

TEST_F(MainLoopTest, ResponsesThatFailInPollingDoNotHoldThoseBehindThem)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    for (int i = 0; i < 200; ++i)
    {
        PushResponse(4711, MessageResponseStatus::Failure);
    }
    MainLoop loop(m_context, Only(RuntimeState::InPolling, &Nothing));
    const TestSupport::Stopwatch watch;
    while (!m_responses.Empty())
    {
        ASSERT_TRUE(loop.RunPass());
    }
    EXPECT_LT(watch.ElapsedMs(), 100'000.0) << "a second for each would be 200";
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(MainLoopTest, AStopEndsALastingFaultInPolling)
{
    SetStack({RuntimeState::ConfigCompleted, RuntimeState::InPolling});
    MainLoop loop(m_context, Only(RuntimeState::InPolling, [](LoopContext&) { throw std::runtime_error("odd"); }));
    m_stopEvent.Signal();
    EXPECT_EQ(loop.Run(), 0);
}

TEST_F(MainLoopTest, AConnectionExceptionPushesDisconnected)
{
    SetStack({RuntimeState::Startup});
    MainLoop loop(
        m_context,
        Only(
            RuntimeState::Startup, [](LoopContext&) { throw AgentCore::Exception::ConnectionException("link lost"); }));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::Startup, RuntimeState::Disconnected));
    EXPECT_EQ(m_log.Count(Level::Error, "A network error occurred: "), 1U);
}

TEST_F(MainLoopTest, AFatalExceptionEndsTheLoopWithItsCode)
{
    SetStack({RuntimeState::InPolling});
    MainLoop loop(
        m_context,
        Only(RuntimeState::InPolling, [](LoopContext&) { throw Shared::Exception::FatalException("broken"); }));
    EXPECT_EQ(loop.Run(), 1002);
    EXPECT_EQ(m_log.Count(Level::Error, "A FatalException was encountered in AgentProcess' main loop: "), 1U);
}

TEST_F(MainLoopTest, AHangingWorkersExceptionHasItsOwnCode)
{
    SetStack({RuntimeState::InPolling});
    MainLoop loop(
        m_context, Only(RuntimeState::InPolling, [](LoopContext&) { throw Shared::Exception::FatalException(); }));
    EXPECT_EQ(loop.Run(), 1001);
}

TEST_F(MainLoopTest, AnEmptyStackIsAFailureThatTheLoopSurvives)
{
    SetStack({});
    MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::RetryPrevious);
    EXPECT_EQ(m_log.Count(Level::Error, "Cannot get from empty stack"), 1U);
}

TEST_F(MainLoopTest, AResponseIsHandledOnThePassOfItsState)
{
    SetStack({RuntimeState::Startup});
    MainLoop loop(
        m_context,
        Only(RuntimeState::Startup, [this](LoopContext&) { PushResponse(24101, MessageResponseStatus::Success); }));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::GetNetworkConfig);
}

TEST_F(MainLoopTest, AStopRequestedDuringAStateHandlesNoResponseOnThatPassAndEndsWith3500)
{
    SetStack({RuntimeState::GetTestsConfig, RuntimeState::GetTagConfig});
    PushResponse(24100, MessageResponseStatus::Success);
    StateTable table = Agent::Process::MakeStateTable();
    table[RuntimeState::GetTagConfig] = {
        nullptr,
        [](LoopContext& context)
        {
            context.appState.runtimeStates.Push(RuntimeState::StopRequested);
        }};
    MainLoop loop(m_context, std::move(table));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(m_responses.Size(), 1U);
    EXPECT_EQ(loop.Run(), 3500);
    EXPECT_EQ(m_responses.Size(), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "The agent received a stop command from the server and will now exit."), 1U);
}

TEST_F(MainLoopTest, AnOrderToStopInAResponseEndsWith3500)
{
    SetStack({RuntimeState::Startup});
    StateTable table = Agent::Process::MakeStateTable();
    table[RuntimeState::Startup] = {
        nullptr,
        [this](LoopContext&)
        {
            PushResponse(24101, MessageResponseStatus::Stop);
        }};
    EXPECT_EQ(MainLoop(m_context, std::move(table)).Run(), 3500);
}

TEST_F(MainLoopTest, APassWithoutFailureClearsTheCounters)
{
    SetStack({RuntimeState::Startup});
    m_context.retryAttempts = 4;
    m_context.retryDelayMs = 1000;
    MainLoop loop(m_context, Only(RuntimeState::Startup, &Nothing));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(m_context.retryAttempts, 0U);
    EXPECT_EQ(m_context.retryDelayMs, 0U);
}

TEST_F(MainLoopTest, TheBackoffSurvivesTheRetryTheRepeatedStateAndItsNewFailure)
{
    bool fails = true;
    StateTable table = Agent::Process::MakeStateTable();
    table[RuntimeState::GetTagConfig] = {
        nullptr,
        [&](LoopContext& context)
        {
            if (fails)
            {
                throw std::runtime_error("no answer");
            }
            context.appState.runtimeStates.Push(RuntimeState::GetUserGroups);
        }};
    SetStack({RuntimeState::GetTestsConfig, RuntimeState::GetTagConfig});
    MainLoop loop(m_context, std::move(table));
    for (int failure = 0; failure < 3; ++failure)
    {
        loop.RunPass();
        ASSERT_THAT(Stack(), ElementsAre(RuntimeState::GetTagConfig, RuntimeState::RetryPrevious));
        loop.RunPass();
        ASSERT_THAT(Stack(), ElementsAre(RuntimeState::RetryPrevious, RuntimeState::GetTagConfig));
    }
    EXPECT_THAT(m_identity.attempts, ElementsAre(1U, 2U, 3U));
    fails = false;
    loop.RunPass();
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::GetTagConfig, RuntimeState::GetUserGroups));
    EXPECT_EQ(m_context.retryAttempts, 0U);
}

TEST_F(MainLoopTest, AThrowingResponseGoesTheWayOfEveryException)
{
    SetStack({RuntimeState::GetNetworkConfig});
    PushResponse(24101, MessageResponseStatus::Failure);
    MainLoop loop(m_context, Only(RuntimeState::GetNetworkConfig, &Nothing));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::Startup, RuntimeState::RetryPrevious));
}

TEST_F(MainLoopTest, AnAgentWithoutATenantWaitsInDisconnectedAndStopsAtOnce)
{
    m_identity.delayMs = TestSupport::LimitMs;
    MainLoop loop(m_context);
    loop.RunPass();
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::Initialise, RuntimeState::Register));
    loop.RunPass();
    EXPECT_THAT(Stack(), ElementsAre(RuntimeState::Register, RuntimeState::Disconnected));
    m_stopEvent.Signal();
    EXPECT_EQ(loop.Run(), 0);
}

} // namespace
