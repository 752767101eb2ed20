#include "agentcore.system-networkingquerier.hpp"

#include <algorithm>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.system-adapters.hpp"
#include "shared.util-utf8.hpp"
#include "shared.winsock-winsockinitialiser.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::System::OperationalStatus;
using testing::AnyOf;

class NetworkingQuerierContract : public testing::Test
{
protected:
    NetworkingQuerierContract()
    {
        m_winsock.Initialise();
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
    NetworkingQuerier m_querier;
};

std::vector<std::string> AddressesOf(const NetworkInterface& message)
{
    return {message.ipv4(), message.ipv6(), message.ipv4_default_gateway(), message.ipv6_default_gateway()};
}

TEST_F(NetworkingQuerierContract, EveryInterfaceIsEthernetOrWirelessAndHasAnIdOfItsOwn)
{
    std::set<std::string> ids;
    for (const auto& [message, dnsServers] : m_querier.GetNetworkInterfaces())
    {
        EXPECT_TRUE(ids.insert(message.id()).second) << message.id();
        EXPECT_FALSE(message.id().empty());
        EXPECT_FALSE(message.name().empty());
        EXPECT_THAT(message.interface_type(), AnyOf(NETWORK_INTERFACE_TYPE_ETHERNET, NETWORK_INTERFACE_TYPE_WLAN));
    }
}

TEST_F(NetworkingQuerierContract, EveryInterfaceIsOneOfTheSystemsAdaptersAndUp)
{
    const auto records = m_querier.GetNetworkInterfaces();
    const auto adapters = Shared::System::GetAdapters();
    for (const auto& record : records)
    {
        const auto found = std::find_if(
            adapters.begin(), adapters.end(),
            [&](const auto& adapter) { return Shared::Util::Utf8::DropInvalid(adapter.name) == record.message.id(); });
        ASSERT_NE(found, adapters.end()) << record.message.id();
        EXPECT_EQ(found->status, OperationalStatus::Up) << record.message.id();
    }
}

TEST_F(NetworkingQuerierContract, HardwareAddressesAreSixPairsOfDigits)
{
    const std::regex form{"([0-9A-F]{2}:){5}[0-9A-F]{2}"};
    for (const auto& record : m_querier.GetNetworkInterfaces())
    {
        const auto& mac = record.message.mac();
        EXPECT_TRUE(mac.empty() || std::regex_match(mac, form)) << mac;
    }
}

TEST_F(NetworkingQuerierContract, AddressesStandInTheFieldsOfTheirFamily)
{
    constexpr auto isIpV6 = [](const std::string& address)
    {
        return address.find(':') != std::string::npos;
    };
    for (const auto& [message, dnsServers] : m_querier.GetNetworkInterfaces())
    {
        EXPECT_FALSE(isIpV6(message.ipv4())) << message.ipv4();
        EXPECT_FALSE(isIpV6(message.ipv4_default_gateway())) << message.ipv4_default_gateway();
        EXPECT_TRUE(message.ipv6().empty() || isIpV6(message.ipv6())) << message.ipv6();
        EXPECT_TRUE(message.ipv6_default_gateway().empty() || isIpV6(message.ipv6_default_gateway()));
        for (const auto& address : AddressesOf(message))
        {
            EXPECT_EQ(address.find_first_not_of("0123456789abcdef.:"), std::string::npos) << address;
        }
        for (const auto& server : dnsServers)
        {
            EXPECT_FALSE(server.empty());
            EXPECT_EQ(server.find_first_not_of("0123456789abcdef.:"), std::string::npos) << server;
        }
    }
}

TEST_F(NetworkingQuerierContract, LoopbackIsNotToldOf)
{
    for (const auto& record : m_querier.GetNetworkInterfaces())
    {
        EXPECT_NE(record.message.ipv4(), "127.0.0.1");
        EXPECT_NE(record.message.ipv6(), "::1");
    }
}

} // namespace
