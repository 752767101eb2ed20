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
constexpr std::array<std::string_view, 11> Milestones = {
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
    "AgentProcess ends with exit code "};

/// Too many of these to be milestones.
constexpr std::array<std::string_view, 2> NoMilestones = {"IOWorker wrote socket data", "IOWorker: "};

constexpr std::array<std::string_view, 3> GraveLevels = {"warning", "error", "critical"};

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

} // namespace

std::optional<LogEntry> ParseLogLine(std::string_view line)
{
    constexpr std::size_t TimeLength = 23;
    constexpr std::string_view Between = "] [";
    if (!line.starts_with('[') || line.size() < TimeLength + Between.size() + 1 ||
        line.substr(TimeLength + 1, Between.size()) != Between)
    {
        return std::nullopt;
    }
    const std::optional<std::int64_t> time = ParseTime(line.substr(1, TimeLength));
    line.remove_prefix(1 + TimeLength + Between.size());
    const std::size_t end = line.find("] ");
    if (!time || end == std::string_view::npos)
    {
        return std::nullopt;
    }
    return LogEntry{*time, std::string(line.substr(0, end)), std::string(line.substr(end + 2))};
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

bool IsForTimeline(const LogEntry& entry)
{
    if (entry.text.starts_with("Connector: "))
    {
        return false;
    }
    const bool isGrave = std::find(GraveLevels.begin(), GraveLevels.end(), entry.level) != GraveLevels.end();
    return isGrave || (BeginsWithOneOf(entry.text, Milestones) && !BeginsWithOneOf(entry.text, NoMilestones));
}

} // namespace Lab
