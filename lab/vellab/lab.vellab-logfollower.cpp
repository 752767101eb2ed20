#include "lab.vellab-logfollower.hpp"

#include <algorithm>
#include <utility>

namespace Lab
{

void AwaitedTexts::Look(std::string_view text)
{
    if (!m_left.empty() && text.find(m_left.front()) != std::string_view::npos)
    {
        m_left.pop_front();
    }
}

LogFollower::LogFollower(std::filesystem::path file, Timeline& timeline, double speed, bool wholeLog)
    : m_tail(std::move(file)), e_timeline(timeline), m_speed(speed), m_wholeLog(wholeLog)
{
}

void LogFollower::BeginStart(const std::vector<std::string>& awaited)
{
    m_awaited = AwaitedTexts(awaited);
    m_startSeconds = e_timeline.Now();
    m_firstTimeMs.reset();
    m_statesBefore = m_states.size();
    m_lastState.clear();
}

void LogFollower::Poll()
{
    const std::string lines = m_tail.ReadNew();
    if (m_wholeLog)
    {
        e_timeline.Show(lines);
    }
    // Nothing new for a while: then the last entry does not grow any more.
    Take(lines.empty() ? m_log.Finish() : m_log.Feed(lines));
}

void LogFollower::Finish()
{
    const std::string rest = m_tail.ReadRest();
    if (m_wholeLog)
    {
        e_timeline.Show(rest);
    }
    Take(m_log.Feed(rest));
    Take(m_log.Finish());
}

std::optional<std::string> LogFollower::GetAwaited() const
{
    return m_awaited.GetNext();
}

const LogCounts& LogFollower::GetCounts() const noexcept
{
    return m_counts;
}

const std::vector<AgentState>& LogFollower::GetStates() const noexcept
{
    return m_states;
}

bool LogFollower::HasEntered(std::string_view state) const
{
    return std::any_of(
        m_states.begin() + static_cast<std::ptrdiff_t>(m_statesBefore), m_states.end(),
        [&](const AgentState& entered) { return entered.name == state; });
}

void LogFollower::Take(const std::vector<LogEntry>& entries)
{
    constexpr double MsPerSecond = 1000.0;
    constexpr std::string_view StateLine = "Main loop state: ";
    for (const LogEntry& entry : entries)
    {
        if (!m_firstTimeMs)
        {
            m_firstTimeMs = entry.timeMs;
        }
        m_awaited.Look(entry.text);
        if (IsGrave(entry))
        {
            ++(entry.level == "warning" ? m_counts.warnings : m_counts.errors);
        }
        const double since = static_cast<double>(entry.timeMs - *m_firstTimeMs) / MsPerSecond / m_speed;
        const bool isState = entry.text.starts_with(StateLine);
        // A state that only begins anew, as polling does with whatever wakes it, is no news.
        const bool isNews = !isState || std::exchange(m_lastState, entry.text) != entry.text;
        if (isState && m_states.size() < MostStates)
        {
            m_states.push_back({m_startSeconds + since, entry.text.substr(StateLine.size())});
        }
        if (!m_wholeLog && isNews && IsForTimeline(entry))
        {
            e_timeline.AddAt(m_startSeconds + since, "agent", ForTimeline(entry));
        }
    }
}

} // namespace Lab
