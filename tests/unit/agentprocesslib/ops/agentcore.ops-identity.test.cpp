#include "agentcore.ops-identity.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-values.hpp"
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
    AgentCore::Ops::RegistryIdentity m_identity;
};

TEST_F(RegistryIdentityTest, KnowsTheTenantOfTheUserAndTheOneItIsRegisteredFor)
{
    EXPECT_EQ(m_identity.GetVpnConnectionInfo().subTenantId, L"");
    EXPECT_EQ(m_identity.GetRegisteredSubtenantId(), L"");
    SetUser("anna", "S1");
    m_identity.SetRegisteredSubtenantId(L"S2");
    EXPECT_EQ(m_identity.GetVpnConnectionInfo().subTenantId, L"S1");
    EXPECT_EQ(m_identity.GetVpnConnectionInfo().fullUsername, L"LAB\\anna");
    EXPECT_EQ(m_identity.GetRegisteredSubtenantId(), L"S2");
}

TEST_F(RegistryIdentityTest, KeepsAndForgetsARegistration)
{
    Settings::AppSettings settings;
    settings.accountId = 4;
    settings.agentUuid = L"uuid";
    settings.serverRaw = L"https://kept.example:8443";
    m_identity.SetRegisteredSubtenantId(L"S1");
    m_identity.SaveRegistration(settings);
    Settings::RegistrationInfo info;
    EXPECT_TRUE(m_identity.GetCurrentRegistrationInfo(info));
    EXPECT_EQ(info.accountId, 4U);
    EXPECT_EQ(info.agentUuid, L"uuid");
    EXPECT_EQ(info.subtenantId, L"S1");
    WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version", L"1.0");
    EXPECT_EQ(m_identity.LoadAppSettings().server, L"kept.example");

    m_identity.DeleteRegistration();
    EXPECT_FALSE(m_identity.GetCurrentRegistrationInfo(info));
    EXPECT_EQ(m_identity.GetRegisteredSubtenantId(), L"");
    m_identity.DeleteRegistration();
}

TEST_F(RegistryIdentityTest, FindsAndRemovesEarlierRegistrations)
{
    Settings::WriteEnciphered(Settings::Value::Registrations, L"subtenant-id=S1,account-id=4,agent-uuid=A1;", m_key);
    EXPECT_EQ(m_identity.FindRegistration(L"S1").agentUuid, L"A1");
    EXPECT_EQ(m_identity.FindRegistration(L"S2").agentUuid, L"");
    m_identity.RemoveRegistration(L"S1");
    EXPECT_EQ(m_identity.FindRegistration(L"S1").agentUuid, L"");
}

TEST_F(RegistryIdentityTest, TheVpnClientsIdOfTheMachineComesFirst)
{
    WinReg::CreateKey(Root::LocalMachine, Paths::Machine);
    WinReg::SetStringValue(Root::LocalMachine, Paths::Machine, L"MachineGuid", L"guid");
    EXPECT_EQ(m_identity.GetDeviceIds().device, L"guid");
    EXPECT_EQ(m_identity.GetDeviceIds().legacyDevice, L"");
    SetVpn(L"machine-id", L"machine");
    EXPECT_EQ(m_identity.GetDeviceIds().device, L"machine");
    EXPECT_EQ(m_identity.GetDeviceIds().legacyDevice, L"guid");
}

TEST_F(RegistryIdentityTest, EnablementFollowsTheServersSwitchAndTheUser)
{
    SetUser("anna", "S1");
    EXPECT_TRUE(m_identity.UpdateEnablement(true));
    EXPECT_EQ(Status(), L"enabled");
    EXPECT_FALSE(m_identity.UpdateEnablement(false));
    EXPECT_EQ(Status(), L"admin-disabled");
    SetUser("GUEST", "S1");
    EXPECT_FALSE(m_identity.UpdateEnablement(true));
    EXPECT_EQ(Status(), L"disabled");
}

TEST_F(RegistryIdentityTest, TheServerIsReadAnewOnRequest)
{
    WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"Server", L"https://second.example:8443/");
    Settings::AppSettings settings;
    m_identity.RefreshServer(settings);
    EXPECT_EQ(settings.server, L"second.example");
    EXPECT_EQ(settings.port, 8443U);
}

TEST_F(RegistryIdentityTest, TheTunnelIsDisconnectedUntilTheClientSaysOtherwise)
{
    EXPECT_EQ(m_identity.GetTunnelStatus(), L"disconnected");
    SetVpn(L"tunnel-status", L"connected");
    EXPECT_EQ(m_identity.GetTunnelStatus(), L"connected");
}

TEST_F(RegistryIdentityTest, TheUpdaterIsToldWhatToInstallAndThatItMay)
{
    WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version", L"3.2.0");
    EXPECT_EQ(m_identity.GetInstalledVersion(), L"3.2.0");
    m_identity.SetTargetVersion(L"3.2.1");
    EXPECT_EQ(WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"target-version"), L"3.2.1");
    m_identity.EnableAutoUpdate();
    EXPECT_EQ(WinReg::GetDwordValue(Root::LocalMachine, Paths::Config, L"AutoUpdate"), 1U);
}

TEST_F(RegistryIdentityTest, DelaysGrowWithTheAttempts)
{
    EXPECT_EQ(m_identity.CalculateRetryDelay(1), 30'000U);
    EXPECT_EQ(m_identity.CalculateRetryDelay(3), 120'000U);
}

} // namespace
