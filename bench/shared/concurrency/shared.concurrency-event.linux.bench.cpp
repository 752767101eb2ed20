#include "shared.concurrency-event.hpp"

#include "bench.processors.linux.hpp"
#include "bench.ratio.hpp"
#include "shared.time-clock.hpp"

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

using Shared::Concurrency::Event;

namespace
{

/// The floor: a blocking eventfd, written to signal and read to wait, which is the least that wakes another thread.
class BareEvent
{
public:
    ~BareEvent()
    {
        ::close(m_descriptor);
    }

    void Signal()
    {
        const std::uint64_t one = 1;
        benchmark::DoNotOptimize(::write(m_descriptor, &one, sizeof one));
    }

    void Await()
    {
        std::uint64_t count = 0;
        benchmark::DoNotOptimize(::read(m_descriptor, &count, sizeof count));
    }

private:
    int m_descriptor = ::eventfd(0, EFD_CLOEXEC);
};

class OurEvent
{
public:
    void Signal()
    {
        m_event.Signal();
    }

    void Await()
    {
        (void)m_event.WaitOnEvent(Shared::Time::Infinite);
    }

private:
    Event m_event{false, false};
};

/// Keeps the calling thread on one processor. Where two threads run decides over how long a wake-up takes by far more
/// than how it is asked for, so both sides of the comparison are told.
void StayOn(int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(processor), &set);
    (void)::pthread_setaffinity_np(::pthread_self(), sizeof set, &set);
}

/// Two threads that wake each other in turn. One round trip is two signals and two wake-ups.
template <typename OneEvent>
class PingPong
{
public:
    explicit PingPong(int partnersProcessor)
        : m_partner(
              [this, partnersProcessor]
              {
                  StayOn(partnersProcessor);
                  Answer();
              })
    {
    }

    PingPong(const PingPong&) = delete;
    PingPong& operator=(const PingPong&) = delete;

    ~PingPong()
    {
        m_stop = true;
        m_there.Signal();
        m_partner.join();
    }

    void operator()()
    {
        m_there.Signal();
        m_back.Await();
    }

private:
    void Answer()
    {
        for (m_there.Await(); !m_stop; m_there.Await())
        {
            m_back.Signal();
        }
    }

    OneEvent m_there;
    OneEvent m_back;
    std::atomic<bool> m_stop = false;
    std::thread m_partner;
};

// From a signal to the waiter's wake-up, there and back, on one processor and between two. Goal: at most 1.5 times the
// floor.
void SignalWakesAnotherThread(benchmark::State& state)
{
    const Bench::Processors processors;
    const bool betweenTwo = state.range(0) != 0;
    const int partners = betweenTwo ? processors.Last() : processors.First();
    StayOn(processors.First());
    PingPong<OurEvent> ours(partners);
    PingPong<BareEvent> floor(partners);
    Bench::Compare(
        state, 50, [&] { ours(); }, [&] { floor(); });
}

BENCHMARK(SignalWakesAnotherThread)->UseManualTime()->ArgName("betweenTwoProcessors")->Arg(0)->Arg(1);

} // namespace
