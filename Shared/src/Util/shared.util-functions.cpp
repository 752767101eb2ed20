#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <random>

#include "shared.exception-exceptions.hpp"

namespace Shared::Util
{

namespace
{

template <typename Char>
Char LowerCharacter(Char character)
{
    const bool isUpper = character >= Char{'A'} && character <= Char{'Z'};
    return isUpper ? static_cast<Char>(character - Char{'A'} + Char{'a'}) : character;
}

template <typename Char>
std::basic_string<Char> LowerText(std::basic_string_view<Char> text)
{
    std::basic_string<Char> lowered{text};
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), LowerCharacter<Char>);
    return lowered;
}

template <typename Char>
bool AreEqualLowered(std::basic_string_view<Char> first, std::basic_string_view<Char> second)
{
    return std::equal(
        first.begin(), first.end(), second.begin(), second.end(),
        [](Char one, Char other) { return LowerCharacter(one) == LowerCharacter(other); });
}

template <typename Char>
std::vector<std::basic_string<Char>> SplitText(
    std::basic_string_view<Char> text, std::basic_string_view<Char> separator)
{
    std::vector<std::basic_string<Char>> tokens;
    if (text.empty())
    {
        return tokens;
    }
    std::size_t start = 0;
    if (!separator.empty())
    {
        for (std::size_t found = text.find(separator); found != std::basic_string_view<Char>::npos;
             found = text.find(separator, start))
        {
            tokens.emplace_back(text.substr(start, found - start));
            start = found + separator.size();
        }
    }
    tokens.emplace_back(text.substr(start));
    return tokens;
}

template <typename Char>
std::basic_string<Char> ReplaceText(
    std::basic_string_view<Char> text, std::basic_string_view<Char> from, std::basic_string_view<Char> to)
{
    if (from.empty())
    {
        return std::basic_string<Char>{text};
    }
    std::basic_string<Char> result;
    result.reserve(text.size());
    std::size_t start = 0;
    for (std::size_t found = text.find(from); found != std::basic_string_view<Char>::npos;
         found = text.find(from, start))
    {
        result.append(text.substr(start, found - start)).append(to);
        start = found + from.size();
    }
    return result.append(text.substr(start));
}

/// The number of an address part: digits alone, and few enough that nothing can overflow.
std::optional<int> ParseAddressPart(std::wstring_view part)
{
    constexpr std::size_t mostDigits = 9;
    if (part.empty() || part.size() > mostDigits)
    {
        return std::nullopt;
    }
    int value = 0;
    for (const wchar_t digit : part)
    {
        if (digit < L'0' || digit > L'9')
        {
            return std::nullopt;
        }
        value = value * 10 + static_cast<int>(digit - L'0');
    }
    return value;
}

} // namespace

std::string ToLower(std::string_view text)
{
    return LowerText(text);
}

std::wstring ToLower(std::wstring_view text)
{
    return LowerText(text);
}

bool EqualsIgnoreCase(std::string_view first, std::string_view second)
{
    return AreEqualLowered(first, second);
}

bool EqualsIgnoreCase(std::wstring_view first, std::wstring_view second)
{
    return AreEqualLowered(first, second);
}

std::vector<std::string> Split(std::string_view text, std::string_view separator)
{
    return SplitText(text, separator);
}

std::vector<std::wstring> Split(std::wstring_view text, std::wstring_view separator)
{
    return SplitText(text, separator);
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to)
{
    return ReplaceText(text, from, to);
}

std::wstring ReplaceAll(std::wstring_view text, std::wstring_view from, std::wstring_view to)
{
    return ReplaceText(text, from, to);
}

std::wstring ConstructAdjacentIpV4(std::wstring_view address)
{
    constexpr int lastHost = 254;
    const auto parts = Split(address, L".");
    if (parts.size() == 4)
    {
        const auto last = ParseAddressPart(parts[3]);
        if (last && *last >= 1 && *last <= lastHost)
        {
            const int adjacent = *last == lastHost ? lastHost - 1 : *last + 1;
            return parts[0] + L"." + parts[1] + L"." + parts[2] + L"." + std::to_wstring(adjacent);
        }
    }
    throw Exception::InvalidArgumentException("IpV4 address is an unexpected IP: " + ConvertStringType(address));
}

std::int32_t GeneratePseudorandomInt(std::int32_t low, std::int32_t high) noexcept
{
    // The distribution asserts on this, or never ends.
    if (low > high)
    {
        return 0;
    }
    try
    {
        std::random_device device;
        std::mt19937 generator{device()};
        return std::uniform_int_distribution<std::int32_t>{low, high}(generator);
    }
    catch (const std::exception&)
    {
        return 0;
    }
}

} // namespace Shared::Util
