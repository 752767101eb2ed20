#include "agentcore.wlan-wlanquerier.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.system-networkingquerier.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::Wlan;
using testing::Each;
using testing::IsEmpty;
using TestSupport::CapturedLog;

TEST(WlanQuerierContract, AsksWithoutAnErrorOnAMachineWithAndWithoutWirelessInterfaces)
{
    const CapturedLog log;
    WlanQuerier querier;
    const auto interfaces = querier.EnumerateInterfaces();
    const auto connected = std::count_if(
        interfaces.begin(), interfaces.end(),
        [](const WlanInterface& wlanInterface) { return wlanInterface.state == InterfaceState::Connected; });
    EXPECT_EQ(querier.GetWlanStats().size(), static_cast<std::size_t>(connected));
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_TRUE(querier.HasClient() || interfaces.empty());
}

TEST(WlanQuerierContract, EachInterfaceHasAnIdOfItsOwn)
{
    std::vector<std::string> ids;
    for (const auto& wlanInterface : WlanQuerier{}.EnumerateInterfaces())
    {
        ids.push_back(wlanInterface.id);
    }
    EXPECT_THAT(ids, Each(testing::Not(IsEmpty())));
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST(WlanQuerierContract, AWlanIsOneOfTheNetworkInterfaces)
{
    const auto wlans = WlanQuerier{}.GetWlanStats();
    if (wlans.empty())
    {
        GTEST_SKIP() << "this machine is connected to no wireless network";
    }
    Shared::WinSock::WinSockInitialiser winsock;
    winsock.Initialise();
    const auto interfaces = AgentCore::System::NetworkingQuerier{}.GetNetworkInterfaces();
    for (const auto& wlan : wlans)
    {
        EXPECT_TRUE(wlan.active());
        EXPECT_LE(wlan.quality(), 100U);
        EXPECT_TRUE(std::any_of(
            interfaces.begin(), interfaces.end(),
            [&](const auto& record)
            {
                return record.message.id() == wlan.interface_id() &&
                    record.message.interface_type() == NETWORK_INTERFACE_TYPE_WLAN;
            }))
            << wlan.interface_id();
    }
}

TEST(WlanQuerierContract, SeveralQueriersDoNotDisturbEachOther)
{
    WlanQuerier first;
    {
        WlanQuerier second;
        EXPECT_EQ(first.EnumerateInterfaces(), second.EnumerateInterfaces());
    }
    const CapturedLog log;
    first.EnumerateInterfaces();
    EXPECT_THAT(log.Lines(), IsEmpty());
}

} // namespace
