#pragma once

#include "shared.log-functions.hpp"

#include <memory>
#include <string>
#include <vector>

namespace Shared::Log
{

/// From construction to destruction every line that the process logs comes here and goes nowhere else; then the logger
/// from before is back. For tests, and for programs that show what the agent would log. One inside of another is
/// destroyed first. What is kept grows with the lines.
class MemoryLog
{
public:
    struct Line
    {
        Level level;
        std::string text;
    };

    /// @param level of the lines that are kept, and all above it
    explicit MemoryLog(Level level = Level::Trace);
    MemoryLog(const MemoryLog&) = delete;
    MemoryLog& operator=(const MemoryLog&) = delete;
    ~MemoryLog();

    /// What was logged since the construction, or since the last Take(), in order. Any thread.
    std::vector<Line> Lines() const;

    /// The same, which is then forgotten. Any thread.
    std::vector<Line> Take();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Shared::Log
