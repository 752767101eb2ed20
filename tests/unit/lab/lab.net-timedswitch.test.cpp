#include "lab.net-timedswitch.hpp"

#include "shared.time-clock.hpp"

#include <gtest/gtest.h>

namespace
{

using Lab::Net::FragmentPlan;
using Lab::Net::TimedSwitch;
using std::chrono::milliseconds;

TEST(TimedSwitchTest, IsOffUntilItIsSwitchedOn)
{
    TimedSwitch timedSwitch;
    EXPECT_FALSE(timedSwitch.IsOn());
    timedSwitch.SwitchOn(milliseconds(0));
    EXPECT_TRUE(timedSwitch.IsOn());
}

TEST(TimedSwitchTest, IsOffAgainWhenItsTimeIsOver)
{
    TimedSwitch timedSwitch;
    timedSwitch.SwitchOn(milliseconds(30));
    Shared::Time::SleepFor(milliseconds(40));
    EXPECT_FALSE(timedSwitch.IsOn());
}

TEST(TimedSwitchTest, TheLastWordHolds)
{
    TimedSwitch timedSwitch;
    timedSwitch.SwitchOn(milliseconds(1));
    timedSwitch.SwitchOn(milliseconds(0));
    Shared::Time::SleepFor(milliseconds(10));
    EXPECT_TRUE(timedSwitch.IsOn());
}

TEST(FragmentPlanTest, HoldsForItsTime)
{
    FragmentPlan plan;
    EXPECT_EQ(plan.Current().bytes, 0U);
    plan.Set({7, milliseconds(2)}, milliseconds(0));
    EXPECT_EQ(plan.Current().bytes, 7U);
    EXPECT_EQ(plan.Current().pause, milliseconds(2));
    plan.Set({5, milliseconds(2)}, milliseconds(20));
    Shared::Time::SleepFor(milliseconds(30));
    EXPECT_EQ(plan.Current().bytes, 0U);
}

} // namespace
