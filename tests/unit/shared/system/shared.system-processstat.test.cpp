#include "shared.system-processstat.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Shared::System::CpuTime;
using Shared::System::FromTicks;
using Shared::System::ParseProcessStat;
using Shared::System::ProcessStat;

/// The line of a process with that name and those fields: 14 and 15, 22, 24.
std::string MakeStat(
    const std::string& name,
    const std::string& user = "11",
    const std::string& kernel = "22",
    const std::string& start = "33",
    const std::string& pages = "44")
{
    return fmt::format(
        "4711 ({}) S 1 4711 4711 0 -1 4194560 2180 0 7 0 {} {} 5 6 20 0 1 0 {} 9256960 {} 18446744073709551615 1 1 0 0\n",
        name, user, kernel, start, pages);
}

TEST(ParseProcessStatTest, ReadsTimesAndMemory)
{
    EXPECT_EQ(ParseProcessStat(MakeStat("sleep")), (ProcessStat{11, 22, 33, 44}));
}

TEST(ParseProcessStatTest, TheNameMayHoldBlanksParenthesesAndLineEnds)
{
    for (const auto* const name : {"", "a b", ") S 1 2 3 4 5 6 7 8 9 10 99 99", "(x) (y", "a\nb", "))))"})
    {
        EXPECT_EQ(ParseProcessStat(MakeStat(name)), (ProcessStat{11, 22, 33, 44})) << name;
    }
}

TEST(ParseProcessStatTest, ATextThatWasCutIsNone)
{
    const auto whole = MakeStat("sleep");
    const auto lastField = whole.find(" 44 ");
    for (std::size_t length = 0; length <= lastField; ++length)
    {
        EXPECT_EQ(ParseProcessStat(whole.substr(0, length)), std::nullopt) << length;
    }
}

TEST(ParseProcessStatTest, ASenselessNumberIsNone)
{
    for (const auto* const number :
         {"-1", "x", "1x", "18446744073709551615", "18446744073709551616", "1099511627777", "0x1"})
    {
        EXPECT_EQ(ParseProcessStat(MakeStat("a", number)), std::nullopt) << number;
        EXPECT_EQ(ParseProcessStat(MakeStat("a", "1", number)), std::nullopt) << number;
        EXPECT_EQ(ParseProcessStat(MakeStat("a", "1", "1", number)), std::nullopt) << number;
        EXPECT_EQ(ParseProcessStat(MakeStat("a", "1", "1", "1", number)), std::nullopt) << number;
    }
}

TEST(ParseProcessStatTest, AnotherTextIsNone)
{
    EXPECT_EQ(ParseProcessStat(""), std::nullopt);
    EXPECT_EQ(ParseProcessStat("No such process\n"), std::nullopt);
    EXPECT_EQ(ParseProcessStat(")"), std::nullopt);
    EXPECT_EQ(ParseProcessStat("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25\n"), std::nullopt);
}

TEST(FromTicksTest, TicksBecomeTime)
{
    EXPECT_EQ(FromTicks(0, 100), CpuTime{0});
    EXPECT_EQ(FromTicks(1, 100), CpuTime{10ms});
    EXPECT_EQ(FromTicks(12'345, 100), CpuTime{123'450ms});
    EXPECT_EQ(FromTicks(1, 1), CpuTime{1s});
    EXPECT_EQ(FromTicks(1024, 1024), CpuTime{1s});
    EXPECT_EQ(FromTicks(1, 1024).count(), 9765);
}

TEST(FromTicksTest, WhatDoesNotFitIsTheLongestTime)
{
    EXPECT_EQ(FromTicks(std::numeric_limits<std::uint64_t>::max(), 1), CpuTime::max());
    EXPECT_EQ(FromTicks(std::numeric_limits<std::uint64_t>::max(), 100), CpuTime::max());
}

} // namespace
