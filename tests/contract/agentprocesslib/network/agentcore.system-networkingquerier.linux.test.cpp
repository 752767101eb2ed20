#include "agentcore.system-networkingquerier.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.support-networknamespace.linux.hpp"
#include "test.support-temporaryfolder.hpp"

namespace
{

using namespace AgentCore::System;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Commands = std::vector<std::string>;

/// Lists the interfaces of a network of the test's own.
class InterfacesOfALaboratoryNetworkTest : public testing::Test
{
protected:
    /// False, and the test skipped, where the kernel or the user's rights do not allow it.
    bool LayOut(const Commands& commands)
    {
        const auto obstacle = TestSupport::InNetworkNamespace(
            commands, [this] { m_records = NetworkingQuerier{}.GetNetworkInterfaces(); });
        if (!obstacle.empty())
        {
            Skip(obstacle);
        }
        return obstacle.empty();
    }

    std::vector<std::string> Ids() const
    {
        std::vector<std::string> ids;
        for (const auto& record : m_records)
        {
            ids.push_back(record.message.id());
        }
        return ids;
    }

    const NetworkInterfaceRecord& Named(const std::string& id) const
    {
        static const NetworkInterfaceRecord s_none;
        for (const auto& record : m_records)
        {
            if (record.message.id() == id)
            {
                return record;
            }
        }
        ADD_FAILURE() << "no interface " << id;
        return s_none;
    }

private:
    static void Skip(const std::string& obstacle)
    {
        GTEST_SKIP() << obstacle;
    }

    std::vector<NetworkInterfaceRecord> m_records;
};

/// A cable with both ends up, and more.
Commands Cable(Commands more)
{
    Commands commands{
        "ip link add vel0 address 02:00:0a:00:00:01 type veth peer name vel1", "ip link set vel0 up",
        "ip link set vel1 up"};
    commands.insert(commands.end(), more.begin(), more.end());
    return commands;
}

TEST_F(InterfacesOfALaboratoryNetworkTest, EthernetIsToldAndTunnelsAndLoopbackAreNot)
{
    if (LayOut(Cable(
            {"ip link set lo up", "ip tuntap add veltun mode tun", "ip address add 10.9.1.1/24 dev veltun",
             "ip link set veltun up", "ip tuntap add veltap mode tap", "ip link set veltap up"})))
    {
        EXPECT_THAT(Ids(), UnorderedElementsAre("vel0", "vel1"));
        EXPECT_EQ(Named("vel0").message.interface_type(), NETWORK_INTERFACE_TYPE_ETHERNET);
        EXPECT_EQ(Named("vel0").message.mac(), "02:00:0A:00:00:01");
        EXPECT_EQ(Named("vel0").message.name(), "vel0");
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, WhatIsDownOrHasNoLinkIsNotTold)
{
    if (LayOut({"ip link add vel0 type veth peer name vel1", "ip link set vel0 up"}))
    {
        EXPECT_THAT(Ids(), IsEmpty());
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, OfSeveralIpV4AddressesTheLastIsTold)
{
    if (LayOut(Cable(
            {"ip address add 10.9.8.7/24 dev vel0", "ip address add 10.9.9.1/24 dev vel0",
             "ip address add 10.9.8.8/24 dev vel0"})))
    {
        // The system lists an address beside others of its network behind all networks.
        EXPECT_EQ(Named("vel0").message.ipv4(), "10.9.8.8");
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, OfGatewaysOfBothFamiliesThoseOfTheLowestMetricAreTold)
{
    if (LayOut(Cable(
            {"ip address add 10.9.8.7/24 dev vel0", "ip address add fd99::2/64 dev vel0 nodad",
             "ip route add default via 10.9.8.2 metric 200", "ip route add default via 10.9.8.1 metric 100",
             "ip -6 route add default via fd99::1 metric 50", "ip -6 route add default via fd99::3 metric 60"})))
    {
        EXPECT_EQ(Named("vel0").message.ipv4_default_gateway(), "10.9.8.1");
        EXPECT_EQ(Named("vel0").message.ipv6_default_gateway(), "fd99::1");
        EXPECT_EQ(Named("vel1").message.ipv4_default_gateway(), "");
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, AnIpV6GatewayAloneLeavesTheIpV4GatewayEmpty)
{
    if (LayOut(Cable({"ip address add fd99::2/64 dev vel0 nodad", "ip -6 route add default via fd99::1"})))
    {
        EXPECT_EQ(Named("vel0").message.ipv4_default_gateway(), "");
        EXPECT_EQ(Named("vel0").message.ipv6_default_gateway(), "fd99::1");
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, ABridgeIsToldAndItsPortsAreNot)
{
    if (LayOut(Cable(
            {"ip link add velbridge type bridge", "ip link set vel0 master velbridge", "ip link set velbridge up",
             "ip address add 10.9.8.7/24 dev velbridge",
             // The bridge is up once its port is, which the kernel finds a moment later.
             "for i in $(seq 100); do ip link show velbridge | grep -q 'state UP' && exit 0; sleep 0.05; done; exit 1"})))
    {
        EXPECT_THAT(Ids(), UnorderedElementsAre("vel1", "velbridge"));
        EXPECT_EQ(Named("velbridge").message.ipv4(), "10.9.8.7");
    }
}

TEST_F(InterfacesOfALaboratoryNetworkTest, DnsServersAreThoseOfTheResolverFileInOrder)
{
    const TestSupport::TemporaryFolder folder;
    const auto file = folder.Path() / "resolv.conf";
    TestSupport::WriteFile(file, "nameserver fd99::53\nnameserver 10.9.8.53\n");
    if (LayOut(Cable(
            {"[ ! -d /run/systemd ] || mount -t tmpfs tmpfs /run/systemd",
             "mount --bind " + file.string() + " /etc/resolv.conf"})))
    {
        EXPECT_THAT(Named("vel0").dnsServers, ElementsAre("fd99::53", "10.9.8.53"));
        EXPECT_THAT(Named("vel1").dnsServers, ElementsAre("fd99::53", "10.9.8.53"));
    }
}

} // namespace
