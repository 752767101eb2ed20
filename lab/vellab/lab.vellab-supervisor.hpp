#pragma once

#include "lab.vellab-options.hpp"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace Lab
{

/// How a run ended.
struct Outcome
{
    /// The whole exit code of the agent; on Linux what it reported, else what the system told.
    std::optional<std::int32_t> exitCode;
    /// The status as the system told it.
    std::optional<std::int32_t> exitStatus;
    /// It had to be killed, as it did not end within the time that it has for it.
    bool wasKilled = false;
};

/// Does what the agent's parent does: lays out its surroundings, makes the stop event, starts it, and stops it. What
/// happens is told on `timeline`, and the agent's log with it. Throws what cannot be had.
Outcome Supervise(const Options& options, std::ostream& timeline);

} // namespace Lab
