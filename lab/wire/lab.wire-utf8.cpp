#include "lab.wire-utf8.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace Lab::Wire
{

namespace
{

/// What may follow a first byte: how many bytes, and between which limits the first of them lies. The others are from
/// 0x80 to 0xBF.
struct Form
{
    std::uint8_t lowest;
    std::uint8_t highest;
    std::size_t following;
    std::uint8_t secondLowest;
    std::uint8_t secondHighest;
};

constexpr std::array<Form, 9> Forms = {
    {{0x00, 0x7F, 0, 0x80, 0xBF},
     {0xC2, 0xDF, 1, 0x80, 0xBF},
     {0xE0, 0xE0, 2, 0xA0, 0xBF},
     {0xE1, 0xEC, 2, 0x80, 0xBF},
     {0xED, 0xED, 2, 0x80, 0x9F},
     {0xEE, 0xEF, 2, 0x80, 0xBF},
     {0xF0, 0xF0, 3, 0x90, 0xBF},
     {0xF1, 0xF3, 3, 0x80, 0xBF},
     {0xF4, 0xF4, 3, 0x80, 0x8F}}};

bool IsBetween(char byte, std::uint8_t lowest, std::uint8_t highest) noexcept
{
    const auto value = static_cast<std::uint8_t>(byte);
    return value >= lowest && value <= highest;
}

/// How many bytes the character at the front has; 0 when there is none.
std::size_t LengthOfFirst(std::string_view text) noexcept
{
    const auto form = std::find_if(
        Forms.begin(), Forms.end(), [&](const Form& known) { return IsBetween(text[0], known.lowest, known.highest); });
    if (form == Forms.end() || text.size() <= form->following)
    {
        return 0;
    }
    for (std::size_t i = 1; i <= form->following; ++i)
    {
        if (!IsBetween(text[i], i == 1 ? form->secondLowest : 0x80, i == 1 ? form->secondHighest : 0xBF))
        {
            return 0;
        }
    }
    return form->following + 1;
}

} // namespace

bool IsUtf8(std::string_view text) noexcept
{
    while (!text.empty())
    {
        const std::size_t length = LengthOfFirst(text);
        if (length == 0)
        {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace Lab::Wire
