#include "agentprocess.states-registration.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-mainloop.hpp"

#include <chrono>
#include <thread>

namespace
{

using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
namespace Paths = Shared::AppSettings::Paths;
namespace StateFunctions = Agent::Process::StateFunctions;
namespace WinReg = Shared::WinReg;

class RegistrationStatesTest : public TestSupport::MainLoopTest
{
};

TEST_F(RegistrationStatesTest, InitialiseForgetsWhatWaitsAndTrustsTheServersSwitchAgain)
{
    m_state.inboundMessages.Push({});
    PushResponse(24101, MessageResponseStatus::Success);
    m_state.instanceAgentConfig.set_enabled(false);
    StateFunctions::Initialise(m_context);
    EXPECT_TRUE(m_state.inboundMessages.Empty());
    EXPECT_TRUE(m_responses.Empty());
    EXPECT_TRUE(m_state.instanceAgentConfig.enabled());
    EXPECT_THAT(m_identity.enablementUpdates, ::testing::ElementsAre(true));
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

TEST_F(RegistrationStatesTest, AStopDuringTheWaitForTheAnswerIsSeenAfterTheTimeOut)
{
    WinReg::CreateKey(WinReg::Root::LocalMachine, Paths::Config);
    WinReg::SetStringValue(WinReg::Root::LocalMachine, Paths::Config, L"ResponseTimeout", L"00:01:00");
    Shared::Time::ClockControl::SetSpeed(1000);
    m_identity.vpnInfo.subTenantId = L"tenant";
    m_state.settings.server = L"cloud.example";
    SetStack({RuntimeState::Register});
    std::thread parent(
        [&]
        {
            Shared::Time::SleepFor(std::chrono::seconds(5));
            m_stopEvent.Signal();
        });
    Agent::Process::MainLoop loop(m_context);
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_EQ(loop.Run(), 0);
    parent.join();
    // Sixty looks, with a second between two of them.
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(59));
    EXPECT_EQ(m_log.Count(Level::Error, "Register success message timed out"), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "Main loop state: RetryPrevious"), 1U);
    EXPECT_EQ(Stack(), (std::vector<RuntimeState>{RuntimeState::RetryPrevious, RuntimeState::Stopped}));
}

TEST_F(RegistrationStatesTest, EstablishConnectionLeadsToStartup)
{
    StateFunctions::EstablishConnection(m_context);
    EXPECT_EQ(Top(), RuntimeState::Startup);
}

} // namespace
