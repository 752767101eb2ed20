#include "agentprocess.states-registration.hpp"

#include "test.support-mainloop.hpp"

namespace
{

using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::RuntimeState;
namespace StateFunctions = Agent::Process::StateFunctions;

class RegistrationStatesTest : public TestSupport::MainLoopTest
{
};

TEST_F(RegistrationStatesTest, InitialiseForgetsWhatWaitsAndTrustsTheServersSwitchAgain)
{
    m_state.inboundMessages.Push({});
    PushResponse(24101, MessageResponseStatus::Success);
    m_state.instanceAgentConfig.enabled = false;
    StateFunctions::Initialise(m_context);
    EXPECT_TRUE(m_state.inboundMessages.Empty());
    EXPECT_TRUE(m_responses.Empty());
    EXPECT_TRUE(m_state.instanceAgentConfig.enabled);
    EXPECT_EQ(m_identity.enablementUpdates, 1);
}

TEST_F(RegistrationStatesTest, AnAgentWithoutAnIdentityRegisters)
{
    StateFunctions::Initialise(m_context);
    EXPECT_EQ(Top(), RuntimeState::Register);
}

TEST_F(RegistrationStatesTest, AMatchingIdentityIsUsed)
{
    m_identity.registration = {4, L"uuid", L"tenant"};
    m_identity.vpnInfo.subTenantId = L"tenant";
    StateFunctions::Initialise(m_context);
    EXPECT_EQ(Top(), RuntimeState::EstablishConnection);
}

TEST_F(RegistrationStatesTest, AnIdentityThatAnOlderVersionKeptGetsThePresentTenant)
{
    m_state.settings.agentUuid = L"uuid";
    m_identity.registration = {4, L"uuid", L""};
    m_identity.vpnInfo.subTenantId = L"tenant";
    StateFunctions::Initialise(m_context);
    EXPECT_EQ(m_identity.registration.subtenantId, L"tenant");
    EXPECT_EQ(Top(), RuntimeState::EstablishConnection);
}

TEST_F(RegistrationStatesTest, RegisterForgetsWhatWaitsAndTurnsToTheServerOfTheSettings)
{
    m_state.inboundMessages.Push({});
    PushResponse(24101, MessageResponseStatus::Success);
    StateFunctions::Register(m_context);
    EXPECT_TRUE(m_state.inboundMessages.Empty());
    EXPECT_TRUE(m_responses.Empty());
    EXPECT_EQ(Top(), RuntimeState::Disconnected);
}

TEST_F(RegistrationStatesTest, EstablishConnectionLeadsToStartup)
{
    StateFunctions::EstablishConnection(m_context);
    EXPECT_EQ(Top(), RuntimeState::Startup);
}

} // namespace
