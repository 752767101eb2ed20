#include "shared.util-utf8.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Shared::Util::Utf8
{

namespace
{

constexpr char32_t NoScalar = 0xFFFFFFFF;
constexpr char32_t LastScalar = 0x10FFFF;
constexpr char32_t FirstSupplementary = 0x10000;
constexpr char32_t FirstHighSurrogate = 0xD800;
constexpr char32_t FirstLowSurrogate = 0xDC00;
constexpr char32_t LastSurrogate = 0xDFFF;
constexpr bool WideIsUtf16 = sizeof(wchar_t) == 2;

bool IsHighSurrogate(char32_t unit)
{
    return unit >= FirstHighSurrogate && unit < FirstLowSurrogate;
}

bool IsLowSurrogate(char32_t unit)
{
    return unit >= FirstLowSurrogate && unit <= LastSurrogate;
}

bool IsScalar(char32_t value)
{
    return value <= LastScalar && !IsHighSurrogate(value) && !IsLowSurrogate(value);
}

/// The scalar value at `position`, which moves behind what was read; NoScalar for a unit that is to be dropped.
char32_t Take(std::wstring_view text, std::size_t& position)
{
    const auto unit = static_cast<char32_t>(text[position++]);
    if (WideIsUtf16 && IsHighSurrogate(unit) && position < text.size())
    {
        const auto next = static_cast<char32_t>(text[position]);
        if (IsLowSurrogate(next))
        {
            ++position;
            return FirstSupplementary + ((unit - FirstHighSurrogate) << 10) + (next - FirstLowSurrogate);
        }
    }
    return IsScalar(unit) ? unit : NoScalar;
}

/// What the first byte of a sequence tells.
struct Lead
{
    std::size_t following;
    char32_t bits;
    char32_t smallest;
};

bool ReadLead(std::uint8_t byte, Lead& lead)
{
    if (byte < 0x80)
    {
        lead = {0, byte, 0};
    }
    else if (byte >= 0xC2 && byte <= 0xDF)
    {
        lead = {1, byte & 0x1FU, 0x80};
    }
    else if (byte >= 0xE0 && byte <= 0xEF)
    {
        lead = {2, byte & 0x0FU, 0x800};
    }
    else if (byte >= 0xF0 && byte <= 0xF4)
    {
        lead = {3, byte & 0x07U, FirstSupplementary};
    }
    else
    {
        return false;
    }
    return true;
}

/// A byte that starts nothing well-formed is dropped alone: what follows it is judged anew, and the bytes that would
/// have belonged to it start nothing either.
char32_t Take(std::string_view text, std::size_t& position)
{
    const std::size_t start = position++;
    Lead lead{};
    if (!ReadLead(static_cast<std::uint8_t>(text[start]), lead) || text.size() - position < lead.following)
    {
        return NoScalar;
    }
    char32_t value = lead.bits;
    for (std::size_t i = 0; i < lead.following; ++i)
    {
        const auto byte = static_cast<std::uint8_t>(text[position + i]);
        if ((byte & 0xC0U) != 0x80U)
        {
            return NoScalar;
        }
        value = (value << 6) | (byte & 0x3FU);
    }
    if (value < lead.smallest || !IsScalar(value))
    {
        return NoScalar;
    }
    position += lead.following;
    return value;
}

void Append(std::string& out, char32_t value)
{
    const auto put = [&out](char32_t byte)
    {
        out.push_back(static_cast<char>(static_cast<std::uint8_t>(byte)));
    };
    if (value < 0x80)
    {
        put(value);
    }
    else if (value < 0x800)
    {
        put(0xC0U | (value >> 6));
        put(0x80U | (value & 0x3FU));
    }
    else if (value < FirstSupplementary)
    {
        put(0xE0U | (value >> 12));
        put(0x80U | ((value >> 6) & 0x3FU));
        put(0x80U | (value & 0x3FU));
    }
    else
    {
        put(0xF0U | (value >> 18));
        put(0x80U | ((value >> 12) & 0x3FU));
        put(0x80U | ((value >> 6) & 0x3FU));
        put(0x80U | (value & 0x3FU));
    }
}

void Append(std::wstring& out, char32_t value)
{
    if (WideIsUtf16 && value >= FirstSupplementary)
    {
        const char32_t rest = value - FirstSupplementary;
        out.push_back(static_cast<wchar_t>(FirstHighSurrogate + (rest >> 10)));
        out.push_back(static_cast<wchar_t>(FirstLowSurrogate + (rest & 0x3FFU)));
        return;
    }
    out.push_back(static_cast<wchar_t>(value));
}

/// How many characters of `value` the text gets.
std::size_t LengthOf(char32_t value, std::type_identity<std::string>)
{
    if (value < 0x80)
    {
        return 1;
    }
    if (value < 0x800)
    {
        return 2;
    }
    return value < FirstSupplementary ? 3 : 4;
}

std::size_t LengthOf(char32_t value, std::type_identity<std::wstring>)
{
    return WideIsUtf16 && value >= FirstSupplementary ? 2 : 1;
}

/// How many characters from the start are below 0x80, in steps that a compiler can take many characters at a time.
template <typename Char>
std::size_t CountAscii(std::basic_string_view<Char> text)
{
    using Unit = std::make_unsigned_t<Char>;
    constexpr std::size_t Step = 32;
    constexpr auto AboveAscii = static_cast<Unit>(~Unit{0x7F});
    std::size_t count = 0;
    for (; count + Step <= text.size(); count += Step)
    {
        Unit bits = 0;
        for (std::size_t i = 0; i < Step; ++i)
        {
            bits = static_cast<Unit>(bits | static_cast<Unit>(text[count + i]));
        }
        if ((bits & AboveAscii) != 0)
        {
            break;
        }
    }
    while (count < text.size() && (static_cast<Unit>(text[count]) & AboveAscii) == 0)
    {
        ++count;
    }
    return count;
}

/// Nearly all texts are ASCII alone, which is copied as it stands. The rest is gone through twice, so that the result has
/// its one allocation: no copy of a secret is left in a buffer that was too small.
template <typename Out, typename In>
Out Convert(In text)
{
    const std::size_t ascii = CountAscii(text);
    std::size_t length = ascii;
    for (std::size_t position = ascii; position < text.size();)
    {
        const char32_t value = Take(text, position);
        length += value == NoScalar ? 0 : LengthOf(value, std::type_identity<Out>());
    }
    Out out;
    out.reserve(length);
    out.resize(ascii);
    std::transform(
        text.begin(), text.begin() + static_cast<std::ptrdiff_t>(ascii), out.begin(),
        [](typename In::value_type character) { return static_cast<typename Out::value_type>(character); });
    for (std::size_t position = ascii; position < text.size();)
    {
        const char32_t value = Take(text, position);
        if (value != NoScalar)
        {
            Append(out, value);
        }
    }
    return out;
}

} // namespace

std::string Encode(std::wstring_view text)
{
    return Convert<std::string>(text);
}

std::wstring Decode(std::string_view text)
{
    return Convert<std::wstring>(text);
}

bool IsValid(std::string_view text) noexcept
{
    std::size_t position = CountAscii(text);
    while (position < text.size())
    {
        if (Take(text, position) == NoScalar)
        {
            return false;
        }
        position += CountAscii(text.substr(position));
    }
    return true;
}

std::wstring DropInvalid(std::wstring_view text)
{
    return Convert<std::wstring>(text);
}

std::string DropInvalid(std::string_view text)
{
    return Convert<std::string>(text);
}

} // namespace Shared::Util::Utf8
