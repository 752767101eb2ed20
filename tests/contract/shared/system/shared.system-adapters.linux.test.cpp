#include "shared.system-adapters.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.support-networknamespace.linux.hpp"

namespace
{

using namespace Shared::System;
using testing::ElementsAre;
using testing::IsEmpty;

IpAddress V4(const char* text)
{
    return {AddressFamily::IpV4, text};
}

IpAddress V6(const char* text)
{
    return {AddressFamily::IpV6, text};
}

/// Lays out a network of its own, in a thread that leaves the machine's for good, and lists its adapters there.
class AdaptersOfALaboratoryNetworkTest : public testing::Test
{
protected:
    /// False, and the test skipped, where the kernel or the user's rights do not allow it.
    bool LayOut(const std::vector<std::string>& commands)
    {
        const auto obstacle = TestSupport::InNetworkNamespace(commands, [this] { m_adapters = GetAdapters(); });
        if (!obstacle.empty())
        {
            Skip(obstacle);
        }
        return obstacle.empty();
    }

    const Adapter& Named(const std::string& name) const
    {
        static const Adapter s_none;
        const auto found = std::find_if(
            m_adapters.begin(), m_adapters.end(), [&name](const Adapter& adapter) { return adapter.name == name; });
        if (found == m_adapters.end())
        {
            ADD_FAILURE() << "no adapter " << name;
            return s_none;
        }
        return *found;
    }

private:
    static void Skip(const std::string& obstacle)
    {
        GTEST_SKIP() << obstacle;
    }

    std::vector<Adapter> m_adapters;
};

TEST_F(AdaptersOfALaboratoryNetworkTest, AdaptersThatAreDownAreListed)
{
    if (LayOut({"ip link add vel0 type veth peer name vel1"}))
    {
        EXPECT_EQ(Named("vel0").status, OperationalStatus::Down);
        EXPECT_EQ(Named("vel0").type, AdapterType::Ethernet);
        EXPECT_EQ(Named("vel0").mac.size(), 6U);
        EXPECT_EQ(Named("lo").status, OperationalStatus::Down);
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, AnAdapterWhoseOtherEndIsDownHasNoLink)
{
    if (LayOut({"ip link add vel0 type veth peer name vel1", "ip link set vel0 up"}))
    {
        EXPECT_EQ(Named("vel0").status, OperationalStatus::LowerLayerDown);
        EXPECT_EQ(Named("vel1").status, OperationalStatus::Down);
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, AddressesHaveTheirPrefix)
{
    if (LayOut(
            {"ip link add vel0 type veth peer name vel1", "ip address add 10.9.8.7/20 dev vel0",
             "ip address add 10.9.9.1/32 dev vel0", "ip link set vel0 up", "ip link set vel1 up",
             // The kernel tells the state of a link a moment later.
             "timeout 20 sh -c 'until ip link show vel0 | grep -q state.UP; do sleep 0.01; done'"}))
    {
        const auto& addresses = Named("vel0").unicastAddresses;
        ASSERT_GE(addresses.size(), 2U);
        EXPECT_EQ(addresses[0].address, V4("10.9.8.7"));
        EXPECT_EQ(addresses[0].prefixLength, 20U);
        EXPECT_EQ(addresses[1].address, V4("10.9.9.1"));
        EXPECT_EQ(addresses[1].prefixLength, 32U);
        EXPECT_EQ(Named("vel0").status, OperationalStatus::Up);
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, OfALinkWithTwoEndsTheAddressIsTheOwnOne)
{
    if (LayOut({"ip tuntap add vel0 mode tun", "ip address add 10.9.8.7 peer 10.9.8.8 dev vel0"}))
    {
        ASSERT_EQ(Named("vel0").unicastAddresses.size(), 1U);
        EXPECT_EQ(Named("vel0").unicastAddresses[0].address, V4("10.9.8.7"));
        EXPECT_EQ(Named("vel0").type, AdapterType::Tunnel);
        EXPECT_THAT(Named("vel0").mac, IsEmpty());
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, GatewaysComeInTheOrderOfTheirMetrics)
{
    if (LayOut(
            {"ip link add vel0 type veth peer name vel1", "ip link set vel0 up", "ip link set vel1 up",
             "ip address add 10.9.8.7/24 dev vel0", "ip route add default via 10.9.8.3 metric 300",
             "ip route add default via 10.9.8.1 metric 100", "ip route add default via 10.9.8.2 metric 200",
             "ip route add 10.77.0.0/16 via 10.9.8.9", "ip route add default via 10.9.8.4 table 77"}))
    {
        EXPECT_THAT(Named("vel0").gateways, ElementsAre(V4("10.9.8.1"), V4("10.9.8.2"), V4("10.9.8.3")));
        EXPECT_THAT(Named("vel1").gateways, IsEmpty());
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, ParallelRoutesGiveEachAdapterItsGateway)
{
    if (LayOut(
            {"ip link add vel0 type veth peer name vel1", "ip link set vel0 up", "ip link set vel1 up",
             "ip address add 10.9.8.7/24 dev vel0", "ip address add 10.9.7.7/24 dev vel1",
             "ip route add default nexthop via 10.9.8.1 dev vel0 nexthop via 10.9.7.1 dev vel1"}))
    {
        EXPECT_THAT(Named("vel0").gateways, ElementsAre(V4("10.9.8.1")));
        EXPECT_THAT(Named("vel1").gateways, ElementsAre(V4("10.9.7.1")));
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, AnIpV6GatewayAloneIsNoIpV4Gateway)
{
    if (LayOut(
            {"ip link add vel0 type veth peer name vel1", "ip link set vel0 up", "ip link set vel1 up",
             "ip address add fd99::2/64 dev vel0 nodad", "ip -6 route add default via fd99::1"}))
    {
        EXPECT_THAT(Named("vel0").gateways, ElementsAre(V6("fd99::1")));
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, TheAdministratorsAliasIsTheDescription)
{
    if (LayOut({"ip link add vel0 type veth peer name vel1", "ip link set vel0 alias 'Laboratory A'"}))
    {
        EXPECT_EQ(Named("vel0").description, L"Laboratory A");
        EXPECT_EQ(Named("vel0").friendlyName, L"vel0");
        EXPECT_EQ(Named("vel1").description, L"vel1");
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, ATapIsATunnelAndHasItsHardwareAddress)
{
    if (LayOut({"ip tuntap add vel0 mode tap"}))
    {
        EXPECT_EQ(Named("vel0").type, AdapterType::Tunnel);
        EXPECT_EQ(Named("vel0").mac.size(), 6U);
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, PortsOfABridgeAreKnownAndTheBridgeIsEthernet)
{
    if (LayOut(
            {"ip link add vel0 type veth peer name vel1", "ip link add velbridge type bridge",
             "ip link set vel0 master velbridge"}))
    {
        EXPECT_TRUE(Named("vel0").isPort);
        EXPECT_EQ(Named("vel0").type, AdapterType::Ethernet);
        EXPECT_FALSE(Named("vel1").isPort);
        EXPECT_FALSE(Named("velbridge").isPort);
        EXPECT_EQ(Named("velbridge").type, AdapterType::Ethernet);
    }
}

TEST_F(AdaptersOfALaboratoryNetworkTest, MoreAdaptersThanOneAnswerHolds)
{
    constexpr int count = 120;
    if (LayOut(
            {"for i in $(seq " + std::to_string(count) +
             "); do echo \"link add vela$i type veth peer name velb$i\"; done"
             " | ip -batch -"}))
    {
        for (int i = 1; i <= count; ++i)
        {
            EXPECT_EQ(Named("vela" + std::to_string(i)).name, "vela" + std::to_string(i));
            EXPECT_EQ(Named("velb" + std::to_string(i)).name, "velb" + std::to_string(i));
        }
    }
}

} // namespace
