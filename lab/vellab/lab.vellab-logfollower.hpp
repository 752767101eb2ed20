#pragma once

#include "lab.vellab-agentlog.hpp"
#include "lab.vellab-logtail.hpp"
#include "lab.vellab-timeline.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lab
{

/// Texts that are waited for, one behind the other: each in an entry of its own.
class AwaitedTexts
{
public:
    AwaitedTexts() = default;

    explicit AwaitedTexts(const std::vector<std::string>& texts) : m_left(texts.begin(), texts.end())
    {
    }

    /// The next entry.
    void Look(std::string_view text);

    /// What is waited for next.
    std::optional<std::string> GetNext() const
    {
        return m_left.empty() ? std::nullopt : std::optional(m_left.front());
    }

private:
    std::deque<std::string> m_left;
};

/// Entries of the agent's log.
struct LogCounts
{
    std::size_t warnings = 0;
    /// Errors and worse.
    std::size_t errors = 0;
};

/// A state that the agent entered, as its log tells.
struct AgentState
{
    /// On the timeline.
    double seconds = 0;
    /// "GetMtrConfig"
    std::string name;
};

/// Brings what matters of the agent's log onto the timeline, at the time at which it happened: the agent writes its log in
/// bursts, and its clock may run faster. A state is told when it is another one than before.
class LogFollower
{
public:
    /// @param wholeLog shows every line as it stands instead, and keeps none of them on the timeline.
    LogFollower(std::filesystem::path file, Timeline& timeline, double speed, bool wholeLog);

    /// The agent was started now: its first line from now on belongs to this moment.
    /// @param awaited what its log is to say during this start, in this order.
    void BeginStart(const std::vector<std::string>& awaited = {});
    /// Looks for new lines.
    void Poll();
    /// The agent has ended: tells the rest.
    void Finish();

    /// What this start's log has not said yet; nothing when it has said everything that was awaited.
    std::optional<std::string> GetAwaited() const;
    /// Of all starts.
    const LogCounts& GetCounts() const noexcept;
    /// Of all starts, in their order; further ones than MostStates are not kept.
    const std::vector<AgentState>& GetStates() const noexcept;
    /// Whether this start's log has told of that state.
    bool HasEntered(std::string_view state) const;

    static constexpr std::size_t MostStates = 100'000;

private:
    void Take(const std::vector<LogEntry>& entries);

    LogTail m_tail;
    AgentLog m_log;
    AwaitedTexts m_awaited;
    LogCounts m_counts;
    std::vector<AgentState> m_states;
    std::size_t m_statesBefore = 0;
    std::string m_lastState;
    Timeline& e_timeline;
    double m_speed;
    bool m_wholeLog;
    double m_startSeconds = 0;
    std::optional<std::int64_t> m_firstTimeMs;
};

} // namespace Lab
