#include "shared.log-logfile.hpp"

#include <cstdio>
#include <memory>

#include <gtest/gtest.h>

#include "test.support-temporaryfolder.hpp"

#include <fcntl.h>

namespace
{

TEST(LinuxLogFileTest, NoChildInheritsTheStream)
{
    const TestSupport::TemporaryFolder folder;
    std::FILE* const stream = std::fopen((folder.Path() / "agent.log").c_str(), "ab");
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(::fcntl(::fileno(stream), F_GETFD) & FD_CLOEXEC, 0);

    Shared::Log::LogFile::KeepFromChildren(stream);

    EXPECT_EQ(::fcntl(::fileno(stream), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(std::fclose(stream), 0);
}

} // namespace
