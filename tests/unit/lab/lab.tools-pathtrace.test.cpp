#include "lab.tools-pathtrace.hpp"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Tools::Answer;
using Lab::Tools::Prober;
using Lab::Tools::Trace;
using Lab::Tools::TracePath;
using Lab::Tools::TraceSettings;
using std::chrono::nanoseconds;

/// A way of so many hops, 10 ms from one to the next and back, with a time of its own that nobody waits for.
class FakeWay : public Prober
{
public:
    struct Sent
    {
        nanoseconds time{0};
        std::uint8_t timeToLive = 0;
    };

    explicit FakeWay(std::uint8_t hops) : m_hops(hops)
    {
    }

    nanoseconds Now() const override
    {
        return m_now;
    }

    void Send(std::uint16_t sequence, std::uint8_t timeToLive) override
    {
        sent.push_back({m_now, timeToLive});
        const std::uint8_t hop = std::min(timeToLive, m_hops);
        if (silent.contains(hop) || lost.contains(sequence))
        {
            return;
        }
        const nanoseconds arrival = m_now + hop * 10ms;
        m_answers.emplace(arrival, Answer{sequence, "192.0.2." + std::to_string(hop), hop == m_hops, arrival});
        if (isDoubling)
        {
            m_answers.emplace(arrival + 1ms, Answer{sequence, "192.0.2.99", hop == m_hops, arrival + 1ms});
        }
    }

    std::optional<Answer> Await(nanoseconds span) override
    {
        const nanoseconds end = std::min(m_now + span, breakAt);
        if (m_answers.empty() || m_answers.begin()->first > end)
        {
            m_now = std::max(m_now, end);
            return std::nullopt;
        }
        const Answer answer = m_answers.begin()->second;
        m_now = std::max(m_now, m_answers.begin()->first);
        m_answers.erase(m_answers.begin());
        return answer;
    }

    bool IsBrokenOff() const override
    {
        return m_now >= breakAt;
    }

    std::vector<Sent> sent;
    std::set<std::uint8_t> silent;
    std::set<std::uint16_t> lost;
    bool isDoubling = false;
    nanoseconds breakAt = 1h;

private:
    std::uint8_t m_hops;
    nanoseconds m_now = 5s;
    std::multimap<nanoseconds, Answer> m_answers;
};

std::vector<std::string> AddressesOf(const Trace& trace)
{
    std::vector<std::string> addresses;
    for (const auto& hop : trace.hops)
    {
        addresses.push_back(hop.address);
    }
    return addresses;
}

using Addresses = std::vector<std::string>;

TEST(PathTraceTest, HopsAndTheirTimesAreFound)
{
    FakeWay way(3);
    const Trace trace = TracePath(way, {5, 1s, 2s, true});
    ASSERT_EQ(AddressesOf(trace), (Addresses{"192.0.2.1", "192.0.2.2", "192.0.2.3"}));
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(trace.hops[i].sent, 5U);
        EXPECT_EQ(trace.hops[i].lossPercent, 0.0);
        EXPECT_DOUBLE_EQ(trace.hops[i].average, 10.0 * static_cast<double>(i + 1));
    }
    EXPECT_EQ(trace.initialRoundTrip, 30ms);
}

TEST(PathTraceTest, NothingIsSentBeyondTheTargetOnceItIsKnown)
{
    FakeWay way(3);
    (void)TracePath(way, {5, 1s, 2s, false});
    const auto beyond =
        std::count_if(way.sent.begin(), way.sent.end(), [](const auto& probe) { return probe.timeToLive > 4; });
    EXPECT_EQ(beyond, 0);
    EXPECT_LE(way.sent.size(), 16U);
}

TEST(PathTraceTest, ProbesOfACycleAreSpreadOrSentAtOnce)
{
    FakeWay spread(3);
    (void)TracePath(spread, {2, 900ms, 2s, true});
    FakeWay together(3);
    (void)TracePath(together, {2, 900ms, 2s, false});
    const auto last = [](const FakeWay& way, std::size_t fromEnd)
    {
        return way.sent[way.sent.size() - fromEnd].time;
    };
    EXPECT_EQ(last(spread, 1) - last(spread, 2), 300ms);
    EXPECT_EQ(last(together, 1), last(together, 3));
    EXPECT_EQ(last(together, 1) - together.sent.front().time, 900ms);
}

TEST(PathTraceTest, ASilentHopInBetweenIsShownAsSuch)
{
    FakeWay way(3);
    way.silent = {2};
    const Trace trace = TracePath(way, {3, 1s, 2s, true});
    ASSERT_EQ(AddressesOf(trace), (Addresses{"192.0.2.1", "", "192.0.2.3"}));
    EXPECT_EQ(trace.hops[1].host, "???");
    EXPECT_EQ(trace.hops[1].lossPercent, 100.0);
    EXPECT_EQ(trace.hops[1].sent, 3U);
}

TEST(PathTraceTest, WithoutATargetThePathEndsWithOneSilentHop)
{
    FakeWay way(5);
    way.silent = {3, 4, 5};
    const Trace trace = TracePath(way, {2, 1s, 2s, true});
    EXPECT_EQ(AddressesOf(trace), (Addresses{"192.0.2.1", "192.0.2.2", ""}));
    EXPECT_FALSE(trace.initialRoundTrip.has_value());
}

TEST(PathTraceTest, WhereNobodyAnswersThereIsOneSilentHop)
{
    FakeWay way(1);
    way.silent = {1};
    const Trace trace = TracePath(way, {1, 1s, 2s, true});
    EXPECT_EQ(AddressesOf(trace), Addresses{""});
    EXPECT_EQ(way.sent.size(), Lab::Tools::MostHops);
}

TEST(PathTraceTest, LostProbesCount)
{
    FakeWay way(1);
    (void)TracePath(way, {1, 30s, 2s, true});
    ASSERT_EQ(way.sent.size(), 1U);
    FakeWay lossy(1);
    lossy.lost = {2, 3};
    const Trace trace = TracePath(lossy, {4, 30s, 2s, true});
    ASSERT_EQ(trace.hops.size(), 1U);
    EXPECT_EQ(trace.hops[0].sent, 4U);
    EXPECT_EQ(trace.hops[0].lossPercent, 50.0);
}

TEST(PathTraceTest, AnAnswerAfterTheTimeoutIsLost)
{
    FakeWay way(2);
    const Trace trace = TracePath(way, {2, 1s, 15ms, true});
    ASSERT_EQ(trace.hops.size(), 2U);
    EXPECT_EQ(trace.hops[0].lossPercent, 0.0);
    EXPECT_EQ(trace.hops[1].address, "");
    EXPECT_EQ(trace.hops[1].lossPercent, 100.0);
}

TEST(PathTraceTest, ASecondAnswerToAProbeChangesNothing)
{
    FakeWay way(2);
    way.isDoubling = true;
    const Trace trace = TracePath(way, {3, 1s, 2s, true});
    ASSERT_EQ(AddressesOf(trace), (Addresses{"192.0.2.1", "192.0.2.2"}));
    EXPECT_EQ(trace.hops[0].sent, 3U);
    EXPECT_DOUBLE_EQ(trace.hops[0].worst, 10.0);
}

TEST(PathTraceTest, ABreakEndsItAndLeavesOutWhatIsUnderWay)
{
    FakeWay way(2);
    way.breakAt = 5s + 1s + 515ms;
    const Trace trace = TracePath(way, {100, 1s, 2s, true});
    ASSERT_EQ(AddressesOf(trace), (Addresses{"192.0.2.1", "192.0.2.2"}));
    EXPECT_EQ(trace.hops[0].sent, 2U);
    EXPECT_EQ(trace.hops[1].sent, 1U);
    EXPECT_EQ(trace.hops[1].lossPercent, 0.0);
}

TEST(PathTraceTest, ABreakBeforeEverythingGivesAnEmptyPath)
{
    FakeWay way(2);
    way.breakAt = 0s;
    EXPECT_TRUE(TracePath(way, {100, 1s, 2s, true}).hops.empty());
    EXPECT_TRUE(way.sent.empty());
}

} // namespace
