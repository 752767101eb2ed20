#include "lab.vellab-agentlog.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Lab
{

namespace
{

/// What an operator wants to see of an agent's life, by the beginning of the text.
constexpr std::array<std::string_view, 20> Milestones = {
    "Main loop state: ",
    "This agent is version ",
    "Attempting to register agent...",
    "The register request has been redirected.",
    "The agent registered successfully.",
    "Existing uuid for user found",
    "No AgentUuid or RegisteredId found",
    "New user does not match RegisteredId",
    "Attempting to start Connector...",
    "IOWorker ",
    "The agent successfully posted Startup data.",
    "Caching ",
    "Cached ",
    "Ignoring split-tunnel MTR test ",
    "The current version is ",
    "Processing update request...",
    "The poll response has indicated that we should fetch our config",
    "Detected that the agent lost connection and re-connected.",
    "Re-initialising as we received an unexpected ",
    "AgentProcess ends with exit code "};

/// Within a text: who it is that a test is meant for.
constexpr std::string_view TestMatch = " matched for test ";

/// Too many of these to be milestones.
constexpr std::array<std::string_view, 2> NoMilestones = {"IOWorker wrote socket data", "IOWorker: "};

constexpr std::array<std::string_view, 6> Levels = {"trace", "debug", "info", "warning", "error", "critical"};
constexpr std::array<std::string_view, 3> GraveLevels = {"warning", "error", "critical"};

template <typename List>
bool IsOneOf(std::string_view text, const List& list)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

template <typename List>
bool BeginsWithOneOf(std::string_view text, const List& beginnings)
{
    return std::any_of(
        beginnings.begin(), beginnings.end(), [&](std::string_view beginning) { return text.starts_with(beginning); });
}

std::optional<int> ParseNumber(std::string_view text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && number >= 0 ? std::optional(number) : std::nullopt;
}

/// "2026-11-21 14:52:09.123"
std::optional<std::int64_t> ParseTime(std::string_view text)
{
    struct Field
    {
        std::size_t position;
        std::size_t length;
    };

    constexpr std::size_t FieldCount = 7;
    constexpr std::array<Field, FieldCount> Fields = {{{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, {20, 3}}};
    std::array<int, FieldCount> numbers{};
    for (std::size_t i = 0; i < FieldCount; ++i)
    {
        const std::optional<int> number = ParseNumber(text.substr(Fields[i].position, Fields[i].length));
        if (!number)
        {
            return std::nullopt;
        }
        numbers[i] = *number;
    }
    const std::chrono::year_month_day date{
        std::chrono::year(numbers[0]), std::chrono::month(static_cast<unsigned>(numbers[1])),
        std::chrono::day(static_cast<unsigned>(numbers[2]))};
    if (!date.ok())
    {
        return std::nullopt;
    }
    const auto time = std::chrono::sys_days(date) + std::chrono::hours(numbers[3]) + std::chrono::minutes(numbers[4]) +
        std::chrono::seconds(numbers[5]) + std::chrono::milliseconds(numbers[6]);
    return time.time_since_epoch().count();
}

/// What stands in the brackets at the beginning of the line, which loses it; nothing when there are none.
std::optional<std::string_view> TakeBracketed(std::string_view& line)
{
    constexpr std::string_view End = "] ";
    const std::size_t end = line.find(End);
    if (!line.starts_with('[') || end == std::string_view::npos)
    {
        return std::nullopt;
    }
    const std::string_view content = line.substr(1, end - 1);
    line.remove_prefix(end + End.size());
    return content;
}

/// The level, behind the logger's name where there is one.
std::optional<std::string_view> TakeLevel(std::string_view& line)
{
    std::optional<std::string_view> level = TakeBracketed(line);
    if (level && !IsOneOf(*level, Levels))
    {
        level = TakeBracketed(line);
    }
    return level && IsOneOf(*level, Levels) ? level : std::nullopt;
}

/// Drops the text up to the end of the first `mark` in its first line.
void DropUpTo(std::string& text, std::string_view beginning, std::string_view mark)
{
    const std::size_t found = text.find(mark);
    if (text.starts_with(beginning) && found < text.find('\n'))
    {
        text.erase(0, found + mark.size());
    }
}

/// Drops the line about the exception where the line before holds it already.
void DropRepeatedInformation(std::string& text)
{
    constexpr std::string_view Beginning = "\nException information ---> ";
    const std::size_t found = text.find(Beginning);
    if (found == std::string::npos)
    {
        return;
    }
    const std::string_view information = std::string_view(text).substr(found + Beginning.size());
    if (std::string_view(text).substr(0, found).find(information) != std::string_view::npos)
    {
        text.erase(found);
    }
}

} // namespace

std::optional<LogEntry> ParseLogLine(std::string_view line)
{
    constexpr std::size_t TimeLength = 23;
    const std::optional<std::string_view> timeText = TakeBracketed(line);
    if (!timeText || timeText->size() != TimeLength)
    {
        return std::nullopt;
    }
    const std::optional<std::int64_t> time = ParseTime(*timeText);
    const std::optional<std::string_view> level = TakeLevel(line);
    if (!time || !level)
    {
        return std::nullopt;
    }
    return LogEntry{*time, std::string(*level), std::string(line)};
}

std::vector<LogEntry> AgentLog::Feed(std::string_view lines)
{
    std::vector<LogEntry> entries;
    while (!lines.empty())
    {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        std::string_view line = lines.substr(0, end);
        if (line.ends_with('\r'))
        {
            line.remove_suffix(1);
        }
        TakeLine(line, entries);
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
    return entries;
}

std::vector<LogEntry> AgentLog::Finish()
{
    std::vector<LogEntry> entries;
    if (m_last)
    {
        entries.push_back(*std::exchange(m_last, std::nullopt));
    }
    return entries;
}

void AgentLog::TakeLine(std::string_view line, std::vector<LogEntry>& entries)
{
    // Of an entry with a payload of many lines, these are enough.
    constexpr std::size_t LongestText = 4096;
    if (std::optional<LogEntry> entry = ParseLogLine(line))
    {
        if (m_last)
        {
            entries.push_back(std::move(*m_last));
        }
        m_last = std::move(entry);
    }
    else if (m_last && m_last->text.size() < LongestText)
    {
        m_last->text += '\n';
        m_last->text += line;
    }
}

bool IsGrave(const LogEntry& entry)
{
    return IsOneOf(entry.level, GraveLevels);
}

bool IsForTimeline(const LogEntry& entry)
{
    if (entry.text.starts_with("Connector: "))
    {
        return false;
    }
    // What such an entry names is told by the server, so it stands in the first line or not at all.
    const std::string_view firstLine = std::string_view(entry.text).substr(0, entry.text.find('\n'));
    return IsGrave(entry) || firstLine.find(TestMatch) != std::string_view::npos ||
        (BeginsWithOneOf(entry.text, Milestones) && !BeginsWithOneOf(entry.text, NoMilestones));
}

std::string ForTimeline(const LogEntry& entry)
{
    std::string text = entry.text;
    DropUpTo(text, "Exception logged in function ", " ---> ");
    DropUpTo(text, "Error in function ", " ---> ");
    DropRepeatedInformation(text);
    const std::string mark = IsGrave(entry) ? entry.level + ": " : "";
    return mark + text;
}

} // namespace Lab
