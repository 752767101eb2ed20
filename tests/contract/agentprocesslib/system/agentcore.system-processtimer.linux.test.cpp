// The processes of Linux by the product, by other programs, and by what the kernel tells a parent of its child.

#include "agentcore.system-processtimer.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "agentcore.system-processsource.linux.hpp"
#include "contract.burner.linux.hpp"
#include "contract.comparison.hpp"
#include "contract.procreader.linux.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-temporaryfolder.hpp"

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Contract::Burner;
using Contract::Comparison;
using Contract::ReadProcess;
using Shared::System::CpuTime;

constexpr std::size_t Megabyte = 1024 * 1024;

CpuTime Tick()
{
    return CpuTime{1s} / ::sysconf(_SC_CLK_TCK);
}

double ToMs(CpuTime time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

std::pair<ProcessSnapshot, ProcessSnapshot> TopOf(const ProcessTimer& timer)
{
    std::pair<ProcessSnapshot, ProcessSnapshot> top;
    timer.GetTopConsumers(top);
    return top;
}

class LinuxProcessesTest : public testing::Test
{
protected:
    std::string PathOf(const std::string& name) const
    {
        return (m_folder.Path() / name).string();
    }

    TestSupport::TemporaryFolder m_folder;
};

TEST_F(LinuxProcessesTest, AKnownLoadIsMeasuredToTheTick)
{
    Burner burner(PathOf("burner"));
    const auto capture = MakeProcessSource()->Capture(burner.Id());
    ASSERT_TRUE(capture);
    const auto usedBefore = burner.Used();
    burner.Burn(300ms);
    const auto used = burner.Used() - usedBefore;
    const auto measured = capture->process->ReadCpuTime();
    EXPECT_GE(used, CpuTime{300ms});

    // In each reading the program's time and the kernel's are cut to the tick below.
    const auto cut = 2 * Tick();
    Comparison table("Processor time of a known load, ms");
    table.Add("between two readings", ToMs(measured - capture->cpuTime), ToMs(used - cut), ToMs(used + cut));
    const auto usage = burner.EndAndTellUsage();
    table.Add("in all, by what its parent is told", ToMs(measured), ToMs(usage - cut), ToMs(usage));
}

TEST_F(LinuxProcessesTest, AProcessThatHasEndedCountsUntilItsParentTookNotice)
{
    Burner burner(PathOf("burner"));
    LinuxProcessSource source;
    const auto capture = source.Capture(burner.Id());
    ASSERT_TRUE(capture);
    burner.Burn(100ms);
    burner.End();
    EXPECT_GE(capture->process->ReadCpuTime() - capture->cpuTime, CpuTime{100ms} - 2 * Tick());
    // It has no program any more, so it would not be captured.
    EXPECT_FALSE(source.Capture(burner.Id()));
    burner.EndAndTellUsage();
    try
    {
        (void)capture->process->ReadCpuTime();
        FAIL() << "a process that is gone was read";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(ESRCH));
    }
}

TEST_F(LinuxProcessesTest, AProgramOfAnyNameIsToldAsByOtherPrograms)
{
    const auto source = MakeProcessSource();
    for (const auto* const name : {"plain", "a b (c) d", ") S 1 2 3 4", "((", "gr\xC3\xBC\xC3\x9F"})
    {
        Burner burner(PathOf(name), 16 * Megabyte);
        burner.Burn(30ms);
        const auto before = ReadProcess(burner.Id());
        const auto capture = source->Capture(burner.Id());
        const auto after = ReadProcess(burner.Id());
        ASSERT_TRUE(capture);
        EXPECT_EQ(Shared::Util::ConvertStringType(capture->imagePath), PathOf(name));
        EXPECT_EQ(before.imagePath, PathOf(name));
        // It stands still: its time stays the same, and of its memory the kernel may only take something away.
        const auto ticks = capture->cpuTime / Tick();
        const auto pages = static_cast<double>(capture->workingSet) / static_cast<double>(::sysconf(_SC_PAGESIZE));
        Comparison table(fmt::format("A program named \"{}\"", name));
        table.Add(
            "processor time, ticks", static_cast<double>(ticks), static_cast<double>(before.ticks),
            static_cast<double>(after.ticks));
        table.Add(
            "memory, pages", pages, static_cast<double>(after.residentPages),
            static_cast<double>(before.residentPages));
        // The kernel's own sum of the same, without what each processor has counted and not yet handed in.
        const auto slack = 64.0 * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN));
        table.Add(
            "memory by the kernel's sum, pages", pages, static_cast<double>(after.summedPages) - slack,
            static_cast<double>(before.summedPages) + slack);
        EXPECT_GE(before.ticks, 2U);
        EXPECT_GT(before.residentPages, 16 * Megabyte / static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));
    }
}

/// A burner, and what other programs and its own clock tell of it between two moments.
struct Load
{
    Load(const std::string& imagePath, std::size_t moreMemory) : burner(imagePath, moreMemory)
    {
    }

    void Begin()
    {
        const auto reading = ReadProcess(burner.Id());
        ticks = -static_cast<double>(reading.ticks);
        usedMs = -ToMs(burner.Used());
        bytes = static_cast<double>(reading.residentPages) * static_cast<double>(::sysconf(_SC_PAGESIZE));
    }

    void End()
    {
        ticks += static_cast<double>(ReadProcess(burner.Id()).ticks);
        usedMs += ToMs(burner.Used());
    }

    Burner burner;
    double ticks = 0.0;
    double usedMs = 0.0;
    /// Memory at the first moment.
    double bytes = 0.0;
};

TEST_F(LinuxProcessesTest, KnownLoadsAreNamedInTheirOrderWithTheSharesOfOtherPrograms)
{
    // One does more, another has more memory, and the third does nothing.
    const std::array<const char*, 3> names{"heavy", "light", "idle"};
    std::array<Load, 3> loads{{{PathOf("heavy"), Megabyte}, {PathOf("light"), 16 * Megabyte}, {PathOf("idle"), 0}}};
    std::vector<std::uint32_t> ids{loads[0].burner.Id(), loads[1].burner.Id(), loads[2].burner.Id()};
    ProcessTimer timer(
        5, std::make_unique<LinuxProcessSource>(std::string{}, [&ids] { return ids; }), &GetTotalPhysicalRam);
    std::for_each(loads.begin(), loads.end(), [](Load& load) { load.Begin(); });
    timer.FirstCapture();
    loads[0].burner.Burn(600ms);
    loads[1].burner.Burn(300ms);
    timer.FinalCapture();
    std::for_each(loads.begin(), loads.end(), [](Load& load) { load.End(); });
    const auto allTicks = loads[0].ticks + loads[1].ticks + loads[2].ticks;
    const auto allMs = loads[0].usedMs + loads[1].usedMs + loads[2].usedMs;
    double totalBytes = 0.0;
    Contract::ReadBy("awk '/^MemTotal:/ { printf \"%.0f\", $2 * 1024 }' /proc/meminfo") >> totalBytes;

    const auto [cpu, memory] = TopOf(timer);
    ASSERT_EQ(cpu.processes_size(), 3);
    ASSERT_EQ(memory.processes_size(), 3);
    EXPECT_EQ(memory.processes(0).command(), PathOf("light"));
    EXPECT_EQ(memory.processes(1).command(), PathOf("heavy"));
    Comparison table("Three programs, percent of processor time and kB");
    for (std::size_t i = 0; i < loads.size(); ++i)
    {
        const std::string name = names.at(i);
        const auto& load = loads.at(i);
        const auto& process = cpu.processes(static_cast<int>(i));
        EXPECT_EQ(process.command(), PathOf(name));
        // All stand still while they are read, so both readings see the same: what is left is single precision.
        const auto byTicks = 100.0 * load.ticks / allTicks;
        table.Add(name + ", processor by awk", process.percentage_cpu(), byTicks - 0.001, byTicks + 0.001);
        // The exact clock and the ticks differ by two ticks in the part, and by as much in the whole.
        const auto byClock = 100.0 * load.usedMs / allMs;
        const auto slack = 100.0 * 4.0 * ToMs(Tick()) / allMs;
        table.Add(name + ", processor by its own clock", process.percentage_cpu(), byClock - slack, byClock + slack);
        const auto measured = static_cast<double>(process.percentage_memory()) / 100.0 * totalBytes;
        table.Add(name + ", memory by awk", measured / 1024.0, load.bytes / 1024.0 - 1.0, load.bytes / 1024.0 + 1.0);
    }
}

TEST_F(LinuxProcessesTest, AmongAllProcessesAKnownLoadHasTheShareThatOtherProgramsCompute)
{
    // Others end meanwhile.
    const TestSupport::CapturedLog log;
    Burner burner(PathOf("burner"));
    ProcessTimer timer(std::numeric_limits<std::uint32_t>::max());
    Contract::ReadAllProcesses(PathOf("1"));
    timer.FirstCapture();
    Contract::ReadAllProcesses(PathOf("2"));
    burner.Burn(500ms);
    Contract::ReadAllProcesses(PathOf("3"));
    timer.FinalCapture();
    Contract::ReadAllProcesses(PathOf("4"));
    const auto share = Contract::ComputeShare(m_folder.Path().string(), burner.Id());

    float measured = -1.0F;
    const auto top = TopOf(timer);
    for (const auto& process : top.first.processes())
    {
        measured = process.command() == PathOf("burner") ? process.percentage_cpu() : measured;
    }
    // What ends between the last two readings may have been measured with the little that it did after the third.
    Comparison("Share among all processes, percent")
        .Add("a load of 500 ms", measured, share.least * 0.98, share.most + 0.001);
}

TEST_F(LinuxProcessesTest, TheKernelsOwnProcessesAndThoseThatEndAreNoErrors)
{
    TestSupport::CapturedLog log;
    ProcessTimer timer(std::numeric_limits<std::uint32_t>::max());
    auto burner = std::make_unique<Burner>(PathOf("burner"));
    timer.FirstCapture();
    burner->Burn(50ms);
    burner.reset();
    timer.FinalCapture();
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, ""), 0U);
    EXPECT_GE(log.Count(Shared::Log::Level::Warning, "Encountered an exception on final capture"), 1U);
    const auto top = TopOf(timer);
    for (const auto& process : top.first.processes())
    {
        EXPECT_EQ(process.command().front(), '/') << process.command();
        EXPECT_NE(process.command(), PathOf("burner"));
    }
}

} // namespace
