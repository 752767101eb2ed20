// The processes of Linux by the product, by another program, and by what the kernel tells a parent of its child.

#include "agentcore.system-processtimer.hpp"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "agentcore.system-processsource.linux.hpp"
#include "contract.burner.linux.hpp"
#include "contract.childprocess.hpp"
#include "contract.procreader.linux.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Contract::Burner;
using Contract::ReadBy;
using Shared::System::CpuTime;

CpuTime Tick()
{
    return CpuTime{1s} / ::sysconf(_SC_CLK_TCK);
}

TEST(LinuxProcessesTest, AKnownLoadIsMeasuredToTheTick)
{
    Burner burner;
    const auto capture = MakeProcessSource()->Capture(burner.Id());
    ASSERT_TRUE(capture);
    burner.Burn(300ms);
    const auto measured = capture->process->ReadCpuTime() - capture->cpuTime;
    EXPECT_GE(measured, CpuTime{300ms} - 2 * Tick());
    EXPECT_LE(measured, burner.EndAndTellUsage() - capture->cpuTime + 2 * Tick());
}

TEST(LinuxProcessesTest, AProcessThatHasEndedCountsUntilItsParentTookNotice)
{
    Burner burner;
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

TEST(LinuxProcessesTest, TellsTheSameAsAnotherProgram)
{
    Burner burner;
    burner.Burn(50ms);
    const auto capture = MakeProcessSource()->Capture(burner.Id());
    ASSERT_TRUE(capture);
    std::uint64_t ticks = 0;
    std::uint64_t pages = 0;
    std::string image;
    // The program's name, which is the second field, has no blanks.
    ReadBy(fmt::format(
        "cd /proc/{} && awk '{{ print $14 + $15 }}' stat && awk '{{ print $2 }}' statm && readlink exe",
        burner.Id())) >>
        ticks >> pages >> image;
    EXPECT_GT(ticks, 0U);
    EXPECT_EQ(capture->cpuTime, static_cast<std::int64_t>(ticks) * Tick());
    // Counted in batches on each processor.
    EXPECT_NEAR(
        static_cast<double>(capture->workingSet),
        static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE)), 1e6);
    EXPECT_EQ(Shared::Util::ConvertStringType(capture->imagePath), image);
}

TEST(LinuxProcessesTest, TheKernelsOwnProcessesAndThoseThatEndAreNoErrors)
{
    TestSupport::CapturedLog log;
    ProcessTimer timer(std::numeric_limits<std::uint32_t>::max());
    auto burner = std::make_unique<Burner>();
    timer.FirstCapture();
    burner->Burn(50ms);
    burner.reset();
    timer.FinalCapture();
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, ""), 0U);
    EXPECT_GE(log.Count(Shared::Log::Level::Warning, "Encountered an exception on final capture"), 1U);
    std::pair<ProcessSnapshot, ProcessSnapshot> top;
    timer.GetTopConsumers(top);
    for (const auto& process : top.first.processes())
    {
        EXPECT_EQ(process.command().front(), '/') << process.command();
    }
}

} // namespace
