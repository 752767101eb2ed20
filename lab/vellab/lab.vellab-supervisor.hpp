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
    /// It left a process behind, which had to be ended.
    bool leftProcesses = false;
    /// What its log was to say and did not (Options::until).
    std::optional<std::string> missed;
    std::int32_t expectedExitCode = 0;
};

/// Whether everything ended as it should.
bool IsGood(const Outcome& outcome) noexcept;

/// Does what the agent's parent does: lays out its surroundings, makes the stop event, starts it, and stops it, as often as
/// asked for; and what the world around it does: runs the cloud, and lets happen what the scenario lists. What happens is
/// told on `timeline`. Gives the first outcome that is not good, or else the last one. Throws what cannot be had, and
/// ScenarioError.
Outcome Supervise(const Options& options, std::ostream& timeline);

} // namespace Lab
