#include "shared.util-functions.hpp"

#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"

namespace
{

using namespace Shared::Util;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ToLowerTest, LowersTheLettersOfAscii)
{
    EXPECT_EQ(ToLower("NorvikTrayVEL.EXE [@Z`{]"), "norviktrayvel.exe [@z`{]");
    EXPECT_EQ(ToLower(L"NorvikTrayVEL.EXE [@Z`{]"), L"norviktrayvel.exe [@z`{]");
}

TEST(ToLowerTest, LeavesEverythingElseAsItStands)
{
    EXPECT_EQ(ToLower("\xC3\x84"), "\xC3\x84");
    EXPECT_EQ(ToLower(L"\u00C4\u0130\u0416"), L"\u00C4\u0130\u0416");
}

TEST(EqualsIgnoreCaseTest, CaseDoesNotCount)
{
    EXPECT_TRUE(EqualsIgnoreCase("ACME\\Jane", "acme\\jane"));
    EXPECT_TRUE(EqualsIgnoreCase(L"ACME\\Jane", L"acme\\jane"));
}

TEST(EqualsIgnoreCaseTest, LengthAndContentCount)
{
    EXPECT_FALSE(EqualsIgnoreCase("jane", "jane "));
    EXPECT_FALSE(EqualsIgnoreCase("jane", "jand"));
    EXPECT_FALSE(EqualsIgnoreCase(L"", L"a"));
    EXPECT_TRUE(EqualsIgnoreCase(L"", L""));
}

TEST(EqualsIgnoreCaseTest, NullCharactersDoNotEndTheComparison)
{
    using namespace std::string_literals;
    EXPECT_FALSE(EqualsIgnoreCase("a\0b"s, "a\0c"s));
}

TEST(SplitTest, AnEmptyTextGivesNoToken)
{
    EXPECT_THAT(Split("", ","), IsEmpty());
    EXPECT_THAT(Split(L"", L","), IsEmpty());
}

TEST(SplitTest, ATextWithoutSeparatorIsOneToken)
{
    EXPECT_THAT(Split("abc", ","), ElementsAre("abc"));
}

TEST(SplitTest, ThePieceBehindTheLastSeparatorIsAToken)
{
    EXPECT_THAT(Split("a,b", ","), ElementsAre("a", "b"));
}

TEST(SplitTest, AnEmptyPieceBehindTheLastSeparatorIsATokenToo)
{
    EXPECT_THAT(Split("a,", ","), ElementsAre("a", ""));
    EXPECT_THAT(Split(",", ","), ElementsAre("", ""));
    EXPECT_THAT(Split(L"a,", L","), ElementsAre(L"a", L""));
}

TEST(SplitTest, PiecesBetweenSeparatorsMayBeEmpty)
{
    EXPECT_THAT(Split(",a,,b", ","), ElementsAre("", "a", "", "b"));
}

TEST(SplitTest, TheSeparatorMayHaveSeveralCharacters)
{
    EXPECT_THAT(Split("one\r\ntwo\nthree\r\n", "\r\n"), ElementsAre("one", "two\nthree", ""));
    EXPECT_THAT(Split("aaa", "aa"), ElementsAre("", "a"));
}

TEST(SplitTest, AnEmptySeparatorSeparatesNothing)
{
    EXPECT_THAT(Split("abc", ""), ElementsAre("abc"));
}

TEST(ReplaceAllTest, ReplacesAllOccurrences)
{
    EXPECT_EQ(ReplaceAll("{a}{b}", "{", "["), "[a}[b}");
    EXPECT_EQ(ReplaceAll(L"https://https://host", L"https://", L""), L"host");
}

TEST(ReplaceAllTest, TheResultIsNotSearchedAgain)
{
    EXPECT_EQ(ReplaceAll("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(ReplaceAll("abab", "ab", "ba"), "baba");
    EXPECT_EQ(ReplaceAll("httphttps://s://", "https://", ""), "https://");
}

TEST(ReplaceAllTest, GoesFromLeftToRight)
{
    EXPECT_EQ(ReplaceAll("aaa", "aa", "b"), "ba");
}

TEST(ReplaceAllTest, AnEmptySearchTextOccursNowhere)
{
    EXPECT_EQ(ReplaceAll("abc", "", "x"), "abc");
}

TEST(ReplaceAllTest, NothingToReplaceChangesNothing)
{
    EXPECT_EQ(ReplaceAll("", "a", "b"), "");
    EXPECT_EQ(ReplaceAll("abc", "d", "e"), "abc");
}

TEST(ConstructAdjacentIpV4Test, GivesTheNextAddress)
{
    EXPECT_EQ(ConstructAdjacentIpV4(L"10.20.30.1"), L"10.20.30.2");
    EXPECT_EQ(ConstructAdjacentIpV4(L"10.20.30.253"), L"10.20.30.254");
}

TEST(ConstructAdjacentIpV4Test, AnAddressEndingIn254GivesTheOneEndingIn253)
{
    EXPECT_EQ(ConstructAdjacentIpV4(L"10.20.30.254"), L"10.20.30.253");
}

TEST(ConstructAdjacentIpV4Test, AnAddressEndingIn255Throws)
{
    EXPECT_THROW(ConstructAdjacentIpV4(L"10.20.30.255"), Shared::Exception::InvalidArgumentException);
}

TEST(ConstructAdjacentIpV4Test, TheTextOfTheExceptionNamesTheAddress)
{
    try
    {
        ConstructAdjacentIpV4(L"10.20.30.0");
        FAIL() << "no exception";
    }
    catch (const std::invalid_argument& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("IpV4 address is an unexpected IP: 10.20.30.0"));
    }
}

class UnexpectedAddressTest : public testing::TestWithParam<const wchar_t*>
{
};

TEST_P(UnexpectedAddressTest, Throws)
{
    EXPECT_THROW(ConstructAdjacentIpV4(GetParam()), std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(
    All,
    UnexpectedAddressTest,
    testing::Values(
        L"",
        L"10.20.30",
        L"10.20.30.1.1",
        L"10.20.30.",
        L"10.20.30.0",
        L"10.20.30.256",
        L"10.20.30.-1",
        L"10.20.30.+1",
        L"10.20.30.1a",
        L"10.20.30. 1",
        L"10.20.30.4294967297",
        L"10.20.30.99999999999999999999",
        L"fe80::1"));

TEST(GeneratePseudorandomIntTest, StaysInsideItsBounds)
{
    for (int i = 0; i < 500; ++i)
    {
        const auto number = GeneratePseudorandomInt(2, 20001);
        ASSERT_GE(number, 2);
        ASSERT_LE(number, 20001);
    }
}

TEST(GeneratePseudorandomIntTest, ReachesBothBounds)
{
    std::set<int> seen;
    for (int i = 0; i < 500 && seen.size() < 3; ++i)
    {
        seen.insert(GeneratePseudorandomInt(-1, 1));
    }
    EXPECT_THAT(seen, ElementsAre(-1, 0, 1));
}

TEST(GeneratePseudorandomIntTest, OneNumberIsAllThereIsToChooseFrom)
{
    EXPECT_EQ(GeneratePseudorandomInt(7, 7), 7);
}

TEST(GeneratePseudorandomIntTest, TheWholeRangeIsAllowed)
{
    using Limits = std::numeric_limits<std::int32_t>;
    std::set<int> seen;
    for (int i = 0; i < 20; ++i)
    {
        seen.insert(GeneratePseudorandomInt(Limits::min(), Limits::max()));
    }
    EXPECT_GT(seen.size(), 15U);
}

TEST(GeneratePseudorandomIntTest, CrossedBoundsGiveZero)
{
    EXPECT_EQ(GeneratePseudorandomInt(5, 4), 0);
}

} // namespace
