#include "lab.tools-numbers.hpp"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Tools::ParseSeconds;
using Lab::Tools::ParseTarget;
using Lab::Tools::ParseWhole;

std::string ProblemWith(const std::string& text)
{
    try
    {
        (void)ParseWhole("-n", text, 1, 10);
    }
    catch (const std::invalid_argument& problem)
    {
        return problem.what();
    }
    return {};
}

TEST(ToolNumbersTest, WholeNumbersHaveLimits)
{
    EXPECT_EQ(ParseWhole("-n", "1", 1, 10), 1U);
    EXPECT_EQ(ParseWhole("-n", "10", 1, 10), 10U);
    for (const char* const text : {"", "0", "11", "-1", "+1", " 1", "1 ", "1.0", "0x1", "99999999999999999999"})
    {
        EXPECT_THROW((void)ParseWhole("-n", text, 1, 10), std::invalid_argument) << text;
    }
}

TEST(ToolNumbersTest, AWrongTextIsShownButNotAllOfItAndNothingThatATerminalObeys)
{
    EXPECT_EQ(ProblemWith("x\x1B[2J"), "-n is a whole number from 1 to 10, not \"x?[2J\"");
    EXPECT_LT(ProblemWith(std::string(10'000, 'x')).size(), 200U);
}

TEST(ToolNumbersTest, SecondsMayHaveDecimals)
{
    EXPECT_EQ(ParseSeconds("-w", "5"), 5s);
    EXPECT_EQ(ParseSeconds("-w", "0.25"), 250ms);
    EXPECT_EQ(ParseSeconds("-w", "5.000000"), 5s);
    for (const char* const text : {"", "0", "-1", "nan", "inf", "1e9", "1s", "1,5"})
    {
        EXPECT_THROW((void)ParseSeconds("-w", text), std::invalid_argument) << text;
    }
}

TEST(ToolNumbersTest, ATargetIsNeverAnOption)
{
    EXPECT_EQ(ParseTarget("host.example"), "host.example");
    EXPECT_EQ(ParseTarget("192.0.2.1"), "192.0.2.1");
    for (const char* const text : {"", "-x", "--help", "a b", "a\nb", "h\xC3\xB6st"})
    {
        EXPECT_THROW((void)ParseTarget(text), std::invalid_argument) << text;
    }
    EXPECT_THROW((void)ParseTarget(std::string(256, 'x')), std::invalid_argument);
}

} // namespace
