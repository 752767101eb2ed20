#include "shared.util-numbers.hpp"

#include <cstdint>

#include <gtest/gtest.h>

namespace
{

using Shared::Util::ParseNumber;

TEST(ParseNumberTest, ReadsWholeNumbersUpToTheLimitsOfTheirType)
{
    EXPECT_EQ(ParseNumber<std::uint32_t>("0"), 0U);
    EXPECT_EQ(ParseNumber<std::uint32_t>("0042"), 42U);
    EXPECT_EQ(ParseNumber<std::uint32_t>("4294967295"), 4294967295U);
    EXPECT_EQ(ParseNumber<std::int64_t>("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(ParseNumber<std::uint64_t>("18446744073709551615"), UINT64_MAX);
}

TEST(ParseNumberTest, AnotherTextIsNone)
{
    for (const auto* const text : {"", " ", " 1", "1 ", "1\n", "+1", "-1", "1x", "0x1", "1.0", "4294967296"})
    {
        EXPECT_EQ(ParseNumber<std::uint32_t>(text), std::nullopt) << text;
    }
}

} // namespace
