#pragma once

#include "shared.system-processes.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

/// What Linux tells of a process in /proc/<id>/stat. Pure.
namespace Shared::System
{

/// Times in scheduler ticks; none is larger than a machine can count up to in three hundred years.
struct ProcessStat
{
    std::uint64_t userTicks = 0;
    std::uint64_t kernelTicks = 0;
    /// From the machine's start to the process's.
    std::uint64_t startTicks = 0;
    /// Memory pages that it has in RAM.
    std::uint64_t residentPages = 0;

    bool operator==(const ProcessStat&) const = default;
};

/// Reads the text of such a file, whatever stands in the program's name. Nothing for another or a damaged text.
std::optional<ProcessStat> ParseProcessStat(std::string_view text) noexcept;

/// Ticks as time; `ticksPerSecond` is 1 at least. What does not fit is the longest time.
CpuTime FromTicks(std::uint64_t ticks, std::uint64_t ticksPerSecond) noexcept;

} // namespace Shared::System
