#pragma once

#include "lab.vellab-agentlog.hpp"
#include "lab.vellab-logtail.hpp"
#include "lab.vellab-timeline.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace Lab
{

/// Brings what matters of the agent's log onto the timeline, at the time at which it happened: the agent writes its log in
/// bursts, and its clock may run faster.
class LogFollower
{
public:
    /// @param wholeLog shows every line as it stands instead.
    LogFollower(std::filesystem::path file, Timeline& timeline, double speed, bool wholeLog);

    /// The agent was started now: its first line from now on belongs to this moment.
    void BeginStart();
    /// Looks for new lines.
    void Poll();
    /// The agent has ended: tells the rest.
    void Finish();

private:
    void Tell(const std::vector<LogEntry>& entries);

    LogTail m_tail;
    AgentLog m_log;
    Timeline& e_timeline;
    double m_speed;
    bool m_wholeLog;
    double m_startSeconds = 0;
    std::optional<std::int64_t> m_firstTimeMs;
};

} // namespace Lab
