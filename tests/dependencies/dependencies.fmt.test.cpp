#include <iterator>
#include <string>
#include <string_view>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gtest/gtest.h>

TEST(FmtTest, FormatsNumbersTextsAndPlaces)
{
    EXPECT_EQ(fmt::format("{:+} {:08x} {:>5} {{}}", 60, 0xC0000005U, "ab"), "+60 c0000005    ab {}");
}

TEST(FmtTest, FormatsWideText)
{
    EXPECT_EQ(fmt::format(L"{}\\{}", L"SOFTWARE", 7), L"SOFTWARE\\7");
}

TEST(FmtTest, AFormatOfTheRunThatDoesNotFitThrows)
{
    const std::string_view wrong = "{} {}";
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime(wrong), 1)), fmt::format_error);
}

TEST(FmtTest, FormatsTime)
{
    EXPECT_EQ(fmt::format("{:%H:%M:%S}", std::chrono::seconds{3725}), "01:02:05");
}
