#include "shared.system-runtimedirectory.linux.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace
{

using Shared::System::ChooseRuntimeDirectory;
using Shared::System::GetRuntimeDirectory;
using testing::HasSubstr;

constexpr std::uint32_t Root = 0;
constexpr std::uint32_t User = 1000;

TEST(ChooseRuntimeDirectoryTest, TheGivenFolderCountsFirst)
{
    EXPECT_EQ(ChooseRuntimeDirectory("/run/given", "/run/user/1000", Root), "/run/given");
    EXPECT_EQ(ChooseRuntimeDirectory("/run/given", "/run/user/1000", User), "/run/given");
}

TEST(ChooseRuntimeDirectoryTest, OfSeveralGivenFoldersTheFirstCounts)
{
    EXPECT_EQ(ChooseRuntimeDirectory("/run/first:/run/second", nullptr, Root), "/run/first");
}

TEST(ChooseRuntimeDirectoryTest, SeparatorsAtTheEndAreDropped)
{
    EXPECT_EQ(ChooseRuntimeDirectory("/run/given//", nullptr, Root), "/run/given");
    EXPECT_EQ(ChooseRuntimeDirectory(nullptr, "/run/user/1000/", User), "/run/user/1000/tarvane-vel");
}

TEST(ChooseRuntimeDirectoryTest, WithoutAGivenFolderItDependsOnTheUser)
{
    EXPECT_EQ(ChooseRuntimeDirectory(nullptr, "/run/user/0", Root), "/run/tarvane-vel");
    EXPECT_EQ(ChooseRuntimeDirectory(nullptr, "/run/user/1000", User), "/run/user/1000/tarvane-vel");
    EXPECT_EQ(ChooseRuntimeDirectory(nullptr, nullptr, User), "/tmp/tarvane-vel-1000");
}

TEST(ChooseRuntimeDirectoryTest, WhatIsNoAbsolutePathIsPassedOver)
{
    EXPECT_EQ(ChooseRuntimeDirectory("relative", nullptr, Root), "/run/tarvane-vel");
    EXPECT_EQ(ChooseRuntimeDirectory("", "", User), "/tmp/tarvane-vel-1000");
    EXPECT_EQ(ChooseRuntimeDirectory(":/run/second", "relative", User), "/tmp/tarvane-vel-1000");
}

/// A folder of its own, and the environment put back behind it.
class RuntimeDirectoryTest : public testing::Test
{
protected:
    RuntimeDirectoryTest()
    {
        auto pattern = (std::filesystem::temp_directory_path() / "runtimedirectory-XXXXXX").string();
        m_folder = ::mkdtemp(pattern.data());
        if (const char* const before = std::getenv("RUNTIME_DIRECTORY"))
        {
            m_before = before;
        }
    }

    ~RuntimeDirectoryTest() override
    {
        if (m_before)
        {
            ::setenv("RUNTIME_DIRECTORY", m_before->c_str(), 1);
        }
        else
        {
            ::unsetenv("RUNTIME_DIRECTORY");
        }
        if (!HasFailure())
        {
            std::filesystem::remove_all(m_folder);
        }
    }

    std::string Path(const char* name) const
    {
        return (m_folder / name).string();
    }

    static void ExpectRefused(const std::string& path, const char* reason)
    {
        ::setenv("RUNTIME_DIRECTORY", path.c_str(), 1);
        try
        {
            GetRuntimeDirectory();
            FAIL() << "no exception";
        }
        catch (const std::runtime_error& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr("Runtime directory " + path + " " + reason));
        }
    }

private:
    std::filesystem::path m_folder;
    std::optional<std::string> m_before;
};

TEST_F(RuntimeDirectoryTest, AMissingFolderIsMadeForItsOwnerAlone)
{
    const auto path = Path("made");
    ::setenv("RUNTIME_DIRECTORY", path.c_str(), 1);
    EXPECT_EQ(GetRuntimeDirectory(), path);

    struct stat status
    {
    };

    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(RuntimeDirectoryTest, AnExistingFolderIsTakenAsItIs)
{
    const auto path = Path("there");
    ASSERT_EQ(::mkdir(path.c_str(), 0750), 0);
    ::setenv("RUNTIME_DIRECTORY", path.c_str(), 1);
    EXPECT_EQ(GetRuntimeDirectory(), path);
    EXPECT_EQ(GetRuntimeDirectory(), path);
}

TEST_F(RuntimeDirectoryTest, ASymbolicLinkIsRefused)
{
    ASSERT_EQ(::mkdir(Path("target").c_str(), 0700), 0);
    ASSERT_EQ(::symlink(Path("target").c_str(), Path("link").c_str()), 0);
    ExpectRefused(Path("link"), "is a symbolic link");
}

TEST_F(RuntimeDirectoryTest, ADanglingSymbolicLinkIsRefused)
{
    ASSERT_EQ(::symlink(Path("nothing").c_str(), Path("link").c_str()), 0);
    ExpectRefused(Path("link"), "is a symbolic link");
    EXPECT_FALSE(std::filesystem::exists(Path("nothing")));
}

TEST_F(RuntimeDirectoryTest, AFileIsRefused)
{
    std::fclose(std::fopen(Path("file").c_str(), "w"));
    ExpectRefused(Path("file"), "is no directory");
}

TEST_F(RuntimeDirectoryTest, AFolderOfAnotherUserIsRefused)
{
    if (::geteuid() != 0)
    {
        ExpectRefused("/usr", "belongs to another user");
        return;
    }
    ASSERT_EQ(::mkdir(Path("theirs").c_str(), 0700), 0);
    ASSERT_EQ(::chown(Path("theirs").c_str(), 65534, 65534), 0);
    ExpectRefused(Path("theirs"), "belongs to another user");
}

TEST_F(RuntimeDirectoryTest, AFolderThatEverybodyMayWriteToIsRefused)
{
    ASSERT_EQ(::mkdir(Path("open").c_str(), 0700), 0);
    ASSERT_EQ(::chmod(Path("open").c_str(), 01777), 0);
    ExpectRefused(Path("open"), "is writable for everybody");
}

TEST_F(RuntimeDirectoryTest, AFolderThatCannotBeMadeIsAFailureOfTheSystem)
{
    ::setenv("RUNTIME_DIRECTORY", Path("no/such/parent").c_str(), 1);
    EXPECT_THROW(GetRuntimeDirectory(), Shared::Exception::Win32Exception);
}

} // namespace
