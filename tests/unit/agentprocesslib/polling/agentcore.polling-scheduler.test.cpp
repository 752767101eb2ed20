#include "agentcore.polling-scheduler.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

namespace
{

using AgentCore::Polling::ScheduledTest;
using AgentCore::Polling::Scheduler;
using AgentCore::Polling::TestType;
using Shared::Concurrency::WaitableTimer;
using Shared::Exception::LogicException;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t Lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t Highest = std::numeric_limits<std::int32_t>::max();

/// A timer that keeps what it is told.
class FakeTimer final : public WaitableTimer
{
public:
    using WaitableTimer::operator=;

    struct Setting
    {
        std::int64_t dueTimeMs;
        std::uint32_t periodMs;

        bool operator==(const Setting&) const = default;
    };

    void SetTimerInMillis(std::int64_t dueTimeMs, std::uint32_t periodMs) override
    {
        settings.push_back({dueTimeMs, periodMs});
    }

    bool CancelTimer() override
    {
        ++cancelled;
        return true;
    }

    std::vector<Setting> settings;
    int cancelled = 0;
};

/// Draws the given numbers one after the other and keeps the ranges that it was asked for.
class GivenNumbers
{
public:
    explicit GivenNumbers(std::vector<std::int32_t> numbers) : m_numbers(std::move(numbers))
    {
    }

    Scheduler::Draw AsDraw()
    {
        return [this](std::int32_t low, std::int32_t high)
        {
            ranges.emplace_back(low, high);
            return m_numbers.at(ranges.size() - 1);
        };
    }

    std::vector<std::pair<std::int32_t, std::int32_t>> ranges;

private:
    std::vector<std::int32_t> m_numbers;
};

/// A scheduler with those delays of MTR tests, in the order of their indices.
class Chain
{
public:
    explicit Chain(const std::vector<std::int32_t>& delays) : m_numbers(delays), m_scheduler(timer, m_numbers.AsDraw())
    {
        m_scheduler.AddTests(TestType::Mtr, static_cast<std::uint32_t>(delays.size()), 60'000);
    }

    /// Goes through the whole chain: the test of each step.
    std::vector<ScheduledTest> Run()
    {
        std::vector<ScheduledTest> tests;
        m_scheduler.ScheduleNext();
        while (timer.cancelled == 0)
        {
            tests.push_back(m_scheduler.GetLastScheduled());
            m_scheduler.ScheduleNext();
        }
        return tests;
    }

    FakeTimer timer;

private:
    GivenNumbers m_numbers;
    Scheduler m_scheduler;
};

std::vector<std::int64_t> DelaysOf(const std::vector<ScheduledTest>& tests)
{
    std::vector<std::int64_t> delays;
    std::transform(
        tests.begin(), tests.end(), std::back_inserter(delays), [](const ScheduledTest& test) { return test.delayMs; });
    return delays;
}

TEST(SchedulerTest, DrawsEachDelayFromOneToTheWindow)
{
    FakeTimer timer;
    GivenNumbers numbers({5, 60'000, 9});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Mtr, 2, 60'000);
    scheduler.AddTests(TestType::GatewayMtr, 1, 10);
    EXPECT_THAT(numbers.ranges, ElementsAre(std::pair(1, 60'000), std::pair(1, 60'000), std::pair(1, 10)));
}

TEST(SchedulerTest, WaitsForTheGapsInTheOrderOfTheirLength)
{
    // Sorted: 100, 150, 1000. Gaps: 100, 50, 850.
    Chain chain({1000, 100, 150});
    EXPECT_THAT(
        chain.Run(),
        ElementsAre(
            ScheduledTest{2, TestType::Mtr, 50}, ScheduledTest{1, TestType::Mtr, 100},
            ScheduledTest{0, TestType::Mtr, 850}));
}

TEST(SchedulerTest, SetsTheTimerOnceForEachTestAndCancelsItBehindTheLast)
{
    Chain chain({1000, 100, 150});
    chain.Run();
    EXPECT_THAT(
        chain.timer.settings,
        ElementsAre(FakeTimer::Setting{-50, 0}, FakeTimer::Setting{-100, 0}, FakeTimer::Setting{-850, 0}));
    EXPECT_EQ(chain.timer.cancelled, 1);
}

TEST(SchedulerTest, EachKindCountsItsTestsFromZero)
{
    FakeTimer timer;
    GivenNumbers numbers({1, 2, 4, 8});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 2, 100);
    scheduler.AddTests(TestType::GatewayMtr, 1, 100);
    scheduler.AddTests(TestType::Mtr, 1, 100);
    std::set<std::pair<TestType, std::uint64_t>> seen;
    for (int i = 0; i < 4; ++i)
    {
        scheduler.ScheduleNext();
        const auto test = scheduler.GetLastScheduled();
        seen.emplace(test.type, test.index);
    }
    EXPECT_THAT(
        seen,
        ElementsAre(
            std::pair(TestType::Curl, 0), std::pair(TestType::Curl, 1), std::pair(TestType::Mtr, 0),
            std::pair(TestType::GatewayMtr, 0)));
}

TEST(SchedulerTest, TheWaitsAddUpToTheLastTimeDrawn)
{
    std::mt19937 generator(20'260'101); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same numbers in each run
    for (int round = 0; round < 50; ++round)
    {
        std::vector<std::int32_t> delays(static_cast<std::size_t>(round) + 1);
        std::generate(
            delays.begin(), delays.end(),
            [&generator] {
                return std::uniform_int_distribution<std::int32_t>{1, 60'000}(generator);
            });
        const auto waits = DelaysOf(Chain(delays).Run());
        EXPECT_EQ(waits.size(), delays.size());
        EXPECT_TRUE(std::is_sorted(waits.begin(), waits.end()));
        EXPECT_GE(waits.front(), 0);
        EXPECT_EQ(
            std::accumulate(waits.begin(), waits.end(), std::int64_t{0}),
            *std::max_element(delays.begin(), delays.end()));
    }
}

TEST(SchedulerTest, LogsTheWholeTimeAndEachWait)
{
    const TestSupport::CapturedLog log;
    Chain({1000, 100, 150}).Run();
    std::vector<std::pair<Level, std::string>> lines;
    for (const auto& line : log.Lines())
    {
        lines.emplace_back(line.level, line.text);
    }
    EXPECT_THAT(
        lines,
        ElementsAre(
            std::pair(Level::Debug, "Scheduled cumulative network test sleep time: 1000"),
            std::pair(Level::Info, "Next test of type 2 will run in 50 ms from now."),
            std::pair(Level::Info, "Next test of type 2 will run in 100 ms from now."),
            std::pair(Level::Info, "Next test of type 2 will run in 850 ms from now.")));
}

TEST(SchedulerTest, WithoutTestsEachCallSaysSoAndCancelsTheTimer)
{
    const TestSupport::CapturedLog log;
    FakeTimer timer;
    Scheduler scheduler(timer);
    scheduler.ScheduleNext();
    scheduler.ScheduleNext();
    EXPECT_EQ(log.Count(Level::Info, "No network tests to normalise."), 2U);
    EXPECT_EQ(log.Lines().size(), 2U);
    EXPECT_EQ(timer.cancelled, 2);
    EXPECT_THAT(timer.settings, IsEmpty());
}

TEST(SchedulerTest, ANegativeWindowHasRoomForNoTestOfItsKindAndLeavesTheOthers)
{
    FakeTimer timer;
    GivenNumbers numbers({7});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 3, -1);
    scheduler.AddTests(TestType::GatewayMtr, 1, 60'000);
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{0, TestType::GatewayMtr, 7}));
    scheduler.ScheduleNext();
    EXPECT_EQ(timer.cancelled, 1);
}

TEST(SchedulerTest, NoMtrConfigurationsLeaveTheGatewaysTestAlone)
{
    FakeTimer timer;
    GivenNumbers numbers({30'000});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::GatewayMtr, 1, 60'000);
    scheduler.AddTests(TestType::Mtr, 0, 60'000);
    scheduler.ScheduleNext();
    scheduler.ScheduleNext();
    EXPECT_THAT(timer.settings, ElementsAre(FakeTimer::Setting{-30'000, 0}));
    EXPECT_EQ(numbers.ranges.size(), 1U);
}

TEST(SchedulerTest, AWindowOfZeroDrawsAnyNumberAndMovesItByOne)
{
    FakeTimer timer;
    GivenNumbers numbers({Lowest + 41, -1, Highest});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 3, 0);
    EXPECT_THAT(
        numbers.ranges,
        ElementsAre(std::pair(Lowest, Highest), std::pair(Lowest, Highest), std::pair(Lowest, Highest)));
    // Counted from the lowest number, 41, half of all and the last of all; with one more, the times are 42, the lowest
    // number and 0. The lowest comes first and is no gap; the others follow it far behind.
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{1, TestType::Curl, Lowest}));
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{0, TestType::Curl, 42}));
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{2, TestType::Curl, -std::int64_t{Lowest}}));
}

TEST(SchedulerTest, OfAWindowTheLowest32BitsCount)
{
    FakeTimer timer;
    GivenNumbers numbers({3, 4});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 1, (std::int64_t{1} << 32) + 500);
    scheduler.AddTests(TestType::Curl, 1, std::int64_t{1} << 32);
    EXPECT_THAT(numbers.ranges, ElementsAre(std::pair(1, 500), std::pair(Lowest, Highest)));
}

TEST(SchedulerTest, AWindowThatIsLongerThanANumberWithASignIsDrawnFromOneUpwardsAllTheSame)
{
    FakeTimer timer;
    GivenNumbers numbers({Lowest, Lowest, Lowest + 9, 852'516'351});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 1, std::int64_t{1} << 31);
    scheduler.AddTests(TestType::Mtr, 3, 3'000'000'000);
    EXPECT_THAT(
        numbers.ranges,
        ElementsAre(
            std::pair(Lowest, -1), std::pair(Lowest, 852'516'351), std::pair(Lowest, 852'516'351),
            std::pair(Lowest, 852'516'351)));
    // Times: 1, 1, 10, and 3'000'000'000, which with a sign is -1'294'967'296 and the first of all.
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{2, TestType::Mtr, -1'294'967'296}));
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled().delayMs, 0);
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{1, TestType::Mtr, 9}));
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled().delayMs, 1'294'967'297);
}

TEST(SchedulerTest, OneTestWaitsForTheTimeThatItDrew)
{
    EXPECT_THAT(DelaysOf(Chain({4711}).Run()), ElementsAre(4711));
}

TEST(SchedulerTest, OfTwoTestsThatDrewTheSameTimeOneRunsAtOnce)
{
    EXPECT_THAT(DelaysOf(Chain({2500, 2500}).Run()), ElementsAre(0, 2500));
}

TEST(SchedulerTest, NothingHasBeenScheduledBeforeTheFirstCall)
{
    FakeTimer timer;
    Scheduler scheduler(timer);
    const auto askForLast = [&scheduler]
    {
        (void)scheduler.GetLastScheduled();
    };
    EXPECT_EQ(TestSupport::ThrownText<LogicException>(askForLast), "No scheduled tests");
    scheduler.AddTests(TestType::Curl, 1, 1000);
    EXPECT_EQ(TestSupport::ThrownText<LogicException>(askForLast), "Nothing scheduled yet");
}

TEST(SchedulerTest, TheLastTestStaysTheLastOneWhenTheChainHasEnded)
{
    FakeTimer timer;
    GivenNumbers numbers({12});
    Scheduler scheduler(timer, numbers.AsDraw());
    scheduler.AddTests(TestType::Curl, 1, 1000);
    scheduler.ScheduleNext();
    scheduler.ScheduleNext();
    scheduler.ScheduleNext();
    EXPECT_EQ(scheduler.GetLastScheduled(), (ScheduledTest{0, TestType::Curl, 12}));
    EXPECT_EQ(timer.cancelled, 2);
}

TEST(SchedulerTest, ATimerWithoutAHandleIsAFailure)
{
    WaitableTimer none;
    Scheduler empty(none);
    EXPECT_EQ(TestSupport::RuntimeText([&empty] { empty.ScheduleNext(); }), "No timer to cancel");
    Scheduler scheduler(none);
    scheduler.AddTests(TestType::Curl, 1, 1000);
    EXPECT_EQ(TestSupport::RuntimeText([&scheduler] { scheduler.ScheduleNext(); }), "Timer handle is null");
    EXPECT_THROW((void)scheduler.GetLastScheduled(), LogicException);
}

TEST(SchedulerTest, ATimerThatCannotBeSetIsAFailure)
{
    WaitableTimer timer(false, false);
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(timer.GetHandle()));
    Scheduler scheduler(timer);
    scheduler.AddTests(TestType::Curl, 1, 1000);
    EXPECT_EQ(TestSupport::Win32Text([&scheduler] { scheduler.ScheduleNext(); }), "Failed to set timer");
    (void)timer.Detach();
}

TEST(SchedulerTest, DrivesARealTimerNoEarlierThanTheTimesSay)
{
    WaitableTimer timer(false, false);
    GivenNumbers numbers({20, 20, -5});
    Scheduler scheduler(timer, numbers.AsDraw());
    // The third is due in the past, and then the others 25 ms later.
    scheduler.AddTests(TestType::Curl, 3, 1000);
    const TestSupport::Stopwatch watch;
    std::int64_t waitedMs = 0;
    for (int i = 0; i < 3; ++i)
    {
        scheduler.ScheduleNext();
        ASSERT_TRUE(timer.WaitOnTimer(TestSupport::LimitMs));
        waitedMs += std::max<std::int64_t>(scheduler.GetLastScheduled().delayMs, 0);
        EXPECT_GE(watch.ElapsedMs(), static_cast<double>(waitedMs));
    }
    EXPECT_EQ(waitedMs, 25);
    scheduler.ScheduleNext();
    EXPECT_FALSE(timer.WaitOnTimer(TestSupport::QuietMs));
}

TEST(SchedulerTest, ByItselfItDrawsTimesInsideTheWindowThatDiffer)
{
    FakeTimer timer;
    Scheduler scheduler(timer);
    scheduler.AddTests(TestType::Mtr, 64, 1'000'000);
    std::int64_t whole = 0;
    std::set<std::int64_t> waits;
    for (int i = 0; i < 64; ++i)
    {
        scheduler.ScheduleNext();
        whole += scheduler.GetLastScheduled().delayMs;
        waits.insert(scheduler.GetLastScheduled().delayMs);
    }
    EXPECT_GE(*waits.begin(), 0);
    EXPECT_LE(whole, 1'000'000);
    // That 64 draws of a million stay below a tenth, or are equally far apart, does not happen.
    EXPECT_GT(whole, 100'000);
    EXPECT_GT(waits.size(), 8U);
}

} // namespace
