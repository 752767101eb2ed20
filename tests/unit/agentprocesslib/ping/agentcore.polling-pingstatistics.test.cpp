#include "agentcore.polling-pingstatistics.hpp"

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace AgentCore::Polling;
using namespace AgentCore::Tests;
using testing::IsEmpty;
using testing::SizeIs;
using Samples = std::vector<PingSample>;

constexpr std::uint32_t Interval = 10'000;
constexpr PingSample Missed{};

PingSample Success(std::uint32_t rtt)
{
    return {rtt, 0, true};
}

PingSample Error(std::uint32_t rtt)
{
    return {rtt, 11003, true};
}

/// Samples that all stand in one batch.
PingStatistics Compute(const Samples& samples)
{
    PingBatch batch;
    batch.samples = samples;
    return ComputeStatistics({batch}, Interval);
}

Samples Repeated(std::size_t count, const PingSample& sample)
{
    return Samples(count, sample);
}

Samples operator+(Samples first, const Samples& second)
{
    for (const auto& sample : second)
    {
        first.push_back(sample);
    }
    return first;
}

TEST(PingStatisticsTest, SuccessesGiveMinimumMeanMaximumAndDeviation)
{
    const auto statistics = Compute({Success(10), Success(20), Success(60)});
    EXPECT_EQ(statistics.pings_sent(), 3U);
    EXPECT_EQ(statistics.pings_received(), 3U);
    EXPECT_EQ(statistics.min_rtt(), 10U);
    EXPECT_EQ(statistics.max_rtt(), 60U);
    EXPECT_FLOAT_EQ(statistics.avg_rtt(), 30.0F);
    // Of the sample: the sum of squares is 1400, divided by 2.
    EXPECT_FLOAT_EQ(statistics.jitter(), 26.457513F);
    EXPECT_EQ(statistics.period_total(), 30'000U);
    EXPECT_EQ(statistics.period_available(), 30'000U);
}

TEST(PingStatisticsTest, WithoutAnyAnswerTheMinimumStaysTheLargestNumber)
{
    const auto statistics = Compute(Repeated(3, Missed));
    EXPECT_EQ(statistics.min_rtt(), 0xFFFFFFFFU);
    EXPECT_EQ(statistics.max_rtt(), 0U);
    EXPECT_EQ(statistics.avg_rtt(), 0.0F);
    EXPECT_EQ(statistics.jitter(), 0.0F);
    EXPECT_EQ(statistics.period_available(), 0U);
    EXPECT_EQ(statistics.period_total(), 30'000U);
    EXPECT_EQ(statistics.pings_sent(), 3U);
    EXPECT_EQ(statistics.pings_received(), 0U);
}

TEST(PingStatisticsTest, OneSuccessHasNoDeviation)
{
    const auto statistics = Compute({Success(10)});
    EXPECT_EQ(statistics.jitter(), 0.0F);
    EXPECT_EQ(statistics.avg_rtt(), 10.0F);
}

TEST(PingStatisticsTest, FourMissingSamplesBeforeASuccessCountAsAvailable)
{
    EXPECT_EQ(Compute(Repeated(4, Missed) + Samples{Success(1)}).period_available(), 50'000U);
    EXPECT_EQ(Compute(Samples{Success(1)} + Repeated(4, Missed) + Samples{Success(1)}).period_available(), 60'000U);
}

TEST(PingStatisticsTest, FiveMissingSamplesAreAnOutage)
{
    EXPECT_EQ(Compute(Repeated(5, Missed) + Samples{Success(1)}).period_available(), 10'000U);
    EXPECT_EQ(Compute(Samples{Success(1)} + Repeated(5, Missed) + Samples{Success(1)}).period_available(), 20'000U);
}

TEST(PingStatisticsTest, ATrailingGapCountsAsAGapBetweenSuccesses)
{
    EXPECT_EQ(Compute(Samples{Success(1)} + Repeated(4, Missed)).period_available(), 50'000U);
    EXPECT_EQ(Compute(Samples{Success(1)} + Repeated(5, Missed)).period_available(), 10'000U);
}

TEST(PingStatisticsTest, ATrailingGapWithoutASuccessDoesNotCount)
{
    EXPECT_EQ(Compute({Error(7), Missed}).period_available(), 0U);
}

TEST(PingStatisticsTest, AnErrorIsInTheSumOfRoundTripsButNotAmongTheReceived)
{
    const auto statistics = Compute({Success(10), Error(30)});
    EXPECT_EQ(statistics.pings_sent(), 2U);
    EXPECT_EQ(statistics.pings_received(), 1U);
    EXPECT_EQ(statistics.avg_rtt(), 40.0F); // both round trips over one success
    EXPECT_EQ(statistics.max_rtt(), 10U);
    EXPECT_EQ(statistics.jitter(), 0.0F);
    EXPECT_EQ(statistics.period_available(), 10'000U);
    EXPECT_EQ(statistics.period_total(), 20'000U);
}

TEST(PingStatisticsTest, ErrorsAloneLeaveTheSumUndivided)
{
    const auto statistics = Compute({Error(30), Error(12)});
    EXPECT_EQ(statistics.avg_rtt(), 42.0F);
    EXPECT_EQ(statistics.min_rtt(), 0xFFFFFFFFU);
    EXPECT_EQ(statistics.period_available(), 0U);
}

TEST(PingStatisticsTest, AnErrorNeitherEndsNorLengthensAGap)
{
    const auto around = Repeated(2, Missed) + Samples{Error(1)} + Repeated(2, Missed) + Samples{Success(1)};
    EXPECT_EQ(Compute(around).period_available(), 50'000U); // 4 missed and the success
    const auto longer = Repeated(2, Missed) + Samples{Error(1)} + Repeated(3, Missed) + Samples{Success(1)};
    EXPECT_EQ(Compute(longer).period_available(), 10'000U);
}

TEST(PingStatisticsTest, AGapGoesOnFromBatchToBatch)
{
    PingBatch first;
    first.samples = Samples{Success(1)} + Repeated(3, Missed);
    PingBatch second;
    second.samples = Repeated(2, Missed) + Samples{Success(1)};
    EXPECT_EQ(ComputeStatistics({first, second}, Interval).period_available(), 20'000U);
}

TEST(PingStatisticsTest, ThePeriodStartsWithTheFirstBatchThatHasATime)
{
    std::vector<PingBatch> batches(3);
    batches[1].periodStartUtc = "second";
    batches[2].periodStartUtc = "third";
    batches[1].curlTestsConfigured = true;
    const auto statistics = ComputeStatistics(batches, Interval);
    EXPECT_EQ(statistics.period_start_utc(), "second");
    EXPECT_FALSE(statistics.curl_tests_configured()); // the last batch's
}

TEST(PingStatisticsTest, NoBatchesGiveAnUntouchedRecord)
{
    const auto statistics = ComputeStatistics({}, Interval);
    EXPECT_EQ(statistics.min_rtt(), 0xFFFFFFFFU);
    EXPECT_EQ(statistics.pings_sent(), 0U);
}

TEST(PingStatisticsTest, LongRowsOfLargeRoundTripsKeepTheirMean)
{
    const auto statistics = Compute(Repeated(10'000, Success(4'000'000'000)));
    EXPECT_FLOAT_EQ(statistics.avg_rtt(), 4e9F);
    EXPECT_EQ(statistics.jitter(), 0.0F);
    EXPECT_EQ(statistics.pings_received(), 10'000U);
}

/// The rules one by one, as they are told, in numbers wide enough not to round.
struct ToldStatistics
{
    std::uint32_t sent = 0;
    std::uint32_t received = 0;
    std::uint32_t shortest = 0xFFFFFFFF;
    std::uint32_t longest = 0;
    std::uint32_t total = 0;
    std::uint32_t available = 0;
    long double average = 0;
    long double deviation = 0;
};

ToldStatistics ByTheRules(const Samples& samples)
{
    ToldStatistics told;
    std::vector<long double> times;
    std::uint32_t gap = 0;
    for (const auto& sample : samples)
    {
        told.sent += 1;
        if (!sample.answered)
        {
            gap += 1;
        }
        if (sample.answered)
        {
            told.average += sample.rtt;
        }
        if (sample.answered && sample.status == 0)
        {
            times.push_back(sample.rtt);
            told.received += 1;
            told.shortest = sample.rtt < told.shortest ? sample.rtt : told.shortest;
            told.longest = sample.rtt > told.longest ? sample.rtt : told.longest;
            told.available += Interval + (gap <= 4 ? gap * Interval : 0);
            gap = 0;
        }
        told.total += Interval;
    }
    if (!times.empty())
    {
        told.average /= static_cast<long double>(times.size());
        told.available += gap <= 4 ? gap * Interval : 0;
    }
    // Over all pairs, which needs no mean.
    long double squares = 0;
    for (const auto first : times)
    {
        for (const auto second : times)
        {
            squares += (first - second) * (first - second) / 2;
        }
    }
    const auto count = static_cast<long double>(times.size());
    told.deviation = times.size() < 2 ? 0 : std::sqrt(squares / count / (count - 1));
    return told;
}

TEST(PingStatisticsTest, AnyRowOfSamplesGivesWhatTheRulesGiveOneByOne)
{
    std::mt19937 random{20240307};
    std::uniform_int_distribution<std::uint32_t> kind{0, 9};
    std::uniform_int_distribution<std::uint32_t> time{0, 4'000};
    std::uniform_int_distribution<std::size_t> length{0, 60};
    for (int round = 0; round < 2'000; ++round)
    {
        const std::uint32_t missing = round % 10; // from none to nearly all
        Samples samples(length(random));
        for (auto& sample : samples)
        {
            const bool isError = kind(random) == 0;
            sample = kind(random) < missing ? Missed : isError ? Error(time(random)) : Success(time(random));
        }
        const auto told = ByTheRules(samples);
        const auto statistics = Compute(samples);
        EXPECT_EQ(statistics.pings_sent(), told.sent);
        EXPECT_EQ(statistics.pings_received(), told.received);
        EXPECT_EQ(statistics.min_rtt(), told.shortest);
        EXPECT_EQ(statistics.max_rtt(), told.longest);
        EXPECT_EQ(statistics.period_total(), told.total);
        EXPECT_EQ(statistics.period_available(), told.available);
        EXPECT_FLOAT_EQ(statistics.avg_rtt(), static_cast<float>(told.average));
        EXPECT_FLOAT_EQ(statistics.jitter(), static_cast<float>(told.deviation));
    }
}

TEST(PingStatisticsTest, SmallDifferencesOfLongRoundTripsAreNotLostInTheDeviation)
{
    // In numbers of half the width both would be the same, and the deviation 0.
    const auto statistics = Compute({Success(4'000'000'000), Success(4'000'000'001), Success(4'000'000'002)});
    EXPECT_FLOAT_EQ(statistics.jitter(), 1.0F);
}

/// A collector whose network consists of one test's target, the default gateways and the VPN's gateway.
class PingStatisticsOfACollectorTest : public testing::Test
{
protected:
    void Round()
    {
        AgentCore::Messaging::TestConfiguration test;
        test.testKey = L"id";
        test.networkObjectUuid = L"object";
        test.target = L"host.example";
        test.protocol = L"icmp";
        m_collector.PingTests({test}, L"");
    }

    static PingSources Sources()
    {
        return {
            [](const std::wstring&) {
                return HostAddresses{L"192.0.2.1", L""};
            },
            [](const std::wstring& address) {
                return PingResult{3, 14, 0, true, address};
            },
            []
            {
                AgentCore::System::NetworkInterfaceRecord record;
                record.message.set_name("Ethernet");
                record.message.set_ipv4_default_gateway("10.0.0.1");
                return std::vector{record};
            },
            []
            {
                Shared::AppSettings::VpnConnectionInfo info;
                info.gatewayIpV4 = L"198.51.100.1";
                return info;
            }};
    }

    PingCollector m_collector{Sources()};
};

TEST_F(PingStatisticsOfACollectorTest, EachKeyBecomesOneMessageInTheOrderOfTheKeys)
{
    Round();
    Round();
    ComputePingStatistics(m_collector, Interval);
    const auto messages = ExportPingStatistics(m_collector, false);
    ASSERT_THAT(messages, SizeIs(3));
    EXPECT_EQ(messages[0].server(), "10.0.0.1");
    EXPECT_EQ(messages[0].server_type(), DEFAULT_GATEWAY);
    EXPECT_EQ(messages[0].test_uuid(), "Ethernet"); // from the key
    EXPECT_EQ(messages[1].server(), "198.51.100.1");
    EXPECT_EQ(messages[1].server_type(), VPN_GATEWAY);
    EXPECT_EQ(messages[2].server(), "host.example");
    EXPECT_EQ(messages[2].test_uuid(), "id");
    EXPECT_EQ(messages[2].network_object_uuid(), "object");
    ASSERT_THAT(messages[2].ping_results(), SizeIs(1));
    EXPECT_EQ(messages[2].ping_results(0).pings_sent(), 2U);
}

TEST_F(PingStatisticsOfACollectorTest, SamplesAreCountedOnce)
{
    Round();
    ComputePingStatistics(m_collector, Interval);
    ComputePingStatistics(m_collector, Interval);
    for (const auto& message : ExportPingStatistics(m_collector, false))
    {
        EXPECT_THAT(message.ping_results(), SizeIs(1));
    }
}

TEST_F(PingStatisticsOfACollectorTest, EachComputationAddsAResultToItsKey)
{
    Round();
    ComputePingStatistics(m_collector, Interval);
    Round();
    ComputePingStatistics(m_collector, Interval);
    const auto messages = ExportPingStatistics(m_collector, false);
    ASSERT_THAT(messages, SizeIs(3));
    EXPECT_THAT(messages[2].ping_results(), SizeIs(2));
}

TEST_F(PingStatisticsOfACollectorTest, WithoutSamplesThereIsNothingToTell)
{
    ComputePingStatistics(m_collector, Interval);
    EXPECT_THAT(ExportPingStatistics(m_collector, false), IsEmpty());
}

TEST_F(PingStatisticsOfACollectorTest, AMessageTellsNothingElse)
{
    Round();
    ComputePingStatistics(m_collector, Interval);
    for (const auto& message : ExportPingStatistics(m_collector, false))
    {
        EXPECT_EQ(message.utc_time(), "");
        EXPECT_EQ(message.address(), "");
        EXPECT_EQ(message.interface_name(), "");
        EXPECT_FALSE(message.is_default_gateway());
    }
}

TEST_F(PingStatisticsOfACollectorTest, GatewaysOnlyLeavesOutAllOthersAndForgetsThem)
{
    Round();
    ComputePingStatistics(m_collector, Interval);
    const auto messages = ExportPingStatistics(m_collector, true);
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].server_type(), DEFAULT_GATEWAY);
    EXPECT_THAT(ExportPingStatistics(m_collector, false), IsEmpty());
}

} // namespace
