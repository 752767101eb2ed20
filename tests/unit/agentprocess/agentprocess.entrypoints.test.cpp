#include "agentprocess.entrypoints.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-settingsstore.hpp"

#include <vector>

#include <gmock/gmock.h>

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

class EntryPointsTest : public ::testing::Test
{
protected:
    EntryPointsTest()
    {
        Shared::Time::ClockControl::SetSpeed(100);
    }

    ~EntryPointsTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    void LayOut()
    {
        WinReg::CreateKey(Root::LocalMachine, Paths::Config);
        WinReg::CreateKey(Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath());
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"cloud.example");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"LogTarget", L"console");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version", L"1.2.3");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"status", L"upgrade");
    }

    void Initialise(const std::vector<const char*>& arguments)
    {
        Agent::Process::InitialiseProcess(
            static_cast<int>(arguments.size()), arguments.data(), m_state, m_winsock, m_stopEvent, m_registryChanged,
            m_agentKey);
    }

    static std::wstring Status()
    {
        return WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status");
    }

    TestSupport::EventNames m_names;
    TestSupport::TemporarySettingsStore m_store;
    AgentCore::Ops::AppState m_state;
    Shared::WinSock::WinSockInitialiser m_winsock;
    Shared::Concurrency::Event m_stopEvent;
    Shared::Concurrency::Event m_registryChanged;
    WinReg::RegKey m_agentKey;
};

TEST_F(EntryPointsTest, DebugModeMakesItsOwnStopEventAndFillsEveryObject)
{
    LayOut();
    Initialise({"agent", "-d"});
    EXPECT_TRUE(m_state.debugMode);
    EXPECT_EQ(m_state.settings.installedVersion, L"1.2.3");
    EXPECT_TRUE(m_winsock.IsInitialised());
    EXPECT_TRUE(m_stopEvent.HasHandle());
    EXPECT_FALSE(m_stopEvent.WaitOnEvent(0));
    EXPECT_TRUE(m_registryChanged.HasHandle());
    EXPECT_FALSE(m_registryChanged.IsManualReset());
    EXPECT_FALSE(m_agentKey.IsNull());
}

TEST_F(EntryPointsTest, TheStatusFollowsTheUsersSelectionEvenOverAnUpgrade)
{
    LayOut();
    Initialise({"-d"});
    EXPECT_EQ(Status(), L"disabled");
    WinReg::SetStringValue(Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath(), L"user-selection", L"enable");
    Initialise({"-d"});
    EXPECT_EQ(Status(), L"enabled");
}

TEST_F(EntryPointsTest, EncipheredSettingsAreOpenedWithTheKeyOfTheMachine)
{
    LayOut();
    Shared::Crypto::SetBiosSerialProvider([] { return std::string("SN-0815"); });
    WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"AgentUUID", L"uuid");
    Shared::AppSettings::SetRegisteredSubtenantId(
        L"S1", Shared::Crypto::ToSensitiveString(Shared::Crypto::MakeRegistrationKey("SN-0815")));
    Initialise({"-d"});
    EXPECT_EQ(m_state.settings.subtenantId, L"S1");
}

TEST_F(EntryPointsTest, WithoutSettingsTheProcessEndsWith1500)
{
    const char* arguments[] = {"agent", "-d"};
    EXPECT_EQ(Agent::Process::ProcessMain(2, arguments), 1500);
}

} // namespace
