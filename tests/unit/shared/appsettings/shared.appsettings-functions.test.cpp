#include "shared.appsettings-functions.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <string>

#include <gmock/gmock.h>

namespace
{

namespace Settings = Shared::AppSettings;
namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using Settings::AgentStatus;
using Shared::Exception::RuntimeException;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using ::testing::HasSubstr;
using WinReg::Root;

class AppSettingsTest : public ::testing::Test
{
protected:
    /// The keys of a fresh installation, with the two values without which the agent does not start.
    void LayOut()
    {
        WinReg::CreateKey(Root::LocalMachine, Paths::Config);
        WinReg::CreateKey(Root::LocalMachine, Settings::GetVpnVelKeyPath());
        SetConfig(L"Server", L"cloud.example");
        WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version", L"3.2.1");
    }

    static void SetConfig(const wchar_t* name, const std::wstring& text)
    {
        WinReg::SetStringValue(Root::LocalMachine, Paths::Config, name, text);
    }

    static void SetConfig(const wchar_t* name, std::uint32_t number)
    {
        WinReg::SetDwordValue(Root::LocalMachine, Paths::Config, name, number);
    }

    static std::wstring Status()
    {
        return WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"status");
    }

    static void SetSelection(const std::wstring& text)
    {
        WinReg::SetStringValue(Root::LocalMachine, Settings::GetVpnVelKeyPath(), L"user-selection", text);
    }

    template <typename Call>
    static std::string FailureOf(const Call& call)
    {
        try
        {
            call();
        }
        catch (const RuntimeException& exception)
        {
            const std::string what = exception.what();
            return what.substr(what.find(" --> ") + 5);
        }
        return "no exception";
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
};

constexpr const char* PortFailure = "Unexpected number of tokens when searching for server port.";

struct ServerCase
{
    std::wstring text;
    std::wstring server;
    std::uint32_t port;
};

class ServerTextTest : public ::testing::TestWithParam<ServerCase>
{
};

TEST_P(ServerTextTest, IsReducedToHostAndPort)
{
    Settings::AppSettings settings;
    settings.serverRaw = GetParam().text;
    Settings::SetServerAndPort(settings);
    EXPECT_EQ(settings.server, GetParam().server);
    EXPECT_EQ(settings.port, GetParam().port);
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    ServerTextTest,
    ::testing::Values(
        ServerCase{L"host", L"host", 443},
        ServerCase{L"https://host", L"host", 443},
        ServerCase{L"http://host", L"host", 443},
        ServerCase{L"https://host/", L"host", 443},
        ServerCase{L"\"https://host:8443\"", L"host", 8443},
        ServerCase{L"host:1", L"host", 1},
        ServerCase{L"host:65535/", L"host", 65535}));

class BadServerTextTest : public ::testing::TestWithParam<std::wstring>
{
};

TEST_P(BadServerTextTest, IsRefused)
{
    Settings::AppSettings settings;
    settings.serverRaw = GetParam();
    EXPECT_THROW(Settings::SetServerAndPort(settings), RuntimeException);
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    BadServerTextTest,
    ::testing::Values(
        L"",
        L"https://",
        L"a:b:c",
        L"host:1:2",
        L"host:",
        L"host:0",
        L"host:65536",
        L"host:99999999999999999999",
        L"host:port",
        L"host:-1",
        L"host: 80"));

TEST_F(AppSettingsTest, AFreshInstallationHasTheDefaults)
{
    LayOut();
    const Settings::AppSettings settings = Settings::LoadAppSettings();
    EXPECT_EQ(settings.server, L"cloud.example");
    EXPECT_EQ(settings.port, 443U);
    EXPECT_EQ(settings.installedVersion, L"3.2.1");
    EXPECT_EQ(settings.accountId, 0U);
    EXPECT_TRUE(settings.agentUuid.empty());
    EXPECT_EQ(settings.ignoreSslErrors, 0U);
    EXPECT_EQ(settings.connectTimeout, 60U);
    EXPECT_EQ(settings.logging.maxLogFiles, 4U);
    EXPECT_EQ(settings.logging.maxLogFileSize, 10'485'760U);
    EXPECT_EQ(settings.logging.logTarget, Settings::LogTarget::FileSystem);
    EXPECT_EQ(settings.logging.minimumLogLevel, 2U);
}

TEST_F(AppSettingsTest, EveryValueIsTakenOver)
{
    LayOut();
    SetConfig(L"IgnoreSSLErrors", 1);
    SetConfig(L"AgentUUID", L"uuid");
    SetConfig(L"AccountID", 42);
    SetConfig(L"Proxy", L"proxy.example:3128");
    SetConfig(L"ConnectTimeout", 5);
    SetConfig(L"MaxLogFiles", 2);
    SetConfig(L"MaxLogFileSize", 1000);
    SetConfig(L"LogTarget", L"CONSOLE");
    SetConfig(L"MinimumLogLevel", L"Debug");
    const Settings::AppSettings settings = Settings::LoadAppSettings();
    EXPECT_EQ(settings.ignoreSslErrors, 1U);
    EXPECT_EQ(settings.agentUuid, L"uuid");
    EXPECT_EQ(settings.accountId, 42U);
    EXPECT_EQ(settings.proxy, L"proxy.example:3128");
    EXPECT_EQ(settings.connectTimeout, 5U);
    EXPECT_EQ(settings.logging.maxLogFiles, 2U);
    EXPECT_EQ(settings.logging.maxLogFileSize, 1000U);
    EXPECT_EQ(settings.logging.logTarget, Settings::LogTarget::Console);
    EXPECT_EQ(settings.logging.minimumLogLevel, 1U);
}

TEST_F(AppSettingsTest, AScriptForTheProxyTakesThePlaceOfTheProxy)
{
    LayOut();
    SetConfig(L"Proxy", L"proxy.example:3128");
    SetConfig(L"ProxyPacUrl", L"http://pac.example/");
    const Settings::AppSettings settings = Settings::LoadAppSettings();
    EXPECT_EQ(settings.proxyPacUrl, L"http://pac.example/");
    EXPECT_TRUE(settings.proxy.empty());
}

TEST_F(AppSettingsTest, TheAccountBelongsToAnAgentUuid)
{
    LayOut();
    SetConfig(L"AccountID", 42);
    EXPECT_EQ(Settings::LoadAppSettings().accountId, 0U);
}

TEST_F(AppSettingsTest, AMissingConfigKeyIsNamed)
{
    EXPECT_EQ(FailureOf([] { (void)Settings::LoadAppSettings(); }), "SOFTWARE\\Tarvane\\VEL\\Config does not exist.");
}

TEST_F(AppSettingsTest, AMissingVersionIsAFailure)
{
    LayOut();
    WinReg::DeleteValue(Root::LocalMachine, Paths::Agent, L"installed-version");
    EXPECT_THROW((void)Settings::LoadAppSettings(), Win32Exception);
}

TEST_F(AppSettingsTest, AServerOverrideWinsUnlessItIsEmpty)
{
    LayOut();
    Settings::AppSettings settings;
    SetConfig(L"ServerOverride", L"\"https://other.example:8443\"");
    Settings::RefreshServerFromRegistry(settings);
    EXPECT_EQ(settings.serverRaw, L"https://other.example:8443");
    EXPECT_EQ(settings.server, L"other.example");
    EXPECT_EQ(settings.port, 8443U);
    SetConfig(L"ServerOverride", L"");
    Settings::RefreshServerFromRegistry(settings);
    EXPECT_EQ(settings.server, L"cloud.example");
}

TEST_F(AppSettingsTest, NoServerAtAllIsAFailure)
{
    LayOut();
    WinReg::DeleteValue(Root::LocalMachine, Paths::Config, L"Server");
    EXPECT_EQ(FailureOf([] { (void)Settings::LoadAppSettings(); }), "No server value found in registry key.");
    SetConfig(L"Server", L"a:b:c");
    EXPECT_EQ(FailureOf([] { (void)Settings::LoadAppSettings(); }), PortFailure);
}

TEST_F(AppSettingsTest, LogTargetsAreComparedWithoutCaseAndUnknownOnesAreTheFileSystem)
{
    EXPECT_EQ(Settings::ParseLogTarget(L"EventLog"), Settings::LogTarget::EventLog);
    EXPECT_EQ(Settings::ParseLogTarget(L"console"), Settings::LogTarget::Console);
    EXPECT_EQ(Settings::ParseLogTarget(L"FileSystem"), Settings::LogTarget::FileSystem);
    EXPECT_EQ(Settings::ParseLogTarget(L"printer"), Settings::LogTarget::FileSystem);
    EXPECT_EQ(Settings::ParseLogTarget(L""), Settings::LogTarget::FileSystem);
}

TEST_F(AppSettingsTest, LogLevelsHaveAliasesAndOffAndUnknownTextsAreInfo)
{
    EXPECT_EQ(Settings::ParseLogLevel(L"trace"), 0U);
    EXPECT_EQ(Settings::ParseLogLevel(L"debug"), 1U);
    EXPECT_EQ(Settings::ParseLogLevel(L"info"), 2U);
    EXPECT_EQ(Settings::ParseLogLevel(L"warn"), 3U);
    EXPECT_EQ(Settings::ParseLogLevel(L"warning"), 3U);
    EXPECT_EQ(Settings::ParseLogLevel(L"err"), 4U);
    EXPECT_EQ(Settings::ParseLogLevel(L"error"), 4U);
    EXPECT_EQ(Settings::ParseLogLevel(L"critical"), 5U);
    EXPECT_EQ(Settings::ParseLogLevel(L"off"), 2U);
    EXPECT_EQ(Settings::ParseLogLevel(L"loud"), 2U);
}

TEST_F(AppSettingsTest, EachStatusHasItsWord)
{
    LayOut();
    const std::pair<AgentStatus, std::wstring> words[] = {
        {AgentStatus::Disabled, L"disabled"},
        {AgentStatus::Enabled, L"enabled"},
        {AgentStatus::Upgrade, L"upgrade"},
        {AgentStatus::AdminDisabled, L"admin-disabled"}};
    for (const auto& [status, word] : words)
    {
        Settings::SetStatus(status, false);
        EXPECT_EQ(Status(), word);
    }
}

TEST_F(AppSettingsTest, AStatusOfUpgradeIsKeptWhenAskedTo)
{
    LayOut();
    Settings::SetStatus(AgentStatus::Upgrade, false);
    Settings::SetStatus(AgentStatus::Enabled, true);
    EXPECT_EQ(Status(), L"upgrade");
    Settings::SetStatus(AgentStatus::Enabled, false);
    EXPECT_EQ(Status(), L"enabled");
}

TEST_F(AppSettingsTest, AnUnknownStatusIsAFailure)
{
    EXPECT_EQ(FailureOf([] { Settings::SetStatus(static_cast<AgentStatus>(9), false); }), "Unknown newStatus value 9");
}

TEST_F(AppSettingsTest, AStatusThatStandsThereIsNotWrittenAgain)
{
    LayOut();
    Settings::SetStatus(AgentStatus::Enabled, false);
    const WinReg::RegKey key = WinReg::OpenKey(Root::LocalMachine, Paths::Agent);
    const Shared::Concurrency::Event changed(false, false);
    WinReg::WatchKey(key, changed);
    Settings::SetStatus(AgentStatus::Enabled, false);
    EXPECT_FALSE(changed.WaitOnEvent(100));
    Settings::SetStatus(AgentStatus::Disabled, false);
    EXPECT_TRUE(changed.WaitOnEvent(20'000));
}

TEST_F(AppSettingsTest, OnlyTheExactWordEnableCountsAsTheUsersConsent)
{
    LayOut();
    EXPECT_FALSE(Settings::GetUserSelectionEnabled());
    SetSelection(L"enable");
    EXPECT_TRUE(Settings::GetUserSelectionEnabled());
    for (const wchar_t* text : {L"Enable", L"enabled", L"disable", L""})
    {
        SetSelection(text);
        EXPECT_FALSE(Settings::GetUserSelectionEnabled());
    }
}

TEST_F(AppSettingsTest, ADisabledUserInAnotherCaseIsDisabledStill)
{
    LayOut();
    SetConfig(L"DisabledUsernames", L"guest,DOMAIN\\Kiosk");
    EXPECT_FALSE(Settings::CheckUsername(L"domain\\kiosk"));
    EXPECT_EQ(m_log.Count(Level::Info, "The current username domain\\kiosk is a disabled username."), 1U);
    EXPECT_TRUE(Settings::CheckUsername(L"kiosk"));
    EXPECT_TRUE(Settings::CheckUsername(L""));
}

TEST_F(AppSettingsTest, WithoutAListOfDisabledUsersEverybodyIsAllowedAndTheLogSaysSo)
{
    LayOut();
    EXPECT_TRUE(Settings::CheckUsername(L"anyone"));
    EXPECT_EQ(
        m_log.Count(Level::Warning, "GetDisabledUsername() failed to retrieve and process the disabled usernames"), 1U);
}

TEST_F(AppSettingsTest, EnablementFollowsUserSelectionAndServerInThisOrder)
{
    LayOut();
    SetConfig(L"DisabledUsernames", L"guest");
    SetSelection(L"enable");
    EXPECT_TRUE(Settings::UpdateEnablement(true, L"anna"));
    EXPECT_EQ(Status(), L"enabled");
    EXPECT_FALSE(Settings::UpdateEnablement(true, L"guest"));
    EXPECT_EQ(Status(), L"disabled");
    EXPECT_EQ(m_log.Count(Level::Info, "This agent's network tests are locally disabled (disabled username)."), 1U);
    SetSelection(L"disable");
    EXPECT_FALSE(Settings::UpdateEnablement(false, L"anna"));
    EXPECT_EQ(Status(), L"admin-disabled");
    EXPECT_EQ(
        m_log.Count(Level::Info, "This agent's network tests are remotely disabled (remote instance config)."), 1U);
    EXPECT_FALSE(Settings::UpdateEnablement(true, L"anna"));
    EXPECT_EQ(Status(), L"disabled");
    EXPECT_EQ(
        m_log.Count(Level::Info, "This agent's network tests are locally disabled (registry user selection)."), 1U);
}

TEST_F(AppSettingsTest, EnablementLeavesAStatusOfUpgradeAlone)
{
    LayOut();
    SetSelection(L"enable");
    Settings::SetStatus(AgentStatus::Upgrade, false);
    EXPECT_TRUE(Settings::UpdateEnablement(true, L"anna"));
    EXPECT_EQ(Status(), L"upgrade");
}

TEST_F(AppSettingsTest, TheLastConnectedTimeIsWrittenPadded)
{
    LayOut();
    std::int64_t seconds = 0;
    EXPECT_TRUE(Settings::UpdateLastConnectedTime(seconds));
    EXPECT_GT(seconds, 1'700'000'000);
    const std::wstring text = WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"last-connected-time");
    EXPECT_EQ(text[8], L'-');
    EXPECT_EQ(text[17], L'.');
    EXPECT_GE(text.size() - text.find_first_of(L"+-", 17), 4U);
}

TEST_F(AppSettingsTest, ATimeThatCannotBeWrittenIsLoggedAndLeavesTheOldOne)
{
    std::int64_t seconds = 17;
    EXPECT_FALSE(Settings::UpdateLastConnectedTime(seconds));
    EXPECT_EQ(seconds, 17);
    EXPECT_EQ(m_log.Count(Level::Error, "UpdateLastConnectedTime() failed"), 1U);
}

TEST_F(AppSettingsTest, AnUnreadableTunnelStatusIsTakenForDisconnectedWithAWarning)
{
    LayOut();
    EXPECT_EQ(Settings::GetTunnelStatusText(), L"disconnected");
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Couldn't read the tunnel-status value; will assume it's disconnected..."), 1U);
}

// Read once in the life of a process, and each test is a process of its own.
TEST_F(AppSettingsTest, RetryDelaysGrowFromTheMinimumToTheMaximum)
{
    LayOut();
    EXPECT_EQ(Settings::CalculateRetryDelay(0), 30'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(1), 30'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(3), 120'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(9), 3'600'000U);
    EXPECT_EQ(Settings::CalculateRetryDelay(0xFFFFFFFF), 3'600'000U);
}

} // namespace
