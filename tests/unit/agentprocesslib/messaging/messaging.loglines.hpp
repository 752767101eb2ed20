#pragma once

#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

#include <string>
#include <vector>

namespace TestSupport
{

/// The captured lines in order, each with the name of its level in front: "info: text".
inline std::vector<std::string> LinesWithLevels(const CapturedLog& log)
{
    using Shared::Log::Level;
    std::vector<std::string> lines;
    for (const CapturedLog::Line& line : log.Lines())
    {
        const char* level = line.level == Level::Info ? "info" : line.level == Level::Warning ? "warning" : "other";
        lines.push_back(std::string(level) + ": " + line.text);
    }
    return lines;
}

} // namespace TestSupport
