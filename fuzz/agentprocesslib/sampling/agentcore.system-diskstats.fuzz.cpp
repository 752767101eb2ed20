// Any text as /proc/diskstats.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "agentcore.system-diskstats.hpp"
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
    const auto stats = ParseDiskStats(text);
    Require(stats.size() <= static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    std::string again;
    for (const auto& stat : stats)
    {
        Require(!stat.name.empty() && stat.name.data() >= text.data());
        Require(stat.name.data() + stat.name.size() <= text.data() + text.size());
        fmt::format_to(
            std::back_inserter(again), "{} {} {} 1 2 3 4 5 6 7 8 {}\n", stat.major, stat.minor, stat.name,
            stat.inFlight);
    }
    Require(ParseDiskStats(again) == stats);
    return 0;
}
