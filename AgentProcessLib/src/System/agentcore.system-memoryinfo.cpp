#include "agentcore.system-memoryinfo.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "agentcore.system-texts.hpp"

namespace AgentCore::System
{

namespace
{

enum Row : std::size_t
{
    Total,
    Available,
    Free,
    Buffers,
    Cached,
    RowCount
};

constexpr std::array<std::string_view, RowCount> RowNames{"MemTotal", "MemAvailable", "MemFree", "Buffers", "Cached"};

using Rows = std::array<std::optional<std::uint64_t>, RowCount>;

constexpr std::uint64_t BytesPerUnit = 1024;

/// A value such as "16314508 kB", in those units.
std::optional<std::uint64_t> ParseSize(std::string_view value)
{
    const auto number = Texts::ParseNumber<std::uint64_t>(Texts::TakeWord(value));
    if (!number || Texts::Trim(value) != "kB" || *number > std::numeric_limits<std::uint64_t>::max() / BytesPerUnit)
    {
        return std::nullopt;
    }
    return number;
}

Rows ReadRows(std::string_view text)
{
    Rows rows;
    while (!text.empty())
    {
        const auto line = Texts::SplitAt(':', Texts::TakeLine(text));
        const auto* const name = line ? std::find(RowNames.begin(), RowNames.end(), line->name) : RowNames.end();
        if (name != RowNames.end())
        {
            rows.at(static_cast<std::size_t>(name - RowNames.begin())) = ParseSize(line->value);
        }
    }
    return rows;
}

std::uint64_t CountAvailable(const Rows& rows, std::uint64_t total)
{
    if (rows[Available])
    {
        return std::min(*rows[Available], total);
    }
    std::uint64_t sum = 0;
    for (const auto row : {Free, Buffers, Cached})
    {
        // Each part is cut to what is left, so that no sum of senseless numbers can overflow.
        sum += std::min(rows.at(row).value_or(0), total - sum);
    }
    return sum;
}

} // namespace

std::optional<MemoryStatus> ParseMemoryInfo(std::string_view text)
{
    constexpr std::uint64_t percent = 100;
    const auto rows = ReadRows(text);
    const auto total = rows[Total].value_or(0);
    if (total == 0)
    {
        return std::nullopt;
    }
    const auto used = total - CountAvailable(rows, total);
    return MemoryStatus{total * BytesPerUnit, static_cast<std::uint32_t>(used * percent / total)};
}

} // namespace AgentCore::System
