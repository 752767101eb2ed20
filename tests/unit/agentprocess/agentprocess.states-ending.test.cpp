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
