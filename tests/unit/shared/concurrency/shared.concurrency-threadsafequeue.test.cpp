#include "shared.concurrency-threadsafequeue.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.raii-nativehandle.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Shared::Concurrency::CriticalSection;
using Shared::Concurrency::ThreadSafeQueue;
using Shared::Concurrency::WaitFor;
using TestSupport::LimitMs;
using Ints = std::vector<int>;

namespace
{

template <typename T>
bool IsSignalled(const ThreadSafeQueue<T>& queue)
{
    return WaitFor(queue.GetEventHandle(), 0);
}

void Fill(ThreadSafeQueue<int>& queue, const Ints& items)
{
    for (const int item : items)
    {
        queue.Push(item);
    }
}

std::function<bool(const int&)> Is(int wanted)
{
    return [wanted](const int& item)
    {
        return item == wanted;
    };
}

bool IsEven(const int& item)
{
    return item % 2 == 0;
}

struct Failure : std::runtime_error
{
    Failure() : std::runtime_error("of the callback")
    {
    }
};

/// Whether another thread gets the lock of the queue.
template <typename T>
bool IsLockFree(const ThreadSafeQueue<T>& queue)
{
    std::atomic<bool> entered = false;
    std::thread(
        [&]
        {
            const CriticalSection hold(queue.GetLock());
            entered = true;
        })
        .join();
    return entered;
}

} // namespace

/// A queue of numbers whose event is compared with its content at the end of each test.
class ThreadSafeQueueTest : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(IsSignalled(m_queue), !m_queue.Empty());
    }

    /// Expects these items, and the event that goes with them.
    void Expect(const Ints& items) const
    {
        EXPECT_EQ(m_queue.ToVector(), items);
        EXPECT_EQ(m_queue.Size(), items.size());
        EXPECT_EQ(m_queue.Empty(), items.empty());
        EXPECT_EQ(IsSignalled(m_queue), !items.empty());
    }

    ThreadSafeQueue<int> m_queue;
};

TEST_F(ThreadSafeQueueTest, StartsEmptyAndUnsignalled)
{
    Expect({});
}

TEST_F(ThreadSafeQueueTest, PushAppendsAtTheEndAndSignals)
{
    const int constant = 1;
    m_queue.Push(constant);
    Expect({1});
    m_queue.Push(2);
    Expect({1, 2});
}

TEST_F(ThreadSafeQueueTest, PushFrontInsertsAtTheFrontAndSignals)
{
    m_queue.PushFront(2);
    Expect({2});
    m_queue.PushFront(1);
    m_queue.Push(3);
    Expect({1, 2, 3});
}

TEST(ThreadSafeQueueOfPointersTest, PushByMoveTakesTheItemOver)
{
    ThreadSafeQueue<std::shared_ptr<int>> queue;
    auto item = std::make_shared<int>(5);
    queue.Push(item);
    EXPECT_EQ(item.use_count(), 2);
    queue.Push(std::move(item));
    EXPECT_EQ(item, nullptr); // NOLINT(bugprone-use-after-move): what is left is told
    EXPECT_EQ(queue.At(0).get(), queue.At(1).get());
    queue.Clear();
    EXPECT_FALSE(IsSignalled(queue));
}

TEST_F(ThreadSafeQueueTest, TheEventStaysSignalledHoweverOftenItIsWaitedOn)
{
    m_queue.Push(1);
    EXPECT_TRUE(WaitFor(m_queue.GetEventHandle(), 0));
    EXPECT_TRUE(WaitFor(m_queue.GetEventHandle(), 0));
}

TEST_F(ThreadSafeQueueTest, AWaiterIsWokenByAPush)
{
    std::atomic<bool> woken = false;
    std::thread waiter([&] { woken = WaitFor(m_queue.GetEventHandle(), LimitMs) && !m_queue.Empty(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    m_queue.Push(1);
    waiter.join();
    EXPECT_TRUE(woken);
}

TEST_F(ThreadSafeQueueTest, BackIsTheAddressOfTheLastElement)
{
    EXPECT_EQ(m_queue.Back(), nullptr);
    Fill(m_queue, {1, 2});
    {
        const CriticalSection hold(m_queue.GetLock());
        ASSERT_NE(m_queue.Back(), nullptr);
        EXPECT_EQ(*m_queue.Back(), 2);
        *m_queue.Back() = 7;
    }
    Expect({1, 7});
}

TEST_F(ThreadSafeQueueTest, GetLockMakesSeveralOperationsOne)
{
    std::atomic<bool> pushed = false;
    std::thread other;
    {
        const CriticalSection hold(m_queue.GetLock());
        other = std::thread(
            [&]
            {
                m_queue.Push(3);
                pushed = true;
            });
        m_queue.Push(1);
        m_queue.Push(2);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(pushed);
        EXPECT_EQ(m_queue.Size(), 2U);
    }
    other.join();
    Expect({1, 2, 3});
}

TEST_F(ThreadSafeQueueTest, ClearDropsAllAndResets)
{
    Fill(m_queue, {1, 2, 3});
    m_queue.Clear();
    Expect({});
    m_queue.Clear();
    Expect({});
}

TEST_F(ThreadSafeQueueTest, ApplyCallsOnceWithTheItems)
{
    Fill(m_queue, {3, 1, 2});
    int calls = 0;
    m_queue.Apply(
        [&](Ints& items)
        {
            ++calls;
            std::sort(items.begin(), items.end());
        });
    EXPECT_EQ(calls, 1);
    Expect({1, 2, 3});
}

TEST_F(ThreadSafeQueueTest, ApplyBringsTheEventInLineWithWhatItDid)
{
    m_queue.Apply([](Ints& items) { items.push_back(1); });
    Expect({1});
    m_queue.Apply([](Ints& items) { items.clear(); });
    Expect({});
}

TEST_F(ThreadSafeQueueTest, ApplyOfNothingThrowsWithTheLockReleased)
{
    Fill(m_queue, {1});
    EXPECT_THROW(m_queue.Apply({}), std::bad_function_call);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1});
}

TEST_F(ThreadSafeQueueTest, ApplyThatThrowsKeepsWhatItDidAndTheEventRight)
{
    const auto addAndFail = [](Ints& items)
    {
        items.push_back(1);
        throw Failure();
    };
    EXPECT_THROW(m_queue.Apply(addAndFail), Failure);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1});
    const auto clearAndFail = [](Ints& items)
    {
        items.clear();
        throw Failure();
    };
    EXPECT_THROW(m_queue.Apply(clearAndFail), Failure);
    Expect({});
}

TEST_F(ThreadSafeQueueTest, AtGivesACopy)
{
    Fill(m_queue, {1, 2});
    EXPECT_EQ(m_queue.At(0), 1);
    EXPECT_EQ(m_queue.At(1), 2);
    Expect({1, 2});
}

TEST_F(ThreadSafeQueueTest, AtPastTheSizeThrowsWithTheLockReleased)
{
    EXPECT_THROW((void)m_queue.At(0), std::out_of_range);
    Fill(m_queue, {1});
    EXPECT_THROW((void)m_queue.At(1), std::out_of_range);
    EXPECT_THROW((void)m_queue.At(static_cast<std::size_t>(-1)), std::out_of_range);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1});
}

TEST_F(ThreadSafeQueueTest, ForEachWhileGoesFrontToBackUntilTheFirstFalse)
{
    Fill(m_queue, {1, 2, 3, 4});
    Ints seen;
    m_queue.ForEachWhile(
        [&](int& item)
        {
            seen.push_back(item);
            return item < 3;
        });
    EXPECT_EQ(seen, (Ints{1, 2, 3}));
    seen.clear();
    m_queue.ForEachWhile(
        [&](int& item)
        {
            seen.push_back(item);
            return true;
        });
    EXPECT_EQ(seen, (Ints{1, 2, 3, 4}));
    Expect({1, 2, 3, 4});
}

TEST_F(ThreadSafeQueueTest, ForEachWhileThatThrowsChangesNothing)
{
    Fill(m_queue, {1, 2});
    EXPECT_THROW(m_queue.ForEachWhile([](int&) -> bool { throw Failure(); }), Failure);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1, 2});
}

TEST_F(ThreadSafeQueueTest, ToVectorCopiesWithoutTheLock)
{
    Fill(m_queue, {1, 2});
    std::thread holder;
    std::atomic<bool> held = false;
    std::atomic<bool> release = false;
    holder = std::thread(
        [&]
        {
            const CriticalSection hold(m_queue.GetLock());
            held = true;
            while (!release)
            {
                std::this_thread::yield();
            }
        });
    while (!held)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(m_queue.ToVector(), (Ints{1, 2})); // it would hang
    release = true;
    holder.join();
}

TEST_F(ThreadSafeQueueTest, DrainWithGivesEachAddressAndDropsAll)
{
    Fill(m_queue, {1, 2, 3});
    Ints seen;
    m_queue.DrainWith([&](int* item) { seen.push_back(*item); });
    EXPECT_EQ(seen, (Ints{1, 2, 3}));
    Expect({});
}

TEST_F(ThreadSafeQueueTest, DrainGivesEachItemAndDropsAll)
{
    Fill(m_queue, {1, 2, 3});
    Ints seen;
    m_queue.Drain([&](int& item) { seen.push_back(item); });
    EXPECT_EQ(seen, (Ints{1, 2, 3}));
    Expect({});
}

TEST_F(ThreadSafeQueueTest, DrainingAnEmptyQueueCallsNothing)
{
    m_queue.Drain([](int&) { FAIL(); });
    m_queue.DrainWith([](int*) { FAIL(); });
    m_queue.Drain({});
    Expect({});
}

TEST_F(ThreadSafeQueueTest, NobodyGetsBetweenADrainsItemsAndItsEnd)
{
    Fill(m_queue, {1, 2, 3});
    std::thread pusher;
    m_queue.Drain(
        [&](int& item)
        {
            if (item == 1)
            {
                pusher = std::thread([&] { m_queue.Push(4); });
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    pusher.join();
    Expect({4});
}

TEST_F(ThreadSafeQueueTest, ADrainThatThrowsKeepsAll)
{
    Fill(m_queue, {1, 2, 3});
    EXPECT_THROW(
        m_queue.Drain(
            [](int& item)
            {
                if (item == 2)
                {
                    throw Failure();
                }
            }),
        Failure);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1, 2, 3});
    EXPECT_THROW(m_queue.DrainWith([](int*) { throw Failure(); }), Failure);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1, 2, 3});
    EXPECT_THROW(m_queue.Drain({}), std::bad_function_call);
    Expect({1, 2, 3});
}

TEST_F(ThreadSafeQueueTest, RetainIsFilter)
{
    Fill(m_queue, {1, 2, 3, 4});
    EXPECT_EQ(m_queue.Retain(&IsEven), (std::pair<std::size_t, std::size_t>(4, 2)));
    Expect({2, 4});
}

TEST_F(ThreadSafeQueueTest, RemoveFirstRemovesTheFirstMatchAlone)
{
    Fill(m_queue, {1, 2, 3, 2});
    EXPECT_TRUE(m_queue.RemoveFirst(Is(2)));
    Expect({1, 3, 2});
    EXPECT_FALSE(m_queue.RemoveFirst(Is(9)));
    Expect({1, 3, 2});
}

TEST_F(ThreadSafeQueueTest, RemoveFirstOfTheLastItemResets)
{
    Fill(m_queue, {1});
    EXPECT_TRUE(m_queue.RemoveFirst(Is(1)));
    Expect({});
    EXPECT_FALSE(m_queue.RemoveFirst(Is(1)));
    Expect({});
}

TEST_F(ThreadSafeQueueTest, TakeAtRemovesAndReturns)
{
    Fill(m_queue, {1, 2, 3});
    EXPECT_EQ(m_queue.TakeAt(1), 2);
    Expect({1, 3});
    EXPECT_EQ(m_queue.TakeAt(0), 1);
    EXPECT_EQ(m_queue.TakeAt(0), 3);
    Expect({});
}

TEST_F(ThreadSafeQueueTest, TakeAtPastTheSizeThrowsAndTakesNothing)
{
    EXPECT_THROW((void)m_queue.TakeAt(0), std::out_of_range);
    Fill(m_queue, {1});
    EXPECT_THROW((void)m_queue.TakeAt(1), std::out_of_range);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1});
}

TEST_F(ThreadSafeQueueTest, RemoveAllRemovesEachMatchAndCounts)
{
    Fill(m_queue, {2, 1, 2, 4, 3});
    EXPECT_EQ(m_queue.RemoveAll(&IsEven), 3U);
    Expect({1, 3});
    EXPECT_EQ(m_queue.RemoveAll(&IsEven), 0U);
    EXPECT_EQ(m_queue.RemoveAll([](const int&) { return true; }), 2U);
    Expect({});
    EXPECT_EQ(m_queue.RemoveAll(&IsEven), 0U);
}

TEST_F(ThreadSafeQueueTest, TakeFirstGivesAndRemovesTheFirstMatch)
{
    Fill(m_queue, {1, 2, 4});
    int out = 0;
    EXPECT_TRUE(m_queue.TakeFirst(&IsEven, out));
    EXPECT_EQ(out, 2);
    Expect({1, 4});
}

TEST_F(ThreadSafeQueueTest, TakeFirstWithoutAMatchLeavesAllAsItWas)
{
    int out = 9;
    EXPECT_FALSE(m_queue.TakeFirst(&IsEven, out));
    Fill(m_queue, {1, 3});
    EXPECT_FALSE(m_queue.TakeFirst(&IsEven, out));
    EXPECT_EQ(out, 9);
    Expect({1, 3});
}

TEST_F(ThreadSafeQueueTest, TakeFirstOfTheLastItemResets)
{
    Fill(m_queue, {2});
    int out = 0;
    EXPECT_TRUE(m_queue.TakeFirst(&IsEven, out));
    Expect({});
}

TEST_F(ThreadSafeQueueTest, RemoveAtShiftsTheTailDown)
{
    Fill(m_queue, {1, 2, 3});
    m_queue.RemoveAt(0);
    Expect({2, 3});
    m_queue.RemoveAt(1);
    Expect({2});
    m_queue.RemoveAt(0);
    Expect({});
}

TEST_F(ThreadSafeQueueTest, RemoveAtPastTheEndRemovesNothingAndStillRunsUpdateEvent)
{
    class Watched : public ThreadSafeQueue<int>
    {
    public:
        void UpdateEvent() override
        {
            ++updates;
            ThreadSafeQueue::UpdateEvent();
        }

        int updates = 0;
    };

    Watched queue;
    queue.Push(1);
    queue.updates = 0;
    queue.RemoveAt(1);
    EXPECT_EQ(queue.updates, 1);
    EXPECT_EQ(queue.ToVector(), (Ints{1}));
    EXPECT_TRUE(IsSignalled(queue));
    queue.RemoveAt(static_cast<std::size_t>(-1));
    EXPECT_EQ(queue.updates, 2);
}

TEST_F(ThreadSafeQueueTest, FindIndexIsThatOfTheFirstMatchOrMinusOne)
{
    EXPECT_EQ(m_queue.FindIndex(Is(1)), -1);
    Fill(m_queue, {5, 1, 1});
    EXPECT_EQ(m_queue.FindIndex(Is(5)), 0);
    EXPECT_EQ(m_queue.FindIndex(Is(1)), 1);
    EXPECT_EQ(m_queue.FindIndex(Is(9)), -1);
    Expect({5, 1, 1});
}

TEST_F(ThreadSafeQueueTest, FilterKeepsExactlyTheMatchesInOrder)
{
    Fill(m_queue, {4, 1, 2, 3, 6});
    EXPECT_EQ(m_queue.Filter(&IsEven), (std::pair<std::size_t, std::size_t>(5, 2)));
    Expect({4, 2, 6});
    EXPECT_EQ(m_queue.Filter(&IsEven), (std::pair<std::size_t, std::size_t>(3, 0)));
    Expect({4, 2, 6});
}

TEST_F(ThreadSafeQueueTest, FilterThatIsAlwaysFalseEmptiesTheQueueAndResets)
{
    Fill(m_queue, {1, 2, 3});
    EXPECT_EQ(m_queue.Filter([](const int&) { return false; }), (std::pair<std::size_t, std::size_t>(3, 3)));
    Expect({});
    EXPECT_EQ(m_queue.Filter([](const int&) { return false; }), (std::pair<std::size_t, std::size_t>(0, 0)));
    Expect({});
}

TEST(ThreadSafeQueueOfPointersTest, APredicateThatThrowsLeavesEveryItemWholeAndInItsPlace)
{
    ThreadSafeQueue<std::shared_ptr<int>> queue;
    for (int i = 0; i < 5; ++i)
    {
        queue.Push(std::make_shared<int>(i));
    }
    const auto before = queue.ToVector();
    const auto failAt3 = [](const std::shared_ptr<int>& item)
    {
        if (*item == 3)
        {
            throw Failure();
        }
        return *item == 0;
    };
    EXPECT_THROW((void)queue.RemoveAll(failAt3), Failure);
    EXPECT_EQ(queue.ToVector(), before);
    EXPECT_THROW((void)queue.Filter(failAt3), Failure);
    EXPECT_EQ(queue.ToVector(), before);
    const auto fail = [](const std::shared_ptr<int>&) -> bool
    {
        throw Failure();
    };
    EXPECT_THROW((void)queue.RemoveFirst(fail), Failure);
    EXPECT_THROW((void)queue.FindIndex(fail), Failure);
    std::shared_ptr<int> out;
    EXPECT_THROW((void)queue.TakeFirst(fail, out), Failure);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(queue.ToVector(), before);
    EXPECT_TRUE(IsLockFree(queue));
    EXPECT_TRUE(IsSignalled(queue));
}

TEST_F(ThreadSafeQueueTest, AnEmptyPredicateThrowsOnlyWhenThereIsSomethingToAsk)
{
    EXPECT_NO_THROW((void)m_queue.Filter({}));
    EXPECT_NO_THROW((void)m_queue.RemoveAll({}));
    Fill(m_queue, {1});
    EXPECT_THROW((void)m_queue.Filter({}), std::bad_function_call);
    EXPECT_THROW((void)m_queue.RemoveAll({}), std::bad_function_call);
    EXPECT_THROW((void)m_queue.RemoveFirst({}), std::bad_function_call);
    EXPECT_TRUE(IsLockFree(m_queue));
    Expect({1});
}

TEST_F(ThreadSafeQueueTest, CallbacksMayReadTheQueue)
{
    Fill(m_queue, {1, 2, 3});
    std::size_t sizes = 0;
    m_queue.ForEachWhile(
        [&](int& item)
        {
            sizes += m_queue.Size();
            return m_queue.At(0) == 1 && m_queue.FindIndex(Is(item)) >= 0;
        });
    EXPECT_EQ(sizes, 9U);
    EXPECT_EQ(m_queue.RemoveAll([&](const int& item) { return m_queue.At(0) == 1 && item == 2; }), 1U);
    Expect({1, 3});
}

TEST_F(ThreadSafeQueueTest, UpdateEventFollowsTheContent)
{
    m_queue.UpdateEvent();
    Expect({});
    Fill(m_queue, {1});
    m_queue.UpdateEvent();
    Expect({1});
}

TEST_F(ThreadSafeQueueTest, ACopyHasTheItemsAndAnEventOfItsOwn)
{
    Fill(m_queue, {1, 2});
    ThreadSafeQueue<int> copy(m_queue);
    EXPECT_EQ(copy.ToVector(), (Ints{1, 2}));
    EXPECT_TRUE(IsSignalled(copy));
    EXPECT_NE(copy.GetEventHandle(), m_queue.GetEventHandle());
    EXPECT_NE(copy.GetLock(), m_queue.GetLock());
    EXPECT_FALSE(Shared::Raii::Native::IsSameObject(copy.GetEventHandle(), m_queue.GetEventHandle()));
    copy.Clear();
    EXPECT_FALSE(IsSignalled(copy));
    Expect({1, 2});
    const ThreadSafeQueue<int> ofEmpty(copy);
    EXPECT_FALSE(IsSignalled(ofEmpty));
}

TEST_F(ThreadSafeQueueTest, CopyAssignmentReplacesTheItemsAndKeepsTheEvent)
{
    ThreadSafeQueue<int> source;
    Fill(source, {7, 8});
    const auto event = m_queue.GetEventHandle();
    m_queue = source;
    EXPECT_EQ(m_queue.GetEventHandle(), event);
    Expect({7, 8});
    EXPECT_EQ(source.ToVector(), (Ints{7, 8}));
    source.Clear();
    m_queue = source;
    Expect({});
}

TEST_F(ThreadSafeQueueTest, MovingLeavesAnEmptyUsableQueue)
{
    Fill(m_queue, {1, 2});
    ThreadSafeQueue<int> moved(std::move(m_queue));
    EXPECT_EQ(moved.ToVector(), (Ints{1, 2}));
    EXPECT_TRUE(IsSignalled(moved));
    EXPECT_FALSE(Shared::Raii::Native::IsSameObject(moved.GetEventHandle(), m_queue.GetEventHandle()));
    Expect({});
    m_queue.Push(3);
    Expect({3});
    m_queue = std::move(moved);
    Expect({1, 2});
    EXPECT_TRUE(moved.Empty()); // NOLINT(bugprone-use-after-move): what is left is told
    EXPECT_FALSE(IsSignalled(moved));
}

TEST_F(ThreadSafeQueueTest, MovingAnEmptyQueueResetsTheTarget)
{
    Fill(m_queue, {1});
    m_queue = ThreadSafeQueue<int>();
    Expect({});
}

TEST_F(ThreadSafeQueueTest, AssigningToItselfChangesNothing)
{
    Fill(m_queue, {1, 2});
    ThreadSafeQueue<int>& same = m_queue;
    m_queue = same;
    Expect({1, 2});
    m_queue = std::move(same);
    Expect({1, 2});
}

TEST_F(ThreadSafeQueueTest, CopiesTakenWhileAnotherThreadPushesAreWhole)
{
    constexpr int Items = 2000;
    std::thread pusher(
        [&]
        {
            for (int i = 0; i < Items; ++i)
            {
                m_queue.Push(i);
            }
        });
    std::size_t last = 0;
    while (last < Items)
    {
        const ThreadSafeQueue<int> copy(m_queue);
        const Ints items = copy.ToVector();
        ASSERT_GE(items.size(), last);
        last = items.size();
        for (std::size_t i = 0; i < items.size(); ++i)
        {
            ASSERT_EQ(items[i], static_cast<int>(i));
        }
        ASSERT_EQ(IsSignalled(copy), !items.empty());
    }
    pusher.join();
}

TEST_F(ThreadSafeQueueTest, TwoQueuesThatAreCopiedIntoEachOtherDoNotHang)
{
    ThreadSafeQueue<int> other;
    m_queue.Push(1);
    other.Push(2);
    std::thread there(
        [&]
        {
            for (int i = 0; i < 1000; ++i)
            {
                other = m_queue;
            }
        });
    for (int i = 0; i < 1000; ++i)
    {
        m_queue = other;
    }
    there.join();
    EXPECT_EQ(m_queue.Size(), 1U);
    EXPECT_EQ(other.Size(), 1U);
}

TEST_F(ThreadSafeQueueTest, FourProducersAndFourConsumersLoseNothing)
{
    constexpr int Producers = 4;
    constexpr int Consumers = 4;
    constexpr int Each = 2000;
    const Shared::Concurrency::Event stop(false, true);
    std::vector<Ints> taken(Consumers);
    std::vector<std::thread> consumers;
    std::vector<std::thread> producers;
    for (Ints& mine : taken)
    {
        consumers.emplace_back(
            [&]
            {
                while (WaitFor({m_queue.GetEventHandle(), stop.GetHandle()}, false, LimitMs) == 0)
                {
                    int item = 0;
                    if (m_queue.TakeFirst([](const int&) { return true; }, item))
                    {
                        mine.push_back(item);
                    }
                }
            });
    }
    for (int producer = 0; producer < Producers; ++producer)
    {
        producers.emplace_back(
            [&, producer]
            {
                for (int i = 0; i < Each; ++i)
                {
                    m_queue.Push(producer * Each + i);
                }
            });
    }
    for (std::thread& thread : producers)
    {
        thread.join();
    }
    Shared::Concurrency::Event(stop).Signal(); // behind the queue in the consumers' wait: they empty it first
    for (std::thread& thread : consumers)
    {
        thread.join();
    }
    Ints all;
    for (const Ints& mine : taken)
    {
        for (int producer = 0; producer < Producers; ++producer)
        {
            // What one producer pushed is taken in its order.
            Ints ofProducer;
            std::copy_if(
                mine.begin(), mine.end(), std::back_inserter(ofProducer),
                [&](int item) { return item / Each == producer; });
            EXPECT_TRUE(std::is_sorted(ofProducer.begin(), ofProducer.end()));
        }
        all.insert(all.end(), mine.begin(), mine.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), static_cast<std::size_t>(Producers * Each));
    for (int i = 0; i < Producers * Each; ++i)
    {
        ASSERT_EQ(all[static_cast<std::size_t>(i)], i);
    }
    Expect({});
}

TEST_F(ThreadSafeQueueTest, AFailureOfTheEventIsLoggedWhereItCannotBeThrown)
{
    class Broken : public ThreadSafeQueue<int>
    {
    public:
        void UpdateEvent() override
        {
            throw std::runtime_error("no event");
        }
    };

    const TestSupport::CapturedLog log;
    Broken queue;
    EXPECT_NO_THROW(queue.Apply([](Ints& items) { items.push_back(1); }));
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, "no event"), 1U);
    EXPECT_THROW(queue.Push(2), std::runtime_error);
    EXPECT_EQ(queue.ToVector(), (Ints{1, 2}));
}

TEST_F(ThreadSafeQueueTest, BehavesAsAPlainVectorWhateverTheOrderOfTheOperations)
{
    std::mt19937 random(20240611);
    Ints model;
    const auto modelTake = [&](const std::function<bool(int)>& predicate)
    {
        const auto found = std::find_if(model.begin(), model.end(), predicate);
        const bool isThere = found != model.end();
        if (isThere)
        {
            model.erase(found);
        }
        return isThere;
    };
    for (int step = 0; step < 20'000; ++step)
    {
        const int value = static_cast<int>(random() % 5);
        const std::size_t index = random() % (model.size() + 2);
        const std::size_t size = model.size();
        int out = -1;
        switch (random() % 14)
        {
        case 0:
        case 1:
            m_queue.Push(value);
            model.push_back(value);
            break;
        case 2:
            m_queue.PushFront(value);
            model.insert(model.begin(), value);
            break;
        case 3:
            m_queue.RemoveAt(index);
            if (index < size)
            {
                model.erase(model.begin() + static_cast<std::ptrdiff_t>(index));
            }
            break;
        case 4:
            ASSERT_EQ(m_queue.RemoveFirst(Is(value)), modelTake(Is(value)));
            break;
        case 5:
            ASSERT_EQ(m_queue.TakeFirst(Is(value), out), modelTake(Is(value)));
            ASSERT_EQ(out, model.size() == size ? -1 : value);
            break;
        case 6:
            ASSERT_EQ(m_queue.RemoveAll(Is(value)), std::erase(model, value));
            break;
        case 7:
            std::erase_if(model, std::not_fn(&IsEven));
            ASSERT_EQ(m_queue.Filter(&IsEven), (std::pair<std::size_t, std::size_t>(size, size - model.size())));
            break;
        case 8:
            if (index < size)
            {
                ASSERT_EQ(m_queue.TakeAt(index), model[index]);
                model.erase(model.begin() + static_cast<std::ptrdiff_t>(index));
            }
            else
            {
                ASSERT_THROW((void)m_queue.TakeAt(index), std::out_of_range);
            }
            break;
        case 9:
            m_queue.Apply([](Ints& items) { std::reverse(items.begin(), items.end()); });
            std::reverse(model.begin(), model.end());
            break;
        case 10:
        {
            const auto found = std::find(model.begin(), model.end(), value);
            ASSERT_EQ(m_queue.FindIndex(Is(value)), found == model.end() ? -1 : found - model.begin());
            break;
        }
        case 11:
            if (value == 0)
            {
                Ints drained;
                m_queue.Drain([&](int& item) { drained.push_back(item); });
                ASSERT_EQ(drained, std::exchange(model, {}));
            }
            break;
        case 12:
            if (value == 1)
            {
                m_queue.Clear();
                model.clear();
            }
            break;
        default:
        {
            ThreadSafeQueue<int> copy(m_queue);
            m_queue = std::move(copy);
            break;
        }
        }
        ASSERT_EQ(m_queue.ToVector(), model) << "after step " << step;
        ASSERT_EQ(IsSignalled(m_queue), !model.empty()) << "after step " << step;
    }
}
