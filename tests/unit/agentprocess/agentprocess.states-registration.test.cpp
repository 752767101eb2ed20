#include "agentprocess.states-registration.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.support-mainloop.hpp"

namespace
{

using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
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
    EXPECT_EQ(m_log.Count(Level::Info, "No AgentUuid or RegisteredId found; reregistering..."), 1U);
}

TEST_F(RegistrationStatesTest, AnotherUsersTenantRegistersAnew)
{
    m_state.settings.agentUuid = L"uuid";
    m_identity.registeredId = L"tenant";
    m_identity.subTenantId = L"other tenant";
    StateFunctions::Initialise(m_context);
    EXPECT_EQ(Top(), RuntimeState::Register);
    EXPECT_EQ(m_log.Count(Level::Info, "New user does not match RegisteredId; reregistering..."), 1U);
}

TEST_F(RegistrationStatesTest, AMatchingIdentityIsUsed)
{
    m_state.settings.agentUuid = L"uuid";
    m_identity.registeredId = m_identity.subTenantId = L"tenant";
    StateFunctions::Initialise(m_context);
    EXPECT_EQ(Top(), RuntimeState::EstablishConnection);
    EXPECT_EQ(m_state.settings.subtenantId, L"tenant");
    EXPECT_EQ(m_log.Count(Level::Info, "Existing uuid for user found"), 1U);
}

TEST_F(RegistrationStatesTest, RegisterWithoutATenantLeadsToDisconnected)
{
    StateFunctions::Register(m_context);
    EXPECT_EQ(Top(), RuntimeState::Disconnected);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Tried to register, but no subtenant-id was found. This agent will remain in a "
            "disconnected-disabled state."),
        1U);
}

TEST_F(RegistrationStatesTest, RegisterWithATenantSaysThatThereIsNoLinkYet)
{
    m_identity.subTenantId = L"tenant";
    EXPECT_THROW(StateFunctions::Register(m_context), Shared::Exception::RuntimeException);
}

TEST_F(RegistrationStatesTest, EstablishConnectionLeadsToStartup)
{
    StateFunctions::EstablishConnection(m_context);
    EXPECT_EQ(Top(), RuntimeState::Startup);
}

} // namespace
