#include "agentcore.ops-identity.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace
{

namespace Settings = Shared::AppSettings;
namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using Shared::Log::Level;
using WinReg::Root;

constexpr const char* Key = "the key of this machine";

class RegistryIdentityTest : public ::testing::Test
{
protected:
    RegistryIdentityTest() : m_key(Shared::Crypto::ToSensitiveString(Key)), m_identity(m_key)
    {
        WinReg::CreateKey(Root::LocalMachine, Paths::Config);
        WinReg::CreateKey(Root::LocalMachine, Settings::GetVpnVelKeyPath());
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"first.example");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"DisabledUsernames", L"LAB\\guest");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"status", L"disabled");
        SetVpn(L"user-selection", L"enable");
    }

    static void SetVpn(const wchar_t* name, const std::wstring& text)
    {
        WinReg::SetStringValue(Root::LocalMachine, Settings::GetVpnVelKeyPath(), name, text);
    }

    static void SetUser(const std::string& name, const std::string& subTenantId)
    {
        const std::string plain = "username=" + name + ",domain=LAB,sub-tenant-id=" + subTenantId;
        SetVpn(L"user-id", Shared::Util::ConvertStringType(std::string_view(Shared::Crypto::Encrypt(plain, Key))));
    }

    static std::wstring Status()
    {
        return WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status");
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    Shared::Crypto::SensitiveString m_key;
    AgentCore::Ops::AppState m_state;
    AgentCore::Ops::RegistryIdentity m_identity;
};

TEST_F(RegistryIdentityTest, KnowsTheTenantOfTheUserAndTheOneItIsRegisteredFor)
{
    EXPECT_EQ(m_identity.GetSubTenantId(), L"");
    EXPECT_EQ(m_identity.GetRegisteredId(), L"");
    SetUser("anna", "S1");
    Settings::SetRegisteredSubtenantId(L"S2", m_key);
    EXPECT_EQ(m_identity.GetSubTenantId(), L"S1");
    EXPECT_EQ(m_identity.GetRegisteredId(), L"S2");
}

TEST_F(RegistryIdentityTest, WithoutATenantTheIdentityStaysWhatItIs)
{
    Settings::SetRegisteredSubtenantId(L"S1", m_key);
    EXPECT_FALSE(m_identity.HasIdentityChanged(m_state));
    EXPECT_EQ(
        m_log.Count(Level::Info, "No registered-id could be derived from the current VPN connection information"), 1U);
    SetUser("anna", "");
    EXPECT_FALSE(m_identity.HasIdentityChanged(m_state));
}

TEST_F(RegistryIdentityTest, AnotherTenantIsAChange)
{
    const char* const line = "The expected and actual registeredIds do not match; the agent will need to reregister";
    m_state.username = L"LAB\\anna";
    SetUser("anna", "S1");
    EXPECT_TRUE(m_identity.HasIdentityChanged(m_state)) << "not registered at all";
    Settings::SetRegisteredSubtenantId(L"s1", m_key);
    EXPECT_TRUE(m_identity.HasIdentityChanged(m_state)) << "tenants are compared exactly";
    EXPECT_EQ(m_log.Count(Level::Info, line), 2U);
    Settings::SetRegisteredSubtenantId(L"S1", m_key);
    EXPECT_FALSE(m_identity.HasIdentityChanged(m_state));
}

TEST_F(RegistryIdentityTest, AnotherUserIsAChangeUnlessOnlyTheCaseDiffers)
{
    SetUser("anna", "S1");
    Settings::SetRegisteredSubtenantId(L"S1", m_key);
    m_state.username = L"lab\\ANNA";
    EXPECT_FALSE(m_identity.HasIdentityChanged(m_state));
    m_state.username = L"LAB\\berta";
    EXPECT_TRUE(m_identity.HasIdentityChanged(m_state));
    EXPECT_EQ(m_log.Count(Level::Info, "Detected a username change. The agent will need to re-initialise."), 1U);
}

TEST_F(RegistryIdentityTest, EnablementFollowsTheServersSwitchAndTheUser)
{
    SetUser("anna", "S1");
    EXPECT_TRUE(m_identity.UpdateEnablement(m_state));
    EXPECT_EQ(Status(), L"enabled");
    m_state.instanceAgentConfig.enabled = false;
    EXPECT_FALSE(m_identity.UpdateEnablement(m_state));
    EXPECT_EQ(Status(), L"admin-disabled");
    m_state.instanceAgentConfig.enabled = true;
    SetUser("GUEST", "S1");
    EXPECT_FALSE(m_identity.UpdateEnablement(m_state));
    EXPECT_EQ(Status(), L"disabled");
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
    SetVpn(L"tunnel-status", L"connected");
    EXPECT_EQ(m_identity.GetTunnelStatus(), L"connected");
}

TEST_F(RegistryIdentityTest, DelaysGrowWithTheAttempts)
{
    EXPECT_EQ(m_identity.CalculateRetryDelay(1), 30'000U);
    EXPECT_EQ(m_identity.CalculateRetryDelay(3), 120'000U);
}

} // namespace
