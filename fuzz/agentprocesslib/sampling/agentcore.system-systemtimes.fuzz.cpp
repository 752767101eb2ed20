// Any text as /proc/stat.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "agentcore.system-systemtimes.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System;

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto times = ParseSystemTimes(text, 100);
    if (times)
    {
        Require(times->kernel >= times->idle);
        // What stands in front of the line, or behind it, changes nothing.
        const std::string others = "intr 1 2 3\n";
        Require(ParseSystemTimes(others + std::string{text} + "\n" + others, 100) == times);
        // Of counts that a machine can have, no load is more than the whole.
        constexpr std::uint64_t most = std::uint64_t{1} << 60U;
        const bool isPlausible = times->kernel < most && times->user < most && times->idle > 0 && times->user > 0;
        CpuSampler sampler;
        sampler.Sample({1, 1, 1});
        const float load = sampler.Sample(*times).total_processing_time_percent();
        Require(!isPlausible || (load >= 0.0F && load <= 100.01F));
    }
    return 0;
}
