// Any text as /proc/<id>/stat.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "fuzz.require.hpp"
#include "shared.system-processstat.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::System;

/// The line of a process with that name.
std::string MakeLine(std::string_view name, const ProcessStat& stat)
{
    return fmt::format(
        "1 ({}) S 1 1 1 0 -1 4194304 0 0 0 0 {} {} 0 0 20 0 1 0 {} 0 {}", name, stat.userTicks, stat.kernelTicks,
        stat.startTicks, stat.residentPages);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto stat = ParseProcessStat(text))
    {
        // What was read reads the same behind any name, and behind any other text with a parenthesis.
        Require(ParseProcessStat(MakeLine(text, *stat)) == stat);
        Require(FromTicks(stat->userTicks + stat->kernelTicks, 100) < CpuTime::max());
    }
    // A name is never taken for fields.
    const ProcessStat known{1, 2, 3, 4};
    Require(ParseProcessStat(MakeLine(text, known)) == known);
    return 0;
}
