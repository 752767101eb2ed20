#include "lab.vellab-settings.hpp"

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

class LabSettingsTest : public ::testing::Test
{
protected:
    TestSupport::TemporarySettingsStore m_store;
};

TEST_F(LabSettingsTest, TheAgentFindsWhatAnInstallationLeaves)
{
    Lab::LayOutSettings("https://cloud.lab.example");
    const auto settings = Shared::AppSettings::LoadAppSettings();
    EXPECT_EQ(settings.server, L"cloud.lab.example");
    EXPECT_EQ(settings.installedVersion, L"1.0.0");
    EXPECT_TRUE(settings.agentUuid.empty());
    EXPECT_TRUE(Shared::AppSettings::GetUserSelectionEnabled());
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

} // namespace
