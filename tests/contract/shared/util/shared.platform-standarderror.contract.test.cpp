#include "shared.platform-standarderror.hpp"

#include <cstdio>
#include <cwchar>
#include <iostream>
#include <ostream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "contract.capturedstandarderror.hpp"

namespace
{

using Shared::Platform::PrintToStandardError;

TEST(PrintToStandardErrorContract, WideTextArrivesAsUtf8)
{
    Contract::CapturedStandardError captured;
    PrintToStandardError(std::wstring_view{L"Gr\u00FC\u00DFe \u65E5\u672C\n"});
    EXPECT_EQ(
        captured.Finish(),
        "Gr\xC3\xBC\xC3\x9F"
        "e \xE6\x97\xA5\xE6\x9C\xAC\n");
}

TEST(PrintToStandardErrorContract, NarrowTextArrivesAsItIs)
{
    Contract::CapturedStandardError captured;
    PrintToStandardError(std::string_view{"Gr\xC3\xBC\xC3\x9F"
                                          "e\n"});
    EXPECT_EQ(
        captured.Finish(),
        "Gr\xC3\xBC\xC3\x9F"
        "e\n");
}

TEST(PrintToStandardErrorContract, NarrowLinesStillArriveBehindAWideOne)
{
    Contract::CapturedStandardError captured;
    PrintToStandardError(std::wstring_view{L"first\n"});
    std::fprintf(stderr, "second\n");
    std::fflush(stderr);
    std::cerr << "third\n" << std::flush;
    EXPECT_TRUE(std::cerr.good());
    EXPECT_LE(std::fwide(stderr, 0), 0);
    EXPECT_EQ(captured.Finish(), "first\nsecond\nthird\n");
}

TEST(PrintToStandardErrorContract, EmptyTextWritesNothing)
{
    Contract::CapturedStandardError captured;
    PrintToStandardError(std::wstring_view{});
    PrintToStandardError(std::string_view{});
    EXPECT_EQ(captured.Finish(), "");
}

TEST(PrintToStandardErrorContract, LoneSurrogatesAreDropped)
{
    Contract::CapturedStandardError captured;
    PrintToStandardError(std::wstring{L"a"} + static_cast<wchar_t>(0xD800) + L"b");
    EXPECT_EQ(captured.Finish(), "ab");
}

} // namespace
