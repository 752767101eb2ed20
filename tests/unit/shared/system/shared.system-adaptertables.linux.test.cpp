#include "shared.system-adaptertables.linux.hpp"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-netlink.linux.hpp"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace
{

using namespace Shared::System;
using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint8_t OperationalUp = 6;

IpAddress V4(const char* text)
{
    return {AddressFamily::IpV4, text};
}

IpAddress V6(const char* text)
{
    return {AddressFamily::IpV6, text};
}

std::string Packed(const IpAddress& address)
{
    std::array<char, sizeof(in6_addr)> bytes{};
    const bool isIpV4 = address.family == AddressFamily::IpV4;
    EXPECT_EQ(::inet_pton(isIpV4 ? AF_INET : AF_INET6, address.text.c_str(), bytes.data()), 1);
    return {bytes.data(), isIpV4 ? sizeof(in_addr) : sizeof(in6_addr)};
}

struct LinkHeader
{
    unsigned short hardware = ARPHRD_ETHER;
    int index = 5;
    unsigned flags = IFF_UP | IFF_RUNNING;
};

std::string LinkMessage(const LinkHeader& link, const std::string& attributes)
{
    ifinfomsg header{};
    header.ifi_type = link.hardware;
    header.ifi_index = link.index;
    header.ifi_flags = link.flags;
    return NetlinkMessageBytes(RTM_NEWLINK, BytesOf(header) + attributes);
}

std::string KindOf(const std::string& kind, const std::string& ownerKind = {})
{
    auto content = kind.empty() ? std::string{} : NetlinkText(IFLA_INFO_KIND, kind);
    content += ownerKind.empty() ? std::string{} : NetlinkText(IFLA_INFO_SLAVE_KIND, ownerKind);
    return NetlinkAttribute(IFLA_LINKINFO, content);
}

std::vector<Link> ReadLinks(const std::string& messages)
{
    std::vector<Link> links;
    ReadRow(&ReadLinkRow, messages, links);
    return links;
}

Adapter ReadLink(const LinkHeader& link, const std::string& attributes)
{
    const auto links = ReadLinks(LinkMessage(link, attributes));
    EXPECT_EQ(links.size(), 1U);
    return links.empty() ? Adapter{} : links.front().adapter;
}

AdapterType TypeOf(unsigned short hardware, const std::string& kind = {})
{
    return ReadLink({hardware}, KindOf(kind)).type;
}

TEST(LinkRowTest, ReadsNumberNameAddressAndSize)
{
    const auto adapter = ReadLink(
        {},
        NetlinkText(IFLA_IFNAME, "eth0") + NetlinkAttribute(IFLA_ADDRESS, "\x01\x02\x03\x04\x05\x06") +
            NetlinkNumber<std::uint32_t>(IFLA_MTU, 1500) + NetlinkNumber<std::uint8_t>(IFLA_OPERSTATE, OperationalUp));
    EXPECT_EQ(adapter.index, 5U);
    EXPECT_EQ(adapter.name, "eth0");
    EXPECT_EQ(adapter.friendlyName, L"eth0");
    EXPECT_EQ(adapter.description, L"");
    EXPECT_EQ(adapter.type, AdapterType::Ethernet);
    EXPECT_EQ(adapter.status, OperationalStatus::Up);
    EXPECT_THAT(adapter.mac, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(adapter.mtu, 1500U);
    EXPECT_FALSE(adapter.isPort);
}

TEST(LinkRowTest, TheAliasIsTheDescription)
{
    EXPECT_EQ(ReadLink({}, NetlinkText(IFLA_IFALIAS, "Laboratory \xC3\x84")).description, L"Laboratory \u00C4");
}

TEST(LinkRowTest, TheLinkLayerTellsTheType)
{
    EXPECT_EQ(TypeOf(ARPHRD_ETHER), AdapterType::Ethernet);
    EXPECT_EQ(TypeOf(ARPHRD_IEEE80211), AdapterType::Wireless);
    EXPECT_EQ(TypeOf(ARPHRD_LOOPBACK), AdapterType::Loopback);
    EXPECT_EQ(TypeOf(ARPHRD_PPP), AdapterType::Ppp);
    for (const auto tunnel : std::initializer_list<unsigned short>{
             ARPHRD_NONE, ARPHRD_TUNNEL, ARPHRD_TUNNEL6, ARPHRD_SIT, ARPHRD_IPGRE, ARPHRD_IP6GRE})
    {
        EXPECT_EQ(TypeOf(tunnel), AdapterType::Tunnel) << tunnel;
    }
    EXPECT_EQ(TypeOf(ARPHRD_INFINIBAND), AdapterType::Other);
    EXPECT_EQ(TypeOf(ARPHRD_IEEE80211_RADIOTAP), AdapterType::Other);
}

TEST(LinkRowTest, SoftwareThatCarriesPacketsThroughOthersIsATunnel)
{
    for (const auto* const kind : {"tun", "vxlan", "geneve", "gretap", "ip6gretap", "erspan", "ip6erspan"})
    {
        EXPECT_EQ(TypeOf(ARPHRD_ETHER, kind), AdapterType::Tunnel) << kind;
    }
}

TEST(LinkRowTest, SoftwareThatCarriesAddressesIsEthernet)
{
    for (const auto* const kind : {"bridge", "bond", "team", "vlan", "macvlan", "veth", "dummy", "something new"})
    {
        EXPECT_EQ(TypeOf(ARPHRD_ETHER, kind), AdapterType::Ethernet) << kind;
    }
    EXPECT_EQ(TypeOf(ARPHRD_ETHER, "ifb"), AdapterType::Other);
    EXPECT_EQ(TypeOf(ARPHRD_ETHER, "vrf"), AdapterType::Other);
    EXPECT_EQ(TypeOf(ARPHRD_ETHER, "wwan"), AdapterType::Other);
}

TEST(LinkRowTest, WhatHasAKindIsSoftware)
{
    const auto links =
        ReadLinks(LinkMessage({}, KindOf("veth")) + LinkMessage({}, KindOf("", "bridge")) + LinkMessage({}, ""));
    ASSERT_EQ(links.size(), 3U);
    EXPECT_TRUE(links[0].isSoftware);
    EXPECT_FALSE(links[1].isSoftware);
    EXPECT_FALSE(links[2].isSoftware);
}

TEST(LinkRowTest, WhatHasAnOwnerIsAPortUnlessTheOwnerOnlyRoutes)
{
    const auto owner = NetlinkNumber<std::uint32_t>(IFLA_MASTER, 9);
    EXPECT_TRUE(ReadLink({}, owner + KindOf("veth", "bridge")).isPort);
    EXPECT_TRUE(ReadLink({}, owner + KindOf("", "bond")).isPort);
    EXPECT_TRUE(ReadLink({}, owner).isPort);
    EXPECT_FALSE(ReadLink({}, owner + KindOf("", "vrf")).isPort);
    EXPECT_FALSE(ReadLink({}, KindOf("bridge")).isPort);
}

TEST(LinkRowTest, StatesHaveTheirPlaces)
{
    const auto statusOf = [](std::uint8_t state, unsigned flags)
    {
        return ReadLink({ARPHRD_ETHER, 5, flags}, NetlinkNumber(IFLA_OPERSTATE, state)).status;
    };
    EXPECT_EQ(statusOf(1, IFF_UP), OperationalStatus::NotPresent);
    EXPECT_EQ(statusOf(2, 0), OperationalStatus::Down);
    EXPECT_EQ(statusOf(3, IFF_UP), OperationalStatus::LowerLayerDown);
    EXPECT_EQ(statusOf(4, IFF_UP), OperationalStatus::Testing);
    EXPECT_EQ(statusOf(5, IFF_UP), OperationalStatus::Dormant);
    EXPECT_EQ(statusOf(6, IFF_UP | IFF_RUNNING), OperationalStatus::Up);
}

TEST(LinkRowTest, AStateThatTheDriverDoesNotTellIsReadFromTheFlags)
{
    for (const auto state : std::initializer_list<std::uint8_t>{0, 7, 255})
    {
        const auto attributes = NetlinkNumber(IFLA_OPERSTATE, state);
        EXPECT_EQ(ReadLink({ARPHRD_ETHER, 5, IFF_UP | IFF_RUNNING}, attributes).status, OperationalStatus::Up);
        EXPECT_EQ(ReadLink({ARPHRD_ETHER, 5, IFF_UP}, attributes).status, OperationalStatus::Unknown);
        EXPECT_EQ(ReadLink({ARPHRD_ETHER, 5, 0}, attributes).status, OperationalStatus::Down);
    }
    EXPECT_EQ(ReadLink({}, "").status, OperationalStatus::Up);
}

TEST(LinkRowTest, OnlyHardwareHasAHardwareAddress)
{
    const auto address = NetlinkAttribute(IFLA_ADDRESS, "\x0A\x09\x08\x07");
    EXPECT_THAT(ReadLink({ARPHRD_TUNNEL}, address).mac, IsEmpty());
    EXPECT_THAT(ReadLink({ARPHRD_LOOPBACK}, address).mac, IsEmpty());
    EXPECT_EQ(ReadLink({ARPHRD_ETHER}, address + KindOf("tun")).mac.size(), 4U);
}

TEST(LinkRowTest, OtherKindsAndDamagedMessagesGiveNoRow)
{
    EXPECT_THAT(ReadLinks(NetlinkMessageBytes(RTM_NEWLINK, "short")), IsEmpty());
    EXPECT_THAT(ReadLinks(NetlinkMessageBytes(RTM_DELLINK, BytesOf(ifinfomsg{}))), IsEmpty());
    EXPECT_THAT(ReadLinks(LinkMessage({ARPHRD_ETHER, 0}, "")), IsEmpty());
    EXPECT_THAT(ReadLinks(LinkMessage({ARPHRD_ETHER, -1}, "")), IsEmpty());
}

std::string AddressMessage(std::uint8_t family, std::uint32_t index, std::uint8_t prefix, const std::string& attributes)
{
    ifaddrmsg header{};
    header.ifa_family = family;
    header.ifa_index = index;
    header.ifa_prefixlen = prefix;
    return NetlinkMessageBytes(RTM_NEWADDR, BytesOf(header) + attributes);
}

AddressTable ReadAddresses(const std::string& messages)
{
    AddressTable addresses;
    ReadRow(&ReadAddressRow, messages, addresses);
    return addresses;
}

TEST(AddressRowTest, StandsUnderItsAdapterInOrder)
{
    const auto addresses = ReadAddresses(
        AddressMessage(AF_INET, 2, 24, NetlinkAttribute(IFA_ADDRESS, Packed(V4("10.0.0.1")))) +
        AddressMessage(AF_INET6, 2, 64, NetlinkAttribute(IFA_ADDRESS, Packed(V6("fd00::1")))) +
        AddressMessage(AF_INET, 3, 32, NetlinkAttribute(IFA_ADDRESS, Packed(V4("10.0.0.2")))));
    ASSERT_EQ(addresses.size(), 2U);
    ASSERT_EQ(addresses.at(2).size(), 2U);
    EXPECT_EQ(addresses.at(2)[0].address, V4("10.0.0.1"));
    EXPECT_EQ(addresses.at(2)[0].prefixLength, 24U);
    EXPECT_EQ(addresses.at(2)[1].address, V6("fd00::1"));
    EXPECT_EQ(addresses.at(3)[0].address, V4("10.0.0.2"));
}

TEST(AddressRowTest, OfALinkWithTwoEndsTheOwnAddressCounts)
{
    const auto addresses = ReadAddresses(AddressMessage(
        AF_INET, 2, 32,
        NetlinkAttribute(IFA_ADDRESS, Packed(V4("10.0.0.9"))) + NetlinkAttribute(IFA_LOCAL, Packed(V4("10.0.0.1")))));
    EXPECT_EQ(addresses.at(2)[0].address, V4("10.0.0.1"));
}

TEST(AddressRowTest, WhatIsNoAddressGivesNoRow)
{
    EXPECT_THAT(ReadAddresses(AddressMessage(AF_INET, 2, 24, "")), IsEmpty());
    EXPECT_THAT(ReadAddresses(AddressMessage(AF_INET, 2, 24, NetlinkAttribute(IFA_ADDRESS, "abc"))), IsEmpty());
    EXPECT_THAT(ReadAddresses(AddressMessage(AF_INET6, 2, 24, NetlinkAttribute(IFA_ADDRESS, "abcd"))), IsEmpty());
    EXPECT_THAT(ReadAddresses(AddressMessage(AF_PHONET, 2, 24, NetlinkAttribute(IFA_ADDRESS, "abcd"))), IsEmpty());
    EXPECT_THAT(ReadAddresses(NetlinkMessageBytes(RTM_NEWADDR, "abc")), IsEmpty());
}

struct RouteHeader
{
    std::uint8_t family = AF_INET;
    std::uint8_t destinationLength = 0;
    std::uint8_t table = RT_TABLE_MAIN;
    std::uint8_t type = RTN_UNICAST;
};

std::string Route(const RouteHeader& route, const std::string& attributes)
{
    rtmsg header{};
    header.rtm_family = route.family;
    header.rtm_dst_len = route.destinationLength;
    header.rtm_table = route.table;
    header.rtm_type = route.type;
    return NetlinkMessageBytes(RTM_NEWROUTE, BytesOf(header) + attributes);
}

std::string Through(const IpAddress& gateway, std::uint32_t index)
{
    return NetlinkAttribute(RTA_GATEWAY, Packed(gateway)) + NetlinkNumber(RTA_OIF, index);
}

std::vector<DefaultRoute> ReadRoutes(const std::string& messages)
{
    std::vector<DefaultRoute> routes;
    ReadRow(&ReadRouteRow, messages, routes);
    return routes;
}

TEST(RouteRowTest, ADefaultRouteOfTheMainTableCounts)
{
    const auto gateway = Through(V4("10.0.0.1"), 2) + NetlinkNumber<std::uint32_t>(RTA_PRIORITY, 100);
    EXPECT_THAT(ReadRoutes(Route({}, gateway)), ElementsAre(DefaultRoute{2, 100, V4("10.0.0.1")}));
    EXPECT_THAT(ReadRoutes(Route({AF_INET, 24}, gateway)), IsEmpty());
    EXPECT_THAT(ReadRoutes(Route({AF_INET, 0, RT_TABLE_LOCAL}, gateway)), IsEmpty());
    EXPECT_THAT(ReadRoutes(Route({AF_INET, 0, RT_TABLE_MAIN, RTN_BLACKHOLE}, gateway)), IsEmpty());
}

TEST(RouteRowTest, TheTablesWholeNumberIsInItsAttribute)
{
    const auto gateway = Through(V4("10.0.0.1"), 2);
    EXPECT_THAT(
        ReadRoutes(Route({AF_INET, 0, RT_TABLE_MAIN}, gateway + NetlinkNumber<std::uint32_t>(RTA_TABLE, 0x1FE))),
        IsEmpty());
}

TEST(RouteRowTest, ARouteWithoutAGatewayIsNone)
{
    EXPECT_THAT(ReadRoutes(Route({}, NetlinkNumber<std::uint32_t>(RTA_OIF, 2))), IsEmpty());
    EXPECT_THAT(ReadRoutes(Route({}, NetlinkAttribute(RTA_GATEWAY, Packed(V4("10.0.0.1"))))), IsEmpty());
}

TEST(RouteRowTest, AnIpV4RouteMayGoThroughAnIpV6Gateway)
{
    const auto via = BytesOf(static_cast<std::uint16_t>(AF_INET6)) + Packed(V6("fe80::1"));
    const auto index = NetlinkNumber<std::uint32_t>(RTA_OIF, 2);
    EXPECT_THAT(
        ReadRoutes(Route({}, NetlinkAttribute(RTA_VIA, via) + index)), ElementsAre(DefaultRoute{2, 0, V6("fe80::1")}));
    EXPECT_THAT(ReadRoutes(Route({}, NetlinkAttribute(RTA_VIA, via.substr(0, 9)) + index)), IsEmpty());
    EXPECT_THAT(ReadRoutes(Route({}, NetlinkAttribute(RTA_VIA, "a") + index)), IsEmpty());
}

std::string ParallelPart(const IpAddress& gateway, int index)
{
    const auto attributes = NetlinkAttribute(RTA_GATEWAY, Packed(gateway));
    rtnexthop hop{};
    hop.rtnh_len = static_cast<unsigned short>(sizeof(hop) + attributes.size());
    hop.rtnh_ifindex = index;
    return BytesOf(hop) + attributes;
}

TEST(RouteRowTest, ParallelPartsAreRoutesOfTheirOwn)
{
    const auto parts = ParallelPart(V4("10.0.0.1"), 2) + ParallelPart(V4("10.0.1.1"), 3);
    EXPECT_THAT(
        ReadRoutes(Route({}, NetlinkAttribute(RTA_MULTIPATH, parts) + NetlinkNumber<std::uint32_t>(RTA_PRIORITY, 7))),
        ElementsAre(DefaultRoute{2, 7, V4("10.0.0.1")}, DefaultRoute{3, 7, V4("10.0.1.1")}));
}

TEST(RouteRowTest, DamagedParallelPartsEndTheRow)
{
    auto parts = ParallelPart(V4("10.0.0.1"), 2) + ParallelPart(V4("10.0.1.1"), 3);
    const auto second = parts.size() / 2;
    for (const auto length : std::initializer_list<unsigned short>{0, 7, 17, 0xFFFF})
    {
        reinterpret_cast<rtnexthop*>(parts.data() + second)->rtnh_len = length;
        EXPECT_EQ(ReadRoutes(Route({}, NetlinkAttribute(RTA_MULTIPATH, parts))).size(), 1U) << length;
    }
}

std::vector<std::string> AnswerOf(std::span<const char> request)
{
    switch (TypeOfRequest(request))
    {
    case RTM_GETLINK:
        return {LinkMessage({}, NetlinkText(IFLA_IFNAME, "eth0")), NetlinkDone()};
    case RTM_GETADDR:
        return {AddressMessage(AF_INET, 5, 24, NetlinkAttribute(IFA_ADDRESS, Packed(V4("10.0.0.7")))) + NetlinkDone()};
    default:
        return {Route({}, Through(V4("10.0.0.1"), 5)), NetlinkDone()};
    }
}

TEST(AdapterTablesTest, AllThreeAreRead)
{
    const auto tables = ReadAdapterTables(OpenFakeNetlink(&AnswerOf));
    ASSERT_EQ(tables.links.size(), 1U);
    EXPECT_EQ(tables.links[0].adapter.name, "eth0");
    EXPECT_EQ(tables.addresses.size(), 1U);
    EXPECT_THAT(tables.routes, ElementsAre(DefaultRoute{5, 0, V4("10.0.0.1")}));
}

TEST(AdapterTablesTest, ARefusedOneIsAnException)
{
    const auto refuse = [](std::span<const char> request)
    {
        return TypeOfRequest(request) == RTM_GETROUTE ? std::vector{NetlinkError(EPERM)} : AnswerOf(request);
    };
    try
    {
        ReadAdapterTables(OpenFakeNetlink(refuse));
        FAIL() << "no exception";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_THAT(exception.what(), testing::HasSubstr("GetAdaptersAddresses() failed"));
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(EPERM));
    }
}

TEST(JoinTablesTest, GivesEachAdapterItsOwn)
{
    AdapterTables tables;
    tables.links.resize(2);
    tables.links[0].adapter.index = 1;
    tables.links[1].adapter.index = 2;
    tables.addresses[2] = {{V4("10.0.0.7"), 24}};
    tables.addresses[3] = {{V4("10.0.0.8"), 24}};
    tables.routes = {
        {2, 300, V4("10.0.0.3")}, {2, 100, V4("10.0.0.1")}, {2, 100, V6("fd00::1")}, {9, 0, V4("10.9.9.9")}};
    const auto links = JoinTables(tables);
    ASSERT_EQ(links.size(), 2U);
    EXPECT_THAT(links[0].adapter.unicastAddresses, IsEmpty());
    EXPECT_THAT(links[0].adapter.gateways, IsEmpty());
    ASSERT_EQ(links[1].adapter.unicastAddresses.size(), 1U);
    EXPECT_EQ(links[1].adapter.unicastAddresses[0].address, V4("10.0.0.7"));
    EXPECT_THAT(links[1].adapter.gateways, ElementsAre(V4("10.0.0.1"), V6("fd00::1"), V4("10.0.0.3")));
}

class AssignDnsTest : public testing::Test
{
protected:
    AssignDnsTest() : m_adapters(3)
    {
        m_adapters[0].index = 1;
        m_adapters[0].type = AdapterType::Loopback;
        m_adapters[1].index = 2;
        m_adapters[2].index = 3;
        m_file.servers = {V4("10.0.0.53")};
        m_file.suffix = "corp.test";
    }

    std::vector<Adapter> m_adapters;
    ResolverConfiguration m_file;
};

TEST_F(AssignDnsTest, WithoutAResolverTheFileCountsForAllButLoopback)
{
    AssignDns(m_adapters, std::nullopt, m_file);
    EXPECT_THAT(m_adapters[0].dnsServers, IsEmpty());
    EXPECT_EQ(m_adapters[0].dnsSuffix, L"");
    EXPECT_THAT(m_adapters[1].dnsServers, ElementsAre(V4("10.0.0.53")));
    EXPECT_THAT(m_adapters[2].dnsServers, ElementsAre(V4("10.0.0.53")));
    EXPECT_EQ(m_adapters[1].dnsSuffix, L"corp.test");
}

TEST_F(AssignDnsTest, AResolverTellsEachLinksOwnServersInOrder)
{
    AssignDns(m_adapters, LinkDnsServers{{2, {V6("fd00::53"), V4("10.1.0.53")}}}, m_file);
    EXPECT_THAT(m_adapters[1].dnsServers, ElementsAre(V6("fd00::53"), V4("10.1.0.53")));
    EXPECT_THAT(m_adapters[2].dnsServers, IsEmpty());
}

TEST_F(AssignDnsTest, ALinkWithoutServersHasThoseOfAllLinks)
{
    AssignDns(
        m_adapters, LinkDnsServers{{0, {V4("10.2.0.53")}}, {1, {V4("10.3.0.53")}}, {2, {V4("10.1.0.53")}}}, m_file);
    EXPECT_THAT(m_adapters[0].dnsServers, IsEmpty());
    EXPECT_THAT(m_adapters[1].dnsServers, ElementsAre(V4("10.1.0.53")));
    EXPECT_THAT(m_adapters[2].dnsServers, ElementsAre(V4("10.2.0.53")));
}

TEST(DescribeAdapterTest, TheAliasIsBeforeTheHardwareBeforeTheName)
{
    const DeviceNames device{"Some Vendor", "Some Model"};
    EXPECT_EQ(DescribeAdapter(L"Office", device, L"eth0"), L"Office");
    EXPECT_EQ(DescribeAdapter(L"", device, L"eth0"), L"Some Vendor Some Model");
    EXPECT_EQ(DescribeAdapter(L"", {"", "Some Model"}, L"eth0"), L"Some Model");
    EXPECT_EQ(DescribeAdapter(L"", {"Some Vendor", ""}, L"eth0"), L"eth0");
    EXPECT_EQ(DescribeAdapter(L"", {}, L"eth0"), L"eth0");
}

TEST(DeviceTypeTest, DevicesThatAreNotPlainEthernetTellWhatTheyAre)
{
    EXPECT_EQ(ReadDeviceType("DEVTYPE=wlan\nINTERFACE=wlan0\nIFINDEX=3\n"), AdapterType::Wireless);
    EXPECT_EQ(ReadDeviceType("INTERFACE=wwan0\nDEVTYPE=wwan"), AdapterType::Other);
    EXPECT_EQ(ReadDeviceType("DEVTYPE=l2tpeth\n"), AdapterType::Tunnel);
    EXPECT_EQ(ReadDeviceType("DEVTYPE=bridge\n"), std::nullopt);
    EXPECT_EQ(ReadDeviceType("INTERFACE=eth0\nXDEVTYPE=wlan\n"), std::nullopt);
    EXPECT_EQ(ReadDeviceType(""), std::nullopt);
}

} // namespace
