#include "shared.appsettings-vpnvalues.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"
#include "test.appsettings-fixture.hpp"
#include "test.support-exceptions.hpp"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace
{

namespace Settings = Shared::AppSettings;
using Settings::SettingsKey;
using Settings::VpnConnectionStatus;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using namespace std::string_literals;

class VpnValuesTest : public AppSettingsTests::SettingsTest
{
protected:
    VpnValuesTest()
    {
        LayOut();
    }

    Settings::VpnConnectionInfo Get() const
    {
        return Settings::GetVpnConnectionInfo(m_key);
    }

    /// How many lines there are that need a look.
    std::size_t CountWarningsAndErrors() const
    {
        return m_log.Count(Level::Warning, "") + m_log.Count(Level::Error, "");
    }
};

TEST_F(VpnValuesTest, EverythingThatTheClientTellsIsTakenApart)
{
    SetVpn(L"tunnel-status", L"connected-internal");
    SetVpn(L"gateway-address", L"gateway=g.example,ipv4=1.2.3.4,ipv6=2001:db8::1");
    SetVpn(L"gateway-location", L"Berlin");
    SetVpn(L"source-region", L"EU");
    SetVpn(L"tunnel-ip", L"ipv4=10.0.0.1,ipv6=fd00::1");
    SetUser("username=anna,domain=LAB,tenant-id=T1,sub-tenant-id=S1");
    const Settings::VpnConnectionInfo info = Get();
    EXPECT_EQ(info.status, VpnConnectionStatus::ConnectedInternal);
    EXPECT_EQ(info.gatewayAddress, L"gateway=g.example,ipv4=1.2.3.4,ipv6=2001:db8::1");
    EXPECT_EQ(info.gateway, L"g.example");
    EXPECT_EQ(info.gatewayIpV4, L"1.2.3.4");
    EXPECT_EQ(info.gatewayIpV6, L"2001:db8::1");
    EXPECT_EQ(info.gatewayLocation, L"Berlin");
    EXPECT_EQ(info.sourceRegion, L"EU");
    EXPECT_EQ(info.tunnelIp, L"ipv4=10.0.0.1,ipv6=fd00::1");
    EXPECT_EQ(info.tunnelIpV4, L"10.0.0.1");
    EXPECT_EQ(info.tunnelIpV6, L"fd00::1");
    EXPECT_EQ(info.username, L"anna");
    EXPECT_EQ(info.domain, L"LAB");
    EXPECT_EQ(info.fullUsername, L"LAB\\anna");
    EXPECT_EQ(info.tenantId, L"T1");
    EXPECT_EQ(info.subTenantId, L"S1");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(VpnValuesTest, WithoutAClientEveryFieldIsEmptyAndTheLogSaysWhatCouldNotBeRead)
{
    const Settings::VpnConnectionInfo info = Get();
    EXPECT_EQ(info.status, VpnConnectionStatus::Disconnected);
    for (const std::wstring& text :
         {info.gatewayAddress, info.gateway, info.gatewayIpV4, info.gatewayIpV6, info.tunnelIp, info.tunnelIpV4,
          info.tunnelIpV6, info.fullUsername, info.domain, info.tenantId, info.subTenantId, info.gatewayLocation,
          info.sourceRegion, info.username})
    {
        EXPECT_TRUE(text.empty());
    }
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Couldn't read the tunnel-status value; will assume it's disconnected..."), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Couldn't read the gateway-address value."), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Couldn't read the source-region value."), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Failed parsing the user-id string"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Couldn't read the gateway-location value."), 1U);
    EXPECT_EQ(m_log.Lines().size(), 5U);
}

TEST_F(VpnValuesTest, AGatewayWithoutItsPartsIsToldAtLevelDebug)
{
    SetVpn(L"gateway-address", L"");
    (void)Get();
    EXPECT_EQ(m_log.Count(Level::Debug, "Gateway value is empty; this will impact the ping tests performed."), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "GatewayIpV4 value is empty; this will impact the ping tests performed."), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Couldn't read the gateway-address value."), 0U);
}

TEST_F(VpnValuesTest, TheTunnelsStateAndItsWordAreTold)
{
    SetVpn(L"tunnel-status", L"connected");
    std::wstring text = L"before";
    EXPECT_EQ(Settings::GetTunnelStatus(text), VpnConnectionStatus::Connected);
    EXPECT_EQ(text, L"connected");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(VpnValuesTest, AnUnreadableTunnelStatusIsTakenForDisconnectedWithAWarning)
{
    std::wstring text = L"before";
    EXPECT_EQ(Settings::GetTunnelStatus(text), VpnConnectionStatus::Disconnected);
    EXPECT_EQ(text, L"disconnected");
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Couldn't read the tunnel-status value; will assume it's disconnected..."), 1U);
    EXPECT_EQ(m_log.Lines().size(), 1U);
}

TEST_F(VpnValuesTest, ATunnelStatusInAnotherCaseIsUnknownAndCountsAsDisconnectedWithAWarning)
{
    SetVpn(L"tunnel-status", L"Connected");
    std::wstring text;
    EXPECT_EQ(Settings::GetTunnelStatus(text), VpnConnectionStatus::Disconnected);
    EXPECT_EQ(text, L"Connected");
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Couldn't map value Connected to a known VPN status; will default to Disconnected"),
        1U);
}

TEST_F(VpnValuesTest, TunnelAddressesAreReadWithTheirRawText)
{
    SetVpn(L"tunnel-ip", L"ipv4=10.0.0.1");
    const Settings::TunnelIps ips = Settings::GetTunnelIps();
    EXPECT_EQ(ips.raw, L"ipv4=10.0.0.1");
    EXPECT_EQ(ips.ipV4, L"10.0.0.1");
    EXPECT_EQ(ips.ipV6, L"");
    Delete(SettingsKey::VpnVel, L"tunnel-ip");
    EXPECT_EQ(Settings::GetTunnelIps().raw, L"");
}

TEST(ParseTunnelIpsTest, ALaterElementOverwritesAnEarlierOne)
{
    const Settings::TunnelIps ips = Settings::ParseTunnelIps(L"ipv4=1.1.1.1,ipv6=a::1,ipv4=2.2.2.2,ipv6=");
    EXPECT_EQ(ips.ipV4, L"2.2.2.2");
    EXPECT_EQ(ips.ipV6, L"");
}

TEST(ParseTunnelIpsTest, ThePrefixIsRemovedWhereverItStandsInItsElement)
{
    EXPECT_EQ(Settings::ParseTunnelIps(L"ipv4=1.1.ipv4=1.1").ipV4, L"1.1.1.1");
    EXPECT_EQ(Settings::ParseTunnelIps(L"ipv4=ipv4=ipv4=").ipV4, L"");
    EXPECT_EQ(Settings::ParseTunnelIps(L"ipv4=ipv6=a").ipV4, L"ipv6=a");
}

TEST(ParseTunnelIpsTest, WhatHasNoKnownPrefixIsPassedOver)
{
    for (const wchar_t* text : {L"", L",", L",,,", L"10.0.0.1", L" ipv4=10.0.0.1", L"IPV4=10.0.0.1", L"ipv5=1", L"="})
    {
        const Settings::TunnelIps ips = Settings::ParseTunnelIps(text);
        EXPECT_EQ(ips.raw, text);
        EXPECT_EQ(ips.ipV4, L"") << text;
        EXPECT_EQ(ips.ipV6, L"") << text;
    }
}

TEST(ParseGatewayAddressTest, OnlyThePrefixAtTheStartIsRemoved)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseGatewayAddress(L"ipv6=::1,,gateway=gateway=x,junk,ipv4=", info);
    EXPECT_EQ(info.gateway, L"gateway=x");
    EXPECT_EQ(info.gatewayIpV4, L"");
    EXPECT_EQ(info.gatewayIpV6, L"::1");
}

TEST(ParseUserIdTest, KnowsItsFourElementsInAnyOrder)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseUserId(L"sub-tenant-id=S,tenant-id=T,other=o,domain=D,username=U", info);
    EXPECT_EQ(info.username, L"U");
    EXPECT_EQ(info.domain, L"D");
    EXPECT_EQ(info.tenantId, L"T");
    EXPECT_EQ(info.subTenantId, L"S");
    EXPECT_EQ(info.fullUsername, L"") << "is put together elsewhere";
}

TEST(ParseUserIdTest, OfRubbishNothingIsTaken)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseUserId(L"\x01\x02\xFFFDUsername=a;username=b domain=c\0,"s, info);
    EXPECT_EQ(info.username + info.domain + info.tenantId + info.subTenantId, L"");
}

TEST(ParseUserIdTest, NullCharactersAreCharacters)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseUserId(L"username=a\0b,domain=\0"s, info);
    EXPECT_EQ(info.username, L"a\0b"s);
    EXPECT_EQ(info.domain, L"\0"s);
}

TEST_F(VpnValuesTest, LineEndsInTheStoredUserIdDoNotCount)
{
    std::wstring enciphered = Encipher("username=anna,tenant-id=" + std::string(200, 't'));
    for (std::size_t position = 64; position < enciphered.size(); position += 66)
    {
        enciphered.insert(position, L"\r\n");
    }
    SetVpn(L"user-id", enciphered + L"\r\n");
    EXPECT_EQ(Get().username, L"anna");
    EXPECT_EQ(Get().tenantId, std::wstring(200, L't'));
}

TEST_F(VpnValuesTest, AUserIdThatIsMissingIsAFailureForWhoeverAsksForIt)
{
    EXPECT_THROW((void)Settings::GetUserId(m_key), Win32Exception);
    SetUser("username=anna");
    EXPECT_EQ(Settings::GetUserId(m_key).GetView(), L"username=anna");
}

TEST_F(VpnValuesTest, AUserIdThatDoesNotOpenIsAnErrorAndTheRestIsStillRead)
{
    SetVpn(L"gateway-location", L"Berlin");
    const std::vector<std::wstring> damaged = {
        L"",
        L"\r\n",
        L"no base64!",
        L"AAAA",
        Encipher("username=anna", "the key of another machine"),
        std::wstring(1, static_cast<wchar_t>(0xD800)),
        L"AA\0AA"s};
    for (const std::wstring& text : damaged)
    {
        SetVpn(L"user-id", text);
        const std::size_t before = m_log.Count(Level::Error, "Failed parsing the user-id string");
        const Settings::VpnConnectionInfo info = Get();
        EXPECT_EQ(m_log.Count(Level::Error, "Failed parsing the user-id string"), before + 1);
        EXPECT_EQ(info.fullUsername, L"");
        EXPECT_EQ(info.subTenantId, L"");
        EXPECT_EQ(info.gatewayLocation, L"Berlin");
    }
}

TEST_F(VpnValuesTest, AUserIdThatOpensToRubbishTellsNoUser)
{
    SetUser("\xFF\xFE\x80\x00,\x01=username"s);
    const Settings::VpnConnectionInfo info = Get();
    EXPECT_EQ(info.username + info.domain + info.tenantId + info.subTenantId + info.fullUsername, L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "No username component detected"), 1U);
}

TEST_F(VpnValuesTest, AUserIdAsLongAsAValueMayBeIsReadLikeAnother)
{
    // In UTF-16 a quarter less than the megabyte that a value may have.
    const std::string name(300'000, 'n');
    SetUser("username=" + name + ",domain=LAB");
    const Settings::VpnConnectionInfo info = Get();
    EXPECT_EQ(info.username.size(), name.size());
    EXPECT_EQ(info.fullUsername.size(), name.size() + 4);
    SetUser(std::string(300'000, ','));
    EXPECT_EQ(Get().username, L"");
}

TEST_F(VpnValuesTest, NamesInOtherLettersComeWhole)
{
    SetUser("username=\xC3\xA4nna\xF0\x9F\x98\x80,domain=\xE6\x97\xA5\xE6\x9C\xAC");
    EXPECT_EQ(Get().fullUsername, L"\u65e5\u672c\\\u00e4nna\U0001F600");
}

TEST_F(VpnValuesTest, NoSecretOfTheUserIdReachesTheLog)
{
    SetUser("tenant-id=secret-tenant,sub-tenant-id=secret-subtenant,username=anna,domain=LAB");
    SetVpn(L"tunnel-status", L"odd");
    (void)Get();
    SetUser("tenant-id=secret-tenant", "the key of another machine");
    (void)Get();
    for (const auto& line : m_log.Lines())
    {
        EXPECT_EQ(line.text.find("secret"), std::string::npos) << line.text;
        EXPECT_EQ(line.text.find("the key of"), std::string::npos) << line.text;
    }
}

TEST_F(VpnValuesTest, TheFullNameIsDomainAndUser)
{
    EXPECT_EQ(Settings::BuildFullUsername(L"anna", L"LAB"), L"LAB\\anna");
    EXPECT_EQ(Settings::BuildFullUsername(L"anna", L""), L"anna");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(VpnValuesTest, ANameWithAnAtSignStaysAsItStandsAlsoWithADomain)
{
    EXPECT_EQ(Settings::BuildFullUsername(L"anna@lab.example", L"LAB"), L"anna@lab.example");
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "Detected the domain was not empty but user contained an @: user anna@lab.example, domain LAB"),
        1U);
    EXPECT_EQ(Settings::BuildFullUsername(L"anna@lab.example", L""), L"anna@lab.example");
    EXPECT_EQ(m_log.Lines().size(), 1U);
}

TEST_F(VpnValuesTest, ANameWithABackslashStaysAsItStandsAlsoWithADomain)
{
    EXPECT_EQ(Settings::BuildFullUsername(L"OTHER\\anna", L"LAB"), L"OTHER\\anna");
    EXPECT_EQ(
        m_log.Count(
            Level::Info, "Detected the domain was not empty but user contained an \\: user OTHER\\anna, domain LAB"),
        1U);
}

TEST_F(VpnValuesTest, WithoutAUserNameThereIsNoFullNameWhateverTheDomain)
{
    EXPECT_EQ(Settings::BuildFullUsername(L"", L""), L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "No username component detected"), 1U);
    EXPECT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(Settings::BuildFullUsername(L"", L"LAB"), L"");
    EXPECT_EQ(m_log.Count(Level::Warning, "No username component detected"), 2U);
    EXPECT_EQ(
        m_log.Count(Level::Warning, "Detected an abnormal case where the username was empty but domain was not: LAB"),
        1U);
}

TEST_F(VpnValuesTest, OnlyTheExactWordEnableCountsAsTheUsersConsent)
{
    EXPECT_FALSE(Settings::GetUserSelectionEnabled());
    SetVpn(L"user-selection", L"enable");
    EXPECT_TRUE(Settings::GetUserSelectionEnabled());
    for (const wchar_t* text : {L"Enable", L"enabled", L"disable", L""})
    {
        SetVpn(L"user-selection", text);
        EXPECT_FALSE(Settings::GetUserSelectionEnabled());
    }
}

TEST_F(VpnValuesTest, TheSmallerValuesAreReadWithTheirDefaults)
{
    EXPECT_EQ(Settings::GetOstraAccessAgent(), L"");
    EXPECT_EQ(Settings::GetMachineId(), L"");
    EXPECT_EQ(Settings::GetDnsResolutionTimeoutMs(), 15'000U);
    EXPECT_THROW((void)Settings::GetVpnClientVersion(), Win32Exception);
    SetVpn(L"ostra-access-agent", L"ztna");
    SetVpn(L"machine-id", L"machine");
    Set(SettingsKey::VpnVel, L"dns-resolution-timeout", 250);
    Set(SettingsKey::VpnSetup, L"CurrentVersion", L"5.4");
    EXPECT_EQ(Settings::GetOstraAccessAgent(), L"ztna");
    EXPECT_EQ(Settings::GetMachineId(), L"machine");
    EXPECT_EQ(Settings::GetDnsResolutionTimeoutMs(), 250U);
    EXPECT_EQ(Settings::GetVpnClientVersion(), L"5.4");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(VpnValuesTest, ManyThreadsReadWhileTheClientWritesAndNoneSeesHalfAUser)
{
    SetUser("username=a,tenant-id=a,sub-tenant-id=a");
    std::atomic<bool> isOver{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
    {
        readers.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    const Settings::VpnConnectionInfo info = Get();
                    EXPECT_EQ(info.username, info.tenantId);
                    EXPECT_EQ(info.username, info.subTenantId);
                    EXPECT_FALSE(info.username.empty());
                }
            });
    }
    for (int round = 0; round < 20; ++round)
    {
        const std::string user = "user" + std::to_string(round);
        SetUser("username=" + user + ",tenant-id=" + user + ",sub-tenant-id=" + user);
    }
    isOver = true;
    for (auto& reader : readers)
    {
        reader.join();
    }
}

} // namespace
