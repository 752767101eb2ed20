#include "shared.system-procfile.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.platform-errors.hpp"

#include <unistd.h>

namespace
{

using Shared::System::ReadProcFile;
using testing::HasSubstr;
using testing::Optional;

TEST(ProcFileTest, ReadsAFileThatTellsNoSize)
{
    EXPECT_THAT(ReadProcFile("/proc/self/status"), Optional(HasSubstr("Pid:\t" + std::to_string(::getpid()))));
}

TEST(ProcFileTest, AMissingFileIsNothingAndTheReasonIsKept)
{
    EXPECT_EQ(ReadProcFile("/proc/self/no-such-file"), std::nullopt);
    EXPECT_EQ(Shared::Platform::LastError(), static_cast<std::uint32_t>(ENOENT));
}

TEST(ProcFileTest, AFolderIsNothingAndTheReasonIsKept)
{
    EXPECT_EQ(ReadProcFile("/proc/self"), std::nullopt);
    EXPECT_EQ(Shared::Platform::LastError(), static_cast<std::uint32_t>(EISDIR));
}

TEST(ProcFileTest, AnEndlessFileIsCut)
{
    EXPECT_THAT(ReadProcFile("/dev/zero"), Optional(std::string(1U << 20U, '\0')));
}

TEST(ProcFileTest, AnEmptyFileIsAnEmptyText)
{
    EXPECT_THAT(ReadProcFile("/dev/null"), Optional(std::string{}));
}

} // namespace
