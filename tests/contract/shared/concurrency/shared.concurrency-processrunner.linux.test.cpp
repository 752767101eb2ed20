#include "shared.concurrency-processrunner.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-job.hpp"
#include "shared.concurrency-nativeprocess.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using Contract::AwaitGone;
using Contract::NumberIn;
using Contract::ReadToEnd;
using Contract::ReadUntil;
using Contract::ReadUntilNumber;
using Contract::Report;
using Contract::RunTool;
using Contract::ToolRunner;
using Shared::Concurrency::Process;
using Shared::Concurrency::ProcessDescription;
using Shared::Concurrency::ProcessRunner;
using Shared::Concurrency::WaitFor;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::Win32Text;

namespace
{

std::vector<int> OwnDescriptors()
{
    std::vector<int> found;
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
    {
        if (::fcntl(descriptor, F_GETFD) >= 0)
        {
            found.push_back(descriptor);
        }
    }
    return found;
}

/// Those who have this process as their parent.
std::vector<std::uint32_t> ChildrenOf(std::uint32_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(process) + "/children");
    return {std::istream_iterator<std::uint32_t>(file), std::istream_iterator<std::uint32_t>()};
}

std::uint32_t ParentOf(std::uint32_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
    {
        if (line.starts_with("PPid:"))
        {
            return static_cast<std::uint32_t>(std::stoul(line.substr(5)));
        }
    }
    return 0;
}

/// Those that have no children any more.
bool AwaitChildless(const std::vector<std::uint32_t>& processes)
{
    const auto isChildless = [](std::uint32_t process)
    {
        return ChildrenOf(process).empty();
    };
    for (const TestSupport::Stopwatch watch; watch.ElapsedMs() < LimitMs;)
    {
        if (std::all_of(processes.begin(), processes.end(), isChildless))
        {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

/// The end from which a started runner reads: it has one such pipe.
int ReadingEnd(const std::vector<int>& before)
{
    for (const int descriptor : OwnDescriptors())
    {
        struct stat status = {};
        const bool isNew = std::find(before.begin(), before.end(), descriptor) == before.end();
        if (isNew && ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode) &&
            (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY)
        {
            return descriptor;
        }
    }
    return -1;
}

/// From now on this process cannot compare descriptors, as in many a container.
bool ForbidComparing()
{
    std::array<sock_filter, 4> program = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_kcmp, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Whether `isRight` is so in a copy of this process.
template <typename Question>
bool HoldsInACopy(Question isRight)
{
    const pid_t copy = ::fork();
    if (copy == 0)
    {
        bool answer = false;
        try
        {
            answer = isRight();
        }
        catch (const std::exception&)
        {
            answer = false;
        }
        ::_exit(answer ? 0 : 1);
    }
    int status = -1;
    return ::waitpid(copy, &status, 0) == copy && status == 0;
}

/// A descriptor that exec would leave open, as a careless library has it.
class LeakyDescriptor
{
public:
    LeakyDescriptor() = default;
    LeakyDescriptor(const LeakyDescriptor&) = delete;
    LeakyDescriptor& operator=(const LeakyDescriptor&) = delete;

    ~LeakyDescriptor()
    {
        ::close(m_descriptor);
    }

    int Number() const noexcept
    {
        return m_descriptor;
    }

private:
    int m_descriptor = ::open("/dev/null", O_RDONLY);
};

/// Leaves this process as many descriptors to open as it is told.
class ScarceDescriptors
{
public:
    explicit ScarceDescriptors(std::size_t free)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        // Numbers are given from the lowest on, so what counts is the first gaps.
        std::vector<int> fillers;
        int highest = 0;
        for (std::size_t i = 0; i < free; ++i)
        {
            fillers.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            highest = std::max(highest, fillers.back());
        }
        for (const int filler : fillers)
        {
            ::close(filler);
        }
        const rlimit scarce = {static_cast<rlim_t>(highest) + 1, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &scarce);
    }

    ScarceDescriptors(const ScarceDescriptors&) = delete;
    ScarceDescriptors& operator=(const ScarceDescriptors&) = delete;

    ~ScarceDescriptors()
    {
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

private:
    rlimit m_before{};
};

} // namespace

TEST(ChildOfLinuxTest, AToolHasThreeDescriptorsAndNoMore)
{
    const LeakyDescriptor leak;
    EXPECT_EQ(Report(RunTool({L"--report"})).One("descriptors"), "0,1,2");
}

TEST(ChildOfLinuxTest, AHelperThatInheritsGetsWhatIsInheritableUnderItsNumber)
{
    const LeakyDescriptor leak;
    const int high = ::fcntl(leak.Number(), F_DUPFD, 700);
    for (const bool inherits : {false, true})
    {
        ProcessDescription description;
        description.executablePath = Contract::ProbeTool;
        description.inheritHandles = inherits;
        description.commandLine = L"probe --is-handle=" + std::to_wstring(high + 1);
        Process process(description);
        process.Start();
        ASSERT_TRUE(WaitFor(process.GetProcessHandle(), LimitMs));
        EXPECT_EQ(process.GetProcessExitCode(), inherits ? 0U : 1U);
    }
    ::close(high);
}

TEST(ChildOfLinuxTest, ManyInheritedDescriptorsKeepTheirNumbersWhateverTheirOrder)
{
    // Some of them under the very numbers under which they arrive in the process that starts the child.
    std::vector<int> descriptors;
    for (int number = 4; number < 60; ++number)
    {
        if (::fcntl(number, F_GETFD) < 0)
        {
            ::dup2(::fcntl(0, F_GETFD) < 0 ? 2 : 0, number);
            descriptors.push_back(number);
        }
    }
    ASSERT_FALSE(descriptors.empty());
    ProcessDescription description;
    description.executablePath = Contract::ProbeTool;
    description.inheritHandles = true;
    description.commandLine = L"probe --is-handle=" + std::to_wstring(descriptors.back() + 1);
    Process process(description);
    process.Start();
    for (const int descriptor : descriptors)
    {
        ::close(descriptor);
    }
    ASSERT_TRUE(WaitFor(process.GetProcessHandle(), LimitMs));
    EXPECT_EQ(process.GetProcessExitCode(), 0U);
}

TEST(ChildOfLinuxTest, SignalsAreAsTheSystemHasThemWhateverTheStarterIgnoresOrBlocks)
{
    std::string output;
    std::thread starter(
        [&output]
        {
            ::signal(SIGPIPE, SIG_IGN);
            sigset_t some;
            ::sigemptyset(&some);
            ::sigaddset(&some, SIGTERM);
            ::sigaddset(&some, SIGINT);
            ::pthread_sigmask(SIG_BLOCK, &some, nullptr);
            output = RunTool({L"--report"});
        });
    starter.join();
    ::signal(SIGPIPE, SIG_DFL);
    const Report report(output);
    EXPECT_EQ(report.One("signals.blocked"), "0000000000000000");
    EXPECT_EQ(report.One("signals.ignored"), "0000000000000000");
}

TEST(ChildOfLinuxTest, OnlyListedVariablesOfTheEnvironmentReachTheTool)
{
    ::setenv("A_SECRET_OF_THE_AGENT", "1", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    const std::vector<std::string> environment = Report(RunTool({L"--report"})).Texts("environment");
    ::unsetenv("A_SECRET_OF_THE_AGENT");
    ::unsetenv("LC_ALL");
    EXPECT_THAT(environment, testing::Contains("LC_ALL=C.UTF-8"));
    EXPECT_THAT(environment, testing::Contains(testing::StartsWith("PATH=")));
    EXPECT_THAT(environment, testing::Contains(testing::StartsWith("RUNTIME_DIRECTORY=/")));
    EXPECT_THAT(environment, testing::Not(testing::Contains(testing::StartsWith("A_SECRET"))));
}

TEST(ChildOfLinuxTest, AToolLivesOnWhenTheThreadThatStartedItEnds)
{
    ToolRunner runner({L"--hang"});
    std::thread([&runner] { runner.Start(); }).join();
    ReadUntil(runner, "ready");
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
}

TEST(ChildOfLinuxTest, ToolsCanBeStartedByManyThreadsAtOnce)
{
    std::vector<std::thread> starters;
    std::vector<std::uint32_t> codes(8);
    for (std::uint32_t i = 0; i < codes.size(); ++i)
    {
        starters.emplace_back(
            [i, &codes]
            {
                for (int round = 0; round < 5; ++round)
                {
                    ToolRunner runner({L"--exit=" + std::to_wstring(i + 10)});
                    runner.Start();
                    WaitFor(runner.GetProcessHandle(), LimitMs);
                    std::string output;
                    codes[i] = runner.GetFinalExitCode(output);
                }
            });
    }
    for (std::thread& starter : starters)
    {
        starter.join();
    }
    for (std::uint32_t i = 0; i < codes.size(); ++i)
    {
        EXPECT_EQ(codes[i], i + 10);
    }
}

TEST(ChildOfLinuxTest, AHundredStartsLeaveNoDescriptorAndNoProcessBehind)
{
    RunTool({L"--exit=0"});
    const std::vector<int> before = OwnDescriptors();
    const std::vector<std::uint32_t> keepers = ChildrenOf(static_cast<std::uint32_t>(::getpid()));
    for (int i = 0; i < 100; ++i)
    {
        ToolRunner runner({i % 2 == 0 ? L"--exit=0" : L"--hang"});
        runner.Start();
        if (i % 2 == 0)
        {
            WaitFor(runner.GetProcessHandle(), LimitMs);
        }
    }
    EXPECT_EQ(OwnDescriptors(), before);
    // Those who keep the children, and have none left.
    EXPECT_EQ(ChildrenOf(static_cast<std::uint32_t>(::getpid())), keepers);
    EXPECT_TRUE(AwaitChildless(keepers));
}

TEST(ChildOfLinuxTest, AClosedRunnerHoldsNoDescriptor)
{
    RunTool({L"--exit=0"});
    const std::vector<int> before = OwnDescriptors();
    ToolRunner runner({L"--hang"});
    runner.Start();
    EXPECT_NE(OwnDescriptors(), before);
    runner.Close();
    EXPECT_EQ(OwnDescriptors(), before);
}

TEST(ChildOfLinuxTest, HoweverFewDescriptorsThereAreAFailedStartLeavesNothingBehind)
{
    if (TestSupport::IsAddressSanitized || TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    }
    RunTool({L"--exit=0"});
    const std::vector<int> before = OwnDescriptors();
    const std::vector<std::uint32_t> keepers = ChildrenOf(static_cast<std::uint32_t>(::getpid()));
    std::size_t failures = 0;
    bool isStarted = false;
    for (std::size_t free = 0; !isStarted && free < 50; ++free)
    {
        const ScarceDescriptors scarce(free);
        try
        {
            ToolRunner runner({L"--hang"});
            isStarted = runner.Start();
        }
        catch (const Shared::Exception::Win32Exception& exception)
        {
            EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(EMFILE)) << exception.what();
            ++failures;
        }
    }
    EXPECT_TRUE(isStarted);
    EXPECT_GT(failures, 8U);
    EXPECT_EQ(OwnDescriptors(), before);
    EXPECT_EQ(ChildrenOf(static_cast<std::uint32_t>(::getpid())), keepers);
    EXPECT_TRUE(AwaitChildless(keepers));
}

TEST(ChildOfLinuxTest, APipeThatCannotBeLookedAtOrReadIsToldSo)
{
    RunTool({L"--exit=0"});
    const std::vector<int> before = OwnDescriptors();
    ToolRunner runner({L"--hang"});
    runner.Start();
    const int pipe = ReadingEnd(before);
    ASSERT_GE(pipe, 0);
    // Other things take its place: one that cannot say how much it holds, and one that does but cannot be read.
    const int device = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::dup3(device, pipe, O_CLOEXEC), pipe);
    ::close(device);
    std::string bytes;
    EXPECT_EQ(
        Win32Text([&] { (void)runner.GetCharactersInPipe(); }),
        "Failed to read test results -- PeekNamedPipe() failed.");
    EXPECT_EQ(Win32Text([&] { runner.ReadFromPipe(bytes); }), "Failed to read test results -- PeekNamedPipe() failed.");
    const int file = ::memfd_create("content", MFD_CLOEXEC);
    ASSERT_EQ(::pwrite(file, "xyz", 3, 0), 3);
    const int unreadable = ::open(("/proc/self/fd/" + std::to_string(file)).c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(::dup3(unreadable, pipe, O_CLOEXEC), pipe);
    ::close(unreadable);
    ::close(file);
    EXPECT_EQ(runner.GetCharactersInPipe(), 3U);
    EXPECT_EQ(Win32Text([&] { runner.ReadFromPipe(bytes); }), "Failed to read test results -- ReadFile() failed.");
    EXPECT_EQ(bytes, "");
}

TEST(ChildOfLinuxTest, AnArgumentOfAHundredThousandCharactersArrives)
{
    const std::vector<std::string> arguments =
        Report(RunTool({L"--report", std::wstring(100'000, L'x')})).Texts("argument");
    ASSERT_EQ(arguments.size(), 3U);
    EXPECT_EQ(arguments[2], std::string(100'000, 'x'));
}

TEST(ChildOfLinuxTest, TheLogSaysWithWhatAStartFailed)
{
    const TestSupport::CapturedLog log;
    ToolRunner noTool({});
    noTool.program = L"bin\\nobody-has-this";
    (void)Win32Text([&] { noTool.Start(); });
    EXPECT_EQ(log.Count(Shared::Log::Level::Debug, "bin was not started because of its program: error code 2"), 1U);
    ProcessDescription description;
    description.executablePath = Contract::ProbeTool;
    description.workingDirectory = L"no-such-folder";
    Process noFolder(std::move(description));
    (void)Win32Text([&] { noFolder.Start(); });
    EXPECT_EQ(log.Count(Shared::Log::Level::Debug, "was not started because of its working directory"), 1U);
}

TEST(ChildOfLinuxTest, AJobTakesAChildInWhereDescriptorsCannotBeCompared)
{
    if (TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "the sanitizer does not follow a copy of a process with threads";
    }
    EXPECT_TRUE(HoldsInACopy(
        []
        {
            ProcessDescription description;
            description.executablePath = Contract::ProbeTool;
            description.commandLine = L"probe --hang";
            description.creationFlags = Shared::Concurrency::Native::NoWindowFlag;
            Process first(description);
            Process second(description);
            first.Start();
            second.Start();
            Shared::Concurrency::Job job;
            job.Create(false);
            job.SetInformation({Shared::Concurrency::JobLimits::KillOnJobClose});
            if (!ForbidComparing())
            {
                return false;
            }
            job.AssignProcessToThisJob(first.GetProcessHandle());
            job.Close();
            return WaitFor(first.GetProcessHandle(), LimitMs) && !WaitFor(second.GetProcessHandle(), QuietMs);
        }));
}

TEST(ChildOfLinuxTest, AStarterWithoutStandardStreamsHasToolsLikeAnyOther)
{
    if (TestSupport::IsAddressSanitized || TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    }
    EXPECT_TRUE(HoldsInACopy(
        []
        {
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            {
                ::close(stream);
            }
            ToolRunner first({L"--print=3"});
            first.Start();
            ToolRunner second({L"--report"});
            second.Start();
            return ReadToEnd(first) == "012" && Report(ReadToEnd(second)).One("descriptors") == "0,1,2";
        }));
}

TEST(ChildOfLinuxTest, WhatHidesWhoseItIsEndsWithTheRunnerAtTheLatest)
{
    for (const wchar_t* const how : {L"--spawn-fugitive", L"--leave-fugitive"})
    {
        ToolRunner runner({how});
        runner.Start();
        const std::uint32_t fugitive = NumberIn(ReadUntilNumber(runner, "grandchild"), "grandchild");
        runner.Close();
        EXPECT_TRUE(AwaitGone(fugitive));
    }
}

TEST(ChildOfLinuxTest, AToolThatIsEndedByASignalHas128AndItsNumberAsExitCode)
{
    ToolRunner runner({L"--crash"});
    runner.Start();
    ASSERT_TRUE(WaitFor(runner.GetProcessHandle(), LimitMs));
    EXPECT_EQ(runner.QueryExitCode(), 128U + SIGSEGV);
}

TEST(ChildOfLinuxTest, TheReasonOfAFailedStartIsTheSystemsCode)
{
    ToolRunner runner({});
    runner.program = L"bin\\nobody-has-this";
    try
    {
        runner.Start();
        FAIL() << "started";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(ENOENT));
    }
}

TEST(ChildOfLinuxTest, MoreTextThanAChildCanBeGivenIsRefused)
{
    ToolRunner runner({std::wstring(200'000, L'x')});
    try
    {
        runner.Start();
        FAIL() << "started";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(E2BIG));
    }
    EXPECT_EQ(RunTool({L"--print=3"}), "012"); // the next one is not affected
}

TEST(ChildOfLinuxTest, AToolWithoutAGroupOfItsOwnCannotBeInterrupted)
{
    ToolRunner runner({L"--hang"});
    runner.Start();
    EXPECT_FALSE(Shared::Concurrency::SendBreak(runner.GetProcessId()));
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
}

TEST(ChildOfLinuxTest, AnInterruptReachesWhatAToolHasStarted)
{
    constexpr std::uint32_t OwnGroup = 512;
    ToolRunner runner({L"--spawn-grandchild"}, {}, OwnGroup);
    runner.Start();
    const std::uint32_t grandchild = NumberIn(ReadUntilNumber(runner, "grandchild"), "grandchild");
    EXPECT_TRUE(Shared::Concurrency::SendBreak(runner.GetProcessId()));
    EXPECT_TRUE(WaitFor(runner.GetProcessHandle(), LimitMs));
    EXPECT_EQ(runner.QueryExitCode(), 128U + SIGINT);
    EXPECT_TRUE(AwaitGone(grandchild));
    EXPECT_FALSE(Shared::Concurrency::SendBreak(runner.GetProcessId()));
}

TEST(ChildOfLinuxTest, WithoutDescriptorsThePipesCannotBeMade)
{
    if (TestSupport::IsAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    }
    RunTool({L"--exit=0"}); // what is made once is there
    ToolRunner first({L"--exit=0"});
    ToolRunner second({L"--exit=0"});
    std::string out;
    std::string in;
    {
        const ScarceDescriptors scarce(1);
        out = Win32Text([&] { first.Start(); });
    }
    {
        const ScarceDescriptors scarce(3);
        in = Win32Text([&] { second.Start(); });
    }
    EXPECT_EQ(out, "Failed to create child OUT pipes");
    EXPECT_EQ(in, "Failed to create child IN pipes");
    EXPECT_EQ(first.GetState(), ProcessRunner::State::NotStarted);
}

TEST(ChildOfLinuxTest, WithoutDescriptorsThereIsNoJob)
{
    if (TestSupport::IsAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    }
    std::string text;
    {
        const ScarceDescriptors scarce(1);
        text = Win32Text([] { const ToolRunner runner({L"--exit=0"}); });
    }
    EXPECT_EQ(text, "CreateJobObjectW() failed");
}

// --- The process that keeps the children

TEST(ChildKeeperTest, WhenItIsKilledItsToolsEndAndTheNextStartMakesAnother)
{
    ToolRunner runner({L"--hang"});
    runner.Start();
    ReadUntil(runner, "ready");
    const std::uint32_t keeper = ParentOf(runner.GetProcessId());
    ASSERT_NE(keeper, static_cast<std::uint32_t>(::getpid()));
    ASSERT_EQ(ParentOf(keeper), static_cast<std::uint32_t>(::getpid()));
    Contract::KillProcess(keeper);
    EXPECT_TRUE(WaitFor(runner.GetProcessHandle(), LimitMs));
    EXPECT_EQ(runner.QueryExitCode(), 128U + SIGKILL);
    EXPECT_EQ(RunTool({L"--print=3"}), "012");
    // Once nobody needs to know of its children any more, it is not left behind as a process that has ended.
    runner.Close();
    EXPECT_THAT(ChildrenOf(static_cast<std::uint32_t>(::getpid())), testing::Not(testing::Contains(keeper)));
}

TEST(ChildKeeperTest, ItHoldsNothingOfItsOwner)
{
    if (::geteuid() != 0)
    {
        GTEST_SKIP() << "only root can look into a keeper";
    }
    const LeakyDescriptor leak;
    ToolRunner runner({L"--hang"});
    runner.Start();
    ReadUntil(runner, "ready");
    const std::string folder = "/proc/" + std::to_string(ParentOf(runner.GetProcessId()));
    EXPECT_EQ(std::filesystem::read_symlink(folder + "/cwd"), "/");
    std::size_t ofFiles = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd"))
    {
        const std::string target = std::filesystem::read_symlink(entry.path()).string();
        EXPECT_TRUE(
            target == "/dev/null" || target.starts_with("socket:") || target.starts_with("anon_inode:") ||
            target.starts_with("pipe:") || target.ends_with("/children"))
            << target;
        ofFiles += target == "/dev/null" ? 1U : 0U;
    }
    EXPECT_EQ(ofFiles, 3U);
    // The pipe of the job, and none of the tool's.
    std::string name;
    std::getline(std::ifstream(folder + "/comm"), name);
    EXPECT_EQ(name, "vel-children");
}

TEST(ChildKeeperTest, SignalsOfATerminalDoNotEndIt)
{
    ToolRunner runner({L"--hang"});
    runner.Start();
    ReadUntil(runner, "ready");
    const auto keeper = static_cast<pid_t>(ParentOf(runner.GetProcessId()));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    {
        ::kill(keeper, signal);
    }
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
    EXPECT_EQ(RunTool({L"--print=3"}), "012");
}

TEST(ChildKeeperTest, ACopyOfThisProcessHasChildrenOfItsOwn)
{
    if (TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "the sanitizer does not follow a copy of a process with threads";
    }
    ToolRunner runner({L"--hang"});
    runner.Start();
    ReadUntil(runner, "ready");
    const pid_t copy = ::fork();
    if (copy == 0)
    {
        bool isRight = false;
        {
            ToolRunner other({L"--print=3"});
            isRight = other.Start() && ReadToEnd(other) == "012" &&
                ParentOf(other.GetProcessId()) != ParentOf(runner.GetProcessId());
        }
        ::_exit(isRight ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(copy, &status, 0), copy);
    EXPECT_EQ(status, 0);
    // Its end is not ours.
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
}
