// What the statistics of one key cost over its samples, which grow evenly with their number. The floor is the sum of the
// same round trips.

#include "agentcore.polling-pingstatistics.hpp"

#include "bench.ratio.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

namespace
{

using namespace AgentCore;

constexpr std::uint32_t Interval = 10'000;

std::vector<Tests::PingBatch> MakeBatches(std::size_t count)
{
    std::vector<Tests::PingBatch> batches(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        batches[i].server = "host.example";
        batches[i].periodStartUtc = "20240307-21:00:00.5+120";
        batches[i].samples.push_back({static_cast<std::uint32_t>(i % 97), i % 11 == 0 ? 11003U : 0U, i % 7 != 0});
    }
    return batches;
}

void ComputeStatistics(benchmark::State& state)
{
    const auto batches = MakeBatches(static_cast<std::size_t>(state.range(0)));
    Bench::Compare(
        state, 10, [&] { benchmark::DoNotOptimize(Polling::ComputeStatistics(batches, Interval)); },
        [&]
        {
            double sum = 0.0;
            for (const auto& batch : batches)
            {
                for (const auto& sample : batch.samples)
                {
                    sum += sample.rtt;
                }
            }
            benchmark::DoNotOptimize(sum);
        });
    state.counters["ours_ns_per_sample"] = state.counters["ours_ns"] / static_cast<double>(state.range(0));
}

} // namespace

BENCHMARK(ComputeStatistics)->Arg(30)->Arg(1'000)->Arg(10'000)->Arg(100'000)->UseManualTime();
