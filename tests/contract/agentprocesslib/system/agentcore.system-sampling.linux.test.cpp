// Processors, memory and disks of Linux by the product and by other programs.

#include "agentcore.system-systemtimes.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "agentcore.system-diskquery.hpp"
#include "agentcore.system-systemfunctions.hpp"
#include "agentcore.system-systemquerier.hpp"
#include "contract.burner.linux.hpp"
#include "contract.comparison.hpp"
#include "contract.procreader.linux.hpp"
#include "shared.util-functions.hpp"
#include "test.support-temporaryfolder.hpp"

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Contract::Comparison;
using Contract::ReadBy;

/// Seconds of all processors, as another program reads and adds them.
struct Reading
{
    double idle = 0.0;
    double busyInKernel = 0.0;
    double user = 0.0;

    double Busy() const
    {
        return busyInKernel + user;
    }
};

Reading ReadTimes()
{
    const auto ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    Reading reading;
    ReadBy("awk '$1 == \"cpu\" { printf \"%.0f %.0f %.0f\", $5 + $6, $4 + $7 + $8 + $9, $2 + $3 }' /proc/stat") >>
        reading.idle >> reading.busyInKernel >> reading.user;
    return {reading.idle / ticks, reading.busyInKernel / ticks, reading.user / ticks};
}

double ToSeconds(std::uint64_t units)
{
    return static_cast<double>(units) / 1e7;
}

/// What the kernel may take back of the time in which processors wait, between two readings: two ticks of each.
double IdleSlack()
{
    return 2.0 * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN)) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

TEST(LinuxSystemTimesTest, LieBetweenWhatAnotherProgramReadsBeforeAndAfter)
{
    const auto before = ReadTimes();
    const auto ours = GetSystemTimes();
    const auto after = ReadTimes();
    Comparison table("Times of all processors since the machine's start, s");
    table.Add("user", ToSeconds(ours.user), before.user, after.user);
    table.Add("kernel without idle", ToSeconds(ours.kernel - ours.idle), before.busyInKernel, after.busyInKernel);
    table.Add("idle", ToSeconds(ours.idle), before.idle - IdleSlack(), after.idle + IdleSlack());
}

TEST(LinuxSystemTimesTest, ALoadOfOneProcessorForHalfOfTheTimeIsSampledAsAnotherProgramComputesIt)
{
    constexpr int turns = 10;
    const TestSupport::TemporaryFolder folder;
    Contract::Burner burner((folder.Path() / "burner").string());
    CpuSampler sampler;
    const auto usedBefore = burner.Used();
    const auto outerStart = ReadTimes();
    sampler.Sample(GetSystemTimes());
    const auto innerStart = ReadTimes();
    for (int i = 0; i < turns; ++i)
    {
        burner.Burn(100ms);
        std::this_thread::sleep_for(100ms);
    }
    const auto innerEnd = ReadTimes();
    const auto load = sampler.Sample(GetSystemTimes()).total_processing_time_percent();
    const auto outerEnd = ReadTimes();
    const auto used = std::chrono::duration<double>(burner.Used() - usedBefore).count();

    // What others do at the same time is in both; the least load has the least work and the most rest.
    const auto leastBusy = innerEnd.Busy() - innerStart.Busy();
    const auto mostBusy = outerEnd.Busy() - outerStart.Busy();
    const auto leastIdle = innerEnd.idle - innerStart.idle - IdleSlack();
    const auto mostIdle = outerEnd.idle - outerStart.idle + IdleSlack();
    Comparison table("Load of all processors while one program uses one of them for half of the time, percent");
    table.Add(
        "by awk", load, 100.0 * leastBusy / (leastBusy + mostIdle) - 0.01,
        100.0 * mostBusy / (mostBusy + leastIdle) + 0.01);
    // Processors are asked at each of the kernel's ticks what they are doing, so a program's own account, which is exact,
    // is met to a tenth. The others work too, so nothing is too much.
    table.Add("by the program's own clock", load, 90.0 * used / (mostBusy + mostIdle), 100.01);
    EXPECT_GE(used, 0.1 * turns);
}

struct MemoryReading
{
    std::uint64_t total = 0;
    double load = 0.0;
};

MemoryReading ReadMemory()
{
    MemoryReading reading;
    ReadBy("awk '/^MemTotal:/ { t = $2 } /^MemAvailable:/ { a = $2 } "
           "END { printf \"%.0f %.3f\", t * 1024, (t - a) * 100 / t }' /proc/meminfo") >>
        reading.total >> reading.load;
    return reading;
}

TEST(LinuxMemoryTest, IsWhatAnotherProgramReads)
{
    // Others use and give back memory; a moment is wanted in which they do not.
    constexpr int attempts = 50;
    constexpr double quiet = 0.2;
    MemoryReading before;
    MemoryStatus ours;
    MemoryReading after;
    for (int attempt = 0; attempt < attempts; ++attempt)
    {
        before = ReadMemory();
        ours = GetMemoryStatus();
        after = ReadMemory();
        if (std::abs(before.load - after.load) < quiet)
        {
            break;
        }
    }
    EXPECT_EQ(ours.totalPhysical, before.total);
    // Cut to a whole number.
    Comparison("Memory in use, percent")
        .Add(
            "load", ours.memoryLoad, std::min(before.load, after.load) - 1.0 - quiet,
            std::max(before.load, after.load) + quiet);
}

TEST(LinuxDisksTest, HaveTheRoomThatAnotherProgramTells)
{
    const auto disks = SystemQuerier().GetLogicalDisks();
    if (disks.empty())
    {
        GTEST_SKIP() << "this machine has no logical disk that can be asked";
    }
    const auto querier = MakeDiskQuerier();
    Comparison table("Free room of the logical disks, MB");
    querier->Query(
        disks,
        [&table](const LogicalDiskSampleRecord& record)
        {
            const auto name = Shared::Util::ConvertStringType(record.name.value());
            double now = 0.0;
            ReadBy(fmt::format("df -B1 --output=avail '{}' | tail -1", name)) >> now;
            now /= 1024.0 * 1024.0;
            // Others write meanwhile, but hardly a hundredth and 64 MB in that moment.
            const auto slack = now / 100.0 + 64.0;
            table.Add(name, static_cast<double>(record.freeMegabytes.value()), now - slack, now + slack);
        });
}

} // namespace
