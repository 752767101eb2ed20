#include "shared.raii-processinfo.hpp"

#include <exception>
#include <utility>

#include <gtest/gtest.h>

#include "contract.childprocess.hpp"
#include "shared.system-processes.hpp"

namespace
{

using Shared::Raii::ProcessInfo;

ProcessInfo InfoOf(Contract::ChildProcess& child)
{
    return ProcessInfo{Shared::System::OpenProcess(child.Id()).Release(), child.ReleaseThreadHandle(), child.Id(), 77};
}

/// Whether the handle still opens a process.
bool IsOpen(Shared::Raii::RawHandle process)
{
    try
    {
        Shared::System::GetProcessTime(process);
        return true;
    }
    catch (const std::exception&)
    {
        return false;
    }
}

TEST(ProcessInfoContract, WithoutAProcessThereIsNothing)
{
    const ProcessInfo info;
    EXPECT_FALSE(info.IsValid());
    EXPECT_EQ(info.GetProcessHandle(), nullptr);
    EXPECT_EQ(info.GetThreadHandle(), nullptr);
    EXPECT_EQ(info.GetProcessId(), 0U);
    EXPECT_EQ(info.GetThreadId(), 0U);
}

TEST(ProcessInfoContract, TellsHandlesAndIds)
{
    Contract::ChildProcess child;
    const auto info = InfoOf(child);
    EXPECT_TRUE(info.IsValid());
    EXPECT_TRUE(IsOpen(info.GetProcessHandle()));
    EXPECT_EQ(info.GetProcessId(), child.Id());
    EXPECT_EQ(info.GetThreadId(), 77U);
}

TEST(ProcessInfoContract, DestructionClosesTheProcessHandle)
{
    Contract::ChildProcess child;
    Shared::Raii::RawHandle raw = nullptr;
    {
        const auto info = InfoOf(child);
        raw = info.GetProcessHandle();
        ASSERT_TRUE(IsOpen(raw));
    }
    EXPECT_FALSE(IsOpen(raw));
}

TEST(ProcessInfoContract, ClosingLeavesTheProcessAlive)
{
    Contract::ChildProcess child;
    auto info = InfoOf(child);
    info.Close();
    info.Close();
    EXPECT_FALSE(info.IsValid());
    EXPECT_EQ(info.GetProcessId(), 0U);
    EXPECT_TRUE(Shared::System::OpenProcess(child.Id()).IsValid());
}

TEST(ProcessInfoContract, ClosingTheThreadKeepsTheProcess)
{
    Contract::ChildProcess child;
    auto info = InfoOf(child);
    info.CloseThread();
    EXPECT_EQ(info.GetThreadHandle(), nullptr);
    EXPECT_TRUE(IsOpen(info.GetProcessHandle()));
    EXPECT_EQ(info.GetProcessId(), child.Id());
}

TEST(ProcessInfoContract, MovingLeavesNothingBehind)
{
    Contract::ChildProcess child;
    auto first = InfoOf(child);
    const auto raw = first.GetProcessHandle();
    ProcessInfo second{std::move(first)};
    EXPECT_EQ(second.GetProcessHandle(), raw);
    EXPECT_EQ(second.GetProcessId(), child.Id());
    EXPECT_FALSE(first.IsValid()); // NOLINT(bugprone-use-after-move): what a moved one holds is the point
    EXPECT_EQ(first.GetProcessId(), 0U);
}

TEST(ProcessInfoContract, MoveAssignmentClosesWhatWasHeld)
{
    Contract::ChildProcess firstChild;
    Contract::ChildProcess secondChild;
    auto first = InfoOf(firstChild);
    auto second = InfoOf(secondChild);
    const auto held = second.GetProcessHandle();
    second = std::move(first);
    EXPECT_EQ(second.GetProcessId(), firstChild.Id());
    EXPECT_TRUE(IsOpen(second.GetProcessHandle()));
    EXPECT_FALSE(IsOpen(held));
}

} // namespace
