#include "lab.scenario-reader.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::FindNearest;

const std::vector<std::string_view> Names = {"at", "count", "seconds"};

TEST(FindNearestTest, UpToTwoLettersMayBeWrong)
{
    EXPECT_EQ(FindNearest("secnods", Names), "seconds");
    EXPECT_EQ(FindNearest("second", Names), "seconds");
    EXPECT_EQ(FindNearest("cuont", Names), "count");
    EXPECT_EQ(FindNearest("minutes", Names), "");
}

TEST(FindNearestTest, ANameIsNotMeantByWhatHasNothingOfIt)
{
    EXPECT_EQ(FindNearest("xy", Names), "");
    EXPECT_EQ(FindNearest("", Names), "");
}

TEST(FindNearestTest, ALongTextMeansNothing)
{
    EXPECT_EQ(FindNearest(std::string(1'000'000, 'a'), Names), "");
}

TEST(QuoteTest, IsShortAndPrintable)
{
    EXPECT_EQ(Lab::Quote("a\"b\n"), "\"a\\\"b\\n\"");
    EXPECT_EQ(Lab::Quote(std::string(65, 'a')), "\"" + std::string(64, 'a') + "\"...");
}

} // namespace
