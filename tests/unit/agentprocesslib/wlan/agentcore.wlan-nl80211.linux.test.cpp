#include "agentcore.wlan-nl80211.linux.hpp"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

using Bytes = std::array<std::uint8_t, 6>;

template <typename Rows>
Rows Read(void (*readRow)(const Shared::System::NetlinkMessage&, Rows&), const std::string& messages)
{
    Rows rows{};
    ReadRow(readRow, messages, rows);
    return rows;
}

TEST(Nl80211FamilyTest, ItsNumberIsRead)
{
    EXPECT_EQ(Read(&ReadFamilyRow, FamilyFound()), Family);
    EXPECT_EQ(Read(&ReadFamilyRow, Message(CTRL_CMD_NEWFAMILY, "")), std::nullopt);
    EXPECT_EQ(Read(&ReadFamilyRow, NetlinkMessageBytes(GENL_ID_CTRL, "a")), std::nullopt);
}

TEST(Nl80211InterfaceTest, OnlyThoseThatJoinNetworksOfOthersCount)
{
    std::string messages;
    for (std::uint32_t type = 0; type <= NL80211_IFTYPE_NAN; ++type)
    {
        messages += Interface(type + 1, "wlan" + std::to_string(type), type, NL80211_CHAN_WIDTH_40);
    }
    EXPECT_THAT(
        Read(&ReadInterfaceRow, messages),
        ElementsAre(
            StationInterface{NL80211_IFTYPE_STATION + 1, "wlan2", NL80211_CHAN_WIDTH_40},
            StationInterface{NL80211_IFTYPE_P2P_CLIENT + 1, "wlan8", NL80211_CHAN_WIDTH_40}));
}

TEST(Nl80211InterfaceTest, WithoutAChannelThereIsNoWidth)
{
    const auto interfaces = Read(
        &ReadInterfaceRow,
        Message(
            NL80211_CMD_NEW_INTERFACE,
            NetlinkNumber<std::uint32_t>(NL80211_ATTR_IFINDEX, 3) + NetlinkText(NL80211_ATTR_IFNAME, "wlan0") +
                NetlinkNumber<std::uint32_t>(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_STATION)));
    EXPECT_THAT(interfaces, ElementsAre(StationInterface{3, "wlan0", std::nullopt}));
}

TEST(Nl80211InterfaceTest, DevicesWithoutANameAndOtherMessagesAreNone)
{
    EXPECT_THAT(
        Read(
            &ReadInterfaceRow,
            Message(
                NL80211_CMD_NEW_INTERFACE,
                NetlinkNumber<std::uint32_t>(NL80211_ATTR_IFTYPE, NL80211_IFTYPE_STATION) +
                    NetlinkNumber<std::uint32_t>(NL80211_ATTR_IFINDEX, 3))),
        IsEmpty());
    auto other = Interface(3, "wlan0", NL80211_IFTYPE_STATION, 0);
    other[NLMSG_HDRLEN] = NL80211_CMD_DEL_INTERFACE;
    EXPECT_THAT(Read(&ReadInterfaceRow, other), IsEmpty());
}

Network Joined()
{
    Network network;
    network.status = NL80211_BSS_STATUS_ASSOCIATED;
    network.elements = Element(1, "\x82\x84") + Element(0, "Office") + Element(3, "\x06");
    network.signal = -6150;
    return network;
}

TEST(Nl80211NetworkTest, TheJoinedOneIsRead)
{
    const auto network = Read(&ReadNetworkRow, ScanResult(Joined()));
    ASSERT_TRUE(network.has_value());
    EXPECT_EQ(network->ssid, "Office");
    EXPECT_EQ(network->bssid, (Bytes{2, 0, 0, 0, 1, 0}));
    EXPECT_EQ(network->frequency, 2437U);
    EXPECT_EQ(network->signal, -61);
    EXPECT_EQ(network->signalShare, std::nullopt);
}

TEST(Nl80211NetworkTest, NetworksInSightAndHalfJoinedOnesAreNot)
{
    auto inSight = Joined();
    inSight.status.reset();
    auto authenticated = Joined();
    authenticated.status = NL80211_BSS_STATUS_AUTHENTICATED;
    auto adHoc = Joined();
    adHoc.status = NL80211_BSS_STATUS_IBSS_JOINED;
    EXPECT_EQ(Read(&ReadNetworkRow, ScanResult(inSight) + ScanResult(authenticated) + ScanResult(adHoc)), std::nullopt);
}

TEST(Nl80211NetworkTest, OfALinkOverSeveralChannelsTheFirstCounts)
{
    auto second = Joined();
    second.frequency = 5180;
    const auto network = Read(&ReadNetworkRow, ScanResult(Joined()) + ScanResult(second));
    EXPECT_EQ(network.value_or(JoinedNetwork{}).frequency, 2437U);
}

TEST(Nl80211NetworkTest, DamagedElementsGiveNoName)
{
    auto network = Joined();
    for (const auto& elements :
         {std::string{}, std::string{"\0", 1}, Element(0, "Office").substr(0, 5), Element(1, "ab"),
          Element(1, "ab").substr(0, 3) + Element(0, "Office")})
    {
        network.elements = elements;
        EXPECT_EQ(Read(&ReadNetworkRow, ScanResult(network)).value_or(JoinedNetwork{"x", {}, 0, {}, {}}).ssid, "");
    }
}

TEST(Nl80211NetworkTest, ANameHasThirtyTwoBytesAtMost)
{
    auto network = Joined();
    network.elements = Element(0, std::string(200, 'x'));
    EXPECT_EQ(Read(&ReadNetworkRow, ScanResult(network)).value_or(JoinedNetwork{}).ssid, std::string(32, 'x'));
}

TEST(Nl80211NetworkTest, WithoutAWholeAddressItIsNone)
{
    const auto bss = NetlinkAttribute(NL80211_BSS_BSSID, "12345") +
        NetlinkNumber<std::uint32_t>(NL80211_BSS_STATUS, NL80211_BSS_STATUS_ASSOCIATED);
    EXPECT_EQ(
        Read(&ReadNetworkRow, Message(NL80211_CMD_NEW_SCAN_RESULTS, NetlinkAttribute(NL80211_ATTR_BSS, bss))),
        std::nullopt);
    EXPECT_EQ(Read(&ReadNetworkRow, Message(NL80211_CMD_NEW_SCAN_RESULTS, "")), std::nullopt);
}

constexpr Bytes AccessPoint{2, 0, 0, 0, 1, 0};

Station ReadStation(const std::string& information)
{
    const auto stations = Read(&ReadStationRow, StationMessage(AccessPoint, information));
    EXPECT_THAT(stations, SizeIs(1));
    return stations.empty() ? Station{} : stations.front();
}

TEST(Nl80211StationTest, SignalAndRatesAreRead)
{
    const auto station = ReadStation(
        NetlinkNumber<std::int8_t>(NL80211_STA_INFO_SIGNAL, -61) +
        NetlinkNumber<std::int8_t>(NL80211_STA_INFO_SIGNAL_AVG, -70) +
        Rate(NL80211_STA_INFO_RX_BITRATE, 8667, NL80211_RATE_INFO_VHT_MCS) + Rate(NL80211_STA_INFO_TX_BITRATE, 60));
    EXPECT_EQ(station.address, AccessPoint);
    EXPECT_EQ(station.signal, -61);
    EXPECT_EQ(station.receive, (LinkRate{866700, PhyType::VeryHighThroughput}));
    EXPECT_EQ(station.transmit, (LinkRate{6000, PhyType::Unknown}));
    EXPECT_EQ(station.isAuthorised, std::nullopt);
    EXPECT_FALSE(station.isPeer);
}

TEST(Nl80211StationTest, WhatTheDriverDoesNotTellIsUnknown)
{
    const auto station = ReadStation("");
    EXPECT_EQ(station.signal, std::nullopt);
    EXPECT_EQ(station.receive, std::nullopt);
    EXPECT_EQ(station.transmit, std::nullopt);
}

TEST(Nl80211StationTest, TheMeanSignalStandsInForTheLast)
{
    EXPECT_EQ(ReadStation(NetlinkNumber<std::int8_t>(NL80211_STA_INFO_SIGNAL_AVG, -70)).signal, -70);
}

TEST(Nl80211StationTest, EachGenerationOfRatesIsKnown)
{
    const auto generationOf = [](std::optional<std::uint16_t> attribute)
    {
        return ReadStation(Rate(NL80211_STA_INFO_TX_BITRATE, 100, attribute)).transmit.value_or(LinkRate{}).generation;
    };
    EXPECT_EQ(generationOf({}), PhyType::Unknown);
    EXPECT_EQ(generationOf(NL80211_RATE_INFO_MCS), PhyType::HighThroughput);
    EXPECT_EQ(generationOf(NL80211_RATE_INFO_VHT_MCS), PhyType::VeryHighThroughput);
    EXPECT_EQ(generationOf(NL80211_RATE_INFO_HE_MCS), PhyType::HighEfficiency);
    EXPECT_EQ(generationOf(NL80211_RATE_INFO_EHT_MCS), PhyType::ExtremelyHighThroughput);
}

TEST(Nl80211StationTest, TheWideRateIsBeforeTheNarrowOne)
{
    const auto rateOf = [](const std::string& content)
    {
        return ReadStation(NetlinkAttribute(NL80211_STA_INFO_TX_BITRATE, content)).transmit.value_or(LinkRate{}).rate;
    };
    const auto narrow = NetlinkNumber<std::uint16_t>(NL80211_RATE_INFO_BITRATE, 540);
    EXPECT_EQ(rateOf(narrow), 54000U);
    EXPECT_EQ(rateOf(narrow + NetlinkNumber<std::uint32_t>(NL80211_RATE_INFO_BITRATE32, 96078)), 9607800U);
    EXPECT_EQ(rateOf(""), 0U);
}

TEST(Nl80211StationTest, ARateBeyondTheFieldIsTheLargest)
{
    EXPECT_EQ(
        ReadStation(Rate(NL80211_STA_INFO_TX_BITRATE, 0xFFFFFFFF)).transmit.value_or(LinkRate{}).rate,
        std::numeric_limits<std::uint32_t>::max());
}

TEST(Nl80211StationTest, FlagsCountOnlyWhereTheDriverTellsThem)
{
    constexpr std::uint32_t authorised = 1U << NL80211_STA_FLAG_AUTHORIZED;
    constexpr std::uint32_t peer = 1U << NL80211_STA_FLAG_TDLS_PEER;
    EXPECT_EQ(ReadStation(Flags(authorised, authorised)).isAuthorised, true);
    EXPECT_EQ(ReadStation(Flags(authorised, 0)).isAuthorised, false);
    EXPECT_EQ(ReadStation(Flags(peer, authorised)).isAuthorised, std::nullopt);
    EXPECT_TRUE(ReadStation(Flags(peer, peer)).isPeer);
    EXPECT_FALSE(ReadStation(Flags(0, peer)).isPeer);
}

TEST(Nl80211StationTest, WithoutAnAddressItIsNone)
{
    EXPECT_THAT(Read(&ReadStationRow, Message(NL80211_CMD_NEW_STATION, "")), IsEmpty());
    EXPECT_THAT(
        Read(&ReadStationRow, Message(NL80211_CMD_NEW_STATION, NetlinkAttribute(NL80211_ATTR_MAC, "12345"))),
        IsEmpty());
}

TEST(AccessPointTest, IsTheStationWithTheNetworksAddressElseTheFirstThatIsNoPeer)
{
    JoinedNetwork network;
    network.bssid = {1, 1, 1, 1, 1, 1};
    std::vector<Station> stations(3);
    stations[0].isPeer = true;
    stations[2].address = network.bssid;
    EXPECT_EQ(FindAccessPoint(stations, network), &stations[2]);
    network.bssid = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(FindAccessPoint(stations, network), &stations[1]);
    stations.resize(1);
    EXPECT_EQ(FindAccessPoint(stations, network), nullptr);
    EXPECT_EQ(FindAccessPoint({}, network), nullptr);
}

TEST(ChannelTest, EveryBandHasItsNumbers)
{
    struct Row
    {
        std::uint32_t frequency;
        std::uint32_t channel;
    };

    for (const auto& [frequency, channel] :
         {Row{2412, 1}, Row{2437, 6}, Row{2472, 13}, Row{2484, 14}, Row{4920, 184}, Row{4980, 196}, Row{5180, 36},
          Row{5500, 100}, Row{5745, 149}, Row{5885, 177}, Row{5935, 2}, Row{5955, 1}, Row{6115, 33}, Row{7115, 233},
          Row{58320, 1}, Row{60480, 2}, Row{69120, 6}})
    {
        EXPECT_EQ(ToChannel(frequency), channel) << frequency;
    }
}

TEST(ChannelTest, AFrequencyBesideTheChannelsHasNone)
{
    for (const std::uint32_t frequency :
         {0U, 1U, 900U, 2407U, 2411U, 2413U, 2477U, 3000U, 5001U, 5181U, 5925U, 5950U, 7120U, 58321U, 0xFFFFFFFFU})
    {
        EXPECT_EQ(ToChannel(frequency), std::nullopt) << frequency;
    }
}

TEST(QualityTest, IsEvenBetweenMinusHundredAndMinusFifty)
{
    EXPECT_EQ(ToQuality(-100), 0U);
    EXPECT_EQ(ToQuality(-99), 2U);
    EXPECT_EQ(ToQuality(-75), 50U);
    EXPECT_EQ(ToQuality(-51), 98U);
    EXPECT_EQ(ToQuality(-50), 100U);
}

TEST(QualityTest, StopsAtItsEnds)
{
    EXPECT_EQ(ToQuality(-128), 0U);
    EXPECT_EQ(ToQuality(std::numeric_limits<std::int32_t>::min()), 0U);
    EXPECT_EQ(ToQuality(0), 100U);
    EXPECT_EQ(ToQuality(std::numeric_limits<std::int32_t>::max()), 100U);
}

struct LinkCase
{
    std::uint32_t frequency;
    std::optional<std::uint32_t> width;
    std::optional<LinkRate> receive;
    std::optional<LinkRate> transmit;
};

PhyType PhyTypeOf(const LinkCase& link)
{
    StationInterface stationInterface;
    stationInterface.channelWidth = link.width;
    JoinedNetwork network;
    network.frequency = link.frequency;
    Station station;
    station.receive = link.receive;
    station.transmit = link.transmit;
    return ToPhyType(stationInterface, network, &station);
}

constexpr LinkRate OldRate(std::uint32_t rate)
{
    return {rate, PhyType::Unknown};
}

TEST(PhyTypeTest, TheNewerOfBothDirectionsCounts)
{
    EXPECT_EQ(
        PhyTypeOf({2437, {}, LinkRate{1000, PhyType::HighThroughput}, LinkRate{1000, PhyType::HighEfficiency}}),
        PhyType::HighEfficiency);
    EXPECT_EQ(
        PhyTypeOf({5180, {}, LinkRate{1000, PhyType::VeryHighThroughput}, OldRate(6000)}), PhyType::VeryHighThroughput);
    EXPECT_EQ(
        PhyTypeOf({5180, {}, {}, LinkRate{1000, PhyType::ExtremelyHighThroughput}}), PhyType::ExtremelyHighThroughput);
}

TEST(PhyTypeTest, AnIdleLinkIsKnownByTheWidthOfItsChannel)
{
    EXPECT_EQ(PhyTypeOf({2437, NL80211_CHAN_WIDTH_20_NOHT, OldRate(1000), OldRate(1000)}), PhyType::HighRateDsss);
    EXPECT_EQ(PhyTypeOf({2437, NL80211_CHAN_WIDTH_20, OldRate(1000), OldRate(1000)}), PhyType::HighThroughput);
    EXPECT_EQ(PhyTypeOf({5180, NL80211_CHAN_WIDTH_40, OldRate(6000), OldRate(6000)}), PhyType::HighThroughput);
    for (const std::uint32_t width : {NL80211_CHAN_WIDTH_80, NL80211_CHAN_WIDTH_80P80, NL80211_CHAN_WIDTH_160})
    {
        EXPECT_EQ(PhyTypeOf({5180, width, OldRate(6000), OldRate(6000)}), PhyType::VeryHighThroughput) << width;
    }
    EXPECT_EQ(PhyTypeOf({6115, NL80211_CHAN_WIDTH_320, OldRate(6000), {}}), PhyType::ExtremelyHighThroughput);
}

TEST(PhyTypeTest, OldRatesAreToldApartByBandAndSpeed)
{
    EXPECT_EQ(PhyTypeOf({5180, {}, OldRate(54000), OldRate(6000)}), PhyType::Ofdm);
    EXPECT_EQ(PhyTypeOf({4920, {}, OldRate(54000), OldRate(6000)}), PhyType::Ofdm);
    EXPECT_EQ(PhyTypeOf({2437, {}, OldRate(1000), OldRate(54000)}), PhyType::ExtendedRate);
    EXPECT_EQ(PhyTypeOf({2437, {}, OldRate(6000), {}}), PhyType::ExtendedRate);
    EXPECT_EQ(PhyTypeOf({2437, {}, OldRate(11000), OldRate(5500)}), PhyType::HighRateDsss);
    EXPECT_EQ(PhyTypeOf({2484, {}, OldRate(11000), OldRate(2000)}), PhyType::HighRateDsss);
}

TEST(PhyTypeTest, EachBandHasAnOldestKind)
{
    EXPECT_EQ(PhyTypeOf({6115, {}, {}, {}}), PhyType::HighEfficiency);
    EXPECT_EQ(PhyTypeOf({5935, {}, {}, {}}), PhyType::HighEfficiency);
    EXPECT_EQ(PhyTypeOf({60480, {}, LinkRate{385000, PhyType::HighThroughput}, {}}), PhyType::DirectionalMultiGigabit);
    EXPECT_EQ(PhyTypeOf({5180, {}, {}, {}}), PhyType::Ofdm);
}

TEST(PhyTypeTest, WhatIsNotKnownIsUnknown)
{
    EXPECT_EQ(PhyTypeOf({2437, {}, {}, {}}), PhyType::Unknown);
    EXPECT_EQ(PhyTypeOf({2437, {}, OldRate(0), OldRate(0)}), PhyType::Unknown);
    EXPECT_EQ(PhyTypeOf({900, {}, OldRate(1000), OldRate(1000)}), PhyType::Unknown);
    JoinedNetwork network;
    network.frequency = 2437;
    EXPECT_EQ(ToPhyType({}, network, nullptr), PhyType::Unknown);
}

TEST(ConnectionTest, IsMadeOfTheNetworkAndItsAccessPoint)
{
    JoinedNetwork network{"Office", AccessPoint, 5180, -80, {}};
    Station station;
    station.signal = -60;
    station.receive = LinkRate{866700, PhyType::VeryHighThroughput};
    station.transmit = LinkRate{780000, PhyType::VeryHighThroughput};
    const auto connection = ToConnection({}, network, &station);
    EXPECT_EQ(connection.ssid, "Office");
    EXPECT_EQ(connection.bssid, AccessPoint);
    EXPECT_EQ(connection.phyType, PhyType::VeryHighThroughput);
    EXPECT_EQ(connection.quality, 80U);
    EXPECT_EQ(connection.receiveRate, 866700U);
    EXPECT_EQ(connection.transmitRate, 780000U);
}

TEST(ConnectionTest, TheBeaconsSignalStandsInForTheStations)
{
    const Station silent;
    JoinedNetwork network{"Office", AccessPoint, 5180, -80, 99};
    EXPECT_EQ(ToConnection({}, network, &silent).quality, 40U);
    EXPECT_EQ(ToConnection({}, network, nullptr).quality, 40U);
    network.signal.reset();
    EXPECT_EQ(ToConnection({}, network, nullptr).quality, 99U);
    network.signalShare = 255;
    EXPECT_EQ(ToConnection({}, network, nullptr).quality, 100U);
    network.signalShare.reset();
    EXPECT_EQ(ToConnection({}, network, nullptr).quality, 0U);
}

} // namespace
