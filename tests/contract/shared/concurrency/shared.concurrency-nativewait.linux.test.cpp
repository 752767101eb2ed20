#include "shared.concurrency-nativewait.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.time-clock.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>

using Shared::Concurrency::Event;
using Shared::Concurrency::WaitableTimer;
using Shared::Concurrency::WaitFor;
using Shared::Raii::RawHandle;
using Shared::Time::Infinite;
using TestSupport::LimitMs;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

/// How often the calling thread gave the processor up by waiting, and how long it had it.
struct Usage
{
    long waits;
    double processorMs;
};

Usage UsageOfThread()
{
    rusage usage = {};
    ::getrusage(RUSAGE_THREAD, &usage);
    const auto toMs = [](const timeval& time)
    {
        return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
    };
    return {usage.ru_nvcsw, toMs(usage.ru_utime) + toMs(usage.ru_stime)};
}

void Nothing(int)
{
}

} // namespace

TEST(WaitingThreadTest, WaitingTakesNoProcessorTime)
{
    Event first(false, true);
    Event second(false, true);
    first.Signal(); // a wait for all whose one half is there must sleep too
    const std::vector<RawHandle> handles{first.GetHandle(), second.GetHandle()};
    const Usage before = UsageOfThread();
    EXPECT_FALSE(WaitFor(second.GetHandle(), 150));
    EXPECT_EQ(WaitFor(handles, true, 150), 258U);
    const Usage after = UsageOfThread();
    EXPECT_LE(after.waits - before.waits, 20);
    EXPECT_LT(after.processorMs - before.processorMs, 100.0);
}

TEST(WaitingThreadTest, ASignalHandlerEndsNoWait)
{
    struct sigaction action = {};
    action.sa_handler = &Nothing;
    struct sigaction earlier = {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &earlier), 0);
    const Event event(false, true);
    const Event other(false, true);
    for (const bool waitAll : {false, true})
    {
        std::atomic<bool> done = false;
        const pthread_t waiter = ::pthread_self();
        std::thread disturber(
            [&]
            {
                while (!done)
                {
                    ::pthread_kill(waiter, SIGUSR1);
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            });
        const Stopwatch watch;
        EXPECT_EQ(WaitFor({event.GetHandle(), other.GetHandle()}, waitAll, 60), 258U);
        EXPECT_GE(watch.ElapsedMs(), 60.0);
        done = true;
        disturber.join();
    }
    ::sigaction(SIGUSR1, &earlier, nullptr);
}

TEST(WaitForAllOnceTest, AHandleThatIsGivenTwiceIsRefused)
{
    Event event(false, false);
    Event other(false, false);
    event.Signal();
    other.Signal();
    const std::vector<RawHandle> handles{event.GetHandle(), other.GetHandle(), event.GetHandle()};
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(handles, true, Infinite); }), "WaitForSingleObjectEx() failed");
    EXPECT_TRUE(other.WaitOnEvent(0));
    EXPECT_TRUE(event.WaitOnEvent(0));
}

TEST(WaitForAllOnceTest, WhatWasTakenBeforeAnObjectThatIsGoneIsGivenBackWhateverItIs)
{
    // Two handles of one event: the second is gone once the first was taken. Nothing else can be timed so surely.
    TestSupport::EventNames names;
    Event event(false, false);
    Event named(false, false, names.Unique(L"given back"));
    const Event copy = event;
    for (const std::uint32_t periodMs : {0U, 600'000U})
    {
        WaitableTimer timer(false, false);
        timer.SetTimerInMillis(0, periodMs);
        event.Signal();
        named.Signal();
        const std::vector<RawHandle> handles{timer.GetHandle(), named.GetHandle(), event.GetHandle(), copy.GetHandle()};
        EXPECT_EQ(Win32Text([&] { (void)WaitFor(handles, true, Infinite); }), "WaitForSingleObjectEx() failed");
        EXPECT_TRUE(named.WaitOnEvent(0));
        EXPECT_TRUE(event.WaitOnEvent(0));
        EXPECT_TRUE(timer.WaitOnTimer(LimitMs));
        EXPECT_FALSE(timer.WaitOnTimer(0));
    }
}
