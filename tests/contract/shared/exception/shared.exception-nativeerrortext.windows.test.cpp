#include "shared.exception-nativeerrortext.hpp"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "shared.exception-errortext.hpp"
#include "test.support-wine.hpp"

#include "shared.platform-windows.windows.hpp"

namespace
{

using namespace Shared::Exception;

TEST(WindowsErrorTextTest, TheSystemsTextIsTheOneWithoutItsLineEnd)
{
    const std::string raw = Native::SystemErrorText(ERROR_ACCESS_DENIED);
    const std::string text = TranslateWin32Error(ERROR_ACCESS_DENIED);

    ASSERT_FALSE(text.empty());
    EXPECT_EQ(raw, text + "\r\n");
}

TEST(WindowsErrorTextTest, NtdllCanBeOpenedForItsTable)
{
    EXPECT_TRUE(Native::NtStatusText(0xC0000005).has_value());
}

TEST(WindowsErrorTextTest, AMissingTableIsAnOrdinaryFailure)
{
    if (!TestSupport::IsWine())
    {
        GTEST_SKIP() << "Windows has the tables; that they can be missing shows only under Wine";
    }
    EXPECT_EQ(TranslateWin32Error(12029), "Failed to translate Win32 error code: 12029");
    EXPECT_EQ(TranslateNtStatus(0xC0000005), "Failed to translate Win32 error code: 3221225477");
}

TEST(WindowsErrorTextTest, AWinHttpCodeComesFromItsTableAndNotFromTheSystems)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's winhttp.dll has no message table";
    }
    for (const std::uint32_t code : {12002U, 12007U, 12029U, 12175U})
    {
        EXPECT_FALSE(Native::WinHttpErrorText(code).empty()) << code;
        EXPECT_EQ(TranslateWin32Error(code).find("Failed to translate"), std::string::npos) << code;
        EXPECT_TRUE(Native::SystemErrorText(code).empty()) << code;
    }
}

TEST(WindowsErrorTextTest, AStatusComesFromTheTableOfNtdll)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's ntdll.dll has no message table";
    }
    EXPECT_EQ(TranslateNtStatus(0xC000014B).find("Failed to translate"), std::string::npos);
}

} // namespace
