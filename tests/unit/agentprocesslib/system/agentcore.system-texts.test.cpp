#include "agentcore.system-texts.hpp"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace
{

namespace Texts = AgentCore::System::Texts;

TEST(TextsTest, TrimmingTakesBlanksTabulatorsAndLineEndsOffBothEnds)
{
    EXPECT_EQ(Texts::Trim(" \t a b \r\n"), "a b");
    EXPECT_EQ(Texts::Trim(" \n"), "");
    EXPECT_EQ(Texts::Trim(""), "");
}

TEST(TextsTest, LinesAreTakenOneByOneWithoutTheirEnds)
{
    std::string_view text = "a\n\nb";
    EXPECT_EQ(Texts::TakeLine(text), "a");
    EXPECT_EQ(Texts::TakeLine(text), "");
    EXPECT_EQ(Texts::TakeLine(text), "b");
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(Texts::TakeLine(text), "");
}

TEST(TextsTest, WordsAreTakenOneByOneWhateverLiesBetweenThem)
{
    std::string_view line = " \ta  b";
    EXPECT_EQ(Texts::TakeWord(line), "a");
    EXPECT_EQ(Texts::TakeWord(line), "b");
    EXPECT_EQ(Texts::TakeWord(line), "");
    EXPECT_TRUE(line.empty());
}

TEST(TextsTest, ALineIsSplitAtItsFirstSeparator)
{
    const auto sides = Texts::SplitAt(':', " name\t: value: more ");
    ASSERT_TRUE(sides);
    EXPECT_EQ(sides->name, "name");
    EXPECT_EQ(sides->value, "value: more");
    EXPECT_FALSE(Texts::SplitAt(':', "name"));
}

TEST(TextsTest, ANumberIsTheWholeOfItsText)
{
    EXPECT_EQ(Texts::ParseNumber<std::uint32_t>(" 42\n"), 42U);
    EXPECT_EQ(Texts::ParseNumber<std::int32_t>("-1"), -1);
    for (const auto* const text : {"", " ", "42a", "4 2", "+42", "0x2A", "-1", "4294967296"})
    {
        EXPECT_FALSE(Texts::ParseNumber<std::uint32_t>(text)) << text;
    }
    EXPECT_EQ(Texts::ParseNumber<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
}

} // namespace
