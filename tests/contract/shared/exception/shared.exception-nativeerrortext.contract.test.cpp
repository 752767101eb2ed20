#include "shared.exception-nativeerrortext.hpp"

#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "shared.exception-errortext.hpp"
#include "shared.platform-errors.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace Shared::Exception;
using namespace Shared::Platform;

TEST(NativeErrorTextTest, EveryErrorNumberOfTheAgentHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (const std::uint32_t code :
         {ErrorCode::BrokenPipe, ErrorCode::MoreData, ErrorCode::WaitTimeout, ErrorCode::IoPending})
    {
        if (code == ErrorCode::WaitTimeout && TestSupport::IsWine())
        {
            continue; // Wine's table has none for this one
        }
        const std::string text = Native::SystemErrorText(code);
        EXPECT_FALSE(text.empty()) << code;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
}

TEST(NativeErrorTextTest, CommonErrorsOfThePlatformHaveATextOfTheirOwn)
{
    // 2 and 5 are errors of both platforms, though not the same ones.
    EXPECT_FALSE(Native::SystemErrorText(2).empty());
    EXPECT_FALSE(Native::SystemErrorText(5).empty());
    EXPECT_NE(Native::SystemErrorText(2), Native::SystemErrorText(5));
}

TEST(NativeErrorTextTest, ACodeThatNobodyHasGivesNone)
{
    EXPECT_EQ(Native::SystemErrorText(0xE0001234), "");
    EXPECT_EQ(Native::WinHttpErrorText(12140), "");
    EXPECT_EQ(Native::NtStatusText(0xE0001234), "");
}

TEST(NativeErrorTextTest, LeavesTheLastErrorAsItWas)
{
    const std::uint32_t before = LastError();

    TranslateWin32Error(5);
    TranslateWin32Error(123456);
    TranslateWin32Error(12029);
    TranslateNtStatus(0xC0000005);

    EXPECT_EQ(LastError(), before);
}

TEST(NativeErrorTextTest, ManyThreadsTranslateAtOnce)
{
    const std::string expected = TranslateWin32Error(2) + TranslateWin32Error(12029) + TranslateNtStatus(0xC000014B);
    std::vector<std::thread> threads;
    std::vector<int> differing(4, 0);
    for (int& mine : differing)
    {
        threads.emplace_back(
            [&mine, &expected]
            {
                for (int i = 0; i < 50; ++i)
                {
                    const std::string text =
                        TranslateWin32Error(2) + TranslateWin32Error(12029) + TranslateNtStatus(0xC000014B);
                    mine += text == expected ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(differing, std::vector<int>(4, 0));
}

} // namespace
