#pragma once

#include "shared.log-memorylog.hpp"

#include <cstddef>
#include <string_view>

namespace TestSupport
{

/// Takes the process's log lines of all levels, as a MemoryLog does, and counts them.
class CapturedLog : public Shared::Log::MemoryLog
{
public:
    /// How many lines of that level hold `part`.
    std::size_t Count(Shared::Log::Level level, std::string_view part) const;
};

} // namespace TestSupport
