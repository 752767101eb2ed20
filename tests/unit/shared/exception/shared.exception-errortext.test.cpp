#include "shared.exception-errortext.hpp"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace
{

using namespace Shared::Exception;

TEST(TranslateWin32ErrorTest, ACodeWithoutATextGivesTheFailureTextAndTheNumber)
{
    EXPECT_EQ(TranslateWin32Error(0xE0001234), "Failed to translate Win32 error code: 3758101044");
    EXPECT_EQ(TranslateWin32Error(123456), "Failed to translate Win32 error code: 123456");
}

TEST(TranslateWin32ErrorTest, NoTextEndsInALineEnd)
{
    for (std::uint32_t code = 0; code < 1200; ++code)
    {
        const std::string text = TranslateWin32Error(code);
        ASSERT_FALSE(text.empty()) << code;
        ASSERT_EQ(text.find_last_not_of("\r\n"), text.size() - 1) << code;
    }
}

TEST(TranslateWin32ErrorTest, WinHttpCodesAreNotLookedUpInTheSystemsTable)
{
    // The neighbours of the range belong to the system, and no system has a text for these two.
    EXPECT_EQ(TranslateWin32Error(11999), "Failed to translate Win32 error code: 11999");
    EXPECT_EQ(TranslateWin32Error(12193), "Failed to translate Win32 error code: 12193");
    // Codes in the range that WinHTTP does not use.
    EXPECT_EQ(TranslateWin32Error(12140), "Failed to translate Win32 error code: 12140");
}

TEST(TranslateNtStatusTest, AStatusWithoutATextGivesTheFailureTextAndTheNumber)
{
    EXPECT_EQ(TranslateNtStatus(0xE0001234), "Failed to translate Win32 error code: 3758101044");
}

} // namespace
