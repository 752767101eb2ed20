#include "shared.util-retrydelay.hpp"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace
{

using Shared::Util::CalculateRetryDelayMs;
using Shared::Util::RetryDelayLimits;

constexpr std::uint32_t Minimum = 30'000;
constexpr std::uint32_t Maximum = 3'600'000;
constexpr std::uint32_t LastAttempt = std::numeric_limits<std::uint32_t>::max();

TEST(RetryDelayTest, TheAttemptsZeroAndOneGiveTheSameDelay)
{
    EXPECT_EQ(CalculateRetryDelayMs(0, {}), Minimum);
    EXPECT_EQ(CalculateRetryDelayMs(1, {}), Minimum);
}

TEST(RetryDelayTest, TheDelayGrowsByTheMultiplier)
{
    EXPECT_EQ(CalculateRetryDelayMs(2, {}), 60'000U);
    EXPECT_EQ(CalculateRetryDelayMs(3, {}), 120'000U);
    EXPECT_EQ(CalculateRetryDelayMs(7, {}), 1'920'000U);
}

TEST(RetryDelayTest, FromTheNinthAttemptOnItIsTheMaximum)
{
    EXPECT_EQ(CalculateRetryDelayMs(9, {}), Maximum);
    EXPECT_EQ(CalculateRetryDelayMs(10, {}), Maximum);
    EXPECT_EQ(CalculateRetryDelayMs(5000, {}), Maximum);
    EXPECT_EQ(CalculateRetryDelayMs(LastAttempt, {}), Maximum);
}

TEST(RetryDelayTest, NeverGetsShorterWithTheAttempts)
{
    std::uint32_t last = 0;
    for (std::uint32_t attempt = 0; attempt < 3000; ++attempt)
    {
        const auto delay = CalculateRetryDelayMs(attempt, {1.01, 30, 3600});
        ASSERT_GE(delay, last) << attempt;
        last = delay;
    }
}

TEST(RetryDelayTest, TheDelayIsCutToWholeSeconds)
{
    EXPECT_EQ(CalculateRetryDelayMs(2, {1.5, 3, 3600}), 4'000U);
}

TEST(RetryDelayTest, AMultiplierBelowOneStaysAtTheMinimum)
{
    EXPECT_EQ(CalculateRetryDelayMs(4, {0.5, 30, 3600}), Minimum);
    EXPECT_EQ(CalculateRetryDelayMs(4, {0.0, 30, 3600}), Minimum);
}

TEST(RetryDelayTest, AMultiplierThatIsNoNumberCountsAsTheMinimum)
{
    EXPECT_EQ(CalculateRetryDelayMs(4, {std::numeric_limits<double>::quiet_NaN(), 30, 3600}), Minimum);
}

TEST(RetryDelayTest, ANegativeMultiplierStaysInsideTheLimits)
{
    EXPECT_EQ(CalculateRetryDelayMs(2, {-2.0, 30, 3600}), Minimum);
    EXPECT_EQ(CalculateRetryDelayMs(3, {-2.0, 30, 3600}), 120'000U);
    EXPECT_EQ(CalculateRetryDelayMs(LastAttempt, {-2.0, 30, 3600}), Maximum);
    EXPECT_EQ(CalculateRetryDelayMs(2, {-std::numeric_limits<double>::infinity(), 30, 3600}), Minimum);
}

TEST(RetryDelayTest, AnInfiniteMultiplierIsTheMaximum)
{
    EXPECT_EQ(CalculateRetryDelayMs(2, {std::numeric_limits<double>::infinity(), 30, 3600}), Maximum);
    EXPECT_EQ(CalculateRetryDelayMs(1, {std::numeric_limits<double>::infinity(), 30, 3600}), Minimum);
}

TEST(RetryDelayTest, AMinimumOfZeroIsAllowed)
{
    EXPECT_EQ(CalculateRetryDelayMs(5, {2.0, 0, 3600}), 0U);
    EXPECT_EQ(CalculateRetryDelayMs(LastAttempt, {2.0, 0, 3600}), 0U);
}

TEST(RetryDelayTest, TheMinimumWinsOverASmallerMaximum)
{
    EXPECT_EQ(CalculateRetryDelayMs(1, {2.0, 30, 10}), Minimum);
    EXPECT_EQ(CalculateRetryDelayMs(9, {2.0, 30, 10}), Minimum);
}

TEST(RetryDelayTest, NeverBecomesTheValueThatMeansForEver)
{
    constexpr auto largest = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(CalculateRetryDelayMs(1, {2.0, largest, largest}), largest - 1);
    EXPECT_EQ(CalculateRetryDelayMs(40, {2.0, 30, largest}), largest - 1);
    EXPECT_EQ(CalculateRetryDelayMs(1, {2.0, 4'294'967, largest}), 4'294'967'000U);
    EXPECT_EQ(CalculateRetryDelayMs(1, {2.0, 4'294'968, largest}), largest - 1);
}

} // namespace
