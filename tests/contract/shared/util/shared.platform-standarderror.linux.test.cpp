#include "shared.platform-standarderror.hpp"

#include <cerrno>
#include <string_view>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace
{

using Shared::Platform::PrintToStandardError;

TEST(StandardErrorTest, WithoutAStreamTheTextIsLostAndTheLastErrorIsKept)
{
    const int before = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    ::close(STDERR_FILENO);
    errno = EXDEV;
    PrintToStandardError(std::wstring_view{L"lost"});
    const int afterWide = errno;
    errno = EXDEV;
    PrintToStandardError(std::string_view{"lost"});
    const int afterNarrow = errno;
    ::dup2(before, STDERR_FILENO);
    ::close(before);
    EXPECT_EQ(afterWide, EXDEV);
    EXPECT_EQ(afterNarrow, EXDEV);
}

} // namespace
