#include "lab.vellab-settings.hpp"

#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

#include <gtest/gtest.h>

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

class LabSettingsTest : public ::testing::Test
{
protected:
    TestSupport::TemporarySettingsStore m_store;
    Shared::Crypto::SensitiveString m_key =
        Shared::Crypto::ToSensitiveString(Shared::Crypto::MakeRegistrationKey(AgentCore::Ops::GetBiosSerialNumber()));
};

TEST_F(LabSettingsTest, TheAgentFindsWhatAnInstallationLeaves)
{
    Lab::LayOutSettings("https://cloud.lab.example");
    const auto settings = Shared::AppSettings::LoadAppSettings(m_key);
    EXPECT_EQ(settings.server, L"cloud.lab.example");
    EXPECT_EQ(settings.installedVersion, L"1.0.0");
    EXPECT_TRUE(settings.agentUuid.empty());
    EXPECT_TRUE(Shared::AppSettings::GetUserSelectionEnabled());
}

TEST_F(LabSettingsTest, TheAgentKnowsTheUserWhoIsSignedIn)
{
    Lab::LayOutSettings("a.example");
    auto info = Shared::AppSettings::GetVpnConnectionInfo(m_key);
    EXPECT_EQ(info.fullUsername, L"LABORATORY\\lab.user");
    EXPECT_EQ(info.tenantId, L"lab-tenant");
    EXPECT_EQ(info.subTenantId, L"lab-subtenant");
    EXPECT_EQ(info.gatewayIpV4, L"127.0.0.1");
    EXPECT_EQ(info.tunnelIpV4, L"127.0.0.2");
    Lab::SetVpnUser({L"anna", L"", L"T", L"S \u65e5"});
    info = Shared::AppSettings::GetVpnConnectionInfo(m_key);
    EXPECT_EQ(info.fullUsername, L"anna");
    EXPECT_EQ(info.subTenantId, L"S \u65e5");
}

TEST_F(LabSettingsTest, NobodyMayBeSignedIn)
{
    Lab::LayOutSettings("a.example", std::nullopt);
    EXPECT_EQ(Shared::AppSettings::GetVpnConnectionInfo(m_key).fullUsername, L"");
    std::wstring text;
    EXPECT_FALSE(
        WinReg::TryGetStringValue(Root::LocalMachine, Shared::AppSettings::GetVpnVelKeyPath(), L"user-id", text));
}

TEST_F(LabSettingsTest, WhatAnEarlierRunLeftIsGone)
{
    Lab::LayOutSettings("a.example");
    WinReg::SetStringValue(Root::LocalMachine, Paths::Config, L"AgentUUID", L"of an earlier run");
    Lab::LayOutSettings("");
    std::wstring text;
    EXPECT_FALSE(WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"AgentUUID", text));
    EXPECT_FALSE(WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"Server", text));
}

TEST_F(LabSettingsTest, RemovingLeavesNothing)
{
    Lab::LayOutSettings("a.example");
    Lab::RemoveSettings();
    EXPECT_THROW((void)WinReg::OpenKey(Root::LocalMachine, Paths::Vendor), std::exception);
}

TEST_F(LabSettingsTest, WhatTheAgentLeavesForTheUpdaterIsReadAndTold)
{
    Lab::LayOutSettings("a.example");
    EXPECT_EQ(Lab::ReadUpgradeHandOff(), Lab::UpgradeHandOff{});
    EXPECT_EQ(Lab::DescribeUpgradeHandOff({}), "for the updater the agent left no target-version, and no AutoUpdate");
    WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"target-version", L"1.10.0");
    WinReg::SetDwordValue(Root::LocalMachine, Paths::Config, L"AutoUpdate", 1);
    const Lab::UpgradeHandOff handOff = Lab::ReadUpgradeHandOff();
    EXPECT_EQ(handOff, (Lab::UpgradeHandOff{"1.10.0", 1}));
    EXPECT_EQ(
        Lab::DescribeUpgradeHandOff(handOff), "for the updater the agent left target-version 1.10.0, and AutoUpdate 1");
}

} // namespace
