#include "lab.vellab-logfollower.hpp"

#include <utility>

namespace Lab
{

LogFollower::LogFollower(std::filesystem::path file, Timeline& timeline, double speed, bool wholeLog)
    : m_tail(std::move(file)), e_timeline(timeline), m_speed(speed), m_wholeLog(wholeLog)
{
}

void LogFollower::BeginStart()
{
    m_startSeconds = e_timeline.Now();
    m_firstTimeMs.reset();
}

void LogFollower::Poll()
{
    const std::string lines = m_tail.ReadNew();
    if (m_wholeLog)
    {
        e_timeline.Show(lines);
        return;
    }
    // Nothing new for a while: then the last entry does not grow any more.
    Tell(lines.empty() ? m_log.Finish() : m_log.Feed(lines));
}

void LogFollower::Finish()
{
    const std::string rest = m_tail.ReadRest();
    if (m_wholeLog)
    {
        e_timeline.Show(rest);
        return;
    }
    Tell(m_log.Feed(rest));
    Tell(m_log.Finish());
}

void LogFollower::Tell(const std::vector<LogEntry>& entries)
{
    constexpr double MsPerSecond = 1000.0;
    for (const LogEntry& entry : entries)
    {
        if (!m_firstTimeMs)
        {
            m_firstTimeMs = entry.timeMs;
        }
        if (IsForTimeline(entry))
        {
            const double since = static_cast<double>(entry.timeMs - *m_firstTimeMs) / MsPerSecond / m_speed;
            const std::string mark = entry.level == "info" || entry.level == "debug" ? "" : entry.level + ": ";
            e_timeline.AddAt(m_startSeconds + since, "agent", mark + entry.text);
        }
    }
}

} // namespace Lab
