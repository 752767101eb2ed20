// The memory that a large answer needs while it is taken in, and what of it is still there when a small one has replaced
// it. Kept up: no more than four times the length of the text, the text itself included, and then next to nothing
// once the allocator is asked to give back what it keeps.

#include "agentcore.messaging-objectgenerator.hpp"

#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench.configurationtree.hpp"
#include "shared.platform-memory.hpp"
#include "test.support-memory.linux.hpp"

namespace
{

using AgentCore::Messaging::MtrTest;

/// The most memory that the process has really had since ForgetPeak(), in bytes.
std::size_t PeakBytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
    {
        if (word == "VmHWM:")
        {
            std::size_t kilobytes = 0;
            status >> kilobytes;
            return kilobytes * 1024;
        }
    }
    return 0;
}

bool ForgetPeak()
{
    std::ofstream references("/proc/self/clear_refs");
    return static_cast<bool>(references << "5" << std::flush);
}

double MegabytesAbove(std::size_t before)
{
    return (static_cast<double>(TestSupport::ResidentBytes()) - static_cast<double>(before)) / 1e6;
}

/// All tests are meant for the user. Counters: "peak", the memory above that of before, for each byte of the text; what is
/// still there in the end, in megabytes: "kept_mb" by the allocator's own will, "left_mb" once it has been asked.
void BM_Memory(benchmark::State& state)
{
    const auto tests = static_cast<std::size_t>(state.range(0));
    const Bench::Subject subject(tests);
    const auto small = Bench::MtrTree(10, Bench::Few);
    std::vector<MtrTest> list;
    Bench::SetLog(false);
    subject.TakeIn(small, list);
    Shared::Platform::ReturnFreeMemory();
    for ([[maybe_unused]] const auto iteration : state)
    {
        state.PauseTiming();
        if (!ForgetPeak())
        {
            state.SkipWithError("the system keeps the peak of memory");
            return;
        }
        const auto before = TestSupport::ResidentBytes();
        auto text = Bench::MtrTree(tests, Bench::Few, 1);
        text.shrink_to_fit();
        const auto size = text.size();
        state.ResumeTiming();
        subject.TakeIn(text, list);
        state.PauseTiming();
        const auto above = static_cast<double>(PeakBytes() - before);
        state.counters["peak"] = above / static_cast<double>(size);
        std::string().swap(text);
        subject.TakeIn(small, list);
        state.counters["kept_mb"] = MegabytesAbove(before);
        Shared::Platform::ReturnFreeMemory();
        state.counters["left_mb"] = MegabytesAbove(before);
        state.counters["text_mb"] = static_cast<double>(size) / 1e6;
        state.ResumeTiming();
    }
}

} // namespace

BENCHMARK(BM_Memory)->Unit(benchmark::kMillisecond)->Arg(100'000)->Iterations(1);
