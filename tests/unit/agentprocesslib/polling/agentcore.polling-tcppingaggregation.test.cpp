#include "agentcore.polling-tcppingaggregation.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using AgentCore::Messaging::TestConfiguration;
using AgentCore::Polling::AggregateTcpPingStats;
using AgentCore::Polling::CurlRunners;
using AgentCore::Polling::TcpPingRunners;
using AgentCore::Tests::CurlTestRequest;
using AgentCore::Tests::CurlTestRunner;
using AgentCore::Tests::TcpPingRequest;
using AgentCore::Tests::TcpPingResult;
using AgentCore::Tests::TcpPingRunner;
using Shared::Log::Level;
using TestSupport::CapturedLog;

namespace
{

constexpr std::uint32_t NoAnswer = std::numeric_limits<std::uint32_t>::max();

/// What the fakes were asked.
struct Calls
{
    int parsed = 0;
    int closed = 0;
};

/// A runner whose tool has ended with this result; without one it fails.
class FakeTcpPing : public TcpPingRunner
{
public:
    FakeTcpPing(const TestConfiguration& config, State state, std::optional<PingStatistics> result, Calls& calls)
        : TcpPingRunner({}, RequestOf(config)), m_state(state), m_result(std::move(result)), m_calls(calls)
    {
    }

    State GetState() const noexcept override
    {
        return m_state;
    }

    void Close() noexcept override
    {
        ++m_calls.closed;
        TcpPingRunner::Close();
    }

    TcpPingResult ParseTestResult() override
    {
        ++m_calls.parsed;
        if (!m_result)
        {
            throw Shared::Exception::RuntimeException("Tcping returned an unexpected exit code: 9");
        }
        return {GetRequest().config, *m_result};
    }

private:
    static TcpPingRequest RequestOf(const TestConfiguration& config)
    {
        TcpPingRequest request;
        request.config = config;
        return request;
    }

    State m_state;
    std::optional<PingStatistics> m_result;
    Calls& m_calls;
};

class FakeCurl : public CurlTestRunner
{
public:
    FakeCurl(CurlTestRequest request, State state) : CurlTestRunner({}, std::move(request), {}), m_state(state)
    {
    }

    State GetState() const noexcept override
    {
        return m_state;
    }

private:
    State m_state;
};

PingStatistics Minute(std::uint32_t minRtt, std::uint32_t maxRtt, float avgRtt, float jitter)
{
    PingStatistics minute;
    minute.set_min_rtt(minRtt);
    minute.set_max_rtt(maxRtt);
    minute.set_avg_rtt(avgRtt);
    minute.set_jitter(jitter);
    minute.set_pings_sent(6);
    minute.set_pings_received(5);
    minute.set_period_total(60'000);
    minute.set_period_available(50'000);
    return minute;
}

TestConfiguration TcpTest(const std::string& id, const std::wstring& target, bool hasCurlTest = false)
{
    TestConfiguration config;
    config.test.id = id;
    config.testKey = std::wstring(id.begin(), id.end());
    config.target = target;
    config.networkObjectUuid = L"object";
    config.hasCurlTest = hasCurlTest;
    return config;
}

class TcpPingAggregationTest : public ::testing::Test
{
protected:
    void Add(
        const TestConfiguration& config,
        std::optional<PingStatistics> result,
        TcpPingRunner::State state = TcpPingRunner::State::Started)
    {
        m_runners.push_back(std::make_unique<FakeTcpPing>(config, state, std::move(result), m_calls));
    }

    void AddCurl(const std::wstring& target, CurlTestRunner::State state, const std::string& object = "object")
    {
        CurlTestRequest request;
        request.target = target;
        request.networkObjectUuid = object;
        m_curlRunners.push_back(std::make_unique<FakeCurl>(std::move(request), state));
    }

    std::vector<AggregatePingStatistics> Aggregate(bool discard = false)
    {
        return AggregateTcpPingStats(m_runners, discard, m_curlRunners);
    }

    CapturedLog m_log;
    Calls m_calls;
    TcpPingRunners m_runners;
    CurlRunners m_curlRunners;
};

} // namespace

TEST_F(TcpPingAggregationTest, WithoutRunnersTheLogTellsTheStepsAlone)
{
    EXPECT_TRUE(Aggregate().empty());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text, "Collecting TCP ping results...");
    EXPECT_EQ(lines[1].text, "TCP ping results collected.");
    EXPECT_EQ(lines[2].text, "Aggregating TCP pings...");
    EXPECT_EQ(lines[3].text, "TCP pings aggregated.");
    EXPECT_EQ(lines[3].level, Level::Info);
}

TEST_F(TcpPingAggregationTest, AChangedUserDiscardsAllWithoutALook)
{
    Add(TcpTest("t1", L"h"), Minute(1, 2, 1.5F, 0.0F));
    EXPECT_TRUE(Aggregate(true).empty());
    EXPECT_TRUE(m_runners.empty());
    EXPECT_EQ(m_calls.parsed, 0);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "Discarding TcPing tests test due to changed username or subtenant.");
    EXPECT_EQ(lines[0].level, Level::Info);
}

TEST_F(TcpPingAggregationTest, OneMinuteIsItsOwnMean)
{
    Add(TcpTest("t1", L"h"), Minute(10, 20, 15.5F, 1.25F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].server(), "h");
    EXPECT_EQ(messages[0].network_object_uuid(), "object");
    EXPECT_EQ(messages[0].test_uuid(), "t1");
    ASSERT_EQ(messages[0].ping_results_size(), 1);
    EXPECT_EQ(messages[0].ping_results(0).SerializeAsString(), Minute(10, 20, 15.5F, 1.25F).SerializeAsString());
}

TEST_F(TcpPingAggregationTest, CountersAreSumsAndRoundTripsMeansCutToIntegers)
{
    Add(TcpTest("t1", L"h"), Minute(10, 20, 15.0F, 1.0F));
    Add(TcpTest("t1", L"h"), Minute(11, 30, 16.0F, 2.0F));
    Add(TcpTest("t1", L"h"), Minute(13, 31, 18.0F, 4.5F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    ASSERT_EQ(messages[0].ping_results_size(), 1);
    const PingStatistics& sum = messages[0].ping_results(0);
    EXPECT_EQ(sum.min_rtt(), 11U); // 34 / 3: the mean of the minima, not their minimum
    EXPECT_EQ(sum.max_rtt(), 27U); // 81 / 3
    EXPECT_FLOAT_EQ(sum.avg_rtt(), 49.0F / 3.0F);
    EXPECT_FLOAT_EQ(sum.jitter(), 2.5F);
    EXPECT_EQ(sum.pings_sent(), 18U);
    EXPECT_EQ(sum.pings_received(), 15U);
    EXPECT_EQ(sum.period_total(), 180'000U);
    EXPECT_EQ(sum.period_available(), 150'000U);
}

TEST_F(TcpPingAggregationTest, AMinuteWithoutAnAnswerTakesPartInTheMeanOfTheMinimaIn32Bits)
{
    Add(TcpTest("t1", L"h"), Minute(11, 0, 0.0F, 0.0F));
    Add(TcpTest("t1", L"h"), Minute(NoAnswer, 0, 0.0F, 0.0F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].ping_results(0).min_rtt(), 5U); // (11 + 4294967295) mod 2^32 / 2
}

TEST_F(TcpPingAggregationTest, TheFirstStartThatIsKnownAndTheLastWordOnHttpTestsCount)
{
    PingStatistics first = Minute(1, 1, 1.0F, 0.0F);
    first.set_curl_tests_configured(true);
    PingStatistics second = Minute(1, 1, 1.0F, 0.0F);
    second.set_period_start_utc("second");
    PingStatistics third = Minute(1, 1, 1.0F, 0.0F);
    third.set_period_start_utc("third");
    Add(TcpTest("t1", L"h"), first);
    Add(TcpTest("t1", L"h"), second);
    Add(TcpTest("t1", L"h"), third);
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].ping_results(0).period_start_utc(), "second");
    EXPECT_FALSE(messages[0].ping_results(0).curl_tests_configured());
}

TEST_F(TcpPingAggregationTest, TwoTargetsOfOneTestAndTwoTestsOfOneTargetStayApartInTheOrderOfTheirKeys)
{
    Add(TcpTest("t2", L"a"), Minute(3, 3, 3.0F, 0.0F));
    Add(TcpTest("t1", L"b"), Minute(2, 2, 2.0F, 0.0F));
    Add(TcpTest("t1", L"a"), Minute(1, 1, 1.0F, 0.0F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].server(), "a");
    EXPECT_EQ(messages[0].test_uuid(), "t1");
    EXPECT_EQ(messages[1].server(), "b");
    EXPECT_EQ(messages[2].test_uuid(), "t2");
}

TEST_F(TcpPingAggregationTest, ALaterResultWritesOverWhatTheKeyBelongsTo)
{
    TestConfiguration moved = TcpTest("t1", L"h");
    moved.networkObjectUuid = L"other";
    Add(TcpTest("t1", L"h"), Minute(1, 1, 1.0F, 0.0F));
    Add(moved, Minute(1, 1, 1.0F, 0.0F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].network_object_uuid(), "other");
}

TEST_F(TcpPingAggregationTest, ARunnerThatWasNeverStartedIsPassedOver)
{
    Add(TcpTest("t1", L"h"), Minute(1, 1, 1.0F, 0.0F), TcpPingRunner::State::NotStarted);
    EXPECT_TRUE(Aggregate().empty());
    EXPECT_EQ(m_calls.parsed, 0);
    EXPECT_TRUE(m_runners.empty());
}

TEST_F(TcpPingAggregationTest, AFailureCostsItsMinuteAlone)
{
    Add(TcpTest("t1", L"h"), std::nullopt);
    Add(TcpTest("t2", L"h"), std::nullopt);
    Add(TcpTest("t2", L"h"), Minute(7, 9, 8.0F, 0.0F));
    const auto messages = Aggregate();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].test_uuid(), "t2");
    EXPECT_EQ(messages[0].ping_results(0).min_rtt(), 7U);
    EXPECT_EQ(m_log.Count(Level::Error, "Error in function AggregateTcpPingStats() of file "), 2U);
    EXPECT_EQ(m_log.Count(Level::Error, " ---> A TcpPing test against h failed: "), 2U);
    EXPECT_EQ(m_calls.closed, 3);
}

// --- The HTTP test of the same target

TEST_F(TcpPingAggregationTest, ATestWithAStartedHttpTestCounts)
{
    AddCurl(L"other", CurlTestRunner::State::NotStarted);
    AddCurl(L"h", CurlTestRunner::State::NotStarted, "another object");
    AddCurl(L"h", CurlTestRunner::State::Started);
    Add(TcpTest("t1", L"h", true), Minute(1, 1, 1.0F, 0.0F));
    EXPECT_EQ(Aggregate().size(), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, ""), 0U);
}

TEST_F(TcpPingAggregationTest, ATestWhoseHttpTestWasNeverStartedIsClosedAndDropped)
{
    AddCurl(L"h", CurlTestRunner::State::NotStarted);
    AddCurl(L"h", CurlTestRunner::State::Started); // the first one found decides
    Add(TcpTest("t1", L"h", true), Minute(1, 1, 1.0F, 0.0F));
    EXPECT_TRUE(Aggregate().empty());
    EXPECT_EQ(m_calls.parsed, 0);
    EXPECT_EQ(m_calls.closed, 1);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Discarding TCP test t1 as the associated Curl runner was never started, probably because it wasn't "
            "configured to run under specific VPN settings at the scheduled run time."),
        1U);
}

TEST_F(TcpPingAggregationTest, ATestWhoseHttpTestIsMissingIsClosedAndDropped)
{
    AddCurl(L"another", CurlTestRunner::State::Started);
    Add(TcpTest("t1", L"h", true), Minute(1, 1, 1.0F, 0.0F));
    EXPECT_TRUE(Aggregate().empty());
    EXPECT_EQ(m_calls.closed, 1);
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "Found an abnormal condition where TCP test t1 did not have an expected associated curl runner. The test has "
            "been discarded."),
        1U);
}
