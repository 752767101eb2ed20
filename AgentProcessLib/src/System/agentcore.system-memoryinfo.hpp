#pragma once

#include "agentcore.system-systemfunctions.hpp"

#include <optional>
#include <string_view>

namespace AgentCore::System
{

/// Reads the text of /proc/meminfo. What counts as used is what programs could not have without swapping: all but
/// "MemAvailable", or, in kernels that do not tell that, all but "MemFree", "Buffers" and "Cached". Nothing when the total
/// is missing or senseless. Pure.
std::optional<MemoryStatus> ParseMemoryInfo(std::string_view text);

} // namespace AgentCore::System
