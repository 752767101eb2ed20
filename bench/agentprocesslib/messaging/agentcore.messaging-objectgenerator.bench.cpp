// What it costs to take in the tests of a large account: parsing, deciding whom each is meant for, and sorting, against
// nothing but the library's parsing of the same text in the same run. Kept up: below 1.5 times that with the log off, and
// ten times as many tests take no more than twelve times as long.

#include "agentcore.messaging-objectgenerator.hpp"

#include <cstddef>
#include <vector>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include "bench.configurationtree.hpp"
#include "bench.ratio.hpp"

namespace
{

using AgentCore::Messaging::MtrTest;

/// Arguments: tests, whether lines of the log are made.
void BM_MtrTree(benchmark::State& state)
{
    const auto tests = static_cast<std::size_t>(state.range(0));
    const auto text = Bench::MtrTree(tests, Bench::Many);
    const Bench::Subject subject(tests);
    std::vector<MtrTest> list;
    Bench::SetLog(state.range(1) != 0);
    Bench::Compare(
        state, 1, [&] { subject.TakeIn(text, list); },
        [&]
        {
            rapidjson::Document document;
            document.Parse(text.c_str());
            benchmark::DoNotOptimize(document.HasParseError());
        });
    Bench::SetLog(false);
    if (list.size() != tests / 100)
    {
        state.SkipWithError("other tests are kept than those that are meant");
    }
    state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
}

/// The counter "per_test" must not grow much.
void BM_Growth(benchmark::State& state)
{
    const auto tests = static_cast<std::size_t>(state.range(0));
    const auto text = Bench::MtrTree(tests, Bench::Few);
    const Bench::Subject subject(tests);
    std::vector<MtrTest> list;
    Bench::SetLog(false);
    for ([[maybe_unused]] const auto iteration : state)
    {
        subject.TakeIn(text, list);
    }
    if (list.size() != tests / 100)
    {
        state.SkipWithError("other tests are kept than those that are meant");
    }
    state.counters["per_test"] = benchmark::Counter(
        static_cast<double>(tests) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_MtrTree)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->ArgNames({"tests", "log"})
    ->Args({10'000, 0})
    ->Args({10'000, 1});
BENCHMARK(BM_Growth)->Unit(benchmark::kMillisecond)->Arg(1'000)->Arg(10'000)->Arg(100'000);
