#include "shared.appsettings-appsettingsloader.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.winreg-functions.hpp"
#include "test.appsettings-fixture.hpp"
#include "test.support-exceptions.hpp"

#include <string>

namespace
{

namespace Settings = Shared::AppSettings;
using Settings::SettingsKey;
using Shared::Exception::RuntimeException;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using TestSupport::RuntimeText;

class AppSettingsLoaderTest : public AppSettingsTests::SettingsTest
{
protected:
    Settings::AppSettings Load() const
    {
        return Settings::LoadAppSettings(m_key);
    }

    std::string LoadFailure() const
    {
        return RuntimeText([this] { (void)Load(); });
    }
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
        ServerCase{L"https://http://ho\"st", L"host", 443},
        ServerCase{L"host//", L"host/", 443},
        ServerCase{L"HTTPS//host", L"HTTPS//host", 443},
        ServerCase{L"host:1", L"host", 1},
        ServerCase{L"host:00443", L"host", 443},
        ServerCase{L"host:65535/", L"host", 65535}));

class BadServerTextTest : public ::testing::TestWithParam<std::wstring>
{
};

TEST_P(BadServerTextTest, IsRefusedAndChangesNothing)
{
    Settings::AppSettings settings;
    settings.server = L"before";
    settings.port = 17;
    settings.serverRaw = GetParam();
    EXPECT_EQ(RuntimeText([&] { Settings::SetServerAndPort(settings); }), PortFailure);
    EXPECT_EQ(settings.server, L"before");
    EXPECT_EQ(settings.port, 17U);
}

INSTANTIATE_TEST_SUITE_P(
    Texts,
    BadServerTextTest,
    ::testing::Values(
        L"",
        L"/",
        L"https://",
        L"a:b:c",
        L"host:1:2",
        L"[::1]:443",
        L"hthttp://tp://host",
        L"host:",
        L"host:0",
        L"host:65536",
        L"host:99999999999999999999",
        L"host:port",
        L"host:-1",
        L"host:+1",
        L"host: 80",
        L"host:80 ",
        L"host:8\uFF10",
        std::wstring(L"host:8\0", 7)));

TEST_F(AppSettingsLoaderTest, AFreshInstallationHasTheDefaults)
{
    LayOut();
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.server, L"cloud.example");
    EXPECT_EQ(settings.serverRaw, L"cloud.example");
    EXPECT_EQ(settings.port, 443U);
    EXPECT_EQ(settings.installedVersion, L"3.2.1");
    EXPECT_EQ(settings.accountId, 0U);
    EXPECT_TRUE(settings.agentUuid.empty());
    EXPECT_TRUE(settings.subtenantId.empty());
    EXPECT_EQ(settings.ignoreSslErrors, 0U);
    EXPECT_TRUE(settings.proxyPacUrl.empty());
    EXPECT_TRUE(settings.proxy.empty());
    EXPECT_TRUE(settings.reserved.empty());
    EXPECT_EQ(settings.connectTimeout, 60U);
    EXPECT_EQ(settings.logging.maxLogFiles, 4U);
    EXPECT_EQ(settings.logging.maxLogFileSize, 10'485'760U);
    EXPECT_EQ(settings.logging.logTarget, Settings::LogTarget::FileSystem);
    EXPECT_EQ(settings.logging.minimumLogLevel, 2U);
    for (const std::wstring& text :
         {settings.gatewayAddress, settings.sourceRegion, settings.tunnelIp, settings.tunnelStatus, settings.userId,
          settings.userSelection, settings.vpnVersion})
    {
        EXPECT_TRUE(text.empty());
    }
}

TEST_F(AppSettingsLoaderTest, ANewRecordHasTheDefaultsOfTheTable)
{
    const Settings::AppSettings settings;
    EXPECT_EQ(settings.port, 443U);
    EXPECT_EQ(settings.connectTimeout, 60U);
    EXPECT_EQ(settings.logging.maxLogFiles, 4U);
    EXPECT_EQ(settings.logging.maxLogFileSize, 10'485'760U);
    EXPECT_EQ(
        settings.logging.minimumLogLevel,
        Settings::ParseLogLevel(Settings::DefaultText(Settings::Value::MinimumLogLevel)));
    EXPECT_EQ(settings.logging.logTarget, Settings::ParseLogTarget(Settings::DefaultText(Settings::Value::LogTarget)));
}

TEST_F(AppSettingsLoaderTest, EveryValueIsTakenOver)
{
    LayOut();
    SetConfig(L"IgnoreSSLErrors", 1);
    SetConfig(L"AgentUUID", L"uuid");
    SetConfig(L"AccountID", 42);
    SetConfig(L"RegisteredId", Encipher("subtenant"));
    SetConfig(L"Proxy", L"proxy.example:3128");
    SetConfig(L"ConnectTimeout", 5);
    SetConfig(L"MaxLogFiles", 2);
    SetConfig(L"MaxLogFileSize", 1000);
    SetConfig(L"LogTarget", L"CONSOLE");
    SetConfig(L"MinimumLogLevel", L"Debug");
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.ignoreSslErrors, 1U);
    EXPECT_EQ(settings.agentUuid, L"uuid");
    EXPECT_EQ(settings.accountId, 42U);
    EXPECT_EQ(settings.subtenantId, L"subtenant");
    EXPECT_EQ(settings.proxy, L"proxy.example:3128");
    EXPECT_EQ(settings.connectTimeout, 5U);
    EXPECT_EQ(settings.logging.maxLogFiles, 2U);
    EXPECT_EQ(settings.logging.maxLogFileSize, 1000U);
    EXPECT_EQ(settings.logging.logTarget, Settings::LogTarget::Console);
    EXPECT_EQ(settings.logging.minimumLogLevel, 1U);
}

TEST_F(AppSettingsLoaderTest, TheVpnClientsValuesAreTakenOverAsTheyStand)
{
    LayOut();
    SetVpn(L"gateway-address", L"gateway=g,ipv4=1.2.3.4");
    SetVpn(L"source-region", L"region");
    SetVpn(L"tunnel-ip", L"ipv4=10.0.0.1");
    SetVpn(L"tunnel-status", L"Connected");
    SetVpn(L"user-id", L"still enciphered");
    SetVpn(L"user-selection", L"enable");
    Set(SettingsKey::Vpn, L"Version", L"5.4.3");
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.gatewayAddress, L"gateway=g,ipv4=1.2.3.4");
    EXPECT_EQ(settings.sourceRegion, L"region");
    EXPECT_EQ(settings.tunnelIp, L"ipv4=10.0.0.1");
    EXPECT_EQ(settings.tunnelStatus, L"Connected");
    EXPECT_EQ(settings.userId, L"still enciphered");
    EXPECT_EQ(settings.userSelection, L"enable");
    EXPECT_EQ(settings.vpnVersion, L"5.4.3");
}

TEST_F(AppSettingsLoaderTest, ValuesOfAnotherTypeCountAsMissing)
{
    LayOut();
    SetConfig(L"ConnectTimeout", L"5");
    SetConfig(L"LogTarget", 2);
    SetConfig(L"ProxyPacUrl", 1);
    SetConfig(L"Proxy", L"proxy.example");
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.connectTimeout, 60U);
    EXPECT_EQ(settings.logging.logTarget, Settings::LogTarget::FileSystem);
    EXPECT_EQ(settings.proxy, L"proxy.example");
}

TEST_F(AppSettingsLoaderTest, AScriptForTheProxyTakesThePlaceOfTheProxyEvenAnEmptyOne)
{
    LayOut();
    SetConfig(L"Proxy", L"proxy.example:3128");
    SetConfig(L"ProxyPacUrl", L"http://pac.example/");
    EXPECT_EQ(Load().proxyPacUrl, L"http://pac.example/");
    EXPECT_TRUE(Load().proxy.empty());
    SetConfig(L"ProxyPacUrl", L"");
    EXPECT_TRUE(Load().proxy.empty());
}

TEST_F(AppSettingsLoaderTest, AccountAndSubtenantBelongToAnAgentUuid)
{
    LayOut();
    SetConfig(L"AccountID", 42);
    SetConfig(L"RegisteredId", Encipher("subtenant"));
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.accountId, 0U);
    EXPECT_TRUE(settings.subtenantId.empty());
    EXPECT_EQ(m_log.Count(Level::Info, "RegisteredId"), 0U) << "it is not even read";
}

TEST_F(AppSettingsLoaderTest, AnAgentThatWasKilledWhileItSavedItsRegistrationStillStarts)
{
    LayOut();
    SetConfig(L"AgentUUID", L"uuid");
    const Settings::AppSettings settings = Load();
    EXPECT_EQ(settings.agentUuid, L"uuid");
    EXPECT_EQ(settings.accountId, 0U);
    EXPECT_TRUE(settings.subtenantId.empty());
    EXPECT_EQ(m_log.Count(Level::Info, "No RegisteredId found"), 1U);
}

TEST_F(AppSettingsLoaderTest, AMissingConfigKeyIsNamed)
{
    EXPECT_EQ(LoadFailure(), "SOFTWARE\\Tarvane\\VEL\\Config does not exist.");
    EXPECT_EQ(m_log.Count(Level::Error, "Failed to open the config key"), 1U);
}

TEST_F(AppSettingsLoaderTest, AMissingVersionIsAFailure)
{
    LayOut();
    Delete(SettingsKey::Agent, L"installed-version");
    EXPECT_THROW((void)Load(), Win32Exception);
}

TEST_F(AppSettingsLoaderTest, AServerOverrideWinsUnlessItIsEmpty)
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
    EXPECT_EQ(settings.port, 443U);
}

TEST_F(AppSettingsLoaderTest, NoServerAtAllIsAFailure)
{
    LayOut();
    Delete(SettingsKey::Config, L"Server");
    EXPECT_EQ(LoadFailure(), "No server value found in registry key.");
    SetConfig(L"ServerOverride", L"");
    EXPECT_EQ(LoadFailure(), "No server value found in registry key.");
    SetConfig(L"Server", L"");
    EXPECT_EQ(LoadFailure(), PortFailure);
    SetConfig(L"Server", L"a:b:c");
    EXPECT_EQ(LoadFailure(), PortFailure);
}

TEST(LogTargetTest, IsComparedWithoutCaseAndUnknownTextsAreTheFileSystem)
{
    EXPECT_EQ(Settings::ParseLogTarget(L"EventLog"), Settings::LogTarget::EventLog);
    EXPECT_EQ(Settings::ParseLogTarget(L"console"), Settings::LogTarget::Console);
    EXPECT_EQ(Settings::ParseLogTarget(L"FileSystem"), Settings::LogTarget::FileSystem);
    EXPECT_EQ(Settings::ParseLogTarget(L"printer"), Settings::LogTarget::FileSystem);
    EXPECT_EQ(Settings::ParseLogTarget(L"console "), Settings::LogTarget::FileSystem);
    EXPECT_EQ(Settings::ParseLogTarget(L""), Settings::LogTarget::FileSystem);
}

TEST(LogLevelTest, HasAliasesAndOffAndUnknownTextsAreInfo)
{
    EXPECT_EQ(Settings::ParseLogLevel(L"trace"), 0U);
    EXPECT_EQ(Settings::ParseLogLevel(L"debug"), 1U);
    EXPECT_EQ(Settings::ParseLogLevel(L"info"), 2U);
    EXPECT_EQ(Settings::ParseLogLevel(L"warn"), 3U);
    EXPECT_EQ(Settings::ParseLogLevel(L"WARNING"), 3U);
    EXPECT_EQ(Settings::ParseLogLevel(L"err"), 4U);
    EXPECT_EQ(Settings::ParseLogLevel(L"Error"), 4U);
    EXPECT_EQ(Settings::ParseLogLevel(L"critical"), 5U);
    EXPECT_EQ(Settings::ParseLogLevel(L"off"), 2U);
    EXPECT_EQ(Settings::ParseLogLevel(L"loud"), 2U);
    EXPECT_EQ(Settings::ParseLogLevel(L""), 2U);
}

} // namespace
