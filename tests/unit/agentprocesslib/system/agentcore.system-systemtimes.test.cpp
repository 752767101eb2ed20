#include "agentcore.system-systemtimes.hpp"

#include <cmath>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace
{

using AgentCore::System::CpuSampler;
using AgentCore::System::ParseSystemTimes;
using AgentCore::System::SystemTimes;

constexpr std::uint64_t Tick = 100'000;
constexpr std::uint64_t TicksPerSecond = 100;

float Load(CpuSampler& sampler, const SystemTimes& times)
{
    return sampler.Sample(times).total_processing_time_percent();
}

TEST(ParseSystemTimesTest, AddsUpWhatTheKernelCountsApart)
{
    // user nice system idle iowait irq softirq steal guest guest_nice
    const auto times = ParseSystemTimes("cpu  1 2 4 8 16 32 64 128 1 2\ncpu0 9 9 9 9 9 9 9 9 9 9\n", TicksPerSecond);
    ASSERT_TRUE(times);
    EXPECT_EQ(times->idle, (8 + 16) * Tick);
    EXPECT_EQ(times->kernel, (4 + 32 + 64 + 128 + 8 + 16) * Tick);
    EXPECT_EQ(times->user, (1 + 2) * Tick);
}

TEST(ParseSystemTimesTest, TheLineOfAllProcessorsMayStandAnywhere)
{
    EXPECT_EQ(
        ParseSystemTimes("btime 7\ncpu0 1 1 1 1\ncpu 10 0 20 30\n", TicksPerSecond),
        (SystemTimes{30 * Tick, 50 * Tick, 10 * Tick}));
}

TEST(ParseSystemTimesTest, ColumnsThatAKernelDoesNotHaveAreZero)
{
    EXPECT_EQ(ParseSystemTimes("cpu 1 2 3 4", TicksPerSecond), (SystemTimes{4 * Tick, 7 * Tick, 3 * Tick}));
    EXPECT_EQ(ParseSystemTimes("cpu 1 2 3 4 5 6\n", TicksPerSecond), (SystemTimes{9 * Tick, 18 * Tick, 3 * Tick}));
}

TEST(ParseSystemTimesTest, AMissingOrSenselessLineIsNone)
{
    for (const auto* const text :
         {"", "cpu", "cpu \n", "cpu 1 2 3\n", "cpu0 1 2 3 4 5 6 7 8\n", "cpus 1 2 3 4\n", "cpu 1 2 x 4\n",
          "cpu 1 2 -3 4\n", "cpu 1 2 3 99999999999999999999\n", "cpu 1 2 3 18446744073709551615\n",
          "cpu 1 2 3 4 5 6 7 8x\n", "intr 1 2 3 4\n"})
    {
        EXPECT_EQ(ParseSystemTimes(text, TicksPerSecond), std::nullopt) << text;
    }
}

TEST(ParseSystemTimesTest, TheLargestCountsDoNotOverflow)
{
    const std::string most = " 281474976710656";
    std::string line = "cpu";
    for (int i = 0; i < 10; ++i)
    {
        line.append(most);
    }
    const auto times = ParseSystemTimes(line, 1);
    ASSERT_TRUE(times);
    EXPECT_GE(times->kernel, times->idle);
}

TEST(CpuSamplerTest, TheFirstSampleIsZero)
{
    CpuSampler sampler;
    EXPECT_EQ(Load(sampler, {100, 150, 200}), 0.0F);
}

TEST(CpuSamplerTest, CountsWhatTheKernelDidBesideIdlingAndWhatProgramsDid)
{
    CpuSampler sampler;
    Load(sampler, {100, 150, 200});
    // Of 100: 60 idle, 10 in the kernel, 30 in programs.
    EXPECT_FLOAT_EQ(Load(sampler, {160, 220, 230}), 40.0F);
    // Each sample is of the time since the one before it.
    EXPECT_FLOAT_EQ(Load(sampler, {160, 270, 280}), 100.0F);
}

TEST(CpuSamplerTest, AnIdleMachineGivesNearlyZero)
{
    CpuSampler sampler;
    Load(sampler, {1'000'000, 2'000'000, 3'000'000});
    EXPECT_NEAR(Load(sampler, {601'000'000, 602'010'000, 3'010'000}), 0.0F, 0.01F);
    EXPECT_EQ(Load(sampler, {701'000'000, 702'010'000, 3'010'000}), 0.0F);
}

TEST(CpuSamplerTest, IsZeroUntilAllThreeTimesWereOnceNotZero)
{
    CpuSampler sampler;
    EXPECT_EQ(Load(sampler, {0, 10, 10}), 0.0F);
    EXPECT_EQ(Load(sampler, {10, 0, 10}), 0.0F);
    EXPECT_EQ(Load(sampler, {10, 20, 0}), 0.0F);
    EXPECT_EQ(Load(sampler, {10, 30, 10}), 0.0F);
    EXPECT_EQ(Load(sampler, {10, 40, 20}), 100.0F);
}

TEST(CpuSamplerTest, TwoReadingsOfOneInstantAreNoNumber)
{
    CpuSampler sampler;
    Load(sampler, {100, 150, 200});
    EXPECT_TRUE(std::isnan(Load(sampler, {100, 150, 200})));
    EXPECT_FLOAT_EQ(Load(sampler, {150, 200, 250}), 50.0F);
}

TEST(CpuSamplerTest, CountsThatStepBackAreNoHugeOnes)
{
    CpuSampler sampler;
    Load(sampler, {1000, 1500, 2000});
    // The kernel took 10 units of idle time back.
    EXPECT_FLOAT_EQ(Load(sampler, {990, 1490, 2110}), 110.0F);
}

} // namespace
