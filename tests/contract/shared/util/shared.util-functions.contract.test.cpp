#include "shared.util-functions.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "shared.util-time.hpp"
#include "shared.util-utf8.hpp"

namespace
{

using namespace Shared::Util;

TEST(ConvertStringTypeContract, EmptyTextStaysEmptyBothWays)
{
    EXPECT_EQ(ConvertStringType(std::wstring{}), "");
    EXPECT_EQ(ConvertStringType(std::string{}), L"");
}

TEST(ConvertStringTypeContract, WideToUtf8AndBack)
{
    const std::wstring wide = L"J\u00FCrgen \u65E5\u672C \U0001F600";
    const std::string narrow = "J\xC3\xBCrgen \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80";
    EXPECT_EQ(ConvertStringType(wide), narrow);
    EXPECT_EQ(ConvertStringType(narrow), wide);
}

TEST(ConvertStringTypeContract, LoneSurrogatesAreDropped)
{
    for (const wchar_t lone : {wchar_t{0xD800}, wchar_t{0xDBFF}, wchar_t{0xDC00}, wchar_t{0xDFFF}})
    {
        EXPECT_EQ(ConvertStringType(std::wstring{L"a"} + lone + L"b"), "ab");
        EXPECT_EQ(ConvertStringType(std::wstring{lone}), "");
    }
}

TEST(ConvertStringTypeContract, InvalidBytesAreDropped)
{
    EXPECT_EQ(
        ConvertStringType("a\xFF"
                          "b\xC0\xAF"
                          "c\xED\xA0\x80"
                          "d\xE2\x82"),
        L"abcd");
    EXPECT_EQ(ConvertStringType("\xFF\xFE"), L"");
}

TEST(ConvertStringTypeContract, NullCharactersAreKept)
{
    using namespace std::string_literals;
    EXPECT_EQ(ConvertStringType(L"a\0b\0"s), "a\0b\0"s);
    EXPECT_EQ(ConvertStringType("a\0b\0"s), L"a\0b\0"s);
}

TEST(ConvertStringTypeContract, ALongTextIsConvertedWhole)
{
    std::wstring wide;
    for (int i = 0; i < 300'000; ++i)
    {
        wide += L"\u20AC";
    }
    const auto narrow = ConvertStringType(wide);
    EXPECT_EQ(narrow.size(), 900'000U);
    EXPECT_EQ(ConvertStringType(narrow), wide);
}

TEST(ConvertStringTypeContract, AgreesWithTheCommonCodecOnAnything)
{
    std::mt19937 random{99};
    const auto draw = [&random](std::uint32_t most)
    {
        return std::uniform_int_distribution<std::uint32_t>{0, most}(random);
    };
    for (int round = 0; round < 500; ++round)
    {
        std::string bytes;
        std::wstring units;
        for (auto left = draw(20); left > 0; --left)
        {
            bytes.push_back(static_cast<char>(static_cast<unsigned char>(draw(255))));
            units.push_back(static_cast<wchar_t>(draw(1) == 0 ? 0xD7F0 + draw(0x820) : draw(0xFFFF)));
        }
        ASSERT_EQ(ConvertStringType(bytes), Utf8::Decode(bytes));
        ASSERT_EQ(ConvertStringType(units), Utf8::Encode(units));
    }
}

TEST(ConvertRawGuidContract, WritesTheFormOfTheRegistry)
{
    const RawGuid guid{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
    EXPECT_EQ(ConvertRawGuid(guid), L"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
}

TEST(ConvertRawGuidContract, ZerosAreWrittenOut)
{
    EXPECT_EQ(ConvertRawGuid({}), L"{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(ConvertRawGuid({1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}), L"{00000001-0002-0003-0405-060708090A0B}");
}

TEST(GenerateGuidContract, HasBracesUpperCaseAndTheFormOfARandomOne)
{
    for (int i = 0; i < 50; ++i)
    {
        const auto text = ConvertStringType(GenerateGuid());
        ASSERT_EQ(text.size(), 38U);
        for (std::size_t k = 0; k < text.size(); ++k)
        {
            const bool isDash = k == 9 || k == 14 || k == 19 || k == 24;
            const std::string allowed = k == 0 ? "{"
                : k == 37                      ? "}"
                : isDash                       ? "-"
                : k == 15                      ? "4"
                : k == 20                      ? "89AB"
                                               : "0123456789ABCDEF";
            ASSERT_NE(allowed.find(text[k]), std::string::npos) << text << " at " << k;
        }
    }
}

TEST(GenerateGuidContract, NeverRepeatsItself)
{
    std::set<std::wstring> seen;
    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_TRUE(seen.insert(GenerateGuid()).second);
    }
}

TEST(ExecutablePathContract, IsAFileInTheExecutablesDirectory)
{
    const std::filesystem::path path{GetCurrentExecutablePath()};
    const std::filesystem::path directory{GetCurrentExecutableDirectory()};
    EXPECT_TRUE(path.is_absolute());
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_TRUE(std::filesystem::is_directory(directory));
    EXPECT_EQ(path.parent_path(), directory);
    EXPECT_EQ(ToLower(path.stem().string()), "shared-util-contract");
}

TEST(ExecutablePathContract, HasNoSeparatorAtItsEnd)
{
    const auto directory = GetCurrentExecutableDirectory();
    ASSERT_FALSE(directory.empty());
    EXPECT_NE(directory.back(), L'/');
    EXPECT_NE(directory.back(), L'\\');
}

TEST(ExecutablePathContract, DoesNotDependOnTheWorkingDirectory)
{
    const auto before = std::filesystem::current_path();
    const auto directory = GetCurrentExecutableDirectory();
    std::filesystem::current_path(before.root_path());
    const auto elsewhere = GetCurrentExecutableDirectory();
    std::filesystem::current_path(before);
    EXPECT_EQ(elsewhere, directory);
}

TEST(TimeZoneBiasContract, IsOneOfThisPlanet)
{
    EXPECT_GE(GetTimeZoneBiasMinutes(), -14 * 60);
    EXPECT_LE(GetTimeZoneBiasMinutes(), 12 * 60);
}

} // namespace
