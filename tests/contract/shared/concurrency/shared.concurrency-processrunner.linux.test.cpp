#include "shared.concurrency-processrunner.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-nativeprocess.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.util-functions.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <csignal>
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
#include <sys/resource.h>
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
    for (const std::uint32_t keeper : keepers)
    {
        for (const TestSupport::Stopwatch watch; !ChildrenOf(keeper).empty() && watch.ElapsedMs() < LimitMs;)
        {
            std::this_thread::yield();
        }
        EXPECT_TRUE(ChildrenOf(keeper).empty());
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
}

TEST(ChildKeeperTest, ItHoldsNothingOfItsOwner)
{
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
            target.starts_with("pipe:"))
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
