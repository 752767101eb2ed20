#include "shared.system-processes.hpp"

#include <chrono>
#include <cstdint>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contract.childprocess.hpp"
#include "shared.exception-exceptions.hpp"

namespace
{

using namespace std::chrono_literals;
using namespace Shared::System;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// No process of either platform has it.
constexpr std::uint32_t NoProcessId = 0x7FFFFFF1;

/// Works until the process has used the given time more.
void UseProcessor(CpuTime amount)
{
    const auto self = OpenProcess(Contract::OwnProcessId());
    const auto start = GetProcessTime(self.GetRawHandle()).Total();
    const auto limit = std::chrono::steady_clock::now() + 20s * VEL_TIME_SCALE;
    volatile std::uint64_t value = 1;
    while (GetProcessTime(self.GetRawHandle()).Total() - start < amount)
    {
        ASSERT_LT(std::chrono::steady_clock::now(), limit);
        for (int i = 0; i < 1'000'000; ++i)
        {
            value = value * 31 + 7;
        }
    }
}

TEST(EnumerateProcessIdsContract, ListsThisProcess)
{
    EXPECT_THAT(EnumerateProcessIds(), Contains(Contract::OwnProcessId()).Times(1));
}

TEST(EnumerateProcessIdsContract, ListsAChildUntilItIsGone)
{
    Contract::ChildProcess child;
    EXPECT_THAT(EnumerateProcessIds(), Contains(child.Id()));
    child.End();
    child.Collect();
    EXPECT_THAT(EnumerateProcessIds(), Not(Contains(child.Id())));
}

TEST(OpenProcessContract, OpensThisProcess)
{
    const auto self = OpenProcess(Contract::OwnProcessId());
    EXPECT_TRUE(self.IsValid());
    EXPECT_FALSE(self.IsInheritable());
}

TEST(OpenProcessContract, AProcessThatDoesNotExistThrows)
{
    try
    {
        OpenProcess(NoProcessId);
        FAIL() << "no exception";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("OpenProcess() failed"));
        EXPECT_NE(exception.GetCode(), 0U);
    }
}

TEST(GetProcessTimeContract, ANullHandleThrows)
{
    try
    {
        GetProcessTime(nullptr);
        FAIL() << "no exception";
    }
    catch (const std::invalid_argument& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("processHandle cannot be null"));
    }
}

TEST(GetProcessTimeContract, GrowsWithTheWork)
{
    const auto self = OpenProcess(Contract::OwnProcessId());
    const auto before = GetProcessTime(self.GetRawHandle());
    UseProcessor(100ms);
    const auto after = GetProcessTime(self.GetRawHandle());
    EXPECT_GE(after.Total() - before.Total(), CpuTime{100ms});
    EXPECT_GT(after.user, before.user);
    EXPECT_GE(after.kernel, before.kernel);
}

TEST(GetProcessTimeContract, TellsWhenTheProcessWasStarted)
{
    const auto before = std::chrono::system_clock::now();
    const Contract::ChildProcess child;
    const auto after = std::chrono::system_clock::now();
    const auto handle = OpenProcess(child.Id());
    const auto created = GetProcessTime(handle.GetRawHandle()).created;
    EXPECT_GT(created, before - 2s);
    EXPECT_LT(created, after + 2s);
}

TEST(GetProcessTimeContract, AProcessThatHasEndedIsReadableUntilItsParentTookNotice)
{
    Contract::ChildProcess child;
    const auto handle = OpenProcess(child.Id());
    child.End();
    EXPECT_GE(GetProcessTime(handle.GetRawHandle()).Total(), CpuTime{0});
}

TEST(GetProcessTimeContract, AProcessThatIsGoneIsReadOrToldNeverMistakenForAnother)
{
    Contract::ChildProcess child;
    const auto handle = OpenProcess(child.Id());
    const auto created = GetProcessTime(handle.GetRawHandle()).created;
    child.End();
    child.Collect();
    try
    {
        EXPECT_EQ(GetProcessTime(handle.GetRawHandle()).created, created);
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("GetProcessTimes() failed"));
    }
}

TEST(GetProcessTimeContract, AHandleOfSomethingElseThrows)
{
    // A file, a socket, an event: here a process handle that was closed before it is asked.
    auto handle = OpenProcess(Contract::OwnProcessId());
    const auto raw = handle.GetRawHandle();
    handle.Close();
    EXPECT_THROW(GetProcessTime(raw), Shared::Exception::Win32Exception);
}

} // namespace
