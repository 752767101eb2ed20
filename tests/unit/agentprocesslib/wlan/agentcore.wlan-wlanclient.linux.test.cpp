#include "agentcore.wlan-wlanclient.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.wlan-wlanquerier.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-netlink.linux.hpp"
#include "wlan.nl80211messages.linux.hpp"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace
{

using namespace AgentCore::Wlan;
using namespace Nl80211Messages;
using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::array<std::uint8_t, 6> AccessPoint{2, 0, 0, 0, 1, 0};
constexpr std::uint32_t Authorised = 1U << NL80211_STA_FLAG_AUTHORIZED;

/// A kernel's wireless subsystem as the test wants it. Tables of networks and stations go by the interface's index.
struct Kernel
{
    int familyError = 0;
    int interfacesError = 0;
    std::vector<std::string> interfaces;
    std::map<std::uint32_t, std::vector<std::string>> networks;
    std::map<std::uint32_t, std::vector<std::string>> stations;

    std::vector<std::string> Answer(std::span<const char> request) const
    {
        if (TypeOfRequest(request) == GENL_ID_CTRL)
        {
            return familyError == 0 ? std::vector{FamilyFound(), NetlinkError(0)}
                                    : std::vector{NetlinkError(familyError)};
        }
        EXPECT_EQ(TypeOfRequest(request), Family);
        switch (CommandOfRequest(request))
        {
        case NL80211_CMD_GET_INTERFACE:
            return interfacesError == 0 ? Table(interfaces) : std::vector{NetlinkError(interfacesError)};
        case NL80211_CMD_GET_SCAN:
            return TableOf(networks, request);
        default:
            EXPECT_EQ(CommandOfRequest(request), NL80211_CMD_GET_STATION);
            return TableOf(stations, request);
        }
    }

private:
    static std::vector<std::string> Table(std::vector<std::string> rows)
    {
        rows.push_back(NetlinkDone());
        return rows;
    }

    static std::vector<std::string> TableOf(
        const std::map<std::uint32_t, std::vector<std::string>>& tables, std::span<const char> request)
    {
        const Shared::System::NetlinkAttributes attributes{request.subspan(NLMSG_HDRLEN + GENL_HDRLEN)};
        const auto found = tables.find(attributes.Read<std::uint32_t>(NL80211_ATTR_IFINDEX).value_or(0));
        return found == tables.end() ? std::vector{NetlinkError(ENODEV)} : Table(found->second);
    }
};

class Nl80211ClientTest : public testing::Test
{
protected:
    Nl80211ClientTest()
    {
        m_kernel.interfaces = {Interface(3, "wlan0", NL80211_IFTYPE_STATION, NL80211_CHAN_WIDTH_80)};
        m_network.status = NL80211_BSS_STATUS_ASSOCIATED;
        m_network.frequency = 5180;
        m_network.elements = Element(0, "Office");
        m_kernel.networks[3] = {ScanResult(m_network)};
        m_kernel.stations[3] = {StationMessage(
            AccessPoint,
            NetlinkNumber<std::int8_t>(NL80211_STA_INFO_SIGNAL, -60) + Flags(Authorised, Authorised) +
                Rate(NL80211_STA_INFO_RX_BITRATE, 8667, NL80211_RATE_INFO_VHT_MCS) +
                Rate(NL80211_STA_INFO_TX_BITRATE, 7800, NL80211_RATE_INFO_VHT_MCS))};
    }

    std::unique_ptr<WlanClient> Open()
    {
        return OpenWlanClient(
            OpenFakeNetlink([this](std::span<const char> request) { return m_kernel.Answer(request); }));
    }

    std::vector<WlanInterface> List()
    {
        return Open()->EnumerateInterfaces();
    }

    Kernel m_kernel;
    Network m_network;
};

TEST_F(Nl80211ClientTest, AConnectedInterfaceIsToldWhole)
{
    const auto wlans = WlanQuerier{Open()}.GetWlanStats();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].interface_id(), "wlan0");
    EXPECT_TRUE(wlans[0].active());
    EXPECT_EQ(wlans[0].ssid(), "Office");
    EXPECT_EQ(wlans[0].bssid(), "2:0:0:0:1:0");
    EXPECT_EQ(wlans[0].rx(), 866700U);
    EXPECT_EQ(wlans[0].tx(), 780000U);
    EXPECT_EQ(wlans[0].quality(), 80U);
    EXPECT_EQ(wlans[0].channel(), "36");
    EXPECT_EQ(wlans[0].phy_mode(), "802.11ac");
}

TEST_F(Nl80211ClientTest, AMachineWithoutTheSubsystemHasNoInterfacesAndNoError)
{
    const CapturedLog log;
    m_kernel.familyError = ENOENT;
    EXPECT_TRUE(WlanQuerier{Open()}.GetWlanStats().empty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(Nl80211ClientTest, ADeviceThatIsPluggedInLaterIsFound)
{
    m_kernel.familyError = ENOENT;
    const auto client = Open();
    EXPECT_THAT(client->EnumerateInterfaces(), IsEmpty());
    m_kernel.familyError = 0;
    EXPECT_THAT(client->EnumerateInterfaces(), SizeIs(1));
}

TEST_F(Nl80211ClientTest, AKernelThatRefusesIsAFailureWithItsCode)
{
    const CapturedLog log;
    m_kernel.interfacesError = EPERM;
    EXPECT_THROW(List(), Shared::Exception::Win32Exception);
    EXPECT_TRUE(WlanQuerier{Open()}.GetWlanStats().empty());
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, "Failed to enumerate WLAN interfaces: 1"), 1U);
    m_kernel.familyError = EPERM;
    EXPECT_THROW(List(), Shared::Exception::Win32Exception);
}

TEST_F(Nl80211ClientTest, WithoutNetlinkThereIsNoClient)
{
    EXPECT_EQ(OpenWlanClient([] { return std::unique_ptr<Shared::System::NetlinkTransport>{}; }), nullptr);
}

TEST_F(Nl80211ClientTest, AnInterfaceThatHasJoinedNothingIsDisconnected)
{
    m_network.status.reset();
    m_kernel.networks[3] = {ScanResult(m_network)};
    EXPECT_THAT(List(), ElementsAre(WlanInterface{"wlan0", InterfaceState::Disconnected}));
    m_kernel.networks[3] = {};
    EXPECT_THAT(List(), ElementsAre(WlanInterface{"wlan0", InterfaceState::Disconnected}));
}

TEST_F(Nl80211ClientTest, BeforeTheKeysAreAgreedOnItIsAuthenticating)
{
    m_kernel.stations[3] = {StationMessage(AccessPoint, Flags(Authorised, 0))};
    EXPECT_THAT(List(), ElementsAre(WlanInterface{"wlan0", InterfaceState::Authenticating}));
}

TEST_F(Nl80211ClientTest, ADriverThatTellsNothingOfItsStationsIsConnectedWithoutRates)
{
    m_network.signal = -7000;
    m_kernel.networks[3] = {ScanResult(m_network)};
    m_kernel.stations.clear();
    const auto wlans = WlanQuerier{Open()}.GetWlanStats();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].ssid(), "Office");
    EXPECT_EQ(wlans[0].rx(), 0U);
    EXPECT_EQ(wlans[0].quality(), 60U);
}

TEST_F(Nl80211ClientTest, AnInterfaceThatIsGoneLosesNoOther)
{
    m_kernel.interfaces.insert(
        m_kernel.interfaces.begin(), Interface(2, "wlan9", NL80211_IFTYPE_STATION, NL80211_CHAN_WIDTH_20));
    EXPECT_THAT(
        List(),
        ElementsAre(
            WlanInterface{"wlan9", InterfaceState::Disconnected}, WlanInterface{"wlan0", InterfaceState::Connected}));
}

TEST_F(Nl80211ClientTest, WhatWasNotListedHasNoLink)
{
    const auto client = Open();
    const WlanInterface wlan0{"wlan0", InterfaceState::Connected};
    EXPECT_FALSE(client->QueryConnection(wlan0).has_value());
    EXPECT_THAT(client->EnumerateInterfaces(), SizeIs(1));
    EXPECT_TRUE(client->QueryConnection(wlan0).has_value());
    EXPECT_EQ(client->QueryChannel(wlan0), 36U);
    EXPECT_FALSE(client->QueryConnection({"wlan1", InterfaceState::Connected}).has_value());
    EXPECT_FALSE(client->QueryChannel({"wlan1", InterfaceState::Connected}).has_value());
    m_kernel.interfaces.clear();
    EXPECT_THAT(client->EnumerateInterfaces(), IsEmpty());
    EXPECT_FALSE(client->QueryConnection(wlan0).has_value());
}

TEST_F(Nl80211ClientTest, AFrequencyBesideTheChannelsGivesNone)
{
    m_network.frequency = 5181;
    m_kernel.networks[3] = {ScanResult(m_network)};
    const auto wlans = WlanQuerier{Open()}.GetWlanStats();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].channel(), "");
}

} // namespace
