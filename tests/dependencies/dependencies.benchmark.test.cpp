#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

namespace
{
// Keeps what was measured and prints nothing.
class Recorder : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override
    {
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        m_runs.insert(m_runs.end(), runs.begin(), runs.end());
    }

    std::vector<Run> m_runs;
};

void Sum(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::uint64_t sum = 0;
        for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(state.range(0)); ++i)
        {
            benchmark::DoNotOptimize(sum += i);
        }
    }
}
} // namespace

TEST(BenchmarkTest, ABenchmarkIsRunForEachSizeAndMeasured)
{
    benchmark::RegisterBenchmark("sum", Sum)->Arg(100)->Arg(100000)->MinTime(0.01);
    Recorder recorder;
    EXPECT_EQ(benchmark::RunSpecifiedBenchmarks(&recorder), 2U);
    ASSERT_EQ(recorder.m_runs.size(), 2U);
    EXPECT_EQ(recorder.m_runs[0].benchmark_name(), "sum/100/min_time:0.010");
    EXPECT_FALSE(recorder.m_runs[1].error_occurred);
    EXPECT_GT(recorder.m_runs[0].iterations, 1);
    // A thousand times the work: far more time, whatever the machine.
    EXPECT_GT(recorder.m_runs[1].GetAdjustedCPUTime(), 10 * recorder.m_runs[0].GetAdjustedCPUTime());
}
