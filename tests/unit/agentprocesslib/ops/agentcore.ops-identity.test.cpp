#include "agentcore.ops-identity.hpp"

#include "shared.appsettings-functions.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

#include <gtest/gtest.h>

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

class RegistryIdentityTest : public ::testing::Test
{
protected:
    RegistryIdentityTest()
    {
        WinReg::CreateKey(Root::LocalMachine, Paths::Config);
        WinReg::CreateKey(Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath());
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"first.example");
        WinReg::SetStringValue(
            Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath(), L"user-selection", L"enable");
    }

    TestSupport::TemporarySettingsStore m_store;
    AgentCore::Ops::AppState m_state;
    AgentCore::Ops::RegistryIdentity m_identity;
};

TEST_F(RegistryIdentityTest, KnowsNeitherTenantAsLongAsItCannotOpenEncipheredValues)
{
    EXPECT_TRUE(m_identity.GetSubTenantId().empty());
    EXPECT_TRUE(m_identity.GetRegisteredId().empty());
    EXPECT_FALSE(m_identity.HasIdentityChanged(m_state));
}

TEST_F(RegistryIdentityTest, EnablementFollowsTheServersSwitch)
{
    EXPECT_TRUE(m_identity.UpdateEnablement(m_state));
    EXPECT_EQ(WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status"), L"enabled");
    m_state.instanceAgentConfig.enabled = false;
    EXPECT_FALSE(m_identity.UpdateEnablement(m_state));
    EXPECT_EQ(WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status"), L"admin-disabled");
}

TEST_F(RegistryIdentityTest, TheServerIsReadAnewOnRequest)
{
    WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"https://second.example:8443/");
    m_identity.RefreshServer(m_state);
    EXPECT_EQ(m_state.settings.server, L"second.example");
    EXPECT_EQ(m_state.settings.port, 8443U);
}

TEST_F(RegistryIdentityTest, TheTunnelIsDisconnectedUntilTheClientSaysOtherwise)
{
    EXPECT_EQ(m_identity.GetTunnelStatus(), L"disconnected");
    WinReg::SetStringValue(Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath(), L"tunnel-status", L"connected");
    EXPECT_EQ(m_identity.GetTunnelStatus(), L"connected");
}

TEST_F(RegistryIdentityTest, DelaysGrowWithTheAttempts)
{
    EXPECT_EQ(m_identity.CalculateRetryDelay(1), 30'000U);
    EXPECT_EQ(m_identity.CalculateRetryDelay(3), 120'000U);
}

} // namespace
