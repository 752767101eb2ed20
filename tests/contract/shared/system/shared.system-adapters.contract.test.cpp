#include "shared.system-adapters.hpp"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.winsock-winsockinitialiser.hpp"

namespace
{

using namespace Shared::System;
using testing::AnyOf;
using testing::Each;
using testing::Field;
using testing::IsEmpty;

class GetAdaptersContract : public testing::Test
{
protected:
    GetAdaptersContract()
    {
        m_winsock.Initialise();
        m_adapters = GetAdapters();
    }

    const std::vector<Adapter>& Adapters() const
    {
        return m_adapters;
    }

    const Adapter* Loopback() const
    {
        const auto found = std::find_if(
            m_adapters.begin(), m_adapters.end(),
            [](const Adapter& adapter) { return adapter.type == AdapterType::Loopback; });
        return found == m_adapters.end() ? nullptr : &*found;
    }

private:
    Shared::WinSock::WinSockInitialiser m_winsock;
    std::vector<Adapter> m_adapters;
};

TEST_F(GetAdaptersContract, ListsLoopbackWithItsAddress)
{
    ASSERT_NE(Loopback(), nullptr);
    std::vector<std::string> addresses;
    for (const auto& unicast : Loopback()->unicastAddresses)
    {
        addresses.push_back(unicast.address.text);
    }
    EXPECT_THAT(addresses, testing::Contains("127.0.0.1"));
    EXPECT_EQ(Loopback()->status, OperationalStatus::Up);
    EXPECT_THAT(Loopback()->gateways, IsEmpty());
}

TEST_F(GetAdaptersContract, EachAdapterHasANumberAndANameOfItsOwn)
{
    std::set<std::uint32_t> indices;
    std::set<std::string> names;
    for (const auto& adapter : Adapters())
    {
        EXPECT_GT(adapter.index, 0U);
        EXPECT_TRUE(indices.insert(adapter.index).second) << adapter.index;
        EXPECT_FALSE(adapter.name.empty());
        EXPECT_TRUE(names.insert(adapter.name).second) << adapter.name;
        EXPECT_FALSE(adapter.friendlyName.empty());
        EXPECT_FALSE(adapter.description.empty());
        EXPECT_GT(adapter.mtu, 0U);
    }
}

TEST_F(GetAdaptersContract, TypesAndStatesAreKnownOnes)
{
    EXPECT_THAT(
        Adapters(),
        Each(Field(
            &Adapter::type,
            AnyOf(
                AdapterType::Other, AdapterType::Ethernet, AdapterType::Ppp, AdapterType::Loopback,
                AdapterType::Wireless, AdapterType::Tunnel))));
    for (const auto& adapter : Adapters())
    {
        EXPECT_GE(adapter.status, OperationalStatus::Up);
        EXPECT_LE(adapter.status, OperationalStatus::LowerLayerDown);
    }
}

TEST_F(GetAdaptersContract, AddressesFitTheirFamilyAndPrefix)
{
    const auto fits = [](const IpAddress& address)
    {
        return (address.text.find(':') == std::string::npos) == (address.family == AddressFamily::IpV4);
    };
    for (const auto& adapter : Adapters())
    {
        for (const auto& unicast : adapter.unicastAddresses)
        {
            EXPECT_TRUE(fits(unicast.address)) << unicast.address.text;
            EXPECT_LE(unicast.prefixLength, unicast.address.family == AddressFamily::IpV4 ? 32U : 128U);
        }
        EXPECT_TRUE(std::all_of(adapter.gateways.begin(), adapter.gateways.end(), fits)) << adapter.name;
        EXPECT_TRUE(std::all_of(adapter.dnsServers.begin(), adapter.dnsServers.end(), fits)) << adapter.name;
    }
}

TEST_F(GetAdaptersContract, AWiredAdapterThatIsUpHasAHardwareAddress)
{
    for (const auto& adapter : Adapters())
    {
        if (adapter.type == AdapterType::Ethernet && adapter.status == OperationalStatus::Up)
        {
            EXPECT_EQ(adapter.mac.size(), 6U) << adapter.name;
        }
    }
}

TEST_F(GetAdaptersContract, AskedAgainItListsTheSameLoopback)
{
    ASSERT_NE(Loopback(), nullptr);
    const auto again = GetAdapters();
    const auto found = std::find_if(
        again.begin(), again.end(), [this](const Adapter& adapter) { return adapter.name == Loopback()->name; });
    ASSERT_NE(found, again.end());
    EXPECT_EQ(found->index, Loopback()->index);
    EXPECT_EQ(found->mtu, Loopback()->mtu);
}

} // namespace
