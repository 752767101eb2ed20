#include "test.support-capturedlog.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace TestSupport
{

std::size_t CapturedLog::Count(Shared::Log::Level level, std::string_view part) const
{
    const std::vector<Line> lines = Lines();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const Line& line) { return line.level == level && line.text.find(part) != std::string::npos; }));
}

} // namespace TestSupport
