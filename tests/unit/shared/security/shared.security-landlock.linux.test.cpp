#include "shared.security-landlock.linux.hpp"

#include "shared.platform-errors.hpp"
#include "test.support-temporaryfolder.hpp"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using Shared::Security::GetLandlockVersion;
using Shared::Security::MakeLowIntegrityRuleset;
using TestSupport::TemporaryFolder;

namespace
{

class LowIntegrityTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (GetLandlockVersion() == 0)
        {
            GTEST_SKIP() << "this kernel has no Landlock";
        }
        ::mkdir(Bin().c_str(), 0755);
        m_ruleset = MakeLowIntegrityRuleset(Bin());
        ASSERT_GE(m_ruleset, 0) << Shared::Platform::LastError();
    }

    void TearDown() override
    {
        ::close(m_ruleset);
    }

    std::string Bin() const
    {
        return (m_folder.Path() / "bin").string();
    }

    const TemporaryFolder& Folder() const
    {
        return m_folder;
    }

    /// What `question` says in a process under the ruleset: 0 for yes.
    template <typename Question>
    bool Holds(Question question)
    {
        const pid_t copy = ::fork();
        if (copy == 0)
        {
            ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
            const bool isUnder = ::syscall(SYS_landlock_restrict_self, m_ruleset, 0) == 0;
            ::_exit(isUnder && question() ? 0 : 1);
        }
        int status = 1;
        ::waitpid(copy, &status, 0);
        return status == 0;
    }

private:
    TemporaryFolder m_folder;
    int m_ruleset = -1;
};

bool CanOpen(const std::string& path, int flags)
{
    return ::open(path.c_str(), flags | O_CLOEXEC, 0600) >= 0;
}

bool IsDenied(const std::string& path, int flags)
{
    return !CanOpen(path, flags) && errno == EACCES;
}

} // namespace

TEST_F(LowIntegrityTest, WhatBelongsToTheSystemCanBeRead)
{
    EXPECT_TRUE(Holds([] { return CanOpen("/etc/passwd", O_RDONLY) && CanOpen("/usr", O_RDONLY | O_DIRECTORY); }));
    EXPECT_TRUE(Holds([] { return CanOpen("/proc/self/status", O_RDONLY); }));
    EXPECT_TRUE(Holds([] { return CanOpen("/dev/urandom", O_RDONLY); }));
}

TEST_F(LowIntegrityTest, ProgramsOfTheSystemCanBeRun)
{
    EXPECT_TRUE(Holds([] { return ::execl("/bin/true", "true", nullptr) == 0; }));
}

TEST_F(LowIntegrityTest, FilesOfTheFolderBinCanBeReadAndNotWritten)
{
    const std::string file = Bin() + "/data";
    TestSupport::WriteFile(file, "x");
    EXPECT_TRUE(Holds([&] { return CanOpen(file, O_RDONLY); }));
    EXPECT_TRUE(Holds([&] { return IsDenied(file, O_WRONLY); }));
    EXPECT_TRUE(Holds([&] { return IsDenied(Bin() + "/new", O_WRONLY | O_CREAT); }));
}

TEST_F(LowIntegrityTest, OtherFilesCanNeitherBeReadNorWrittenNorRemoved)
{
    const std::string file = (Folder().Path() / "file").string();
    TestSupport::WriteFile(file, "x");
    EXPECT_TRUE(Holds([&] { return IsDenied(file, O_RDONLY); }));
    EXPECT_TRUE(Holds([&] { return IsDenied(file, O_WRONLY); }));
    EXPECT_TRUE(Holds([&] { return ::unlink(file.c_str()) != 0 && errno == EACCES; }));
    EXPECT_TRUE(Holds([&] { return ::mkdir((file + ".d").c_str(), 0700) != 0 && errno == EACCES; }));
}

TEST_F(LowIntegrityTest, ProgramsOfOtherFoldersCannotBeRun)
{
    const std::string program = (Folder().Path() / "program").string();
    TestSupport::WriteFile(program, "#!/bin/sh\nexit 0\n");
    ::chmod(program.c_str(), 0755);
    EXPECT_TRUE(Holds([&] { return ::execl(program.c_str(), "program", nullptr) != 0 && errno == EACCES; }));
}

TEST_F(LowIntegrityTest, TheDeviceThatSwallowsEverythingCanBeWritten)
{
    EXPECT_TRUE(Holds([] { return CanOpen("/dev/null", O_WRONLY | O_CREAT | O_TRUNC); }));
    EXPECT_TRUE(Holds([] { return IsDenied("/dev/shm/vel-test", O_WRONLY | O_CREAT); }));
}

TEST_F(LowIntegrityTest, NoSignalReachesAProcessOutside)
{
    constexpr int VersionWithScope = 6;
    if (GetLandlockVersion() < VersionWithScope)
    {
        GTEST_SKIP() << "this kernel's Landlock does not know signals";
    }
    const pid_t outside = ::getpid();
    EXPECT_TRUE(Holds([outside] { return ::kill(outside, 0) != 0 && errno == EPERM; }));
}

TEST(LandlockTest, TheRulesetOfTheProcessIsMadeOnce)
{
    EXPECT_EQ(Shared::Security::GetLowIntegrityRuleset(), Shared::Security::GetLowIntegrityRuleset());
    EXPECT_EQ(Shared::Security::GetLowIntegrityRuleset() >= 0, GetLandlockVersion() > 0);
}

TEST(LandlockTest, AFolderThatIsNotThereIsLeftOut)
{
    if (GetLandlockVersion() == 0)
    {
        GTEST_SKIP() << "this kernel has no Landlock";
    }
    const int ruleset = MakeLowIntegrityRuleset("/no/such/folder");
    EXPECT_GE(ruleset, 0);
    ::close(ruleset);
}
