#include "agentcore.system-diskstats.hpp"

#include <optional>

#include "agentcore.system-texts.hpp"

namespace AgentCore::System
{

namespace
{

std::optional<DiskStat> ParseLine(std::string_view line)
{
    // Reads and writes have four columns each.
    constexpr int columnsBefore = 8;
    const auto major = Texts::ParseNumber<std::uint32_t>(Texts::TakeWord(line));
    const auto minor = Texts::ParseNumber<std::uint32_t>(Texts::TakeWord(line));
    const auto name = Texts::TakeWord(line);
    for (int column = 0; column < columnsBefore; ++column)
    {
        Texts::TakeWord(line);
    }
    const auto inFlight = Texts::ParseNumber<std::uint32_t>(Texts::TakeWord(line));
    if (!major || !minor || !inFlight)
    {
        return std::nullopt;
    }
    return DiskStat{*major, *minor, name, *inFlight};
}

} // namespace

std::vector<DiskStat> ParseDiskStats(std::string_view text)
{
    std::vector<DiskStat> stats;
    while (!text.empty())
    {
        if (const auto stat = ParseLine(Texts::TakeLine(text)))
        {
            stats.push_back(*stat);
        }
    }
    return stats;
}

} // namespace AgentCore::System
