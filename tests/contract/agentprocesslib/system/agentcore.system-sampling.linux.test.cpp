// Processors and memory of Linux by the product and by another program.

#include "agentcore.system-systemtimes.hpp"

#include <chrono>
#include <cstdint>

#include <gtest/gtest.h>

#include "agentcore.system-systemfunctions.hpp"
#include "contract.burner.linux.hpp"
#include "contract.procreader.linux.hpp"

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Contract::ReadBy;

SystemTimes ReadTimes()
{
    SystemTimes ticks;
    ReadBy(
        "awk '$1 == \"cpu\" { printf \"%.0f %.0f %.0f\", $5 + $6, $4 + $5 + $6 + $7 + $8 + $9, $2 + $3 }' /proc/stat") >>
        ticks.idle >> ticks.kernel >> ticks.user;
    const auto unit = 10'000'000U / static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    return {ticks.idle * unit, ticks.kernel * unit, ticks.user * unit};
}

TEST(LinuxSystemTimesTest, LieBetweenWhatAnotherProgramReadsBeforeAndAfter)
{
    const auto before = ReadTimes();
    const auto ours = GetSystemTimes();
    const auto after = ReadTimes();
    EXPECT_GE(ours.user, before.user);
    EXPECT_LE(ours.user, after.user);
    EXPECT_GE(ours.kernel - ours.idle, before.kernel - before.idle);
    EXPECT_LE(ours.kernel - ours.idle, after.kernel - after.idle);
    EXPECT_GE(ours.kernel, before.kernel);
    EXPECT_LE(ours.kernel, after.kernel);
}

TEST(LinuxSystemTimesTest, AKnownLoadShowsInTheSample)
{
    const Contract::Burner burner;
    CpuSampler sampler;
    const auto before = GetSystemTimes();
    const auto start = std::chrono::steady_clock::now();
    sampler.Sample(before);
    burner.Burn(500ms);
    const auto after = GetSystemTimes();
    const auto load = sampler.Sample(after).total_processing_time_percent();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    // One processor was busy for half a second at least, whatever the others did.
    const auto least = 100.0 * 0.5 / (wall.count() * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN)));
    EXPECT_GE(load, 0.9 * least);
    EXPECT_LE(load, 101.0F);
    // All processors together counted the time that went by.
    const auto counted = static_cast<double>(after.kernel + after.user - before.kernel - before.user) / 1e7;
    EXPECT_NEAR(counted / (wall.count() * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN))), 1.0, 0.15);
}

TEST(LinuxMemoryTest, IsWhatAnotherProgramReads)
{
    std::uint64_t total = 0;
    std::uint32_t load = 0;
    ReadBy("awk '/^MemTotal:/ { t = $2 } /^MemAvailable:/ { a = $2 } "
           "END { printf \"%.0f %d\", t * 1024, (t - a) * 100 / t }' /proc/meminfo") >>
        total >> load;
    const auto ours = GetMemoryStatus();
    EXPECT_EQ(ours.totalPhysical, total);
    // Others use and give back memory meanwhile.
    EXPECT_NEAR(ours.memoryLoad, load, 10.0);
}

} // namespace
