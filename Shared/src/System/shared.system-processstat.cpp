#include "shared.system-processstat.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "shared.util-numbers.hpp"

namespace Shared::System
{

namespace
{

constexpr std::uint64_t MostTicks = std::uint64_t{1} << 40U;

struct Field
{
    /// As proc(5) counts them, from 1.
    std::size_t number;
    std::uint64_t ProcessStat::*member;
    std::uint64_t most;
};

constexpr std::array<Field, 4> Fields{
    {{14, &ProcessStat::userTicks, MostTicks},
     {15, &ProcessStat::kernelTicks, MostTicks},
     {22, &ProcessStat::startTicks, MostTicks},
     {24, &ProcessStat::residentPages, MostTicks}}};

/// Cuts the first word off `text`; empty when there is none.
std::string_view TakeWord(std::string_view& text) noexcept
{
    text.remove_prefix(std::min(text.find_first_not_of(" \n"), text.size()));
    const auto word = text.substr(0, text.find_first_of(" \n"));
    text.remove_prefix(word.size());
    return word;
}

} // namespace

std::optional<ProcessStat> ParseProcessStat(std::string_view text) noexcept
{
    // The second field is the program's name in parentheses, which may itself hold blanks and parentheses.
    const auto nameEnd = text.rfind(')');
    if (nameEnd == std::string_view::npos)
    {
        return std::nullopt;
    }
    text.remove_prefix(nameEnd + 1);
    ProcessStat stat;
    std::size_t next = 3;
    for (const auto& field : Fields)
    {
        for (; next < field.number; ++next)
        {
            TakeWord(text);
        }
        const auto value = Util::ParseNumber<std::uint64_t>(TakeWord(text));
        ++next;
        if (!value || *value > field.most)
        {
            return std::nullopt;
        }
        stat.*field.member = *value;
    }
    return stat;
}

CpuTime FromTicks(std::uint64_t ticks, std::uint64_t ticksPerSecond) noexcept
{
    constexpr auto longest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    constexpr auto unitsPerSecond = static_cast<std::uint64_t>(CpuTime::period::den);
    const auto seconds = ticks / ticksPerSecond;
    if (seconds >= longest / unitsPerSecond)
    {
        return CpuTime::max();
    }
    const auto rest = ticks % ticksPerSecond * unitsPerSecond / ticksPerSecond;
    return CpuTime{static_cast<std::int64_t>(seconds * unitsPerSecond + rest)};
}

} // namespace Shared::System
