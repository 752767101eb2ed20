#include "lab.tools-statistics.hpp"

#include <gtest/gtest.h>

namespace
{

using Lab::Tools::LossPercent;
using Lab::Tools::Statistics;

TEST(ToolStatisticsTest, WithoutTimesEverythingIsZero)
{
    const Statistics none;
    EXPECT_EQ(none.Count(), 0U);
    EXPECT_EQ(none.Last(), 0.0);
    EXPECT_EQ(none.Best(), 0.0);
    EXPECT_EQ(none.Worst(), 0.0);
    EXPECT_EQ(none.Mean(), 0.0);
    EXPECT_EQ(none.StandardDeviation(), 0.0);
}

TEST(ToolStatisticsTest, ASingleTimeDeviatesByNothing)
{
    Statistics one;
    one.Add(12.5);
    EXPECT_EQ(one.Best(), 12.5);
    EXPECT_EQ(one.Worst(), 12.5);
    EXPECT_EQ(one.Mean(), 12.5);
    EXPECT_EQ(one.StandardDeviation(), 0.0);
}

TEST(ToolStatisticsTest, TheDeviationIsThatOfASample)
{
    Statistics times;
    for (const double time : {2.0, 4.0, 4.0, 4.0, 5.0, 5.0, 7.0, 9.0})
    {
        times.Add(time);
    }
    EXPECT_EQ(times.Count(), 8U);
    EXPECT_EQ(times.Last(), 9.0);
    EXPECT_EQ(times.Best(), 2.0);
    EXPECT_EQ(times.Worst(), 9.0);
    EXPECT_DOUBLE_EQ(times.Mean(), 5.0);
    EXPECT_NEAR(times.StandardDeviation(), 2.13809, 0.00001);
}

TEST(ToolStatisticsTest, SmallDifferencesOfLargeTimesAreNotLost)
{
    Statistics times;
    for (int i = 0; i < 1000; ++i)
    {
        times.Add(1e9 + i % 2);
    }
    EXPECT_NEAR(times.StandardDeviation(), 0.5, 0.001);
}

TEST(ToolStatisticsTest, LossIsAShareOfWhatWasSentAndNeverNegative)
{
    EXPECT_EQ(LossPercent(0, 0), 0.0);
    EXPECT_EQ(LossPercent(4, 4), 0.0);
    EXPECT_EQ(LossPercent(4, 3), 25.0);
    EXPECT_EQ(LossPercent(4, 0), 100.0);
    EXPECT_EQ(LossPercent(3, 4), 0.0);
}

} // namespace
