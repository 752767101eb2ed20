#include "shared.exception-errortext.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace
{

using namespace Shared::Exception;

TEST(LinuxErrorTextTest, AnErrnoHasItsDescriptionInEnglish)
{
    EXPECT_EQ(TranslateWin32Error(EACCES), "Permission denied");
    EXPECT_EQ(TranslateWin32Error(ENOENT), "No such file or directory");
    EXPECT_EQ(TranslateWin32Error(0), "Success");
}

TEST(LinuxErrorTextTest, TheAgentsOwnNumbersAreNotTakenForAnErrno)
{
    EXPECT_EQ(TranslateWin32Error(109), "The pipe has been ended.");
    EXPECT_EQ(TranslateWin32Error(234), "More data is available.");
    EXPECT_EQ(TranslateWin32Error(258), "The wait operation timed out.");
    EXPECT_EQ(TranslateWin32Error(259), "No more data is available.");
    EXPECT_EQ(TranslateWin32Error(997), "Overlapped I/O operation is in progress.");
}

TEST(LinuxErrorTextTest, ThereIsNoTableOfWinHttp)
{
    EXPECT_EQ(TranslateWin32Error(12000), "Failed to translate Win32 error code: 12000");
    EXPECT_EQ(TranslateWin32Error(12029), "Failed to translate Win32 error code: 12029");
    EXPECT_EQ(TranslateWin32Error(12192), "Failed to translate Win32 error code: 12192");
}

TEST(LinuxErrorTextTest, TheStatusesOfPipeOperationsHaveTexts)
{
    EXPECT_EQ(TranslateNtStatus(0xC000014B), "The pipe is broken: its other end has been closed.");
    EXPECT_EQ(TranslateNtStatus(0x00000103), "The operation that was requested is pending completion.");
    EXPECT_EQ(TranslateNtStatus(0x80000005), "The data was too large to fit into the specified buffer.");
    EXPECT_EQ(TranslateNtStatus(0xC0000120), "The operation was cancelled.");
}

} // namespace
