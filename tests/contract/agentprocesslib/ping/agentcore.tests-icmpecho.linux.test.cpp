#include "agentcore.tests-functions.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ping.holdings.linux.hpp"
#include "ping.timeout.hpp"
#include "ping.tunnelhost.linux.hpp"
#include "shared.time-clock.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-networknamespace.linux.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

using namespace AgentCore::Tests;
using namespace PingTest;
using Shared::Log::Level;
using testing::IsEmpty;
using Packets = std::vector<TunnelHost::Packet>;

constexpr const wchar_t* Target = L"10.9.1.77";

/// Which socket a ping has.
struct Way
{
    const char* name;
    /// Of the groups that may have a socket for echo requests alone.
    const char* groups;
};

std::ostream& operator<<(std::ostream& stream, const Way& way)
{
    return stream << way.name;
}

constexpr Way Raw{"Raw", "1 0"};
constexpr Way Granted{"Granted", "0 0"};

std::string GrantTo(const std::string& groups)
{
    return "echo " + groups + " > /proc/sys/net/ipv4/ping_group_range";
}

/// Takes every right from the calling thread.
bool DropRights()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[2] = {};
    return ::syscall(SYS_capset, &header, none) == 0;
}

/// Pings in a network of the test's own, by both kinds of sockets.
class PingOfALaboratoryNetworkTest : public testing::TestWithParam<Way>
{
protected:
    void In(std::vector<std::string> commands, const std::function<void()>& inside)
    {
        commands.push_back(GrantTo(GetParam().groups));
        commands.emplace_back("ip link set lo up");
        const auto obstacle = TestSupport::InNetworkNamespace(commands, inside);
        if (!obstacle.empty())
        {
            GTEST_SKIP() << obstacle;
        }
    }

    /// Pings the target behind a tunnel, where `answer` answers.
    PingResult PingThrough(const TunnelHost::Answer& answer, const PingOptions* options = nullptr)
    {
        PingResult result;
        In({},
           [&]
           {
               const TunnelHost host{answer};
               result = DoIpV4Ping(Target, options);
           });
        return result;
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
};

INSTANTIATE_TEST_SUITE_P(
    BothSockets,
    PingOfALaboratoryNetworkTest,
    testing::Values(Raw, Granted),
    [](const auto& test) { return std::string{test.param.name}; });

TEST_P(PingOfALaboratoryNetworkTest, AHostThatAnswersIsTold)
{
    const auto result = PingThrough([](const auto& request) { return Packets{MakeReply(request)}; });
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.status, 0U);
        EXPECT_EQ(result.dataSize, 14);
        EXPECT_EQ(result.replyAddress, Target);
        EXPECT_THAT(m_log.Lines(), IsEmpty());
    }
}

TEST_P(PingOfALaboratoryNetworkTest, TheRoundTripIsAtLeastTheDelay)
{
    const auto result = PingThrough(
        [](const auto& request)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            return Packets{MakeReply(request)};
        });
    if (!IsSkipped())
    {
        EXPECT_GE(result.roundTripMs, 30U);
        EXPECT_LT(result.roundTripMs, 5000U);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, AHostThatIsSilentRunsIntoTheTimeOut)
{
    SetPingTimeout(60);
    const TestSupport::Stopwatch watch;
    const auto result = PingThrough([](const auto&) { return Packets{}; });
    if (!IsSkipped())
    {
        EXPECT_FALSE(result.replied);
        EXPECT_EQ(result.roundTripMs, 0U);
        EXPECT_GE(watch.ElapsedMs(), 60.0);
        EXPECT_THAT(m_log.Lines(), IsEmpty());
    }
}

TEST_P(PingOfALaboratoryNetworkTest, ATimeOutLeavesNoThreadAndNoDescriptor)
{
    SetPingTimeout(1);
    In({},
       []
       {
           const TunnelHost host{[](const auto&)
                                 {
                                     return Packets{};
                                 }};
           EXPECT_FALSE(DoIpV4Ping(Target).replied);
           const auto before = CountHoldings();
           for (int i = 0; i < 50; ++i)
           {
               EXPECT_FALSE(DoIpV4Ping(Target).replied);
           }
           EXPECT_EQ(CountHoldings(), before);
       });
}

TEST_P(PingOfALaboratoryNetworkTest, ATimeOutOfZeroLooksOnce)
{
    SetPingTimeout(0);
    EXPECT_FALSE(PingThrough([](const auto&) { return Packets{}; }).replied);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_P(PingOfALaboratoryNetworkTest, TheLongestTimeOutIsOneToo)
{
    SetPingTimeout(0xFFFFFFFF);
    EXPECT_TRUE(PingThrough([](const auto& request) { return Packets{MakeReply(request)}; }).replied || IsSkipped());
}

TEST_P(PingOfALaboratoryNetworkTest, ErrorsOfRoutersAreAnswersWithTheirStatus)
{
    struct Row
    {
        std::uint8_t type;
        std::uint8_t code;
        std::uint32_t status;
    };

    // The system keeps an expired reassembly to itself.
    constexpr Row rows[] = {{3, 0, 11002},  {3, 1, 11003},  {3, 2, 11004}, {3, 3, 11005},
                            {3, 13, 11003}, {11, 0, 11013}, {12, 0, 11015}};
    for (const auto& row : rows)
    {
        const auto result =
            PingThrough([&](const auto& request) { return Packets{MakeError(request, 254, row.type, row.code)}; });
        if (IsSkipped())
        {
            return;
        }
        EXPECT_TRUE(result.replied) << row.status;
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.replyAddress, L"10.9.1.254");
    }
}

TEST_P(PingOfALaboratoryNetworkTest, WhatRoutersOnlyRemarkIsNoAnswer)
{
    const auto result = PingThrough(
        [](const auto& request)
        {
            // Another way would be shorter; more slowly, please.
            return Packets{MakeError(request, 254, 5, 1), MakeError(request, 254, 4, 0), MakeReply(request)};
        });
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.status, 0U);
        EXPECT_EQ(result.replyAddress, Target);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, ReplyAndErrorsOfOthersArePassedOver)
{
    const auto result = PingThrough(
        [](const auto& request)
        {
            auto ofAnother = request;
            ofAnother[24] ^= 0x55; // identifier
            Seal(ofAnother);
            auto otherSequence = MakeReply(request);
            otherSequence[27] ^= 0x55;
            Seal(otherSequence);
            auto otherPayload = MakeReply(request);
            otherPayload.back() ^= 0x55;
            Seal(otherPayload);
            auto isCut = MakeReply(request);
            isCut.resize(26);
            Seal(isCut);
            return Packets{MakeError(ofAnother, 254, 3, 1),
                           MakeReply(ofAnother),
                           otherSequence,
                           otherPayload,
                           isCut,
                           MakeReply(request)};
        });
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.status, 0U);
        EXPECT_EQ(result.dataSize, 14);
        EXPECT_EQ(result.replyAddress, Target);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, AFloodOfRepliesToOthersDoesNotOutlastTheTimeOut)
{
    SetPingTimeout(60);
    const auto result = PingThrough(
        [](const auto& request)
        {
            auto ofAnother = MakeReply(request);
            ofAnother[27] ^= 0x55;
            Seal(ofAnother);
            return Packets(20'000, ofAnother);
        });
    if (!IsSkipped())
    {
        EXPECT_FALSE(result.replied);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, ALateReplyIsNotTakenForTheNextEchos)
{
    SetPingTimeout(40);
    In({},
       []
       {
           std::vector<TunnelHost::Packet> earlier;
           const TunnelHost host{[&](const auto& request)
                                 {
                                     earlier.push_back(MakeReply(request));
                                     return earlier.size() == 1 ? Packets{} : Packets{earlier.front()};
                                 }};
           EXPECT_FALSE(DoIpV4Ping(Target).replied);
           EXPECT_FALSE(DoIpV4Ping(Target).replied);
       });
}

TEST_P(PingOfALaboratoryNetworkTest, AReplyWithALargerPayloadIsCutToTheBuffer)
{
    const auto result = PingThrough(
        [](const auto& request)
        {
            auto reply = MakeReply(request);
            reply.resize(1400);
            Seal(reply);
            return Packets{reply};
        });
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_GE(result.dataSize, 14);
        EXPECT_LE(result.dataSize, 14 + 48);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, AReplyWithAllOptionsThatAnIpHeaderHoldsIsWhole)
{
    const auto result = PingThrough(
        [](const auto& request)
        {
            auto reply = MakeReply(request);
            reply[0] = 0x4F;
            reply.insert(reply.begin() + 20, 40, 1); // nothing, forty times
            Seal(reply);
            return Packets{reply};
        });
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.dataSize, 14);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, OptionsAreSentInTheIpHeader)
{
    PingOptions options;
    options.timeToLive = 7;
    options.typeOfService = 0x10;
    options.doNotFragment = true;
    options.headerOptions = {1, 1, 1, 0}; // nothing, three times, and the end
    TunnelHost::Packet seen;
    const auto result = PingThrough(
        [&](const auto& request)
        {
            seen = request;
            return Packets{MakeReply(request)};
        },
        &options);
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.dataSize, 14);
        ASSERT_GE(seen.size(), 24U);
        EXPECT_EQ(seen[0], 0x46);
        EXPECT_EQ(seen[1], 0x10);
        EXPECT_EQ(seen[6] & 0x40, 0x40);
        EXPECT_EQ(seen[8], 7);
    }
}

TEST_P(PingOfALaboratoryNetworkTest, OptionsThatTheSystemRefusesAreNotSent)
{
    PingOptions options;
    options.headerOptions.assign(41, 1);
    const auto result = PingThrough([](const auto& request) { return Packets{MakeReply(request)}; }, &options);
    EXPECT_FALSE(result.replied);
}

TEST_P(PingOfALaboratoryNetworkTest, WithoutARouteThereIsNoAnswerAndNoWait)
{
    In({},
       []
       {
           const TestSupport::Stopwatch watch;
           EXPECT_FALSE(DoIpV4Ping(L"192.0.2.1").replied);
           EXPECT_LT(watch.ElapsedMs(), 4000.0 * VEL_TIME_SCALE);
       });
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_P(PingOfALaboratoryNetworkTest, ARouteThatRefusesIsNoAnswer)
{
    In({"ip link set lo up && ip route add prohibit 192.0.2.0/24 && ip route add unreachable 198.51.100.0/24"},
       []
       {
           EXPECT_FALSE(DoIpV4Ping(L"192.0.2.1").replied);
           EXPECT_FALSE(DoIpV4Ping(L"198.51.100.1").replied);
       });
}

TEST_P(PingOfALaboratoryNetworkTest, AnAddressThatNobodyHasOnTheLinkIsUnreachableByTheMachineItself)
{
    const std::string base = "/proc/sys/net/ipv4/neigh/vel0/";
    In({"ip link add vel0 type veth peer name vel1", "ip link set vel0 up", "ip link set vel1 up",
        "ip address add 10.9.2.1/24 dev vel0", "echo 1 > " + base + "mcast_solicit",
        "echo 50 > " + base + "retrans_time_ms"},
       []
       {
           const auto result = DoIpV4Ping(L"10.9.2.77");
           EXPECT_TRUE(result.replied);
           EXPECT_EQ(result.status, 11003U);
           EXPECT_EQ(result.replyAddress, L"10.9.2.1");
       });
}

TEST_P(PingOfALaboratoryNetworkTest, AMachineThatIgnoresEchoRequestsDoesNotAnswer)
{
    SetPingTimeout(60);
    In({"echo 1 > /proc/sys/net/ipv4/icmp_echo_ignore_all"}, [] { EXPECT_FALSE(DoIpV4Ping(L"127.0.0.1").replied); });
}

TEST_P(PingOfALaboratoryNetworkTest, AGatewayThatVanishesIsNoAnswerFromThenOn)
{
    SetPingTimeout(60);
    In({},
       []
       {
           {
               const TunnelHost host{[](const auto& request)
                                     {
                                         return Packets{MakeReply(request)};
                                     }};
               EXPECT_TRUE(DoIpV4Ping(Target).replied);
           }
           EXPECT_FALSE(DoIpV4Ping(Target).replied);
       });
}

TEST_P(PingOfALaboratoryNetworkTest, EchoesOfSeveralThreadsAreKeptApart)
{
    constexpr int Threads = 8;
    constexpr int Rounds = 50;
    SetPingTimeout(500 * VEL_TIME_SCALE);
    std::atomic<int> answered{0};
    In({},
       [&]
       {
           std::vector<std::thread> threads;
           for (int i = 1; i <= Threads; ++i)
           {
               threads.emplace_back(
                   [i, &answered]
                   {
                       const auto address = L"127.0.0." + std::to_wstring(i);
                       for (int round = 0; round < Rounds; ++round)
                       {
                           const auto result = DoIpV4Ping(address);
                           EXPECT_EQ(result.replyAddress, result.replied ? address : L"");
                           answered += result.replied ? 1 : 0;
                       }
                   });
           }
           for (auto& thread : threads)
           {
               thread.join();
           }
       });
    if (!IsSkipped())
    {
        // While raw sockets are closed, the kernel now and then passes another one over.
        EXPECT_GE(answered, Threads * Rounds - (std::string{GetParam().name} == Raw.name ? 20 : 0));
    }
}

/// Users without any right.
class PingWithoutRightsTest : public testing::Test
{
protected:
    PingResult Ping(const char* groups)
    {
        PingResult result;
        const auto obstacle = TestSupport::InNetworkNamespace(
            {GrantTo(groups), "ip link set lo up"},
            [&]
            {
                ASSERT_TRUE(DropRights());
                result = DoIpV4Ping(L"127.0.0.1");
            });
        if (!obstacle.empty())
        {
            Skip(obstacle);
        }
        return result;
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;

private:
    static void Skip(const std::string& obstacle)
    {
        GTEST_SKIP() << obstacle;
    }
};

TEST_F(PingWithoutRightsTest, WhereTheirGroupMayItAnswers)
{
    const auto result = Ping("0 0");
    EXPECT_TRUE(result.replied || IsSkipped());
}

TEST_F(PingWithoutRightsTest, WhereNobodyMayTheLogTells)
{
    EXPECT_FALSE(Ping("1 0").replied);
    if (!IsSkipped())
    {
        EXPECT_EQ(m_log.Count(Level::Error, "Couldn't open an ICMP handle"), 1U);
        EXPECT_EQ(m_log.Count(Level::Error, "IcmpCreateFile() failed"), 1U);
    }
}

} // namespace
