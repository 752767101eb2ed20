#include "agentprocess.states-ending.hpp"

#include "test.support-mainloop.hpp"

namespace
{

using AgentCore::Ops::RuntimeState;
namespace StateFunctions = Agent::Process::StateFunctions;

class EndingStatesTest : public TestSupport::MainLoopTest
{
};

TEST_F(EndingStatesTest, AnUpdateTaskReturnsToTheStateItCameFrom)
{
    SetStack({RuntimeState::InPolling, RuntimeState::RunUpdateTask});
    StateFunctions::RunUpdateTask(m_context);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(EndingStatesTest, AnUpdateTaskRequestsTheVersionOfTheLatestRequest)
{
    SetStack({RuntimeState::InPolling, RuntimeState::RunUpdateTask});
    m_identity.installedVersion = L"3.2";
    m_state.accountAgentConfig.set_target_version("3.10");
    StateFunctions::RunUpdateTask(m_context);
    EXPECT_THAT(m_identity.targetVersions, ::testing::ElementsAre(L"3.10"));
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

TEST_F(EndingStatesTest, AnUpdateTaskWhoseVersionCannotBeWrittenIsRepeatedOnceAndThenStartsOver)
{
    SetStack({RuntimeState::InPolling, RuntimeState::RunUpdateTask});
    m_identity.installedVersion = L"3.2";
    m_identity.targetVersionFails = true;
    m_state.accountAgentConfig.set_target_version("3.10");
    Agent::Process::MainLoop loop(m_context);
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ::testing::ElementsAre(RuntimeState::RunUpdateTask, RuntimeState::RetryPrevious));
    m_identity.targetVersionFails = false;
    EXPECT_TRUE(loop.RunPass());
    EXPECT_THAT(Stack(), ::testing::ElementsAre(RuntimeState::RetryPrevious, RuntimeState::RunUpdateTask));
    EXPECT_TRUE(loop.RunPass());
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_THAT(m_identity.targetVersions, ::testing::ElementsAre(L"3.10"));
}

TEST_F(EndingStatesTest, AnUpdateTaskAloneReturnsToInitialise)
{
    SetStack({RuntimeState::RunUpdateTask});
    StateFunctions::RunUpdateTask(m_context);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
}

TEST_F(EndingStatesTest, AnUpdateTaskAfterItsOwnRetryDoesNotGoBackToTheRetry)
{
    SetStack({RuntimeState::RetryPrevious, RuntimeState::RunUpdateTask});
    StateFunctions::RunUpdateTask(m_context);
    EXPECT_EQ(Top(), RuntimeState::Initialise);
}

TEST_F(EndingStatesTest, AStopFromTheServerHasItsExitCode)
{
    SetStack({RuntimeState::GetTagConfig, RuntimeState::StopRequested});
    StateFunctions::StopRequested(m_context);
    EXPECT_EQ(Top(), RuntimeState::Stopped);
    EXPECT_EQ(m_context.exitCode, 3500);
}

} // namespace
