#pragma once

#include "shared.log-functions.hpp"

#include <memory>
#include <string>
#include <vector>

namespace Tools::VelExplain
{

/// A line as the agent would log it.
struct LogLine
{
    Shared::Log::Level level;
    std::string text;
};

/// From construction to destruction everything that the agent's code logs comes here, and goes nowhere else. One at a time.
class AgentLog
{
public:
    AgentLog();
    AgentLog(const AgentLog&) = delete;
    AgentLog& operator=(const AgentLog&) = delete;
    ~AgentLog();

    /// What was logged since the last call.
    std::vector<LogLine> Take();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Tools::VelExplain
