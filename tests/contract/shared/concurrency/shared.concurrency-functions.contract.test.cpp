#include "shared.concurrency-functions.hpp"

#include "contract.concurrencychild.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "shared.concurrency-waitabletimer.hpp"
#include "shared.raii-nativehandle.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Contract::ConcurrencyChild;
using Shared::Concurrency::Event;
using Shared::Concurrency::MaximumWaitHandles;
using Shared::Concurrency::Thread;
using Shared::Concurrency::ThreadSafeQueue;
using Shared::Concurrency::WaitableTimer;
using Shared::Concurrency::WaitFor;
using Shared::Raii::RawHandle;
using Shared::Time::Infinite;
using TestSupport::InvalidArgumentText;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

constexpr std::uint32_t TimedOut = 258;

std::vector<Event> MakeEvents(std::size_t count, bool manualReset)
{
    std::vector<Event> events;
    for (std::size_t i = 0; i < count; ++i)
    {
        events.emplace_back(false, manualReset);
    }
    return events;
}

std::vector<RawHandle> HandlesOf(const std::vector<Event>& events)
{
    std::vector<RawHandle> handles;
    for (const Event& event : events)
    {
        handles.push_back(event.GetHandle());
    }
    return handles;
}

/// A system handle that is no longer one. What it was is closed on construction; nothing else is opened meanwhile.
RawHandle ClosedHandle()
{
    Event event(false, true);
    const RawHandle handle = event.Detach();
    EXPECT_TRUE(TestSupport::CloseUnderItsOwner(handle));
    return handle;
}

} // namespace

TEST(WaitForOneTest, ASignalledHandleIsTrueAtOnce)
{
    Event event(false, true);
    event.Signal();
    EXPECT_TRUE(WaitFor(event.GetHandle(), 0));
    EXPECT_TRUE(WaitFor(event.GetHandle(), 0, true));
    EXPECT_TRUE(WaitFor(event.GetHandle(), Infinite));
}

TEST(WaitForOneTest, TheTimeOutIsFalseAndLastsAtLeastItsTime)
{
    const Event event(false, true);
    for (const bool alertable : {false, true})
    {
        const Stopwatch watch;
        EXPECT_FALSE(WaitFor(event.GetHandle(), 40, alertable));
        EXPECT_GE(watch.ElapsedMs(), 40.0);
    }
}

TEST(WaitForOneTest, TimeOutZeroLooksWithoutWaiting)
{
    const Event event(false, true);
    const Stopwatch watch;
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_FALSE(WaitFor(event.GetHandle(), 0));
    }
    EXPECT_LT(watch.ElapsedMs(), LimitMs);
}

TEST(WaitForOneTest, AnAutomaticEventIsConsumed)
{
    Event event(false, false);
    event.Signal();
    EXPECT_TRUE(WaitFor(event.GetHandle(), 0));
    EXPECT_FALSE(WaitFor(event.GetHandle(), 0));
}

TEST(WaitForOneTest, ANullHandleIsRefused)
{
    EXPECT_EQ(InvalidArgumentText([] { (void)WaitFor(nullptr, 0); }), "Handle is nullptr");
}

TEST(WaitForOneTest, AClosedHandleIsTheSystemsFailure)
{
    const RawHandle closed = ClosedHandle();
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(closed, 0); }), "WaitForSingleObjectEx() failed");
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(closed, Infinite); }), "WaitForSingleObjectEx() failed");
}

TEST(WaitForSeveralTest, NoHandlesAreRefused)
{
    EXPECT_EQ(InvalidArgumentText([] { (void)WaitFor(std::vector<RawHandle>(), false, 0); }), "handles is empty");
    EXPECT_EQ(InvalidArgumentText([] { (void)WaitFor(std::vector<RawHandle>(), true, Infinite); }), "handles is empty");
}

TEST(WaitForSeveralTest, SixtyFiveHandlesAreRefusedBeforeAnyWait)
{
    std::vector<Event> events = MakeEvents(MaximumWaitHandles + 1, false);
    events.front().Signal();
    const std::vector<RawHandle> handles = HandlesOf(events);
    EXPECT_EQ(InvalidArgumentText([&] { (void)WaitFor(handles, false, Infinite); }), "Too many handles to wait on: 65");
    EXPECT_EQ(InvalidArgumentText([&] { (void)WaitFor(handles, true, Infinite); }), "Too many handles to wait on: 65");
    EXPECT_TRUE(events.front().WaitOnEvent(0)); // nothing was consumed
}

TEST(WaitForSeveralTest, SixtyFourHandlesAreWaitedOn)
{
    std::vector<Event> events = MakeEvents(MaximumWaitHandles, false);
    const std::vector<RawHandle> handles = HandlesOf(events);
    EXPECT_EQ(WaitFor(handles, false, 0), TimedOut);
    events.back().Signal();
    EXPECT_EQ(WaitFor(handles, false, LimitMs), 63U);
    for (Event& event : events)
    {
        event.Signal();
    }
    EXPECT_EQ(WaitFor(handles, true, LimitMs), 0U);
    EXPECT_EQ(WaitFor(handles, false, 0), TimedOut);
}

TEST(WaitForSeveralTest, ANullHandleAtTheLastPositionIsRefusedBeforeAnyWait)
{
    std::vector<Event> events = MakeEvents(3, false);
    events.front().Signal();
    std::vector<RawHandle> handles = HandlesOf(events);
    handles.push_back(nullptr);
    EXPECT_EQ(InvalidArgumentText([&] { (void)WaitFor(handles, false, Infinite); }), "Cannot wait on null handle");
    EXPECT_EQ(InvalidArgumentText([&] { (void)WaitFor(handles, true, Infinite); }), "Cannot wait on null handle");
    EXPECT_TRUE(events.front().WaitOnEvent(0)); // nothing was consumed
}

TEST(WaitForSeveralTest, AClosedHandleAmongThemIsTheSystemsFailure)
{
    const std::vector<Event> events = MakeEvents(2, true);
    std::vector<RawHandle> handles = HandlesOf(events);
    handles.push_back(ClosedHandle());
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(handles, false, 0); }), "WaitForSingleObjectEx() failed");
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(handles, false, Infinite); }), "WaitForSingleObjectEx() failed");
    EXPECT_EQ(Win32Text([&] { (void)WaitFor(handles, true, Infinite); }), "WaitForSingleObjectEx() failed");
}

TEST(WaitForSeveralTest, TheResultIsTheIndexOfTheSignalledHandle)
{
    std::vector<Event> events = MakeEvents(5, true);
    const std::vector<RawHandle> handles = HandlesOf(events);
    for (std::uint32_t i = 0; i < events.size(); ++i)
    {
        events[i].Signal();
        EXPECT_EQ(WaitFor(handles, false, LimitMs), i);
        events[i].Reset();
    }
    EXPECT_EQ(WaitFor(handles, false, 0), TimedOut);
}

TEST(WaitForSeveralTest, TheLowestIndexComesFirst)
{
    std::vector<Event> events = MakeEvents(5, true);
    events[4].Signal();
    events[3].Signal();
    events[1].Signal();
    const std::vector<RawHandle> handles = HandlesOf(events);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), 1U);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), 1U);
    events[1].Reset();
    EXPECT_EQ(WaitFor(handles, false, LimitMs), 3U);
}

TEST(WaitForSeveralTest, AnAutomaticEventIsConsumedOnlyForTheReturnedIndex)
{
    TestSupport::EventNames names;
    std::vector<Event> events = MakeEvents(2, false);
    events.emplace_back(false, false, names.Unique(L"automatic"));
    const std::vector<RawHandle> handles = HandlesOf(events);
    for (Event& event : events)
    {
        event.Signal();
    }
    EXPECT_EQ(WaitFor(handles, false, 0), 0U);
    EXPECT_EQ(WaitFor(handles, false, 0), 1U);
    EXPECT_EQ(WaitFor(handles, false, 0), 2U);
    EXPECT_EQ(WaitFor(handles, false, 0), TimedOut);
}

TEST(WaitForSeveralTest, TheTimeOutLastsAtLeastItsTime)
{
    const std::vector<Event> events = MakeEvents(3, true);
    for (const bool waitAll : {false, true})
    {
        for (const bool alertable : {false, true})
        {
            const Stopwatch watch;
            EXPECT_EQ(WaitFor(HandlesOf(events), waitAll, 40, alertable), TimedOut);
            EXPECT_GE(watch.ElapsedMs(), 40.0);
        }
    }
}

TEST(WaitForSeveralTest, AnInfiniteWaitEndsByTheSignal)
{
    std::vector<Event> events = MakeEvents(3, false);
    for (const bool waitAll : {false, true})
    {
        std::atomic<std::uint32_t> result = TimedOut;
        std::thread waiter([&] { result = WaitFor(HandlesOf(events), waitAll, Infinite); });
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        for (std::size_t i = waitAll ? 0 : 2; i < 3; ++i)
        {
            events[i].Signal();
        }
        waiter.join();
        EXPECT_EQ(result, waitAll ? 0U : 2U);
    }
}

TEST(WaitForAllTest, TheResultIsZeroWhateverTheIndex)
{
    std::vector<Event> events = MakeEvents(3, false);
    std::thread signaller(
        [&]
        {
            events[1].Signal();
            events[0].Signal();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            events[2].Signal();
        });
    EXPECT_EQ(WaitFor(HandlesOf(events), true, LimitMs), 0U);
    signaller.join();
    EXPECT_EQ(WaitFor(HandlesOf(events), false, 0), TimedOut); // all were consumed
}

TEST(WaitForAllTest, OneHandleIsEnough)
{
    std::vector<Event> events = MakeEvents(1, false);
    events.front().Signal();
    EXPECT_EQ(WaitFor(HandlesOf(events), true, 0), 0U);
    EXPECT_EQ(WaitFor(HandlesOf(events), true, 0), TimedOut);
}

TEST(WaitForAllTest, ATimeOutConsumesNothing)
{
    TestSupport::EventNames names;
    std::vector<Event> events = MakeEvents(2, false);
    events.emplace_back(false, false, names.Unique(L"automatic"));
    WaitableTimer timer(false, false);
    timer.SetTimerInMillis(0, 0);
    events[0].Signal();
    events[2].Signal();
    std::vector<RawHandle> handles = HandlesOf(events);
    handles.push_back(timer.GetHandle());
    EXPECT_EQ(WaitFor(handles, true, 20), TimedOut);
    EXPECT_EQ(WaitFor(handles, true, 0), TimedOut);
    EXPECT_TRUE(events[0].WaitOnEvent(0));
    EXPECT_FALSE(events[1].WaitOnEvent(0));
    EXPECT_TRUE(events[2].WaitOnEvent(0));
    EXPECT_TRUE(timer.WaitOnTimer(0));
}

TEST(WaitForAllTest, AManualEventThatIsResetMeanwhileIsMissingAgain)
{
    std::vector<Event> events = MakeEvents(2, true);
    events[0].Signal();
    std::thread other(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            events[0].Reset();
            events[1].Signal();
        });
    EXPECT_EQ(WaitFor(HandlesOf(events), true, 50), TimedOut);
    other.join();
    events[0].Signal();
    EXPECT_EQ(WaitFor(HandlesOf(events), true, LimitMs), 0U);
}

TEST(WaitForAllTest, CompetingWaitersEachTakeAllOrNothing)
{
    // Two tokens are needed for a turn; holders of one of them would wait for each other for ever.
    std::vector<Event> tokens = MakeEvents(2, false);
    const std::vector<RawHandle> handles = HandlesOf(tokens);
    const std::vector<RawHandle> reversed(handles.rbegin(), handles.rend());
    constexpr int Threads = 4;
    constexpr int Turns = 50;
    std::atomic<int> inside = 0;
    std::atomic<int> done = 0;
    std::atomic<bool> alone = true;
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i)
    {
        threads.emplace_back(
            [&, i]
            {
                for (int turn = 0; turn < Turns; ++turn)
                {
                    if (WaitFor(i % 2 == 0 ? handles : reversed, true, LimitMs) != 0)
                    {
                        return;
                    }
                    if (++inside != 1)
                    {
                        alone = false;
                    }
                    --inside;
                    ++done;
                    tokens[0].Signal();
                    tokens[1].Signal();
                }
            });
    }
    tokens[0].Signal();
    tokens[1].Signal();
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(alone);
    EXPECT_EQ(done, Threads * Turns);
    EXPECT_EQ(WaitFor(handles, true, 0), 0U);
}

TEST(WaitForSeveralTest, OneWaitCoversEveryKindOfObject)
{
    enum Index : std::uint32_t
    {
        OfEvent,
        OfNamed,
        OfTimer,
        OfThread,
        OfQueue,
        OfProcess
    };

    TestSupport::EventNames names;
    Event event(false, false);
    Event named(false, true, names.Unique(L"mixed"));
    WaitableTimer timer(false, false);
    Event leave(false, true);
    Thread thread;
    thread.Start([&] { return leave.WaitOnEvent(LimitMs) ? 0 : 1; });
    ThreadSafeQueue<int> queue;
    ConcurrencyChild child({L"--sleep"});
    const std::vector<RawHandle> handles{event.GetHandle(),  named.GetHandle(),      timer.GetHandle(),
                                         thread.GetHandle(), queue.GetEventHandle(), child.Handle()};
    EXPECT_EQ(WaitFor(handles, false, QuietMs), TimedOut);

    child.Kill();
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfProcess);
    queue.Push(1);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfQueue);
    leave.Signal();
    EXPECT_TRUE(thread.Join(LimitMs));
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfThread);
    timer.SetTimerInMillis(0, 0);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfTimer);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfThread); // the timer's expiry was taken
    named.Signal();
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfNamed);
    event.Signal();
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfEvent);
    EXPECT_EQ(WaitFor(handles, false, LimitMs), OfNamed);

    event.Signal();
    timer.SetTimerInMillis(-1, 0);
    EXPECT_EQ(WaitFor(handles, true, LimitMs), 0U);
    EXPECT_FALSE(event.WaitOnEvent(0));
    EXPECT_FALSE(timer.WaitOnTimer(0));
}

TEST(WaitForSeveralTest, ManyThreadsMayWaitOnTheSameHandlesAtOnce)
{
    constexpr std::size_t Threads = 8;
    constexpr int Rounds = 50;
    std::vector<Event> events = MakeEvents(4, false);
    const std::vector<RawHandle> handles = HandlesOf(events);
    std::array<std::atomic<int>, 4> taken{};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < Threads; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (std::uint32_t index = WaitFor(handles, false, LimitMs); index < 3;
                     index = WaitFor(handles, false, LimitMs))
                {
                    ++taken[index];
                }
                events[3].Signal(); // the end goes from thread to thread
            });
    }
    for (int round = 1; round <= Rounds; ++round)
    {
        for (std::size_t i = 0; i < 3; ++i)
        {
            events[i].Signal();
            const Stopwatch watch;
            while (taken[i] < round && watch.ElapsedMs() < LimitMs)
            {
                std::this_thread::yield();
            }
            ASSERT_EQ(taken[i], round); // exactly one waiter took it
        }
    }
    events[3].Signal();
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(taken[i], Rounds);
    }
}

class FastClockTest : public testing::Test
{
protected:
    ~FastClockTest() override
    {
        Shared::Time::ClockControl::Reset();
    }
};

TEST_F(FastClockTest, AFastClockShortensWaits)
{
    const std::vector<Event> events = MakeEvents(2, true);
    Shared::Time::ClockControl::SetSpeed(1000.0);
    constexpr std::uint32_t Minute = 60'000;
    const auto before = Shared::Time::MonotonicNow();
    const Stopwatch watch;
    EXPECT_FALSE(WaitFor(events[0].GetHandle(), Minute));
    EXPECT_EQ(WaitFor(HandlesOf(events), false, Minute), TimedOut);
    EXPECT_EQ(WaitFor(HandlesOf(events), true, Minute), TimedOut);
    EXPECT_FALSE(events[0].WaitOnEvent(Minute));
    EXPECT_GE(watch.ElapsedMs(), 240.0);
    EXPECT_LT(watch.ElapsedMs(), 60'000.0);
    EXPECT_GE(Shared::Time::MonotonicNow() - before, std::chrono::seconds(239));
}

TEST_F(FastClockTest, ASlowClockLengthensThem)
{
    const Event event(false, true);
    Shared::Time::ClockControl::SetSpeed(0.25);
    const Stopwatch watch;
    EXPECT_FALSE(WaitFor(event.GetHandle(), 10));
    EXPECT_GE(watch.ElapsedMs(), 40.0);
}

TEST_F(FastClockTest, AJumpOfTheDaysClockLeavesWaitsAlone)
{
    const Event event(false, true);
    Shared::Time::ClockControl::JumpUtc(std::chrono::hours(24));
    const Stopwatch watch;
    EXPECT_FALSE(WaitFor(event.GetHandle(), 40));
    EXPECT_GE(watch.ElapsedMs(), 40.0);
}
