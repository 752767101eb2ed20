#include "shared.concurrency-functions.hpp"

#include "bench.ratio.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.time-clock.hpp"

#include <array>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

using Shared::Concurrency::Event;
using Shared::Concurrency::WaitFor;

namespace
{

constexpr std::size_t Handles = 8;

/// Descriptors of their own, the last of them readable. The floor: one bare ppoll() over all of them, with the same
/// time-out.
class BarePoll
{
public:
    BarePoll()
    {
        for (std::size_t i = 0; i < Handles; ++i)
        {
            m_descriptors[i] = ::eventfd(i + 1 == Handles ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
        }
    }

    ~BarePoll()
    {
        for (const int descriptor : m_descriptors)
        {
            ::close(descriptor);
        }
    }

    void operator()(const timespec* timeout)
    {
        std::array<pollfd, Handles> entries;
        for (std::size_t i = 0; i < Handles; ++i)
        {
            entries[i] = {m_descriptors[i], POLLIN, 0};
        }
        benchmark::DoNotOptimize(::ppoll(entries.data(), entries.size(), timeout, nullptr));
        benchmark::DoNotOptimize(entries);
    }

    int Last() const
    {
        return m_descriptors.back();
    }

private:
    std::array<int, Handles> m_descriptors{};
};

struct OurEvents
{
    explicit OurEvents(bool manualReset)
    {
        for (std::size_t i = 0; i < Handles; ++i)
        {
            events.emplace_back(false, manualReset);
            handles.push_back(events.back().GetHandle());
        }
        events.back().Signal();
    }

    std::vector<Event> events;
    std::vector<Shared::Raii::RawHandle> handles;
};

// The wait of the main loop and of the workers: several handles of which the last is signalled and stays so, as a
// queue's event does. Goal: at most 1.5 times the floor.
void WaitForEightOfWhichTheLastIsReady(benchmark::State& state)
{
    const OurEvents ours(true);
    BarePoll floor;
    const auto timeoutMs = static_cast<std::uint32_t>(state.range(0));
    const timespec timeout = {timeoutMs / 1000, 0};
    const timespec* const ofFloor = timeoutMs == Shared::Time::Infinite ? nullptr : &timeout;
    Bench::Compare(
        state, 1000, [&] { benchmark::DoNotOptimize(WaitFor(ours.handles, false, timeoutMs)); },
        [&] { floor(ofFloor); });
}

// The same with events that the wait takes, signalled anew each time. The floor does that by hand: ppoll(), read() and
// write().
void WaitForEightAndTakeTheLast(benchmark::State& state)
{
    OurEvents ours(false);
    BarePoll floor;
    Bench::Compare(
        state, 1000,
        [&]
        {
            benchmark::DoNotOptimize(WaitFor(ours.handles, false, Shared::Time::Infinite));
            ours.events.back().Signal();
        },
        [&]
        {
            floor(nullptr);
            std::uint64_t count = 0;
            benchmark::DoNotOptimize(::read(floor.Last(), &count, sizeof count));
            benchmark::DoNotOptimize(::write(floor.Last(), &count, sizeof count));
        });
}

BENCHMARK(WaitForEightOfWhichTheLastIsReady)
    ->UseManualTime()
    ->ArgName("timeoutMs")
    ->Arg(0)
    ->Arg(1000)
    ->Arg(Shared::Time::Infinite);
BENCHMARK(WaitForEightAndTakeTheLast)->UseManualTime();

} // namespace
