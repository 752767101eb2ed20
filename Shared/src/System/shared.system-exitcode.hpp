#pragma once

#include <cstdint>
#include <optional>

namespace Shared::System
{

// How a process ends, and how its parent learns with which code. Windows gives a parent all 32 bits. Linux keeps the
// lowest 8 alone (1500 arrives as 220), so the whole code is also left in the file "exit-code" of the runtime directory,
// beside the id of the process that it belongs to.

/// Leaves the exit code where a parent can read it. Best effort: a failure is not reported. Never throws.
void ReportExitCode(std::int32_t code) noexcept;

/// The code that the process with this id has left; nothing when it left none. Always nothing on Windows, where the
/// status of the process says it all.
std::optional<std::int32_t> ReadReportedExitCode(std::uint32_t processId);

/// Ends the process at once: no destructor runs, no thread is asked.
[[noreturn]] void LeaveProcess(std::int32_t code) noexcept;

} // namespace Shared::System
