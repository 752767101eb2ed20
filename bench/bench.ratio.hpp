#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench
{

/// Runs `ours` and `floor` in turn, `batch` times each per iteration, so that whatever slows the machine down meets
/// both. Counters: "ours_ns" and "floor_ns", the tenth percentiles of one call in nanoseconds, as what disturbs a
/// measurement only ever adds to it; and "ratio", the one to the other.
/// For benchmarks that are registered with UseManualTime(); the time told is that of `ours`.
template <typename Ours, typename Floor>
void Compare(benchmark::State& state, int batch, Ours ours, Floor floor)
{
    using Clock = std::chrono::steady_clock;
    const auto measure = [batch](auto& work)
    {
        const auto start = Clock::now();
        for (int i = 0; i < batch; ++i)
        {
            work();
        }
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    const auto undisturbed = [](std::vector<double>& values)
    {
        const auto tenth = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 10);
        std::nth_element(values.begin(), tenth, values.end());
        return *tenth;
    };
    std::vector<double> ofOurs;
    std::vector<double> ofFloor;
    bool oursFirst = false;
    for ([[maybe_unused]] const auto iteration : state)
    {
        oursFirst = !oursFirst;
        double first = 0.0;
        double second = 0.0;
        if (oursFirst)
        {
            first = measure(ours);
            second = measure(floor);
        }
        else
        {
            second = measure(floor);
            first = measure(ours);
        }
        state.SetIterationTime(first);
        ofOurs.push_back(first * 1e9 / batch);
        ofFloor.push_back(second * 1e9 / batch);
    }
    const double oursNs = undisturbed(ofOurs);
    const double floorNs = undisturbed(ofFloor);
    state.counters["ours_ns"] = oursNs;
    state.counters["floor_ns"] = floorNs;
    state.counters["ratio"] = oursNs / floorNs;
}

} // namespace Bench
