// Texts of any kind through the conversions and text helpers. Each result is compared with a second way to it.
//   First byte: how many of the following bytes are the separator (0 to 7). The rest is the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.require.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-utf8.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::Util;

bool IsPartOf(std::string_view part, std::string_view whole)
{
    std::size_t position = 0;
    for (const char byte : part)
    {
        position = whole.find(byte, position);
        if (position == std::string_view::npos)
        {
            return false;
        }
        ++position;
    }
    return true;
}

void CheckConversion(std::string_view text)
{
    const auto wide = ConvertStringType(text);
    const auto valid = ConvertStringType(wide);
    Require(wide.size() <= text.size());
    Require(valid == Utf8::DropInvalid(text));
    Require(IsPartOf(valid, text));
    // What came through once comes through unchanged ever after.
    Require(ConvertStringType(valid) == wide);
    Require(Utf8::DropInvalid(wide) == wide);

    // Any bytes as wide units, surrogates and values beyond the last one among them.
    std::wstring units;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    {
        const auto high = static_cast<std::uint32_t>(static_cast<std::uint8_t>(text[i]));
        const auto low = static_cast<std::uint32_t>(static_cast<std::uint8_t>(text[i + 1]));
        units.push_back(static_cast<wchar_t>((high << 8U) | low));
    }
    const auto narrow = ConvertStringType(units);
    Require(narrow.size() <= units.size() * 4);
    Require(ConvertStringType(narrow) == Utf8::DropInvalid(units));
}

/// Character by character, where the product searches.
std::vector<std::string> SplitSlowly(std::string_view text, std::string_view separator)
{
    std::vector<std::string> tokens;
    if (text.empty())
    {
        return tokens;
    }
    tokens.emplace_back();
    for (std::size_t i = 0; i < text.size();)
    {
        if (!separator.empty() && text.substr(i, separator.size()) == separator)
        {
            tokens.emplace_back();
            i += separator.size();
        }
        else
        {
            tokens.back().push_back(text[i++]);
        }
    }
    return tokens;
}

void CheckSplitAndReplace(std::string_view text, std::string_view separator)
{
    const auto tokens = Split(text, separator);
    Require(tokens == SplitSlowly(text, separator));

    // Holds what it replaces, twice: searching the result again would never end.
    std::string replacement{separator};
    replacement.append("|").append(separator);
    std::string joined;
    std::string replaced;
    for (std::size_t i = 0; i < tokens.size(); ++i)
    {
        if (i != 0)
        {
            joined.append(separator);
            replaced.append(replacement);
        }
        joined.append(tokens[i]);
        replaced.append(tokens[i]);
    }
    Require(joined == text);
    Require(ReplaceAll(text, separator, separator) == text);
    Require(ReplaceAll(text, separator, replacement) == replaced);
}

void CheckLowering(std::string_view text)
{
    const auto lowered = ToLower(text);
    Require(lowered.size() == text.size());
    Require(ToLower(lowered) == lowered);
    Require(EqualsIgnoreCase(text, lowered));
    Require(ToLower(ConvertStringType(text)) == ConvertStringType(lowered));
}

void CheckAdjacent(std::string_view text)
{
    const auto address = ConvertStringType(text);
    const auto dots = std::count(address.begin(), address.end(), L'.');
    try
    {
        const auto adjacent = ConstructAdjacentIpV4(address);
        Require(dots == 3);
        const auto network = address.rfind(L'.') + 1;
        Require(adjacent.substr(0, network) == address.substr(0, network));
        const int before = std::stoi(address.substr(network));
        const int after = std::stoi(adjacent.substr(network));
        Require(before >= 1 && before <= 254);
        Require(after == (before == 254 ? 253 : before + 1));
    }
    catch (const std::invalid_argument&)
    {
        // Four parts with a last one in bounds are never refused.
        const auto parts = Split(address, L".");
        if (parts.size() == 4 && !parts[3].empty() && parts[3].size() <= 3 &&
            std::all_of(parts[3].begin(), parts[3].end(), [](wchar_t digit) { return digit >= L'0' && digit <= L'9'; }))
        {
            const int last = std::stoi(parts[3]);
            Require(last < 1 || last > 254);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string all{reinterpret_cast<const char*>(data) + 1, size - 1};
    const auto separatorSize = std::min<std::size_t>(data[0] & 7U, all.size());
    const auto separator = std::string_view{all}.substr(0, separatorSize);
    const auto text = std::string_view{all}.substr(separatorSize);

    CheckConversion(text);
    CheckSplitAndReplace(text, separator);
    CheckLowering(text);
    CheckAdjacent(text);
    return 0;
}
