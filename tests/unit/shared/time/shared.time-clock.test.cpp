#include "shared.time-clock.hpp"

#include "shared.time-clockcontrol.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Shared::Time::EpochSeconds;
using Shared::Time::Infinite;
using Shared::Time::MonotonicClock;
using Shared::Time::MonotonicNow;
using Shared::Time::RealMonotonicNow;
using Shared::Time::SleepFor;
using Shared::Time::ToRealSpan;
using Shared::Time::ToRealTimeoutMs;
using Shared::Time::UtcNow;
using TestSupport::Stopwatch;
namespace ClockControl = Shared::Time::ClockControl;

namespace
{

std::chrono::nanoseconds SystemUtc()
{
    return std::chrono::system_clock::now().time_since_epoch();
}

/// How far the agent's universal time is ahead of the system's.
std::chrono::nanoseconds Ahead()
{
    return UtcNow().time_since_epoch() - SystemUtc();
}

} // namespace

class ClockTest : public testing::Test
{
protected:
    ~ClockTest() override
    {
        ClockControl::Reset();
    }
};

TEST_F(ClockTest, UntouchedItIsTheSystemsClock)
{
    const auto before = SystemUtc();
    const auto now = UtcNow().time_since_epoch();
    const auto after = SystemUtc();
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);

    const auto steadyBefore = std::chrono::steady_clock::now().time_since_epoch();
    const auto steady = MonotonicNow().time_since_epoch();
    EXPECT_GE(steady, steadyBefore);
    EXPECT_LE(steady, std::chrono::steady_clock::now().time_since_epoch());
    EXPECT_EQ(ToRealSpan(90s), 90s);
    EXPECT_EQ(ToRealTimeoutMs(90'000), 90'000U);
}

TEST_F(ClockTest, EpochSecondsAreWholeSecondsRoundedDown)
{
    const std::int64_t before = EpochSeconds();
    const auto now = UtcNow();
    const std::int64_t after = EpochSeconds();
    const std::int64_t seconds = std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count();
    EXPECT_LE(before, seconds);
    EXPECT_GE(after, seconds);
    EXPECT_EQ(
        std::chrono::system_clock::to_time_t(std::chrono::system_clock::time_point(std::chrono::seconds(seconds))),
        seconds);
}

TEST_F(ClockTest, EpochSecondsBefore1970AreRoundedDownToo)
{
    ClockControl::JumpUtc(-UtcNow().time_since_epoch() - 10'500ms);
    EXPECT_GE(EpochSeconds(), -11);
    EXPECT_LE(EpochSeconds(), -1);
    EXPECT_LE(std::chrono::seconds(EpochSeconds()), UtcNow().time_since_epoch());
}

TEST_F(ClockTest, TheClockTypeReadsTheSteadyClock)
{
    const auto first = MonotonicClock::now();
    const auto second = MonotonicNow();
    EXPECT_LE(first, second);
    EXPECT_LT(second - first, 60s);
    static_assert(MonotonicClock::is_steady);
}

TEST_F(ClockTest, SpeedMakesBothReadingsRunFaster)
{
    ClockControl::SetSpeed(1000.0);
    const auto utc = UtcNow();
    const auto monotonic = MonotonicNow();
    const Stopwatch watch;
    std::this_thread::sleep_for(20ms);
    EXPECT_GE(UtcNow() - utc, 20s);
    EXPECT_GE(MonotonicNow() - monotonic, 20s);
    EXPECT_LE(MonotonicNow() - monotonic, watch.Elapsed() * 1000 + 60s);
}

TEST_F(ClockTest, SpeedBelowOneMakesThemRunSlower)
{
    ClockControl::SetSpeed(0.001);
    const auto utc = UtcNow();
    const auto monotonic = MonotonicNow();
    std::this_thread::sleep_for(20ms);
    EXPECT_LT(UtcNow() - utc, 10ms * VEL_TIME_SCALE);
    EXPECT_LT(MonotonicNow() - monotonic, 10ms * VEL_TIME_SCALE);
    EXPECT_GT(MonotonicNow() - monotonic, 0ns);
}

TEST_F(ClockTest, AChangeOfSpeedGoesOnFromWhereTheReadingsStand)
{
    const auto utc = UtcNow();
    auto last = MonotonicNow();
    for (const double speed : {100000.0, 0.5, 3.0, 1.0, 0.001, 1.0})
    {
        ClockControl::SetSpeed(speed);
        const auto now = MonotonicNow();
        EXPECT_GE(now, last);
        last = now;
    }
    EXPECT_GE(UtcNow(), utc);
}

TEST_F(ClockTest, TheSteadyClockNeverGoesBackWhileTheSpeedChanges)
{
    ClockControl::SetSpeed(1.0);
    std::atomic<bool> stop = false;
    std::atomic<bool> wentBack = false;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
    {
        readers.emplace_back(
            [&]
            {
                for (auto last = MonotonicNow(); !stop;)
                {
                    const auto now = MonotonicNow();
                    wentBack = wentBack || now < last;
                    last = now;
                }
            });
    }
    for (int i = 0; i < 3000; ++i)
    {
        ClockControl::SetSpeed(i % 2 == 0 ? 10'000.0 : 0.01);
    }
    stop = true;
    for (std::thread& reader : readers)
    {
        reader.join();
    }
    EXPECT_FALSE(wentBack);
}

TEST_F(ClockTest, AJumpMovesUniversalTimeAlone)
{
    const auto monotonic = MonotonicNow();
    ClockControl::JumpUtc(24h);
    EXPECT_GT(Ahead(), 23h);
    EXPECT_LT(Ahead(), 25h);
    EXPECT_LT(MonotonicNow() - monotonic, 1h);
    EXPECT_GE(MonotonicNow(), monotonic);
}

TEST_F(ClockTest, JumpsAddUpAndGoBackToo)
{
    ClockControl::JumpUtc(24h);
    ClockControl::JumpUtc(-72h);
    EXPECT_LT(Ahead(), -47h);
    EXPECT_GT(Ahead(), -49h);
    const auto before = MonotonicNow();
    ClockControl::JumpUtc(-1000h);
    EXPECT_GE(MonotonicNow(), before);
}

TEST_F(ClockTest, AJumpKeepsTheSpeedAndASpeedKeepsTheJump)
{
    ClockControl::SetSpeed(1000.0);
    ClockControl::JumpUtc(24h);
    EXPECT_EQ(ToRealSpan(1000s), 1s);
    ClockControl::SetSpeed(1.0);
    EXPECT_GT(Ahead(), 23h);
    EXPECT_LT(Ahead(), 25h);
}

TEST_F(ClockTest, ResetGoesBackToTheSystemsClock)
{
    ClockControl::SetSpeed(1000.0);
    ClockControl::JumpUtc(1000h);
    ClockControl::Reset();
    EXPECT_LT(Ahead(), 1h);
    EXPECT_GT(Ahead(), -1h);
    EXPECT_EQ(ToRealSpan(1000s), 1000s);
    EXPECT_EQ(ToRealTimeoutMs(1000), 1000U);
    // And nothing of it comes back.
    ClockControl::JumpUtc(0s);
    EXPECT_LT(Ahead(), 1h);
    EXPECT_EQ(ToRealSpan(1000s), 1000s);
}

TEST_F(ClockTest, BadSpeedsAreRefusedAndChangeNothing)
{
    for (const double speed :
         {0.0, -0.0, -1.0, 100000.1, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()})
    {
        EXPECT_THROW(ClockControl::SetSpeed(speed), std::invalid_argument) << speed;
    }
    EXPECT_EQ(ToRealSpan(1000s), 1000s);
    EXPECT_NO_THROW(ClockControl::SetSpeed(100000.0));
    EXPECT_NO_THROW(ClockControl::SetSpeed(std::numeric_limits<double>::min()));
}

TEST_F(ClockTest, ARealSpanIsShorterByTheSpeedAndKeepsItsSign)
{
    ClockControl::SetSpeed(60.0);
    EXPECT_EQ(ToRealSpan(1min), 1s);
    EXPECT_EQ(ToRealSpan(-1min), -1s);
    EXPECT_EQ(ToRealSpan(0ns), 0ns);
    ClockControl::SetSpeed(0.5);
    EXPECT_EQ(ToRealSpan(1s), 2s);
    EXPECT_EQ(ToRealSpan(-1s), -2s);
}

TEST_F(ClockTest, ARealSpanIsRoundedToTheNearestButNeverToZero)
{
    ClockControl::SetSpeed(1000.0);
    EXPECT_EQ(ToRealSpan(1499ns), 1ns);
    EXPECT_EQ(ToRealSpan(1501ns), 2ns);
    EXPECT_EQ(ToRealSpan(1ns), 1ns);
    EXPECT_EQ(ToRealSpan(-1ns), -1ns);
    EXPECT_EQ(ToRealSpan(-1501ns), -2ns);
}

TEST_F(ClockTest, TheLongestSpansOfASlowClockStaySpans)
{
    ClockControl::SetSpeed(1e-300);
    const auto longest = ToRealSpan(std::chrono::nanoseconds::max());
    EXPECT_GT(longest, 24h * 365 * 100);
    EXPECT_LT(ToRealSpan(std::chrono::nanoseconds::min()), -24h * 365 * 100);
    EXPECT_GT(RealMonotonicNow() + longest, RealMonotonicNow()); // can still be added to a time
}

TEST_F(ClockTest, ARealTimeOutIsRoundedUp)
{
    ClockControl::SetSpeed(1000.0);
    EXPECT_EQ(ToRealTimeoutMs(0), 0U);
    EXPECT_EQ(ToRealTimeoutMs(1), 1U);
    EXPECT_EQ(ToRealTimeoutMs(1000), 1U);
    EXPECT_EQ(ToRealTimeoutMs(1001), 2U);
    EXPECT_EQ(ToRealTimeoutMs(60'000), 60U);
}

TEST_F(ClockTest, InfiniteStaysInfiniteAndNothingElseBecomesIt)
{
    EXPECT_EQ(ToRealTimeoutMs(Infinite), Infinite);
    EXPECT_EQ(ToRealTimeoutMs(Infinite - 1), Infinite - 1);
    for (const double speed : {1000.0, 1.0, 0.5, 1e-6, 1e-300})
    {
        ClockControl::SetSpeed(speed);
        EXPECT_EQ(ToRealTimeoutMs(Infinite), Infinite);
        for (const std::uint32_t timeout : {1U, 1000U, 0x7FFFFFFFU, 0x80000000U, Infinite - 1})
        {
            EXPECT_NE(ToRealTimeoutMs(timeout), Infinite) << speed << " " << timeout;
            EXPECT_NE(ToRealTimeoutMs(timeout), 0U) << speed << " " << timeout;
        }
    }
    ClockControl::SetSpeed(0.001);
    EXPECT_EQ(ToRealTimeoutMs(Infinite - 1), Infinite - 1);
}

TEST_F(ClockTest, SleepLastsAtLeastItsSpan)
{
    const Stopwatch watch;
    SleepFor(30ms);
    EXPECT_GE(watch.ElapsedMs(), 30.0);
}

TEST_F(ClockTest, SleepIsOfTheAgentsClock)
{
    ClockControl::SetSpeed(1000.0);
    const auto before = MonotonicNow();
    const Stopwatch watch;
    SleepFor(30s);
    EXPECT_GE(MonotonicNow() - before, 30s - 1ms);
    EXPECT_GE(watch.ElapsedMs(), 30.0);
    EXPECT_LT(watch.ElapsedMs(), 30'000.0);
}

TEST_F(ClockTest, SleepingForNothingReturnsAtOnce)
{
    const Stopwatch watch;
    SleepFor(0ns);
    SleepFor(-1h);
    SleepFor(std::chrono::nanoseconds::min());
    EXPECT_LT(watch.ElapsedMs(), TestSupport::LimitMs);
}

TEST_F(ClockTest, TheRealClockKnowsNoSpeed)
{
    ClockControl::SetSpeed(100000.0);
    const auto before = RealMonotonicNow();
    const auto steadyBefore = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(10ms);
    const auto elapsed = RealMonotonicNow() - before;
    EXPECT_GE(elapsed, 9ms);
    EXPECT_LE(elapsed, std::chrono::steady_clock::now() - steadyBefore + 1s);
}
