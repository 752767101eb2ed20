// Any text as /proc/cpuinfo, and as a list of processors, and the processors that are made of both.
//   The list is the first line, the rest is the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "agentcore.system-processors.hpp"
#include "agentcore.system-texts.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System;

/// Each logical processor is in one socket, and each core has at least one.
void CheckProcessors(const std::vector<ProcessorRecord>& records, std::size_t logicalProcessors)
{
    std::size_t sum = 0;
    for (const auto& record : records)
    {
        Require(record.coreCount && record.logicalProcessorCount && record.name && record.maxClockSpeed);
        Require(*record.coreCount >= 1 && *record.coreCount <= *record.logicalProcessorCount);
        Require(*record.maxClockSpeed >= 0);
        sum += static_cast<std::size_t>(*record.logicalProcessorCount);
    }
    Require(sum == logicalProcessors);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto numbers = ParseCpuList(Texts::TakeLine(text));
    Require(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) == numbers.end());
    Require(numbers.empty() || numbers.back() <= HighestCpuNumber);

    const auto info = ParseCpuInfo(text);
    for (const auto& entry : info.entries)
    {
        Require(entry.number.has_value());
    }
    InventoryGaps gaps;
    CheckProcessors(MakeProcessors({}, info, {}, 9, gaps), info.entries.size());

    std::vector<LogicalCpu> cpus;
    for (const auto number : numbers)
    {
        cpus.push_back({number, static_cast<std::int32_t>(number % 3), {}, number});
    }
    // More than that is only slower.
    constexpr std::size_t enough = 256;
    if (!cpus.empty() && cpus.size() <= enough)
    {
        CheckProcessors(MakeProcessors(cpus, info, {}, 9, gaps), cpus.size());
    }
    return 0;
}
