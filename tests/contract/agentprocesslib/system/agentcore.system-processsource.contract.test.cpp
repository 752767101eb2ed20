#include "agentcore.system-processsource.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.system-systemfunctions.hpp"
#include "contract.childprocess.hpp"
#include "contract.processorwork.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.time-clock.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;
using Shared::Exception::Win32Exception;
using Shared::System::CpuTime;

/// No process of either platform has it.
constexpr std::uint32_t NoProcessId = 0x7FFFFFF1;
constexpr std::uint64_t Megabyte = 1024 * 1024;

class ProcessSourceContract : public testing::Test
{
protected:
    /// A process that has only just been made may not tell its path yet.
    std::optional<ProcessCapture> CaptureOnceItIsUp(Contract::ChildProcess& child)
    {
        child.Resume();
        for (const TestSupport::Stopwatch watch;;)
        {
            try
            {
                return m_source->Capture(child.Id());
            }
            catch (const Win32Exception&)
            {
                if (watch.ElapsedMs() > TestSupport::LimitMs)
                {
                    throw;
                }
                Shared::Time::SleepFor(5ms);
            }
        }
    }

    std::unique_ptr<ProcessSource> m_source = MakeProcessSource();
};

TEST_F(ProcessSourceContract, ListsThisProcessOnce)
{
    EXPECT_THAT(m_source->EnumerateProcessIds(), testing::Contains(Contract::OwnProcessId()).Times(1));
}

TEST_F(ProcessSourceContract, TellsOfThisProcess)
{
    const auto capture = m_source->Capture(Contract::OwnProcessId());
    ASSERT_TRUE(capture);
    EXPECT_NE(capture->imagePath.find(L"agentcore-sampling-contract"), std::wstring::npos);
    EXPECT_GT(capture->workingSet, Megabyte);
    EXPECT_LT(capture->workingSet, GetTotalPhysicalRam());
    EXPECT_GE(capture->cpuTime, CpuTime{0});
    EXPECT_GE(capture->process->ReadCpuTime(), capture->cpuTime);
}

TEST_F(ProcessSourceContract, MemoryThatIsUsedCounts)
{
    const auto before = m_source->Capture(Contract::OwnProcessId());
    const std::string used(64 * Megabyte, 'x');
    const auto after = m_source->Capture(Contract::OwnProcessId());
    ASSERT_TRUE(before && after);
    EXPECT_GT(after->workingSet, before->workingSet + 32 * Megabyte);
    EXPECT_EQ(used.back(), 'x');
}

TEST_F(ProcessSourceContract, TimesGrowWithTheWorkAsTheSystemCountsIt)
{
    const auto capture = m_source->Capture(Contract::OwnProcessId());
    ASSERT_TRUE(capture);
    Contract::UseProcessor(Contract::OwnProcessId(), 100ms);
    const auto after = capture->process->ReadCpuTime();
    const auto self = Shared::System::OpenProcess(Contract::OwnProcessId());
    EXPECT_GE(after - capture->cpuTime, CpuTime{100ms});
    EXPECT_LE(after, Shared::System::GetProcessTime(self.GetRawHandle()).Total());
}

TEST_F(ProcessSourceContract, AProcessThatDoesNotExistIsNone)
{
    EXPECT_FALSE(m_source->Capture(NoProcessId));
}

TEST_F(ProcessSourceContract, AProcessThatHasEndedIsReadableUntilItsParentTookNotice)
{
    Contract::ChildProcess child;
    const auto capture = CaptureOnceItIsUp(child);
    ASSERT_TRUE(capture);
    child.End();
    EXPECT_GE(capture->process->ReadCpuTime(), capture->cpuTime);
}

TEST_F(ProcessSourceContract, AProcessThatIsGoneIsReadOrToldAsSuch)
{
    Contract::ChildProcess child;
    const auto capture = CaptureOnceItIsUp(child);
    ASSERT_TRUE(capture);
    child.End();
    child.Collect();
    try
    {
        EXPECT_GE(capture->process->ReadCpuTime(), capture->cpuTime);
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_EQ(TestSupport::BareText(exception.what()), "GetProcessTimes() failed");
        EXPECT_NE(exception.GetCode(), 0U);
    }
}

} // namespace
