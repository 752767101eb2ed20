#include "shared.appsettings-functions.hpp"

#include "contract.capturedstandarderror.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.system-machineid.hpp"
#include "shared.util-time.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.appsettings-fixture.hpp"
#include "test.support-exceptions.hpp"

#include <chrono>
#include <clocale>
#include <regex>
#include <string>

namespace
{

namespace Settings = Shared::AppSettings;
namespace WinReg = Shared::WinReg;
using Settings::ExistingValue;
using Settings::SettingsKey;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using namespace std::chrono_literals;

class AppSettingsFunctionsTest : public AppSettingsTests::SettingsTest
{
protected:
    AppSettingsFunctionsTest()
    {
        LayOut();
    }

    static std::wstring Text(const wchar_t* name)
    {
        return WinReg::GetStringValue(WinReg::Root::LocalMachine, Settings::Paths::Agent, name);
    }

    static std::uint32_t Number(SettingsKey key, const wchar_t* name)
    {
        return WinReg::GetDwordValue(WinReg::Root::LocalMachine, Settings::PathOf(key), name);
    }

    /// As on a machine whose agent was removed under a running one.
    static void RemoveAllKeys()
    {
        (void)WinReg::DeleteKeyTree(WinReg::Root::LocalMachine, L"SOFTWARE");
    }
};

TEST_F(AppSettingsFunctionsTest, TheInstalledVersionMustBeThere)
{
    EXPECT_EQ(Settings::GetInstalledVersion(), L"3.2.1");
    Delete(SettingsKey::Agent, L"installed-version");
    EXPECT_THROW((void)Settings::GetInstalledVersion(), Win32Exception);
}

TEST_F(AppSettingsFunctionsTest, TheTargetVersionIsWritten)
{
    Settings::SetTargetVersion(L"4.0.0");
    EXPECT_EQ(Text(L"target-version"), L"4.0.0");
    RemoveAllKeys();
    EXPECT_THROW(Settings::SetTargetVersion(L"4.0.0"), Win32Exception);
}

TEST_F(AppSettingsFunctionsTest, AutomaticUpdatesAreSwitchedOn)
{
    Settings::EnableAutoUpdate();
    EXPECT_EQ(Number(SettingsKey::Config, L"AutoUpdate"), 1U);
}

TEST_F(AppSettingsFunctionsTest, AutomaticUpdatesThatCannotBeSwitchedOnAreToldOnTheStandardErrorStreamAlone)
{
    RemoveAllKeys();
    Contract::CapturedStandardError captured;
    Settings::EnableAutoUpdate();
    const std::string errors = captured.Finish();
    EXPECT_TRUE(std::regex_search(
        errors,
        std::regex("^Failed to set AutoUpdates registry value: Exception in function [^\n]*Failed to open registry "
                   "key[^\n]*\n$")))
        << errors;
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(AppSettingsFunctionsTest, TheMachineGuidIsThatOfTheSettings)
{
    WinReg::CreateKey(WinReg::Root::LocalMachine, Settings::Paths::Machine);
    Set(SettingsKey::Machine, L"MachineGuid", L"guid");
    EXPECT_EQ(Settings::GetMachineGuid(), L"guid");
}

TEST_F(AppSettingsFunctionsTest, AMissingMachineGuidIsThatOfTheSystemOrAFailure)
{
    const auto ofSystem = Shared::System::ReadMachineId();
    if (ofSystem)
    {
        EXPECT_EQ(Settings::GetMachineGuid(), *ofSystem);
    }
    else
    {
        EXPECT_EQ(
            TestSupport::RuntimeText([] { (void)Settings::GetMachineGuid(); }),
            "Failed to get the machine guid from the registry");
    }
}

TEST_F(AppSettingsFunctionsTest, TheMultiplierIsReadOrHasItsDefault)
{
    EXPECT_EQ(Settings::GetRetryDelayMultiplier(), 2.0);
    SetConfig(L"RetryDelayMultiplier", L"1.5");
    EXPECT_EQ(Settings::GetRetryDelayMultiplier(), 1.5);
    EXPECT_TRUE(m_log.Lines().empty());
    for (const wchar_t* text : {L"", L"two", L"1e999", L"1e-999", L"%2", L",5"})
    {
        SetConfig(L"RetryDelayMultiplier", text);
        EXPECT_EQ(Settings::GetRetryDelayMultiplier(), 2.0) << text;
    }
    EXPECT_EQ(m_log.Count(Level::Warning, "Failed converting RetryDelayMultiplier"), 6U);
}

TEST(ParseFractionTest, TakesTheNumberAtTheStart)
{
    EXPECT_EQ(Settings::ParseFraction(L"2.5"), 2.5);
    EXPECT_EQ(Settings::ParseFraction(L" \t+2.5"), 2.5);
    EXPECT_EQ(Settings::ParseFraction(L"-0.5"), -0.5);
    EXPECT_EQ(Settings::ParseFraction(L"25e-1"), 2.5);
    EXPECT_EQ(Settings::ParseFraction(L".5"), 0.5);
    EXPECT_EQ(Settings::ParseFraction(L"3."), 3.0);
    EXPECT_EQ(Settings::ParseFraction(L"2.5 times"), 2.5);
    EXPECT_EQ(Settings::ParseFraction(L"3,5"), 3.0);
}

TEST(ParseFractionTest, OfAnyOtherTextThereIsNone)
{
    for (const wchar_t* text : {L"", L" ", L"+", L"-", L"+-1", L"--1", L"e1", L".", L"x1", L"\uFF11", L"1e400"})
    {
        EXPECT_EQ(Settings::ParseFraction(text), std::nullopt) << text;
    }
    EXPECT_EQ(Settings::ParseFraction(std::wstring(L"\0001", 2)), std::nullopt);
}

TEST(ParseFractionTest, ThePointIsAPointInEveryLocale)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "German_Germany", "C"})
    {
        (void)std::setlocale(LC_ALL, name);
        EXPECT_EQ(Settings::ParseFraction(L"2.5"), 2.5) << name;
    }
    (void)std::setlocale(LC_ALL, before.c_str());
}

// Read once in the life of a process, and each test is a process of its own.

TEST_F(AppSettingsFunctionsTest, RetryDelaysGrowFromTheMinimumToTheMaximum)
{
    EXPECT_EQ(Settings::CalculateRetryDelay(0), 30'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(1), 30'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(3), 120'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(8), 3'600'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(9), 3'600'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(0xFFFFFFFF), 3'600'000U);
    SetConfig(L"MinimumRetryDelaySeconds", 5);
    EXPECT_EQ(Settings::CalculateRetryDelay(1), 30'000U) << "what was read first stays";
}

TEST_F(AppSettingsFunctionsTest, RetryDelaysFollowTheirSettings)
{
    SetConfig(L"MinimumRetryDelaySeconds", 4);
    SetConfig(L"MaximumRetryDelaySeconds", 20);
    SetConfig(L"RetryDelayMultiplier", L"1.5");
    EXPECT_EQ(Settings::CalculateRetryDelay(1), 4'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(2), 6'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(4), 13'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(5), 20'000U);
}

TEST_F(AppSettingsFunctionsTest, AMinimumOfNothingStillWaitsASecond)
{
    SetConfig(L"MinimumRetryDelaySeconds", 0);
    EXPECT_EQ(Settings::CalculateRetryDelay(1), 1'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(100), 1'000U);
}

TEST_F(AppSettingsFunctionsTest, ThePingTimeoutIsReadOrHasItsDefault)
{
    EXPECT_EQ(Settings::GetPingTimeoutMs(), 5'000U);
    SetConfig(L"PingTimeoutMs", 1'234);
    EXPECT_EQ(Settings::GetPingTimeoutMs(), 1'234U);
}

TEST_F(AppSettingsFunctionsTest, MissingTimeSpansHaveTheirDefaultsAndAreTold)
{
    EXPECT_EQ(Settings::GetTransmissionRandomisationPeriod(), 270'000ms);
    EXPECT_EQ(Settings::GetResponseTimeout(), 30s);
    EXPECT_EQ(m_log.Count(Level::Info, "Using default value for TransmissionRandomisationPeriod"), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "Using default value for ResponseTimeout"), 1U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
}

TEST_F(AppSettingsFunctionsTest, TimeSpansAreReadQuietly)
{
    SetConfig(L"TransmissionRandomisationPeriod", L"00:00:05");
    SetConfig(L"ResponseTimeout", L"0:1:2");
    EXPECT_EQ(Settings::GetTransmissionRandomisationPeriod(), 5'000ms);
    EXPECT_EQ(Settings::GetResponseTimeout(), 62s);
    SetConfig(L"ResponseTimeout", L"00:00:00");
    EXPECT_EQ(Settings::GetResponseTimeout(), 0s);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(AppSettingsFunctionsTest, TimeSpansThatAreNoneAreErrorsAndHaveTheirDefaults)
{
    SetConfig(L"TransmissionRandomisationPeriod", L"99:99:99");
    SetConfig(L"ResponseTimeout", L"30");
    EXPECT_EQ(Settings::GetTransmissionRandomisationPeriod(), 270'000ms);
    EXPECT_EQ(Settings::GetResponseTimeout(), 30s);
    EXPECT_EQ(m_log.Count(Level::Error, "GetTransmissionRandomisationPeriod() failed"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Could not parse TimeSpan 99:99:99"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "GetResponseTimeout() failed"), 1U);
    EXPECT_EQ(m_log.Lines().size(), 2U);
}

TEST_F(AppSettingsFunctionsTest, TheLastConnectedTimeIsWrittenPadded)
{
    const std::int64_t before = Shared::Time::EpochSeconds();
    std::int64_t seconds = 0;
    EXPECT_TRUE(Settings::UpdateLastConnectedTime(seconds));
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, Shared::Time::EpochSeconds());
    const std::wstring text = Text(L"last-connected-time");
    EXPECT_TRUE(std::regex_match(text, std::wregex(LR"([0-9]{8}-[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{1,3}[+-][0-9]{3,})")))
        << std::string(text.begin(), text.end());
}

TEST_F(AppSettingsFunctionsTest, ATimeThatCannotBeWrittenIsLoggedAndLeavesTheOldOne)
{
    RemoveAllKeys();
    std::int64_t seconds = 17;
    EXPECT_FALSE(Settings::UpdateLastConnectedTime(seconds));
    EXPECT_EQ(seconds, 17);
    EXPECT_EQ(m_log.Count(Level::Error, "UpdateLastConnectedTime() failed"), 1U);
}

TEST_F(AppSettingsFunctionsTest, NotificationsThatWereNeverFetchedWereFetchedNow)
{
    const std::string text = Settings::GetLastNotificationRetrieval();
    EXPECT_TRUE(std::regex_match(text, std::regex(R"([0-9]{8}-[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{1,3}[+-][0-9]+)")))
        << text;
    const std::string today = Shared::Util::FormatTimeText(Shared::Time::UtcNow());
    EXPECT_GE(today.substr(0, 17), text.substr(0, 17));
}

TEST_F(AppSettingsFunctionsTest, TheTimeOfTheLastNotificationsIsKeptOrReplaced)
{
    Settings::SetLastNotificationRetrieval("20240307-21:04:09.5+120", ExistingValue::Keep);
    EXPECT_EQ(Settings::GetLastNotificationRetrieval(), "20240307-21:04:09.5+120");
    Settings::SetLastNotificationRetrieval("20240308-00:00:00.0+0", ExistingValue::Keep);
    EXPECT_EQ(Settings::GetLastNotificationRetrieval(), "20240307-21:04:09.5+120");
    Settings::SetLastNotificationRetrieval("20240308-00:00:00.0+0", ExistingValue::Replace);
    EXPECT_EQ(Settings::GetLastNotificationRetrieval(), "20240308-00:00:00.0+0");
    RemoveAllKeys();
    EXPECT_THROW(Settings::SetLastNotificationRetrieval("20240308-00:00:00.0+0", ExistingValue::Keep), Win32Exception);
}

TEST_F(AppSettingsFunctionsTest, TheSelfServiceIsOffUntilItIsSwitchedOn)
{
    EXPECT_FALSE(Settings::GetSelfServiceEnabled());
    EXPECT_TRUE(Settings::SetSelfServiceEnabled(true));
    EXPECT_EQ(Number(SettingsKey::Agent, L"self-service-enabled"), 1U);
    EXPECT_TRUE(Settings::GetSelfServiceEnabled());
    EXPECT_TRUE(Settings::SetSelfServiceEnabled(false));
    EXPECT_FALSE(Settings::GetSelfServiceEnabled());
    Set(SettingsKey::Agent, L"self-service-enabled", 7);
    EXPECT_TRUE(Settings::GetSelfServiceEnabled());
}

TEST_F(AppSettingsFunctionsTest, ASelfServiceThatCannotBeSwitchedIsLogged)
{
    RemoveAllKeys();
    EXPECT_FALSE(Settings::SetSelfServiceEnabled(true));
    EXPECT_EQ(m_log.Count(Level::Error, "SetSelfServiceEnabled() failed"), 1U);
}

} // namespace
