#include "shared.concurrency-thread.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-nativethread.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-time.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>

using Shared::Concurrency::Thread;
using TestSupport::LimitMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;

namespace
{

std::size_t CountDescriptors()
{
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

} // namespace

TEST(ThreadDescriptorTest, TwoHundredThreadsLeaveNoDescriptorBehind)
{
    const auto startAndJoin = []
    {
        std::vector<Thread> threads(20);
        for (Thread& thread : threads)
        {
            thread.Start(+[] { return 0; });
        }
        for (Thread& thread : threads)
        {
            EXPECT_TRUE(thread.Join(LimitMs));
        }
    };
    startAndJoin();
    const std::size_t before = CountDescriptors();
    for (int i = 0; i < 10; ++i)
    {
        startAndJoin();
    }
    // A thread closes its last descriptor right after its end was seen.
    const Stopwatch watch;
    while (CountDescriptors() > before && watch.ElapsedMs() < LimitMs)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LE(CountDescriptors(), before);
}

TEST(ThreadNameTest, TheNameIsTheKernelsCutTo15Bytes)
{
    std::array<char, 64> name{};
    Thread thread("a name that is too long");
    thread.Start([&] { return ::pthread_getname_np(::pthread_self(), name.data(), name.size()); });
    ASSERT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 0U);
    EXPECT_EQ(std::string(name.data()), "a name that is ");
}

TEST(ThreadStartTest, AThreadThatTheSystemRefusesIsInStateFailed)
{
    if (TestSupport::IsAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer's own checks fail without descriptors";
    }
    Thread thread;
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none = {0, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string text = RuntimeText([&] { thread.Start(+[] { return 0; }); });
    const bool failed = thread.IsInState(Thread::State::FailedToStart);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(text, "Failed to start thread");
    EXPECT_TRUE(failed);
    EXPECT_EQ(thread.GetHandle(), nullptr);
    EXPECT_TRUE(thread.Join(0));
    // And it can be started once the system has room again.
    thread.Start(+[] { return 8; });
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 8U);
}

TEST(ThreadSignalTest, AThreadStandsStillAsSoonAsSuspendReturns)
{
    namespace Native = Shared::Concurrency::Native;

    struct Counting
    {
        std::atomic<std::uint64_t> count = 0;
        std::atomic<bool> leave = false;
    } counting;

    const auto body = [](void* argument) noexcept
    {
        auto& mine = *static_cast<Counting*>(argument);
        while (!mine.leave)
        {
            ++mine.count;
            std::this_thread::yield(); // where a sanitizer lets signals through
        }
    };
    const Native::StartedThread started = Native::StartThread(body, &counting, "counting");
    const Shared::Raii::Win32Handle handle(started.handle);
    ASSERT_TRUE(handle.IsValid());
    for (int i = 0; i < 300; ++i)
    {
        const std::uint64_t start = counting.count;
        while (counting.count == start)
        {
            std::this_thread::yield();
        }
        ASSERT_EQ(Native::SuspendThread(started.handle, started.control.get()), 0U);
        const std::uint64_t before = counting.count;
        for (const Stopwatch watch; watch.Elapsed() < std::chrono::microseconds(50);)
        {
        }
        const std::uint64_t after = counting.count;
        ASSERT_EQ(Native::ResumeThread(started.handle, started.control.get()), 1U);
        ASSERT_EQ(before, after) << i;
    }
    counting.leave = true;
    EXPECT_TRUE(Shared::Concurrency::WaitFor(started.handle, LimitMs));
}

TEST(ThreadSignalTest, SuspensionsCount)
{
    namespace Native = Shared::Concurrency::Native;
    std::atomic<bool> leave = false;
    const auto body = [](void* argument) noexcept
    {
        while (!*static_cast<std::atomic<bool>*>(argument))
        {
            std::this_thread::yield();
        }
    };
    const Native::StartedThread started = Native::StartThread(body, &leave, "");
    const Shared::Raii::Win32Handle handle(started.handle);
    EXPECT_EQ(Native::ResumeThread(started.handle, started.control.get()), 0U);
    EXPECT_EQ(Native::SuspendThread(started.handle, started.control.get()), 0U);
    EXPECT_EQ(Native::SuspendThread(started.handle, started.control.get()), 1U);
    EXPECT_EQ(Native::ResumeThread(started.handle, started.control.get()), 2U);
    leave = true;
    EXPECT_FALSE(Shared::Concurrency::WaitFor(started.handle, TestSupport::QuietMs));
    EXPECT_EQ(Native::ResumeThread(started.handle, started.control.get()), 1U);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(started.handle, LimitMs));
    EXPECT_EQ(Native::SuspendThread(started.handle, started.control.get()), Native::SuspendFailed);
    EXPECT_EQ(Native::ResumeThread(started.handle, started.control.get()), Native::SuspendFailed);
}

TEST(ThreadSignalTest, SuspendingAndResumingLeavesTheThreadsErrorNumberAlone)
{
    std::atomic<bool> leave = false;
    std::atomic<bool> changed = false;
    std::atomic<bool> started = false;
    Thread thread;
    thread.Start(
        [&]
        {
            errno = ERANGE;
            while (!leave)
            {
                started = true;
                changed = changed || errno != ERANGE;
            }
            return 0;
        });
    while (!started)
    {
        std::this_thread::yield();
    }
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_THROW(thread.Suspend(), Shared::Exception::Win32Exception);
        thread.Resume();
    }
    leave = true;
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_FALSE(changed);
}
