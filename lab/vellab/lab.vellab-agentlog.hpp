#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lab
{

/// One entry of the agent's log: its first line and all that follow without a head of their own.
struct LogEntry
{
    /// The agent's local time, in milliseconds since some moment; only differences mean anything.
    std::int64_t timeMs = 0;
    /// "info"
    std::string level;
    std::string text;

    bool operator==(const LogEntry&) const = default;
};

/// Finds the entries in the lines of the agent's log, "[2026-11-21 14:52:09.123] [default] [info] text".
class AgentLog
{
public:
    /// Takes whole lines. The last entry may still grow, so it comes with the next call.
    std::vector<LogEntry> Feed(std::string_view lines);
    /// The last entry.
    std::vector<LogEntry> Finish();

private:
    void TakeLine(std::string_view line, std::vector<LogEntry>& entries);

    std::optional<LogEntry> m_last;
};

/// The head of a line, with what stands behind it as the text; nothing when it has none. The logger's name may be missing,
/// as a logger without one writes none.
std::optional<LogEntry> ParseLogLine(std::string_view line);

/// A warning or worse.
bool IsGrave(const LogEntry& entry);

/// Whether an entry belongs on the timeline: states, milestones, and whatever is a warning or worse. What the connector
/// said is left out, as that is told at once by another way.
bool IsForTimeline(const LogEntry& entry);

/// The entry as the timeline shows it: a grave level in front, and without the place in the code that logged it.
std::string ForTimeline(const LogEntry& entry);

} // namespace Lab
