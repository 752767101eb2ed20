#include "shared.concurrency-threadsafequeue.hpp"

#include "bench.ratio.hpp"

#include <cstdint>
#include <mutex>
#include <vector>

#include <benchmark/benchmark.h>

#include <sys/eventfd.h>
#include <unistd.h>

using Shared::Concurrency::ThreadSafeQueue;

namespace
{

/// The floor: a vector under a bare mutex, without an event and without callbacks.
class BareQueue
{
public:
    void Push(int item)
    {
        const std::scoped_lock hold(m_lock);
        m_items.push_back(item);
    }

    int TakeFirst()
    {
        const std::scoped_lock hold(m_lock);
        const int item = m_items.front();
        m_items.erase(m_items.begin());
        return item;
    }

private:
    std::mutex m_lock;
    std::vector<int> m_items;
};

/// The floor with an event: an eventfd, written under the lock when the vector is no longer empty and read when it is
/// again.
class BareQueueWithEvent
{
public:
    ~BareQueueWithEvent()
    {
        ::close(m_event);
    }

    void Push(int item)
    {
        const std::scoped_lock hold(m_lock);
        m_items.push_back(item);
        if (m_items.size() == 1)
        {
            const std::uint64_t one = 1;
            benchmark::DoNotOptimize(::write(m_event, &one, sizeof one));
        }
    }

    int TakeFirst()
    {
        const std::scoped_lock hold(m_lock);
        const int item = m_items.front();
        m_items.erase(m_items.begin());
        if (m_items.empty())
        {
            std::uint64_t count = 0;
            benchmark::DoNotOptimize(::read(m_event, &count, sizeof count));
        }
        return item;
    }

private:
    std::mutex m_lock;
    std::vector<int> m_items;
    int m_event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// One push and one take from the front of a queue that stays as long as it is, over three lengths: taking from the front
// shifts the rest. Goal: at most 3 times the floor.
void PushAndTakeFirst(benchmark::State& state)
{
    ThreadSafeQueue<int> ours;
    BareQueue floor;
    for (int i = 0; i < state.range(0); ++i)
    {
        ours.Push(i);
        floor.Push(i);
    }
    Bench::Compare(
        state, 1000,
        [&]
        {
            ours.Push(1);
            benchmark::DoNotOptimize(ours.TakeAt(0));
        },
        [&]
        {
            floor.Push(1);
            benchmark::DoNotOptimize(floor.TakeFirst());
        });
}

// From empty to one item to empty: the event changes twice, which is what it costs. Goal: at most 3 times the floor.
void EmptyToOneToEmpty(benchmark::State& state)
{
    ThreadSafeQueue<int> ours;
    BareQueueWithEvent floor;
    Bench::Compare(
        state, 1000,
        [&]
        {
            ours.Push(1);
            benchmark::DoNotOptimize(ours.TakeAt(0));
        },
        [&]
        {
            floor.Push(1);
            benchmark::DoNotOptimize(floor.TakeFirst());
        });
}

BENCHMARK(PushAndTakeFirst)->UseManualTime()->ArgName("length")->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(EmptyToOneToEmpty)->UseManualTime();

} // namespace
