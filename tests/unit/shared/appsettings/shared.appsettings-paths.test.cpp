#include "shared.appsettings-paths.hpp"

#include "shared.winreg-administration.hpp"
#include "test.appsettings-fixture.hpp"

namespace
{

namespace Settings = Shared::AppSettings;
namespace WinReg = Shared::WinReg;
using Settings::SettingsKey;
using WinReg::Root;

class PathsTest : public AppSettingsTests::SettingsTest
{
};

TEST_F(PathsTest, KeysOfTheAgentStandWhereTheyStand)
{
    EXPECT_EQ(Settings::PathOf(SettingsKey::Agent), L"SOFTWARE\\Tarvane\\VEL");
    EXPECT_EQ(Settings::PathOf(SettingsKey::Config), L"SOFTWARE\\Tarvane\\VEL\\Config");
    EXPECT_EQ(Settings::PathOf(SettingsKey::Machine), L"SOFTWARE\\Microsoft\\Cryptography");
}

// The client is chosen once in the life of a process, and each test is a process of its own.

TEST_F(PathsTest, TheOlderClientsKeyIsTakenWhereTheNewerOnesCannotBeOpenedAndKept)
{
    WinReg::CreateKey(Root::LocalMachine, L"SOFTWARE\\Tarvane");
    EXPECT_EQ(Settings::GetVpnKeyPath(), L"SOFTWARE\\Tarvane\\Norvik");
    WinReg::CreateKey(Root::LocalMachine, L"SOFTWARE\\Tarvane\\Ostra Access");
    EXPECT_EQ(Settings::PathOf(SettingsKey::Vpn), L"SOFTWARE\\Tarvane\\Norvik");
    EXPECT_EQ(Settings::PathOf(SettingsKey::VpnVel), L"SOFTWARE\\Tarvane\\Norvik\\VEL");
    EXPECT_EQ(Settings::PathOf(SettingsKey::VpnSetup), L"SOFTWARE\\Tarvane\\Norvik\\TvnSetup");
}

TEST_F(PathsTest, ReadingTheAgentsKeysChoosesNoClientYetAndTheNewerOneWins)
{
    EXPECT_EQ(Settings::PathOf(SettingsKey::Config), Settings::Paths::Config);
    WinReg::CreateKey(Root::LocalMachine, L"SOFTWARE\\Tarvane\\Norvik");
    WinReg::CreateKey(Root::LocalMachine, L"SOFTWARE\\Tarvane\\Ostra Access");
    EXPECT_EQ(Settings::GetVpnKeyPath(), L"SOFTWARE\\Tarvane\\Ostra Access");
    (void)WinReg::DeleteKeyTree(Root::LocalMachine, L"SOFTWARE\\Tarvane\\Ostra Access");
    EXPECT_EQ(Settings::GetVpnVelKeyPath(), L"SOFTWARE\\Tarvane\\Ostra Access\\VEL");
    EXPECT_EQ(Settings::GetVpnSetupKeyPath(), L"SOFTWARE\\Tarvane\\Ostra Access\\TvnSetup");
}

} // namespace
