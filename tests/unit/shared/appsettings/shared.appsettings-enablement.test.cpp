#include "shared.appsettings-enablement.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winreg-functions.hpp"
#include "test.appsettings-fixture.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace
{

namespace Settings = Shared::AppSettings;
namespace WinReg = Shared::WinReg;
using Settings::AgentStatus;
using Settings::SettingsKey;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;

class EnablementTest : public AppSettingsTests::SettingsTest
{
protected:
    EnablementTest()
    {
        LayOut();
        Set(SettingsKey::Agent, L"status", L"disabled");
    }
};

TEST_F(EnablementTest, EachStatusHasItsWord)
{
    const std::array<std::pair<AgentStatus, const wchar_t*>, 4> words = {
        {{AgentStatus::Enabled, L"enabled"},
         {AgentStatus::Upgrade, L"upgrade"},
         {AgentStatus::AdminDisabled, L"admin-disabled"},
         {AgentStatus::Disabled, L"disabled"}}};
    for (const auto& [status, word] : words)
    {
        Settings::SetStatus(status, false);
        EXPECT_EQ(Status(), word);
    }
}

TEST_F(EnablementTest, AStatusOfUpgradeIsKeptWhenAskedTo)
{
    Settings::SetStatus(AgentStatus::Upgrade, false);
    Settings::SetStatus(AgentStatus::Enabled, true);
    EXPECT_EQ(Status(), L"upgrade");
    Settings::SetStatus(AgentStatus::Enabled, false);
    EXPECT_EQ(Status(), L"enabled");
    Settings::SetStatus(AgentStatus::Disabled, true);
    EXPECT_EQ(Status(), L"disabled");
}

TEST_F(EnablementTest, AStatusThatMayHaveToStayMustBeReadable)
{
    Delete(SettingsKey::Agent, L"status");
    EXPECT_THROW(Settings::SetStatus(AgentStatus::Enabled, true), Win32Exception);
    Settings::SetStatus(AgentStatus::Enabled, false);
    EXPECT_EQ(Status(), L"enabled");
}

TEST_F(EnablementTest, AnUnknownStatusIsAFailure)
{
    EXPECT_EQ(
        TestSupport::RuntimeText([] { Settings::SetStatus(static_cast<AgentStatus>(9), false); }),
        "Unknown newStatus value 9");
    EXPECT_EQ(
        TestSupport::RuntimeText([] { Settings::SetStatus(static_cast<AgentStatus>(4294967295U), true); }),
        "Unknown newStatus value 4294967295");
}

TEST_F(EnablementTest, AStatusThatStandsThereIsNotWrittenAgain)
{
    Settings::SetStatus(AgentStatus::Enabled, false);
    const WinReg::RegKey key = WinReg::OpenKey(WinReg::Root::LocalMachine, Settings::Paths::Agent);
    const Shared::Concurrency::Event changed(false, false);
    WinReg::WatchKey(key, changed);
    Settings::SetStatus(AgentStatus::Enabled, false);
    Settings::SetStatus(AgentStatus::Enabled, true);
    EXPECT_FALSE(changed.WaitOnEvent(TestSupport::QuietMs));
    Settings::SetStatus(AgentStatus::Disabled, false);
    EXPECT_TRUE(changed.WaitOnEvent(TestSupport::LimitMs));
}

TEST_F(EnablementTest, DisabledUsersAreSeparatedByCommas)
{
    SetConfig(L"DisabledUsernames", L"guest,DOMAIN\\Kiosk, spaced ");
    EXPECT_THAT(
        Settings::GetDisabledUserNames(),
        ::testing::ElementsAre(std::wstring(L"guest"), std::wstring(L"DOMAIN\\Kiosk"), std::wstring(L" spaced ")));
    SetConfig(L"DisabledUsernames", L"");
    EXPECT_TRUE(Settings::GetDisabledUserNames().empty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(EnablementTest, ADisabledUserInAnotherCaseIsDisabledStill)
{
    SetConfig(L"DisabledUsernames", L"guest,DOMAIN\\Kiosk");
    EXPECT_FALSE(Settings::CheckUsername(L"domain\\kiosk"));
    EXPECT_EQ(m_log.Count(Level::Info, "The current username domain\\kiosk is a disabled username."), 1U);
    EXPECT_TRUE(Settings::CheckUsername(L"kiosk"));
    EXPECT_TRUE(Settings::CheckUsername(L"guest "));
    EXPECT_TRUE(Settings::CheckUsername(L""));
}

TEST_F(EnablementTest, WithoutAListOfDisabledUsersEverybodyIsAllowedAndTheLogSaysSo)
{
    EXPECT_TRUE(Settings::CheckUsername(L"anyone"));
    EXPECT_EQ(
        m_log.Count(Level::Warning, "GetDisabledUsername() failed to retrieve and process the disabled usernames"), 1U);
}

TEST_F(EnablementTest, EnablementFollowsUserSelectionAndServerInThisOrder)
{
    SetConfig(L"DisabledUsernames", L"guest");
    SetVpn(L"user-selection", L"enable");
    SetUser("username=anna");
    EXPECT_TRUE(Settings::UpdateEnablement(true, m_key));
    EXPECT_EQ(Status(), L"enabled");

    SetUser("username=guest");
    EXPECT_FALSE(Settings::UpdateEnablement(true, m_key));
    EXPECT_EQ(Status(), L"disabled");
    EXPECT_EQ(m_log.Count(Level::Info, "This agent's network tests are locally disabled (disabled username)."), 1U);
    EXPECT_FALSE(Settings::UpdateEnablement(false, m_key));
    EXPECT_EQ(Status(), L"disabled") << "the user decides before the server";

    SetUser("username=anna");
    SetVpn(L"user-selection", L"disable");
    EXPECT_FALSE(Settings::UpdateEnablement(false, m_key));
    EXPECT_EQ(Status(), L"admin-disabled") << "the server decides before the selection";
    EXPECT_EQ(
        m_log.Count(Level::Info, "This agent's network tests are remotely disabled (remote instance config)."), 1U);
    EXPECT_FALSE(Settings::UpdateEnablement(true, m_key));
    EXPECT_EQ(Status(), L"disabled");
    EXPECT_EQ(
        m_log.Count(Level::Info, "This agent's network tests are locally disabled (registry user selection)."), 1U);
    SetVpn(L"user-selection", L"enable");
    EXPECT_FALSE(Settings::UpdateEnablement(false, m_key));
    EXPECT_EQ(Status(), L"admin-disabled");
}

TEST_F(EnablementTest, EnablementLeavesAStatusOfUpgradeAlone)
{
    SetVpn(L"user-selection", L"enable");
    SetUser("username=anna");
    Settings::SetStatus(AgentStatus::Upgrade, false);
    EXPECT_TRUE(Settings::UpdateEnablement(true, m_key));
    EXPECT_EQ(Status(), L"upgrade");
    EXPECT_FALSE(Settings::UpdateEnablement(false, m_key));
    EXPECT_EQ(Status(), L"upgrade");
}

TEST_F(EnablementTest, TestsRunWhenUserSelectionAndServerAllowThem)
{
    SetConfig(L"DisabledUsernames", L"LAB\\guest");
    SetVpn(L"user-selection", L"enable");
    SetUser("username=anna,domain=LAB");
    EXPECT_TRUE(Settings::EvaluateNetworkTests(true, m_key));
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "Evaluating whether network tests should be run...\n\tlocal setting: 1\n\tremote setting: 1\n\tusername: "
            "LAB\\anna\n\toverall network test setting: 1"),
        1U);
    EXPECT_FALSE(Settings::EvaluateNetworkTests(false, m_key));
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "\tlocal setting: 1\n\tremote setting: 0\n\tusername: LAB\\anna\n\toverall network test setting: 0"),
        1U);
    SetVpn(L"user-selection", L"disable");
    EXPECT_FALSE(Settings::EvaluateNetworkTests(true, m_key));
    EXPECT_EQ(m_log.Count(Level::Info, "\tlocal setting: 0\n\tremote setting: 1\n"), 1U);
    SetVpn(L"user-selection", L"enable");
    SetUser("username=guest,domain=LAB");
    EXPECT_FALSE(Settings::EvaluateNetworkTests(true, m_key));
    EXPECT_EQ(m_log.Count(Level::Info, "\tusername: LAB\\guest\n\toverall network test setting: 0"), 1U);
    EXPECT_EQ(Status(), L"disabled") << "nothing is written";
}

TEST_F(EnablementTest, TheNameIsOnlyCheckedWhereUserAndServerBothAllowTests)
{
    SetUser("username=anna");
    EXPECT_FALSE(Settings::EvaluateNetworkTests(true, m_key));
    EXPECT_EQ(m_log.Count(Level::Warning, "GetDisabledUsername() failed"), 0U);
    SetVpn(L"user-selection", L"enable");
    EXPECT_TRUE(Settings::EvaluateNetworkTests(true, m_key));
    EXPECT_EQ(m_log.Count(Level::Warning, "GetDisabledUsername() failed"), 1U);
}

} // namespace
