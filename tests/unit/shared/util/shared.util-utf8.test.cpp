#include "shared.util-utf8.hpp"

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Shared::Util::Utf8::Decode;
using Shared::Util::Utf8::DropInvalid;
using Shared::Util::Utf8::Encode;
using Shared::Util::Utf8::IsValid;

constexpr int Rounds = 3000;

/// Wide text of one scalar value, by the platform's own rule and not by the code under test.
std::wstring WideOf(char32_t value)
{
    if (sizeof(wchar_t) == 2 && value > 0xFFFF)
    {
        return {
            static_cast<wchar_t>((value - 0x10000) / 0x400 + 0xD800),
            static_cast<wchar_t>((value - 0x10000) % 0x400 + 0xDC00)};
    }
    return {static_cast<wchar_t>(value)};
}

/// UTF-8 of one scalar value, by arithmetic instead of by bits.
std::string NarrowOf(char32_t value)
{
    const auto byte = [](char32_t number)
    {
        return static_cast<char>(static_cast<unsigned char>(number));
    };
    if (value < 0x80)
    {
        return {byte(value)};
    }
    if (value < 0x800)
    {
        return {byte(192 + value / 64), byte(128 + value % 64)};
    }
    if (value < 0x10000)
    {
        return {byte(224 + value / 4096), byte(128 + value / 64 % 64), byte(128 + value % 64)};
    }
    return {
        byte(240 + value / 262144), byte(128 + value / 4096 % 64), byte(128 + value / 64 % 64), byte(128 + value % 64)};
}

char32_t RandomScalar(std::mt19937& random)
{
    constexpr std::array<char32_t, 4> upTo{0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
    while (true)
    {
        const auto value = static_cast<char32_t>(std::uniform_int_distribution<std::uint32_t>{
            0, upTo[std::uniform_int_distribution<std::size_t>{0, 3}(random)]}(random));
        if (value < 0xD800 || value > 0xDFFF)
        {
            return value;
        }
    }
}

/// One byte range of the standard's table of well-formed sequences.
struct Range
{
    std::uint8_t from;
    std::uint8_t to;
};

/// Whether exactly `size` bytes at `text` are one well-formed sequence, by the standard's table.
bool IsWellFormed(std::string_view text)
{
    static const std::vector<std::vector<Range>> table{
        {{0x00, 0x7F}},
        {{0xC2, 0xDF}, {0x80, 0xBF}},
        {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}},
        {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}},
        {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}},
        {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}}};
    for (const auto& row : table)
    {
        bool fits = row.size() == text.size();
        for (std::size_t i = 0; fits && i < row.size(); ++i)
        {
            const auto byte = static_cast<std::uint8_t>(text[i]);
            fits = byte >= row[i].from && byte <= row[i].to;
        }
        if (fits)
        {
            return true;
        }
    }
    return false;
}

std::string KeepWellFormed(std::string_view text)
{
    std::string kept;
    while (!text.empty())
    {
        std::size_t length = 0;
        for (std::size_t size = 1; size <= 4 && size <= text.size() && length == 0; ++size)
        {
            length = IsWellFormed(text.substr(0, size)) ? size : 0;
        }
        kept.append(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return kept;
}

TEST(Utf8Test, EmptyTextStaysEmptyBothWays)
{
    EXPECT_EQ(Encode(L""), "");
    EXPECT_EQ(Decode(""), L"");
}

TEST(Utf8Test, EveryScalarValueMakesTheRoundTrip)
{
    for (char32_t value = 0; value <= 0x10FFFF; ++value)
    {
        if (value == 0xD800)
        {
            value = 0xE000;
        }
        const auto wide = WideOf(value);
        const auto narrow = NarrowOf(value);
        ASSERT_EQ(Encode(wide), narrow) << static_cast<std::uint32_t>(value);
        ASSERT_EQ(Decode(narrow), wide) << static_cast<std::uint32_t>(value);
    }
}

TEST(Utf8Test, RandomTextsMakeTheRoundTrip)
{
    std::mt19937 random{20240307};
    for (int round = 0; round < Rounds; ++round)
    {
        std::wstring wide;
        std::string narrow;
        for (auto left = std::uniform_int_distribution<int>{0, 40}(random); left > 0; --left)
        {
            const auto value = RandomScalar(random);
            wide += WideOf(value);
            narrow += NarrowOf(value);
        }
        ASSERT_EQ(Encode(wide), narrow);
        ASSERT_EQ(Decode(narrow), wide);
        ASSERT_EQ(DropInvalid(wide), wide);
        ASSERT_EQ(DropInvalid(narrow), narrow);
    }
}

TEST(Utf8Test, RandomBytesKeepExactlyTheirWellFormedSequences)
{
    // Bytes from around the borders of the table, so that nearly right sequences are common.
    constexpr std::array<std::uint8_t, 28> bytes{0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                                                 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0,
                                                 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFC, 0xFE, 0xFF};
    std::mt19937 random{4711};
    for (int round = 0; round < Rounds; ++round)
    {
        std::string text;
        for (auto left = std::uniform_int_distribution<int>{0, 30}(random); left > 0; --left)
        {
            const auto index = std::uniform_int_distribution<std::size_t>{0, bytes.size() - 1}(random);
            text.push_back(static_cast<char>(bytes[index]));
        }
        const auto kept = KeepWellFormed(text);
        ASSERT_EQ(DropInvalid(text), kept);
        ASSERT_EQ(Encode(Decode(text)), kept);
        ASSERT_EQ(IsValid(text), kept.size() == text.size());
        ASSERT_TRUE(IsValid(kept));
    }
}

TEST(Utf8Test, OneBadByteAnywhereMakesATextInvalid)
{
    for (std::size_t position = 0; position < 150; ++position)
    {
        for (const std::string filling : {"a", "\u00e9"})
        {
            std::string text;
            while (text.size() < 150)
            {
                text += filling;
            }
            ASSERT_TRUE(IsValid(text));
            text[position] = '\xFF';
            ASSERT_FALSE(IsValid(text)) << position;
        }
    }
    EXPECT_TRUE(IsValid(""));
}

TEST(Utf8Test, TheFirstCharacterThatIsNotAsciiMayStandAnywhere)
{
    // Around the steps in which ASCII is gone through.
    for (std::size_t length = 0; length < 150; ++length)
    {
        for (const char32_t value : {U'\u0080', U'\u07FF', U'\uFFFD', U'\U0001F600'})
        {
            const std::wstring wide = std::wstring(length, L'a') + WideOf(value) + L"\x7F z";
            const std::string narrow = std::string(length, 'a') + NarrowOf(value) + "\x7F z";
            ASSERT_EQ(Encode(wide), narrow) << length;
            ASSERT_EQ(Decode(narrow), wide) << length;
            ASSERT_EQ(Decode(std::string(length, 'a') + "\xFF" + narrow), std::wstring(length, L'a') + wide) << length;
        }
        ASSERT_EQ(Encode(std::wstring(length, L'\x7F')), std::string(length, '\x7F'));
        ASSERT_EQ(Decode(std::string(length, '\x7F')), std::wstring(length, L'\x7F'));
    }
}

TEST(Utf8Test, AResultHasItsOneAllocationWhateverTheText)
{
    // What would grow would leave copies of a secret behind.
    std::wstring wide;
    for (int i = 0; i < 1000; ++i)
    {
        wide += WideOf(0x1F600);
    }
    EXPECT_EQ(Encode(wide).capacity(), 4000U);
    EXPECT_EQ(Decode(std::string(1000, 'a') + "\xC3\xA4").capacity(), 1001U);
    EXPECT_EQ(Decode(std::string(4000, '\xFF')).size(), 0U);
}

TEST(Utf8Test, ALoneHighSurrogateIsDropped)
{
    const wchar_t lone = 0xD83D;
    EXPECT_EQ(Encode(std::wstring{L"a"} + lone + L"b"), "ab");
    EXPECT_EQ(DropInvalid(std::wstring{lone}), L"");
}

TEST(Utf8Test, ALoneLowSurrogateIsDropped)
{
    const wchar_t lone = 0xDE00;
    EXPECT_EQ(Encode(std::wstring{L"a"} + lone + L"b"), "ab");
}

TEST(Utf8Test, AHighSurrogateBeforeAPairIsDroppedAlone)
{
    std::wstring text;
    text.push_back(static_cast<wchar_t>(0xD83D));
    text += WideOf(0x1F600);
    EXPECT_EQ(Encode(text), "\xF0\x9F\x98\x80");
}

TEST(Utf8Test, OverlongFormsAreDropped)
{
    EXPECT_EQ(
        Decode("a\xC0\xAF"
               "b"),
        L"ab");
    EXPECT_EQ(
        Decode("a\xE0\x80\xAF"
               "b"),
        L"ab");
    EXPECT_EQ(
        Decode("a\xF0\x80\x80\xAF"
               "b"),
        L"ab");
}

TEST(Utf8Test, EncodedSurrogatesAreDropped)
{
    EXPECT_EQ(
        Decode("a\xED\xA0\xBD\xED\xB8\x80"
               "b"),
        L"ab");
}

TEST(Utf8Test, ValuesAboveTheLastOneAreDropped)
{
    EXPECT_EQ(
        Decode("a\xF4\x90\x80\x80"
               "b"),
        L"ab");
    EXPECT_EQ(
        Decode("a\xF5\x80\x80\x80"
               "b"),
        L"ab");
}

TEST(Utf8Test, ASequenceThatIsCutOffIsDropped)
{
    EXPECT_EQ(Decode("a\xE2\x82"), L"a");
    EXPECT_EQ(
        Decode("\xF0\x9F\x98"
               "a"),
        L"a");
}

TEST(Utf8Test, NullCharactersAreCharacters)
{
    using namespace std::string_literals;
    EXPECT_EQ(Encode(L"a\0b"s), "a\0b"s);
    EXPECT_EQ(Decode("a\0b"s), L"a\0b"s);
}

} // namespace
