#include "shared.concurrency-waitabletimer.hpp"

#include "shared.raii-nativehandle.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Shared::Concurrency::WaitableTimer;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

/// Units of 100 ns since 1601, as absolute due times count.
std::int64_t SystemTimeUnits(std::chrono::milliseconds ahead)
{
    using Units = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    constexpr std::int64_t From1601To1970 = 116'444'736'000'000'000;
    const auto time = std::chrono::system_clock::now().time_since_epoch() + ahead;
    return std::chrono::duration_cast<Units>(time).count() + From1601To1970;
}

} // namespace

class TimerOfEachKindTest : public testing::TestWithParam<bool>
{
protected:
    WaitableTimer m_timer{false, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    TimerOfEachKindTest,
    testing::Bool(),
    [](const testing::TestParamInfo<bool>& kind) { return kind.param ? "Manual" : "Automatic"; });

TEST_P(TimerOfEachKindTest, StartsUnset)
{
    EXPECT_NE(m_timer.GetHandle(), nullptr);
    EXPECT_EQ(m_timer.IsManualReset(), GetParam());
    EXPECT_TRUE(m_timer.GetName().empty());
    EXPECT_FALSE(m_timer.WaitOnTimer(QuietMs));
}

TEST_P(TimerOfEachKindTest, ARelativeTimeInMillisecondsIsNegativeAndLastsAtLeastAsLong)
{
    const Stopwatch watch;
    m_timer.SetTimerInMillis(-50, 0);
    EXPECT_FALSE(m_timer.WaitOnTimer(0));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_GE(watch.ElapsedMs(), 50.0);
}

TEST_P(TimerOfEachKindTest, MinusAThousandMillisecondsFireOneSecondAhead)
{
    const Stopwatch watch;
    m_timer.SetTimerInMillis(-1000, 0);
    EXPECT_FALSE(m_timer.WaitOnTimer(300));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_GE(watch.ElapsedMs(), 1000.0);
}

TEST_P(TimerOfEachKindTest, TheUnitOfNanosIsAHundredNanoseconds)
{
    const Stopwatch watch;
    m_timer.SetTimerInNanos(-500'000, 0); // 50 ms
    EXPECT_FALSE(m_timer.WaitOnTimer(0));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_GE(watch.ElapsedMs(), 50.0);
    EXPECT_LT(watch.ElapsedMs(), 5'000.0 * VEL_TIME_SCALE); // nor milliseconds
}

TEST_P(TimerOfEachKindTest, DueTimeZeroFiresAtOnce)
{
    m_timer.SetTimerInMillis(0, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
    m_timer.SetTimerInNanos(0, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
}

TEST_P(TimerOfEachKindTest, AnExpiryIsTakenByOneWaitOrStays)
{
    m_timer.SetTimerInMillis(-1, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_EQ(m_timer.WaitOnTimer(20), GetParam());
}

TEST_P(TimerOfEachKindTest, AnAbsoluteTimeAheadFiresThen)
{
    const Stopwatch watch;
    m_timer.SetTimerInNanos(SystemTimeUnits(std::chrono::milliseconds(60)), 0);
    EXPECT_FALSE(m_timer.WaitOnTimer(0));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_GE(watch.ElapsedMs(), 50.0); // the day's clock may be corrected by a little meanwhile
}

TEST_P(TimerOfEachKindTest, AnAbsoluteTimeInThePastFiresSoon)
{
    m_timer.SetTimerInNanos(SystemTimeUnits(std::chrono::hours(-1)), 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    m_timer.SetTimerInMillis(1, 0); // a millisecond after 1601 began
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
}

TEST_P(TimerOfEachKindTest, ExtremeTimesAreFarAway)
{
    for (const std::int64_t time : {std::numeric_limits<std::int64_t>::min() + 1, std::int64_t{-864'000'000'000}})
    {
        m_timer.SetTimerInNanos(time, 0);
        EXPECT_FALSE(m_timer.WaitOnTimer(10));
    }
    m_timer.SetTimerInMillis(std::numeric_limits<std::int64_t>::min(), 0);
    EXPECT_FALSE(m_timer.WaitOnTimer(10));
}

TEST_P(TimerOfEachKindTest, APeriodFiresAgainAndAgain)
{
    const Stopwatch watch;
    m_timer.SetTimerInMillis(-20, 20);
    for (int i = 1; i <= 4; ++i)
    {
        EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
        if (!GetParam())
        {
            EXPECT_GE(watch.ElapsedMs(), 20.0 * i);
        }
    }
}

TEST_P(TimerOfEachKindTest, DueTimeZeroWithAPeriodFiresAtOnceAndThenEachPeriod)
{
    const Stopwatch watch;
    m_timer.SetTimerInMillis(0, 30);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    if (!GetParam())
    {
        EXPECT_GE(watch.ElapsedMs(), 60.0);
    }
}

TEST_P(TimerOfEachKindTest, SettingAgainClearsWhatWasSignalled)
{
    m_timer.SetTimerInMillis(0, 0);
    m_timer.SetTimerInMillis(-600'000, 0);
    EXPECT_FALSE(m_timer.WaitOnTimer(QuietMs));
    m_timer.SetTimerInMillis(-10, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
}

TEST_P(TimerOfEachKindTest, SettingAgainForgetsThePeriod)
{
    m_timer.SetTimerInMillis(0, 5);
    m_timer.SetTimerInMillis(-10, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs));
    EXPECT_EQ(m_timer.WaitOnTimer(40), GetParam());
}

TEST_P(TimerOfEachKindTest, CancellingStopsATimerThatHasNotFired)
{
    m_timer.SetTimerInMillis(-30, 30);
    EXPECT_TRUE(m_timer.CancelTimer());
    EXPECT_FALSE(m_timer.WaitOnTimer(80));
}

TEST_P(TimerOfEachKindTest, CancellingKeepsAnExpiryThatNobodyTook)
{
    for (const std::uint32_t period : {0U, 10U, 600'000U})
    {
        m_timer.SetTimerInMillis(0, period);
        EXPECT_TRUE(m_timer.CancelTimer());
        EXPECT_TRUE(m_timer.WaitOnTimer(0)) << period;
        EXPECT_EQ(m_timer.WaitOnTimer(40), GetParam()) << period;
    }
}

TEST_P(TimerOfEachKindTest, CancellingAnUnsetTimerOrTwicePasses)
{
    EXPECT_TRUE(m_timer.CancelTimer());
    m_timer.SetTimerInMillis(-600'000, 0);
    EXPECT_TRUE(m_timer.CancelTimer());
    EXPECT_TRUE(m_timer.CancelTimer());
    EXPECT_FALSE(m_timer.WaitOnTimer(0));
    m_timer.SetTimerInMillis(0, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
}

TEST_P(TimerOfEachKindTest, CopiesShareTheTimer)
{
    WaitableTimer copy = m_timer;
    EXPECT_NE(copy.GetHandle(), m_timer.GetHandle());
    EXPECT_EQ(copy.IsManualReset(), GetParam());
    copy.SetTimerInMillis(0, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
    EXPECT_EQ(copy.WaitOnTimer(0), GetParam());

    WaitableTimer assigned(false, !GetParam());
    assigned = m_timer;
    EXPECT_EQ(assigned.IsManualReset(), GetParam());
    m_timer.SetTimerInMillis(-5, 0);
    EXPECT_TRUE(assigned.WaitOnTimer(LimitMs));
}

TEST_P(TimerOfEachKindTest, MovingEmptiesTheSource)
{
    const auto handle = m_timer.GetHandle();
    WaitableTimer moved = std::move(m_timer);
    EXPECT_EQ(m_timer.GetHandle(), nullptr);
    EXPECT_FALSE(m_timer.IsManualReset());
    EXPECT_EQ(moved.GetHandle(), handle);
    EXPECT_EQ(moved.IsManualReset(), GetParam());
    m_timer = std::move(moved);
    EXPECT_EQ(m_timer.GetHandle(), handle);
    WaitableTimer& same = m_timer;
    m_timer = std::move(same);
    m_timer = same;
    m_timer.SetTimerInMillis(0, 0);
    EXPECT_TRUE(m_timer.WaitOnTimer(0));
}

TEST_P(TimerOfEachKindTest, DetachGivesTheHandleUp)
{
    const auto handle = m_timer.GetHandle();
    EXPECT_EQ(m_timer.Detach(), handle);
    EXPECT_EQ(m_timer.GetHandle(), nullptr);
    EXPECT_FALSE(m_timer.IsManualReset());
    EXPECT_TRUE(Shared::Raii::Native::CloseHandle(handle)); // still open
}

TEST_P(TimerOfEachKindTest, ASystemHandleThatWasClosedIsTheSystemsFailure)
{
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(m_timer.GetHandle()));
    EXPECT_EQ(Win32Text([&] { m_timer.SetTimerInMillis(-1, 0); }), "Failed to set timer");
    EXPECT_EQ(Win32Text([&] { m_timer.SetTimerInMillis(0, 0); }), "Failed to set timer");
    EXPECT_EQ(Win32Text([&] { (void)m_timer.WaitOnTimer(0); }), "WaitForSingleObject() failed");
    EXPECT_FALSE(m_timer.CancelTimer());
    m_timer.Detach();
}

TEST_P(TimerOfEachKindTest, InheritabilityIsThatOfTheConstructor)
{
    for (const bool inheritable : {false, true})
    {
        const WaitableTimer timer(inheritable, GetParam());
        bool answer = !inheritable;
        ASSERT_TRUE(Shared::Raii::Native::QueryInheritability(timer.GetHandle(), answer));
        EXPECT_EQ(answer, inheritable);
    }
}

TEST(WaitableTimerTest, SeveralExpiriesThatNobodyTookAreOne)
{
    WaitableTimer timer(false, false);
    timer.SetTimerInMillis(-5, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_TRUE(timer.CancelTimer());
    EXPECT_TRUE(timer.WaitOnTimer(0));
    EXPECT_FALSE(timer.WaitOnTimer(30));
}

TEST(WaitableTimerTest, EachExpiryOfAnAutomaticTimerIsTakenByOneOfManyWaiters)
{
    WaitableTimer timer(false, false);
    std::atomic<int> taken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([&] { taken += timer.WaitOnTimer(LimitMs) ? 1 : 0; });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (int expiry = 1; expiry <= 4; ++expiry)
    {
        timer.SetTimerInMillis(0, 0);
        const Stopwatch watch;
        while (taken < expiry && watch.ElapsedMs() < LimitMs)
        {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_EQ(taken, expiry);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(WaitableTimerTest, WithoutATimerEveryOperationSaysWhatIsMissing)
{
    WaitableTimer none;
    EXPECT_EQ(none.GetHandle(), nullptr);
    EXPECT_EQ(RuntimeText([&] { none.SetTimerInMillis(-1, 0); }), "Timer handle is null");
    EXPECT_EQ(RuntimeText([&] { none.SetTimerInNanos(-1, 0); }), "Timer handle is null");
    EXPECT_EQ(RuntimeText([&] { (void)none.WaitOnTimer(0); }), "No timer to wait on");
    EXPECT_EQ(RuntimeText([&] { (void)none.CancelTimer(); }), "No timer to cancel");
    EXPECT_EQ(none.Detach(), nullptr);
    EXPECT_EQ(WaitableTimer(none).GetHandle(), nullptr);
}

class TimerOfAFastClockTest : public testing::Test
{
protected:
    ~TimerOfAFastClockTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    WaitableTimer m_timer{false, false};
};

TEST_F(TimerOfAFastClockTest, RelativeTimesAndPeriodsAreOfTheAgentsClock)
{
    Shared::Time::ClockControl::SetSpeed(1000.0);
    const Stopwatch watch;
    m_timer.SetTimerInNanos(-600'000'000, 60'000); // a minute, and each minute again
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs * 1000));
    EXPECT_GE(watch.ElapsedMs(), 60.0);
    EXPECT_TRUE(m_timer.WaitOnTimer(LimitMs * 1000));
    EXPECT_GE(watch.ElapsedMs(), 120.0);
    EXPECT_LT(watch.ElapsedMs(), 60'000.0);
}

TEST_F(TimerOfAFastClockTest, NoSpeedTurnsATimerIntoAnUnsetOne)
{
    Shared::Time::ClockControl::SetSpeed(100'000.0);
    m_timer.SetTimerInNanos(-1, 1);
    EXPECT_TRUE(m_timer.WaitOnTimer(0xFFFFFFFE));
    EXPECT_TRUE(m_timer.WaitOnTimer(0xFFFFFFFE));
}
