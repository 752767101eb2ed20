#include "agentcore.system-networkingquerier.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace AgentCore::System;
using Shared::System::Adapter;
using Shared::System::AdapterType;
using Shared::System::AddressFamily;
using Shared::System::IpAddress;
using Shared::System::OperationalStatus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

IpAddress V4(const char* text)
{
    return {AddressFamily::IpV4, text};
}

IpAddress V6(const char* text)
{
    return {AddressFamily::IpV6, text};
}

Adapter EthernetThatIsUp()
{
    Adapter adapter;
    adapter.index = 2;
    adapter.name = "{6B29FC40-CA47-1067-B31D-00DD010662DA}";
    adapter.friendlyName = L"Ethernet";
    adapter.description = L"Some Adapter";
    adapter.type = AdapterType::Ethernet;
    adapter.status = OperationalStatus::Up;
    adapter.mac = {0x02, 0xFC, 0x00, 0x0A, 0x00, 0x01};
    return adapter;
}

NetworkInterfaceRecord Select(const Adapter& adapter)
{
    const auto records = SelectNetworkInterfaces({adapter});
    EXPECT_THAT(records, SizeIs(1));
    return records.empty() ? NetworkInterfaceRecord{} : records.front();
}

TEST(NetworkInterfacesTest, ARecordHasTheAdaptersNamesAndAddresses)
{
    auto adapter = EthernetThatIsUp();
    adapter.unicastAddresses = {{V6("fe80::1"), 64}, {V4("10.0.0.7"), 24}};
    adapter.gateways = {V4("10.0.0.1"), V6("fe80::ff")};
    adapter.dnsServers = {V6("fd00::53"), V4("10.0.0.53"), V4("10.0.0.54")};
    const auto [message, dnsServers] = Select(adapter);
    EXPECT_EQ(message.id(), "{6B29FC40-CA47-1067-B31D-00DD010662DA}");
    EXPECT_EQ(message.name(), "Some Adapter");
    EXPECT_EQ(message.mac(), "02:FC:00:0A:00:01");
    EXPECT_EQ(message.ipv4(), "10.0.0.7");
    EXPECT_EQ(message.ipv6(), "fe80::1");
    EXPECT_EQ(message.ipv4_default_gateway(), "10.0.0.1");
    EXPECT_EQ(message.ipv6_default_gateway(), "fe80::ff");
    EXPECT_EQ(message.interface_type(), NETWORK_INTERFACE_TYPE_ETHERNET);
    EXPECT_THAT(dnsServers, ElementsAre("fd00::53", "10.0.0.53", "10.0.0.54"));
}

TEST(NetworkInterfacesTest, WhatNobodyTellsIsNotSet)
{
    const auto [message, dnsServers] = Select(EthernetThatIsUp());
    EXPECT_EQ(message.address_source(), NETWORK_ADDRESS_SOURCE_UNSPECIFIED);
    EXPECT_EQ(message.service_provider(), "");
    for (const auto* const name : {"type", "ipv4", "ipv6", "ipv4_default_gateway", "ipv6_default_gateway"})
    {
        const auto* const field = NetworkInterface::descriptor()->FindFieldByName(name);
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(message.GetReflection()->GetString(message, field), "") << name;
    }
    EXPECT_THAT(dnsServers, IsEmpty());
}

TEST(NetworkInterfacesTest, OnlyAdaptersThatAreUpAreTold)
{
    auto adapter = EthernetThatIsUp();
    for (const auto status :
         {OperationalStatus::Down, OperationalStatus::Testing, OperationalStatus::Unknown, OperationalStatus::Dormant,
          OperationalStatus::NotPresent, OperationalStatus::LowerLayerDown})
    {
        adapter.status = status;
        EXPECT_THAT(SelectNetworkInterfaces({adapter}), IsEmpty()) << static_cast<int>(status);
    }
}

TEST(NetworkInterfacesTest, AnAdapterOfAnotherTypeIsNotToldHoweverActive)
{
    auto adapter = EthernetThatIsUp();
    adapter.unicastAddresses = {{V4("10.0.0.7"), 24}};
    adapter.gateways = {V4("10.0.0.1")};
    for (const auto type : {AdapterType::Tunnel, AdapterType::Loopback, AdapterType::Ppp, AdapterType::Other})
    {
        adapter.type = type;
        EXPECT_THAT(SelectNetworkInterfaces({adapter}), IsEmpty()) << static_cast<int>(type);
    }
}

TEST(NetworkInterfacesTest, AWirelessAdapterIsAWlan)
{
    auto adapter = EthernetThatIsUp();
    adapter.type = AdapterType::Wireless;
    EXPECT_EQ(Select(adapter).message.interface_type(), NETWORK_INTERFACE_TYPE_WLAN);
}

TEST(NetworkInterfacesTest, APortIsNotToldButWhatItBelongsTo)
{
    auto port = EthernetThatIsUp();
    port.isPort = true;
    auto bridge = EthernetThatIsUp();
    bridge.name = "br0";
    const auto records = SelectNetworkInterfaces({port, bridge});
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].message.id(), "br0");
}

TEST(NetworkInterfacesTest, TheOrderIsTheSystems)
{
    auto first = EthernetThatIsUp();
    first.name = "b";
    auto second = EthernetThatIsUp();
    second.name = "a";
    const auto records = SelectNetworkInterfaces({first, second});
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[0].message.id(), "b");
    EXPECT_EQ(records[1].message.id(), "a");
}

TEST(NetworkInterfacesTest, OfSeveralAddressesOfAFamilyTheLastCounts)
{
    auto adapter = EthernetThatIsUp();
    adapter.unicastAddresses = {
        {V4("10.0.0.7"), 24}, {V6("fd00::7"), 64}, {V4("10.0.0.8"), 24}, {V6("fe80::7"), 64}, {V4("10.0.0.9"), 24}};
    const auto record = Select(adapter);
    EXPECT_EQ(record.message.ipv4(), "10.0.0.9");
    EXPECT_EQ(record.message.ipv6(), "fe80::7");
}

TEST(NetworkInterfacesTest, OfSeveralGatewaysOfAFamilyTheFirstCounts)
{
    auto adapter = EthernetThatIsUp();
    adapter.gateways = {V6("fd00::1"), V6("fd00::2"), V4("10.0.0.1"), V4("10.0.0.2")};
    const auto record = Select(adapter);
    EXPECT_EQ(record.message.ipv4_default_gateway(), "10.0.0.1");
    EXPECT_EQ(record.message.ipv6_default_gateway(), "fd00::1");
}

TEST(NetworkInterfacesTest, AnIpV6GatewayAloneLeavesTheIpV4GatewayEmpty)
{
    auto adapter = EthernetThatIsUp();
    adapter.gateways = {V6("fd00::1")};
    const auto record = Select(adapter);
    EXPECT_EQ(record.message.ipv4_default_gateway(), "");
    EXPECT_EQ(record.message.ipv6_default_gateway(), "fd00::1");
}

TEST(NetworkInterfacesTest, AnAdapterWithoutAHardwareAddressHasNone)
{
    auto adapter = EthernetThatIsUp();
    adapter.mac.clear();
    EXPECT_EQ(Select(adapter).message.mac(), "");
}

TEST(NetworkInterfacesTest, SixBytesAreToldOfAHardwareAddressOfAnyLength)
{
    auto adapter = EthernetThatIsUp();
    adapter.mac = {0xA1, 0xB2};
    EXPECT_EQ(Select(adapter).message.mac(), "A1:B2:00:00:00:00");
    adapter.mac = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(Select(adapter).message.mac(), "01:02:03:04:05:06");
}

TEST(NetworkInterfacesTest, NamesAreUtf8)
{
    auto adapter = EthernetThatIsUp();
    adapter.name = "eth\xFF\xC3\x84";
    adapter.description = L"Netz\u00E4";
    const auto record = Select(adapter);
    EXPECT_EQ(record.message.id(), "eth\xC3\x84");
    EXPECT_EQ(record.message.name(), "Netz\xC3\xA4");
}

TEST(NetworkingQuerierTest, AsksItsSourceOnEachCall)
{
    std::vector<Adapter> adapters;
    NetworkingQuerier querier{[&adapters]
                              {
                                  return adapters;
                              }};
    EXPECT_THAT(querier.GetNetworkInterfaces(), IsEmpty());
    adapters.push_back(EthernetThatIsUp());
    EXPECT_THAT(querier.GetNetworkInterfaces(), SizeIs(1));
}

TEST(NetworkingQuerierTest, LetsAFailurePass)
{
    NetworkingQuerier querier{
        []() -> std::vector<Adapter>
        {
            throw std::runtime_error("GetAdaptersAddresses() failed");
        }};
    EXPECT_THROW(querier.GetNetworkInterfaces(), std::runtime_error);
}

} // namespace
