#include "shared.concurrency-thread.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.raii-nativehandle.hpp"
#include "shared.time-clock.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Shared::Concurrency::Event;
using Shared::Concurrency::Thread;
using Shared::Log::Level;
using State = Shared::Concurrency::Thread::State;
using Shared::Time::Infinite;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

/// Counts while it runs, so that a look from outside can tell whether it does.
class Counter : public Thread
{
public:
    using Thread::Thread;

    ~Counter() override
    {
        RequestStop();
        (void)JoinNoThrow(LimitMs);
    }

    bool Advances() const
    {
        const std::uint64_t before = m_count;
        const Stopwatch watch;
        while (m_count == before && watch.ElapsedMs() < LimitMs)
        {
            std::this_thread::yield();
        }
        return m_count != before;
    }

    bool StandsStill() const
    {
        const std::uint64_t before = m_count;
        std::this_thread::sleep_for(std::chrono::milliseconds(QuietMs));
        return m_count == before;
    }

protected:
    int Run() override
    {
        while (!ShouldStop(0))
        {
            ++m_count;
        }
        return 42;
    }

private:
    std::atomic<std::uint64_t> m_count = 0;
};

int GiveSeven()
{
    return 7;
}

} // namespace

TEST(ThreadTest, StartsCreatedWithoutIdHandleOrExitCode)
{
    const Thread thread;
    EXPECT_EQ(thread.GetState(), State::Created);
    EXPECT_TRUE(thread.IsInState(State::Created));
    EXPECT_FALSE(thread.IsInState(State::Running));
    EXPECT_EQ(static_cast<std::uint32_t>(thread.GetState()), 2U);
    EXPECT_EQ(thread.GetExitCode(), 259U);
    EXPECT_EQ(thread.GetThreadId(), 0U);
    EXPECT_EQ(thread.GetHandle(), nullptr);
    EXPECT_FALSE(thread.GetHandleObject().IsValid());
    EXPECT_TRUE(thread.GetStopEvent().IsManualReset());
    EXPECT_FALSE(thread.ShouldStop(0));
}

TEST(ThreadTest, AFunctionObjectIsRunAndItsResultIsTheExitCode)
{
    Thread thread;
    std::atomic<bool> ran = false;
    thread.Start(std::function<int()>([&] { return ran.exchange(true) ? 0 : 17; }));
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_TRUE(ran);
    EXPECT_EQ(thread.GetExitCode(), 17U);
    EXPECT_EQ(thread.GetState(), State::Finished);
}

TEST(ThreadTest, AFunctionPointerIsRun)
{
    Thread thread;
    thread.Start(&GiveSeven);
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 7U);
}

TEST(ThreadTest, StartWithoutArgumentRunsTheLastCallable)
{
    Thread thread;
    std::atomic<int> runs = 0;
    thread.Start(std::function<int()>([&] { return ++runs; }));
    EXPECT_TRUE(thread.Join(LimitMs));
    thread.Start();
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(thread.GetExitCode(), 2U);
}

TEST(ThreadTest, ANegativeResultIsItsBits)
{
    Thread thread;
    thread.Start(+[] { return -1; });
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 0xFFFFFFFFU);
}

TEST(ThreadTest, ASubclassIsRunByItsRun)
{
    Counter counter;
    counter.Start();
    EXPECT_TRUE(counter.Advances());
    EXPECT_EQ(counter.GetState(), State::Running);
    EXPECT_EQ(counter.GetExitCode(), 259U);
    EXPECT_NE(counter.GetThreadId(), 0U);
    EXPECT_NE(counter.GetHandle(), nullptr);
    EXPECT_EQ(counter.GetHandleObject().GetRawHandle(), counter.GetHandle());
    counter.RequestStop();
    EXPECT_TRUE(counter.Join(LimitMs));
    EXPECT_EQ(counter.GetState(), State::Finished);
    EXPECT_EQ(counter.GetExitCode(), 42U);
}

TEST(ThreadTest, AnEmptyCallableIsLoggedAndGivesExitCodeOne)
{
    const TestSupport::CapturedLog log;
    for (Thread thread; auto start :
                        {+[](Thread& one) { one.Start(); }, +[](Thread& one) { one.Start(std::function<int()>()); },
                         +[](Thread& one)
                         {
                             one.Start(static_cast<int (*)()>(nullptr));
                         }})
    {
        start(thread);
        EXPECT_TRUE(thread.Join(LimitMs));
        EXPECT_EQ(thread.GetExitCode(), 1U);
        EXPECT_EQ(thread.GetState(), State::Finished);
    }
    EXPECT_EQ(log.Count(Level::Error, "A thread encountered an unhandled exception"), 3U);
    EXPECT_EQ(log.Count(Level::Error, std::bad_function_call().what()), 3U);
}

TEST(ThreadTest, AnExceptionIsLoggedWithItsTextAndGivesExitCodeOne)
{
    const TestSupport::CapturedLog log;
    Thread thread;
    thread.Start(+[]() -> int { throw std::runtime_error("the reason why"); });
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 1U);
    EXPECT_EQ(thread.GetState(), State::Finished);
    EXPECT_EQ(log.Count(Level::Error, "A thread encountered an unhandled exception"), 1U);
    EXPECT_EQ(log.Count(Level::Error, "the reason why"), 1U);
}

TEST(ThreadTest, ANullArgumentIsRefusedByTheBody)
{
    EXPECT_EQ(RuntimeText([] { Thread::Main(nullptr); }), "Unexpected nullptr when starting thread");
}

TEST(ThreadTest, JoiningANeverStartedThreadIsTrueAtOnce)
{
    Thread thread;
    EXPECT_TRUE(thread.Join(Infinite));
    EXPECT_TRUE(thread.Join(0));
    EXPECT_TRUE(thread.JoinNoThrow(Infinite));
    EXPECT_EQ(thread.GetState(), State::Created);
}

TEST(ThreadTest, JoiningARunningThreadTimesOutAndLastsAtLeastItsTime)
{
    Counter counter;
    counter.Start();
    EXPECT_FALSE(counter.Join(0));
    const Stopwatch watch;
    EXPECT_FALSE(counter.Join(40));
    EXPECT_GE(watch.ElapsedMs(), 40.0);
    EXPECT_FALSE(counter.JoinNoThrow(0));
}

TEST(ThreadTest, JoiningMayBeRepeatedAndDoneByManyThreads)
{
    Counter counter;
    counter.Start();
    std::atomic<int> joined = 0;
    std::vector<std::thread> others;
    for (int i = 0; i < 4; ++i)
    {
        others.emplace_back([&] { joined += counter.Join(Infinite) ? 1 : 0; });
    }
    counter.RequestStop();
    for (std::thread& other : others)
    {
        other.join();
    }
    EXPECT_EQ(joined, 4);
    EXPECT_TRUE(counter.Join(0));
    EXPECT_TRUE(counter.Join(0));
}

TEST(ThreadTest, AfterAJoinStateAndResultOfTheBodyAreThere)
{
    for (int i = 0; i < 50; ++i)
    {
        Thread thread;
        int written = 0;
        thread.Start([&, i] { return written = i; });
        ASSERT_TRUE(thread.Join(LimitMs));
        ASSERT_EQ(written, i);
        ASSERT_EQ(thread.GetState(), State::Finished);
        ASSERT_EQ(thread.GetExitCode(), static_cast<std::uint32_t>(i));
    }
}

TEST(ThreadTest, AJoinThatTheSystemRefusesThrowsOrIsLogged)
{
    const TestSupport::CapturedLog log;
    Thread thread;
    thread.Start(&GiveSeven);
    ASSERT_TRUE(thread.Join(LimitMs));
    ASSERT_TRUE(TestSupport::CloseUnderItsOwner(thread.GetHandle()));
    EXPECT_EQ(Win32Text([&] { (void)thread.Join(0); }), "WaitForSingleObject() failed");
    EXPECT_FALSE(thread.JoinNoThrow(0));
    EXPECT_EQ(log.Count(Level::Warning, "Failed to join thread"), 1U);
    EXPECT_EQ(log.Count(Level::Warning, "WaitForSingleObject() failed"), 1U);
    // There is nothing left to close.
    const_cast<Shared::Raii::Win32Handle&>(thread.GetHandleObject()).Release();
}

TEST(ThreadTest, TheStopEventIsSeenByShouldStopAndByWaits)
{
    Thread thread;
    thread.Start([&] { return Shared::Concurrency::WaitFor(thread.GetStopEvent().GetHandle(), LimitMs) ? 1 : 0; });
    EXPECT_FALSE(thread.ShouldStop(0));
    thread.RequestStop();
    thread.RequestStop();
    EXPECT_TRUE(thread.ShouldStop(0));
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 1U);
    EXPECT_TRUE(thread.ShouldStop(0));
}

TEST(ThreadTest, ShouldStopWaitsAtLeastItsTime)
{
    const Thread thread;
    const Stopwatch watch;
    EXPECT_FALSE(thread.ShouldStop(40));
    EXPECT_GE(watch.ElapsedMs(), 40.0);
}

TEST(ThreadTest, AStopThatIsAskedForRightAfterStartIsNotLost)
{
    for (int i = 0; i < 200; ++i)
    {
        Thread thread;
        thread.Start([&] { return thread.ShouldStop(LimitMs) ? 1 : 0; });
        thread.RequestStop();
        ASSERT_TRUE(thread.Join(LimitMs));
        ASSERT_EQ(thread.GetExitCode(), 1U) << i;
    }
}

TEST(ThreadTest, StartingClearsTheStopEvent)
{
    Thread thread;
    thread.RequestStop();
    thread.Start([&] { return thread.ShouldStop(0) ? 1 : 0; });
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 0U);
}

TEST(ThreadTest, TheFirstSuspensionReportsAFailureAndYetTheThreadStandsStillUntilItIsResumed)
{
    Counter counter;
    counter.Start();
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(counter.Advances());
        EXPECT_EQ(Win32Text([&] { counter.Suspend(); }), "SuspendThread() failed");
        EXPECT_EQ(counter.GetState(), State::Suspended);
        EXPECT_TRUE(counter.StandsStill());
        EXPECT_FALSE(counter.Join(0));
        EXPECT_EQ(RuntimeText([&] { counter.Suspend(); }), "Thread was not running when request to suspend occurred.");
        EXPECT_NO_THROW(counter.Resume());
        EXPECT_EQ(counter.GetState(), State::Running);
        EXPECT_TRUE(counter.Advances());
    }
    counter.RequestStop();
    EXPECT_TRUE(counter.Join(LimitMs));
    EXPECT_EQ(counter.GetExitCode(), 42U);
}

TEST(ThreadTest, AThreadThatIsWaitingIsSuspendedTooAndItsWaitGoesOn)
{
    Event event(false, false);
    Event started(false, true);
    Thread thread;
    thread.Start(
        [&]
        {
            started.Signal();
            return event.WaitOnEvent(LimitMs) ? 3 : 4;
        });
    ASSERT_TRUE(started.WaitOnEvent(LimitMs));
    EXPECT_EQ(Win32Text([&] { thread.Suspend(); }), "SuspendThread() failed");
    event.Signal();
    EXPECT_FALSE(thread.Join(QuietMs));
    thread.Resume();
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 3U);
}

TEST(ThreadTest, SuspendingAndResumingNeedAThreadInTheRightState)
{
    Thread thread;
    EXPECT_EQ(RuntimeText([&] { thread.Suspend(); }), "No thread handle to suspend");
    EXPECT_EQ(RuntimeText([&] { thread.Resume(); }), "No thread handle to resume");
    EXPECT_EQ(RuntimeText([&] { thread.Terminate(); }), "No thread handle to suspend");
    thread.Start(&GiveSeven);
    ASSERT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(RuntimeText([&] { thread.Suspend(); }), "Thread was not running when request to suspend occurred.");
    EXPECT_EQ(RuntimeText([&] { thread.Resume(); }), "Thread was not suspended when request to resume occurred.");
    EXPECT_EQ(thread.GetState(), State::Finished);
}

TEST(ThreadTest, ARunningThreadCannotBeResumed)
{
    Counter counter;
    counter.Start();
    ASSERT_TRUE(counter.Advances());
    EXPECT_EQ(RuntimeText([&] { counter.Resume(); }), "Thread was not suspended when request to resume occurred.");
    EXPECT_EQ(counter.GetState(), State::Running);
}

/// A thread that waits for ever, in the system and nowhere else. One that is ended between two instructions of a library
/// leaves that library's locks held, and the test's own next step could be the one that waits for them.
class Stubborn : public Thread
{
public:
    Stubborn()
    {
        Start();
        EXPECT_TRUE(m_started.WaitOnEvent(LimitMs));
        std::this_thread::sleep_for(std::chrono::milliseconds(QuietMs));
    }

protected:
    int Run() override
    {
        m_started.Signal();
        return m_never.WaitOnEvent() ? 0 : 1;
    }

private:
    Event m_started{false, true};
    Event m_never{false, true};
};

/// One that is never destroyed: what an ended thread held is held for good, and so it stays where a search for leaks
/// finds it.
Stubborn& KeptStubborn()
{
    static std::vector<Stubborn*>& kept = *new std::vector<Stubborn*>;
    return *kept.emplace_back(new Stubborn);
}

TEST(ThreadTest, TerminateEndsAThreadThatDoesNotStop)
{
    Stubborn& thread = KeptStubborn();
    EXPECT_FALSE(thread.Join(0));
    thread.Terminate();
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 5U);
    EXPECT_EQ(thread.GetState(), State::Finished);
}

TEST(ThreadTest, TerminateEndsASuspendedThread)
{
    Stubborn& thread = KeptStubborn();
    EXPECT_EQ(Win32Text([&] { thread.Suspend(); }), "SuspendThread() failed");
    thread.Terminate();
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(thread.GetExitCode(), 5U);
}

TEST(ThreadTest, TerminatingAnEndedThreadFails)
{
    Thread thread;
    thread.Start(&GiveSeven);
    ASSERT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(Win32Text([&] { thread.Terminate(); }), "TerminateThread() failed");
    EXPECT_EQ(thread.GetExitCode(), 7U);
}

TEST(ThreadTest, ClosingDoesNotEndOrAwaitTheThread)
{
    const auto leave = std::make_shared<Event>(false, true);
    const auto left = std::make_shared<Event>(false, true);
    Thread thread;
    thread.Start(
        [leave, left]
        {
            (void)leave->WaitOnEvent(LimitMs);
            left->Signal();
            return 9;
        });
    EXPECT_TRUE(thread.GetStopEvent().HasHandle());
    thread.Close();
    EXPECT_EQ(thread.GetHandle(), nullptr);
    EXPECT_EQ(thread.GetThreadId(), 0U);
    EXPECT_FALSE(thread.GetStopEvent().HasHandle());
    EXPECT_TRUE(thread.Join(Infinite)); // nothing to join
    EXPECT_FALSE(left->WaitOnEvent(0));
    leave->Signal();
    EXPECT_TRUE(left->WaitOnEvent(LimitMs));
    const Stopwatch watch;
    while (thread.GetState() != State::Finished && watch.ElapsedMs() < LimitMs)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(thread.GetExitCode(), 9U);
    thread.Close();
}

TEST(ThreadTest, ACopySharesTheRunningThread)
{
    Event leave(false, true);
    Thread thread;
    thread.Start([&] { return leave.WaitOnEvent(LimitMs) ? 11 : 12; });
    Thread copy = thread;
    EXPECT_EQ(copy.GetHandleObject(), thread.GetHandleObject());
    EXPECT_EQ(copy.GetThreadId(), thread.GetThreadId());
    Thread assigned;
    assigned = copy;
    EXPECT_FALSE(assigned.Join(0));
    copy.RequestStop();
    EXPECT_TRUE(thread.ShouldStop(0));
    leave.Signal();
    for (Thread* one : {&thread, &copy, &assigned})
    {
        EXPECT_TRUE(one->Join(LimitMs));
        EXPECT_EQ(one->GetExitCode(), 11U);
        EXPECT_EQ(one->GetState(), State::Finished);
    }
}

TEST(ThreadTest, MovingTakesTheRunningThreadAlongAtAnyMoment)
{
    for (int i = 0; i < 50; ++i)
    {
        Event leave(false, true);
        Thread thread("moved");
        thread.Start([&leave] { return leave.WaitOnEvent(LimitMs) ? 11 : 12; });
        Thread moved = std::move(thread);
        EXPECT_EQ(thread.GetHandle(), nullptr); // NOLINT(bugprone-use-after-move): what is left is told
        EXPECT_EQ(thread.GetThreadId(), 0U);
        Thread assigned;
        assigned = std::move(moved);
        EXPECT_FALSE(assigned.Join(0));
        leave.Signal();
        ASSERT_TRUE(assigned.Join(LimitMs));
        ASSERT_EQ(assigned.GetExitCode(), 11U);
        EXPECT_EQ(assigned.GetState(), State::Finished);
        EXPECT_TRUE(thread.Join(0));
    }
}

TEST(ThreadTest, AssigningToItselfChangesNothing)
{
    Counter counter;
    counter.Start();
    Thread& same = counter;
    const auto handle = counter.GetHandle();
    static_cast<Thread&>(counter) = same;
    EXPECT_EQ(counter.GetHandle(), handle);
    static_cast<Thread&>(counter) = std::move(same);
    EXPECT_EQ(counter.GetHandle(), handle);
    EXPECT_TRUE(counter.Advances());
}

TEST(ThreadTest, ThreadsStartedAtOnceHaveIdsOfTheirOwn)
{
    Counter first;
    Counter second;
    first.Start();
    second.Start();
    EXPECT_NE(first.GetThreadId(), second.GetThreadId());
    EXPECT_FALSE(first.GetHandleObject() == second.GetHandleObject());
}

TEST(ThreadTest, TwoHundredThreadsAreStartedAndJoined)
{
    std::atomic<int> ran = 0;
    std::vector<std::unique_ptr<Thread>> threads;
    for (int i = 0; i < 200; ++i)
    {
        threads.push_back(std::make_unique<Thread>("one of many"));
        threads.back()->Start([&] { return ++ran; });
    }
    for (const auto& thread : threads)
    {
        EXPECT_TRUE(thread->Join(LimitMs));
    }
    EXPECT_EQ(ran, 200);
}
