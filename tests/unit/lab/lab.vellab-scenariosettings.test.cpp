#include "lab.vellab-scenariosettings.hpp"

#include "agentcore.ops-identity.hpp"
#include "lab.scenario-parser.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.crypto-sensitivestring.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

const std::wstring VpnVel = L"SOFTWARE\\Tarvane\\Norvik\\VEL";

class ScenarioSettingsTest : public ::testing::Test
{
protected:
    static std::wstring Text(const std::wstring& key, const std::wstring& name)
    {
        std::wstring text = L"(none)";
        return WinReg::TryGetStringValue(Root::LocalMachine, key, name, text) ? text : L"(none)";
    }

    TestSupport::TemporarySettingsStore m_store;
};

TEST_F(ScenarioSettingsTest, WhatTheScenarioSaysStandsInThePlaceOfWhatIsUsual)
{
    Lab::LayOutScenario(Lab::ParseScenario(
        R"({"server":"https://b.example","vpn":{"tunnel-status":"internal","Version":"6.1","machine-id":"M"},)"
        R"("settings":{"ResponseTimeout":"00:00:05","PingTimeoutMs":700}})"));
    EXPECT_EQ(Text(Paths::Config, L"Server"), L"https://b.example");
    EXPECT_EQ(Text(VpnVel, L"tunnel-status"), L"internal");
    EXPECT_EQ(Text(VpnVel, L"machine-id"), L"M");
    EXPECT_EQ(Text(VpnVel, L"user-selection"), L"enable");
    EXPECT_EQ(Text(Paths::Norvik, L"Version"), L"6.1");
    EXPECT_EQ(Text(Paths::Config, L"ResponseTimeout"), L"00:00:05");
    EXPECT_EQ(WinReg::GetDwordValue(Root::LocalMachine, Paths::Config, L"PingTimeoutMs"), 700U);
}

TEST_F(ScenarioSettingsTest, AUserIsSignedInUnlessNobodyIs)
{
    Lab::LayOutScenario(Lab::ParseScenario("{}"));
    EXPECT_NE(Text(VpnVel, L"user-id"), L"(none)");
    Lab::LayOutScenario(Lab::ParseScenario(R"({"user":{"signedIn":false}})"));
    EXPECT_EQ(Text(VpnVel, L"user-id"), L"(none)");
}

TEST_F(ScenarioSettingsTest, AnIdentityOfBeforeIsWhereTheAgentLooksForIt)
{
    using Shared::AppSettings::FindRegistration;
    const auto key =
        Shared::Crypto::ToSensitiveString(Shared::Crypto::MakeRegistrationKey(AgentCore::Ops::GetBiosSerialNumber()));
    Lab::LayOutScenario(Lab::ParseScenario(R"({"user":{"subtenant":"s","agentUuid":"uuid-of-before"}})"));
    EXPECT_EQ(FindRegistration(L"s", key).agentUuid, L"uuid-of-before");
    EXPECT_EQ(FindRegistration(L"other", key).agentUuid, L"");
    Lab::LayOutScenario(Lab::ParseScenario("{}"));
    EXPECT_EQ(Text(Paths::Config, L"Registrations"), L"(none)");
}

TEST_F(ScenarioSettingsTest, TheUserChangesAndGoes)
{
    Lab::LayOutScenario(Lab::ParseScenario("{}"));
    const std::wstring before = Text(VpnVel, L"user-id");
    Lab::ScenarioUser user;
    user.username = "eve";
    Lab::ChangeUser(user);
    EXPECT_NE(Text(VpnVel, L"user-id"), before);
    user.isSignedIn = false;
    Lab::ChangeUser(user);
    EXPECT_EQ(Text(VpnVel, L"user-id"), L"(none)");
}

TEST_F(ScenarioSettingsTest, AUserIsHandedOnInWideCharacters)
{
    const auto user = Lab::ToVpnUser({true, "\xC3\xA9va", "D", "T", "S", {}, ""});
    ASSERT_TRUE(user.has_value());
    EXPECT_EQ(user->username, L"\u00e9va");
    EXPECT_EQ(user->domain, L"D");
    EXPECT_EQ(user->tenantId, L"T");
    EXPECT_EQ(user->subTenantId, L"S");
    EXPECT_FALSE(Lab::ToVpnUser({false, "a", "b", "c", "d", {}, ""}).has_value());
}

} // namespace
