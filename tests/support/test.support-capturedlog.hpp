#pragma once

#include "shared.log-functions.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport
{

/// From construction to destruction the process's log lines of all levels come here and go nowhere else. One at a time.
class CapturedLog
{
public:
    struct Line
    {
        Shared::Log::Level level;
        std::string text;
    };

    CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog();

    std::vector<Line> Lines() const;
    /// How many lines of that level hold `part`.
    std::size_t Count(Shared::Log::Level level, std::string_view part) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace TestSupport
