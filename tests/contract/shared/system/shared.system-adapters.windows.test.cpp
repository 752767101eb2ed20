#include "shared.system-adapters.windows.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.support-exceptions.hpp"

namespace
{

using namespace Shared::System;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// What the function that stands in for the system's was asked, and what it answers, call by call.
struct Script
{
    std::vector<ULONG> results;
    ULONG sizeNeeded = 0;
    IP_ADAPTER_ADDRESSES answer{};

    std::vector<ULONG> families;
    std::vector<ULONG> flags;
    std::vector<ULONG> sizes;
};

Script g_script; // NOLINT(readability-identifier-naming)

ULONG WINAPI AskScript(ULONG family, ULONG flags, void* /*reserved*/, IP_ADAPTER_ADDRESSES* addresses, ULONG* size)
{
    const auto call = g_script.sizes.size();
    g_script.families.push_back(family);
    g_script.flags.push_back(flags);
    g_script.sizes.push_back(*size);
    // All of the buffer must be there.
    std::fill_n(reinterpret_cast<std::byte*>(addresses), *size, std::byte{0xFF});
    const ULONG result = g_script.results.at(call);
    if (result == ERROR_BUFFER_OVERFLOW)
    {
        *size = g_script.sizeNeeded;
    }
    else if (result == ERROR_SUCCESS)
    {
        *addresses = g_script.answer;
    }
    return result;
}

std::vector<Adapter> GetByScript(std::vector<ULONG> results, ULONG sizeNeeded = 20000)
{
    g_script = Script{};
    g_script.results = std::move(results);
    g_script.sizeNeeded = sizeNeeded;
    g_script.answer.AdapterName = const_cast<char*>("{GUID}");
    return GetAdapters(&AskScript);
}

TEST(GetAdaptersAddressesTest, AsksForBothFamiliesWithGatewaysIntoFifteenThousandBytes)
{
    EXPECT_THAT(GetByScript({ERROR_SUCCESS}), SizeIs(1));
    EXPECT_THAT(g_script.families, ElementsAre(AF_UNSPEC));
    EXPECT_THAT(g_script.flags, ElementsAre(132));
    EXPECT_THAT(g_script.sizes, ElementsAre(15000));
}

TEST(GetAdaptersAddressesTest, AnOverflowAddsFifteenThousandBytes)
{
    EXPECT_THAT(GetByScript({ERROR_BUFFER_OVERFLOW, ERROR_BUFFER_OVERFLOW, ERROR_SUCCESS}, 20000), SizeIs(1));
    EXPECT_THAT(g_script.sizes, ElementsAre(15000, 35000, 35000));
    EXPECT_THAT(g_script.flags, Each(132));
}

TEST(GetAdaptersAddressesTest, AThirdOverflowCountsAsNoAdapters)
{
    EXPECT_THAT(GetByScript({ERROR_BUFFER_OVERFLOW, ERROR_BUFFER_OVERFLOW, ERROR_BUFFER_OVERFLOW}), IsEmpty());
    EXPECT_THAT(g_script.sizes, SizeIs(3));
}

TEST(GetAdaptersAddressesTest, AnyOtherResultThrows)
{
    for (const ULONG result : {ERROR_NO_DATA, ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER})
    {
        EXPECT_EQ(TestSupport::Win32Text([result] { GetByScript({result}); }), "GetAdaptersAddresses() failed")
            << result;
        EXPECT_EQ(
            TestSupport::Win32Text(
                [result] {
                    GetByScript({ERROR_BUFFER_OVERFLOW, result});
                }),
            "GetAdaptersAddresses() failed");
    }
}

/// A socket address of either family with room around it.
template <typename Address>
SOCKET_ADDRESS Wrap(Address& address)
{
    return {reinterpret_cast<sockaddr*>(&address), sizeof(address)};
}

TEST(GetAdaptersAddressesTest, EveryFieldOfARecordIsRead)
{
    sockaddr_in ipV4{};
    ipV4.sin_family = AF_INET;
    ::inet_pton(AF_INET, "10.0.0.1", &ipV4.sin_addr);
    sockaddr_in6 ipV6{};
    ipV6.sin6_family = AF_INET6;
    ::inet_pton(AF_INET6, "fd00::1", &ipV6.sin6_addr);
    sockaddr unknown{};
    unknown.sa_family = AF_IPX;

    IP_ADAPTER_UNICAST_ADDRESS unicast{};
    unicast.Address = Wrap(ipV4);
    unicast.OnLinkPrefixLength = 24;
    IP_ADAPTER_UNICAST_ADDRESS withoutAddress{};
    withoutAddress.Next = &unicast;
    IP_ADAPTER_GATEWAY_ADDRESS gateway{};
    gateway.Address = Wrap(ipV6);
    IP_ADAPTER_DNS_SERVER_ADDRESS dnsServer{};
    dnsServer.Address = Wrap(ipV4);
    IP_ADAPTER_DNS_SERVER_ADDRESS firstDnsServer{};
    firstDnsServer.Address = Wrap(ipV6);
    firstDnsServer.Next = &dnsServer;
    IP_ADAPTER_DNS_SERVER_ADDRESS strangeDnsServer{};
    strangeDnsServer.Address = Wrap(unknown);
    strangeDnsServer.Next = &firstDnsServer;

    g_script = Script{};
    g_script.results = {ERROR_SUCCESS};
    auto& record = g_script.answer;
    record.Ipv6IfIndex = 9;
    record.AdapterName = const_cast<char*>("{GUID}");
    record.Description = const_cast<wchar_t*>(L"Some Adapter");
    record.FriendlyName = const_cast<wchar_t*>(L"Ethernet 2");
    record.IfType = IF_TYPE_IEEE80211;
    record.OperStatus = IfOperStatusDown;
    record.PhysicalAddressLength = 6;
    std::fill_n(record.PhysicalAddress, 6, static_cast<BYTE>(0xAB));
    record.FirstUnicastAddress = &withoutAddress;
    record.FirstGatewayAddress = &gateway;
    record.FirstDnsServerAddress = &strangeDnsServer;
    record.Mtu = 1500;

    const auto adapters = GetAdapters(&AskScript);
    ASSERT_THAT(adapters, SizeIs(1));
    const auto& adapter = adapters[0];
    EXPECT_EQ(adapter.index, 9U);
    EXPECT_EQ(adapter.name, "{GUID}");
    EXPECT_EQ(adapter.description, L"Some Adapter");
    EXPECT_EQ(adapter.friendlyName, L"Ethernet 2");
    EXPECT_EQ(adapter.type, AdapterType::Wireless);
    EXPECT_EQ(adapter.status, OperationalStatus::Down);
    EXPECT_FALSE(adapter.isPort);
    EXPECT_THAT(adapter.mac, ElementsAre(0xAB, 0xAB, 0xAB, 0xAB, 0xAB, 0xAB));
    ASSERT_THAT(adapter.unicastAddresses, SizeIs(1));
    EXPECT_EQ(adapter.unicastAddresses[0].address, (IpAddress{AddressFamily::IpV4, "10.0.0.1"}));
    EXPECT_EQ(adapter.unicastAddresses[0].prefixLength, 24U);
    EXPECT_THAT(adapter.gateways, ElementsAre(IpAddress{AddressFamily::IpV6, "fd00::1"}));
    EXPECT_THAT(
        adapter.dnsServers,
        ElementsAre(IpAddress{AddressFamily::IpV6, "fd00::1"}, IpAddress{AddressFamily::IpV4, "10.0.0.1"}));
    EXPECT_EQ(adapter.mtu, 1500U);
}

TEST(GetAdaptersAddressesTest, OtherTypesAndStatesCountAsOtherAndUnknown)
{
    g_script = Script{};
    g_script.results = {ERROR_SUCCESS};
    g_script.answer.IfType = 53;
    g_script.answer.OperStatus = IfOperStatusUnknown;
    const auto adapters = GetAdapters(&AskScript);
    ASSERT_THAT(adapters, SizeIs(1));
    EXPECT_EQ(adapters[0].type, AdapterType::Other);
    EXPECT_EQ(adapters[0].status, OperationalStatus::Unknown);
    EXPECT_EQ(adapters[0].name, "");
}

} // namespace
