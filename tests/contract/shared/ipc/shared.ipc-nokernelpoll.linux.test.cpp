// The same contract where the kernel does not poll for others, as in some containers: all of this program's other tests
// once more, in a process from which the kernel's asynchronous I/O is taken.

#include "test.support-temporaryfolder.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

bool RefuseAsynchronousIo() noexcept
{
    std::array<sock_filter, 4> program = {
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_io_setup, 0, 1),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter, 0, 0) == 0;
}

/// In the new process: only what is safe there.
[[noreturn]] void RunTheRest(const char* output, const char* filter)
{
    constexpr int Failed = 99;
    const int file = ::open(output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || ::dup2(file, 1) < 0 || ::dup2(file, 2) < 0 || !RefuseAsynchronousIo())
    {
        ::_exit(Failed);
    }
    ::execl("/proc/self/exe", "shared-ipc-contract", filter, "--gtest_color=no", nullptr);
    ::_exit(Failed);
}

} // namespace

TEST(NoKernelPollTest, TheWholeContractHoldsWithoutTheKernelsHelp)
{
    const TestSupport::TemporaryFolder folder;
    const std::string output = (folder.Path() / "output.txt").string();
    // What needs privileges is lost with the filter, and what is large is the same either way.
    const char* const filter = "--gtest_filter=-NoKernelPollTest.*:PipeAccountTest.*:*FarLarger*:*SixtyFour*";
    const pid_t child = ::fork();
    if (child == 0)
    {
        RunTheRest(output.c_str(), filter);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << TestSupport::ReadFile(output);
    EXPECT_NE(TestSupport::ReadFile(output).find("[  PASSED  ]"), std::string::npos);
}
