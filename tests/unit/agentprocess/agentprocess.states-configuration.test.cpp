#include "agentprocess.states-configuration.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.support-mainloop.hpp"

namespace
{

using AgentCore::Ops::RuntimeState;
using WireProtocol::Comms::InboundMessage;
namespace StateFunctions = Agent::Process::StateFunctions;

class ConfigurationStatesTest : public TestSupport::MainLoopTest
{
};

TEST_F(ConfigurationStatesTest, ARequestSaysThatThereIsNoLinkYet)
{
    EXPECT_THROW(StateFunctions::RequestFromServer(m_context), Shared::Exception::RuntimeException);
    EXPECT_TRUE(m_state.outboundMessages.Empty());
}

TEST_F(ConfigurationStatesTest, ACompletedConfigurationDropsStaleNoticesAndLeadsToPolling)
{
    m_state.inboundMessages.Push(InboundMessage{1, 6056, "", 0, 0, {}});
    m_state.inboundMessages.Push(InboundMessage{2, 24104, "", 0, 0, {}});
    m_state.inboundMessages.Push(InboundMessage{3, 6056, "", 0, 0, {}});
    StateFunctions::ConfigCompleted(m_context);
    ASSERT_EQ(m_state.inboundMessages.Size(), 1U);
    EXPECT_EQ(m_state.inboundMessages.At(0).SeqNum, 2U);
    EXPECT_EQ(m_identity.enablementUpdates, 1);
    EXPECT_EQ(Top(), RuntimeState::InPolling);
}

} // namespace
