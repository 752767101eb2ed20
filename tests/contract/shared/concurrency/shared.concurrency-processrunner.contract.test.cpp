#include "shared.concurrency-processrunner.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.security-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Contract::AwaitGone;
using Contract::NumberIn;
using Contract::ReadToEnd;
using Contract::ReadUntil;
using Contract::ReadUntilNumber;
using Contract::Report;
using Contract::RunTool;
using Contract::ToolRunner;
using Shared::Concurrency::ProcessRunner;
using Shared::Concurrency::WaitFor;
using Shared::Log::Level;
using TestSupport::CapturedLog;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::Win32Text;

namespace
{

constexpr std::string_view ClosedLine = "The pipe was closed by the child process";
constexpr std::uint32_t OwnGroup = 512;

bool AwaitEnd(const ProcessRunner& runner)
{
    return WaitFor(runner.GetProcessHandle(), LimitMs);
}

/// Paths compare by what they mean.
std::string Normal(std::string path)
{
    return Shared::Util::ToLower(Shared::Util::ReplaceAll(path, "\\", "/"));
}

struct Family
{
    std::uint32_t child;
    std::uint32_t grandchild;
};

/// Who an owner and its child, which print side by side, say that there is.
Family ReadFamily(ProcessRunner& owner)
{
    std::string output = ReadUntilNumber(owner, "grandchild");
    if (NumberIn(output, "child") == 0)
    {
        output += ReadUntilNumber(owner, "child");
    }
    return {NumberIn(output, "child"), NumberIn(output, "grandchild")};
}

/// Waits of the agent's clock take a thousandth of their time.
class FastClock
{
public:
    FastClock()
    {
        Shared::Time::ClockControl::SetSpeed(1000);
    }

    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;

    ~FastClock()
    {
        Shared::Time::ClockControl::Reset();
    }
};

} // namespace

// --- Start

TEST(ProcessRunnerTest, AToolIsStartedAndItsOutputAndExitCodeAreRead)
{
    ToolRunner runner({L"--exit=7"});
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    ASSERT_TRUE(runner.Start());
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::Started);
    EXPECT_NE(runner.GetProcessId(), 0U);
    std::string output;
    EXPECT_EQ(runner.GetFinalExitCode(output), 7U);
    EXPECT_EQ(output, "");
}

TEST(ProcessRunnerTest, WhatIsNotToRunHasNoProcessAndNoPipes)
{
    ToolRunner runner({L"--hang"});
    runner.shouldRun = false;
    EXPECT_FALSE(runner.Start());
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
    EXPECT_EQ(runner.startedCalls, 0);
    EXPECT_EQ(runner.GetStartTime(), 0);
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetCharactersInPipe(); }), "m_hChildStdOutRd is unexpectedly null");
    std::string output = "kept";
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetFinalExitCode(output); }), "Test has not been initiated.");
    EXPECT_EQ(output, "kept");
}

TEST(ProcessRunnerTest, TheHookIsCalledOnceAtTheEndOfTheStart)
{
    ToolRunner runner({L"--exit=0"});
    runner.Start();
    EXPECT_EQ(runner.startedCalls, 1);
}

TEST(ProcessRunnerTest, TheTimeOfTheStartIsKeptInBothForms)
{
    const std::int64_t before = Shared::Time::EpochSeconds();
    ToolRunner runner({L"--exit=0"});
    runner.Start();
    EXPECT_GE(runner.GetStartTime(), before);
    EXPECT_LE(runner.GetStartTime(), Shared::Time::EpochSeconds());
    // The zone's form is the one without padding.
    static const std::regex Form(R"(\d{8}-\d{2}:\d{2}:\d{2}\.\d{1,3}[+-](0|[1-9]\d*))");
    EXPECT_TRUE(std::regex_match(runner.GetStartTimeUtc(), Form)) << runner.GetStartTimeUtc();
}

TEST(ProcessRunnerTest, TheArgumentsAreLoggedAsOneText)
{
    const CapturedLog log;
    ToolRunner runner({L"--exit=0", L"two words", L"a\"b"});
    runner.Start();
    EXPECT_EQ(
        log.Count(
            Level::Debug,
            R"(ProcessTestRunner using argument string: bin\shared-process-probe --exit=0 "two words" "a\"b")"),
        1U);
}

TEST(ProcessRunnerTest, EveryArgumentArrivesAsOne)
{
    const std::vector<std::wstring> given = {
        L"--report",
        L"two words",
        L"https://example.com/a b?c=d&e",
        L"",
        L"say \"hello\"",
        L"back\\slash",
        L"ends in \\",
        L"\\\\server\\share\\",
        L"\"",
        L"\\\"",
        L"tab\there",
        L"%PATH%",
        L"$HOME",
        L"'one'",
        L"^&|<>",
        L"gr\u00fc\u00dfe \u4e2d\u6587",
        L"*",
        L"*.cpp",
        L"a\\\\\"b\\\\",
        L"-"};
    std::vector<std::string> expected;
    for (const std::wstring& argument : given)
    {
        expected.push_back(Shared::Util::ConvertStringType(argument));
    }
    std::vector<std::string> arrived = Report(RunTool(given)).Texts("argument");
    ASSERT_FALSE(arrived.empty());
    arrived.erase(arrived.begin());
    EXPECT_EQ(arrived, expected);
}

TEST(ProcessRunnerTest, TheProgramIsTheFirstArgument)
{
    const std::vector<std::string> arrived = Report(RunTool({})).Texts("argument");
    ASSERT_EQ(arrived.size(), 1U);
    EXPECT_EQ(arrived[0], "bin\\shared-process-probe");
}

TEST(ProcessRunnerTest, AToolWorksInTheFolderBin)
{
    const std::vector<std::string> folders = Report(RunTool({L"--report"})).Texts("folder");
    ASSERT_EQ(folders.size(), 1U);
    EXPECT_EQ(Normal(folders[0]), Normal(Shared::Util::ConvertStringType(Contract::OwnFolder()) + "/bin"));
}

TEST(ProcessRunnerTest, AToolIsFoundWhateverTheCurrentFolderIs)
{
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    ToolRunner runner({L"--exit=4"});
    const bool isStarted = runner.Start();
    std::filesystem::current_path(before);
    ASSERT_TRUE(isStarted);
    std::string output;
    EXPECT_EQ(runner.GetFinalExitCode(output), 4U);
}

TEST(ProcessRunnerTest, AToolThatIsNotThereIsAFailureAndTheStateStays)
{
    ToolRunner runner({L"--exit=0"});
    runner.program = L"bin\\nobody-has-this";
    EXPECT_EQ(Win32Text([&] { runner.Start(); }), "CreateProcess() failed");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(runner.startedCalls, 0);
    std::string output;
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetFinalExitCode(output); }), "Test has not been initiated.");
}

TEST(ProcessRunnerTest, AProgramWithAQuoteIsRefused)
{
    ToolRunner runner({});
    runner.program = L"bin\\a\"b";
    EXPECT_EQ(RuntimeText([&] { runner.Start(); }), "The argv[0] argument cannot include a double quote.");
}

TEST(ProcessRunnerTest, ANullCharacterIsRefused)
{
    ToolRunner runner({L"--exit=0", std::wstring(L"cut\0here", 8)});
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { runner.Start(); }), "Text with a null character for a child process");
}

TEST(ProcessRunnerTest, WithoutATokenTheTokenFormSaysSo)
{
    ToolRunner runner({L"--exit=0"});
    EXPECT_EQ(
        RuntimeText([&] { runner.CreateChildProcessWithToken(); }),
        "Cannot invoke this function without a logon token");
}

TEST(ProcessRunnerTest, AToolRunsWithTheTokenThatItIsGiven)
{
    EXPECT_EQ(RunTool({L"--print=10"}, Shared::Security::CreateAdminRestrictedToken()), "0123456789");
}

// --- Reading

TEST(ProcessRunnerTest, WhatThePipeHoldsCanBeCountedAndRead)
{
    ToolRunner runner({L"--print-and-hang=20"});
    runner.Start();
    std::string bytes;
    for (const Stopwatch watch; runner.GetCharactersInPipe() < 20 && watch.ElapsedMs() < LimitMs;)
    {
        Shared::Time::SleepFor(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(runner.GetCharactersInPipe(), 20U);
    EXPECT_EQ(runner.GetCharactersInPipe(), 20U); // looking takes nothing
    runner.ReadFromPipe(bytes);
    EXPECT_EQ(bytes, "01234567890123456789");
    EXPECT_EQ(runner.GetCharactersInPipe(), 0U);
}

TEST(ProcessRunnerTest, ReadingWhenThereIsNothingGivesNothingAtOnce)
{
    const CapturedLog log;
    ToolRunner runner({L"--hang"});
    runner.Start();
    ReadUntil(runner, "ready");
    std::string bytes = "old";
    runner.ReadFromPipe(bytes); // may be the line's end
    runner.ReadFromPipe(bytes);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(log.Count(Level::Info, ClosedLine), 0U);
}

TEST(ProcessRunnerTest, OutputStaysReadableAfterTheEndAndThenEachReadSaysThatThePipeIsClosed)
{
    const CapturedLog log;
    ToolRunner runner({L"--print=50"});
    runner.Start();
    ASSERT_TRUE(AwaitEnd(runner));
    std::string bytes;
    runner.ReadFromPipe(bytes);
    EXPECT_EQ(bytes.size(), 50U);
    EXPECT_EQ(log.Count(Level::Info, ClosedLine), 0U);
    for (std::size_t reads = 1; reads <= 3; ++reads)
    {
        runner.ReadFromPipe(bytes);
        EXPECT_EQ(bytes, "");
        EXPECT_EQ(log.Count(Level::Info, ClosedLine), reads);
    }
    EXPECT_EQ(runner.GetCharactersInPipe(), 0U);
    EXPECT_EQ(log.Count(Level::Info, ClosedLine), 4U);
}

TEST(ProcessRunnerTest, AToolThatReadsWaitsForAnInputThatNeverComesNorEnds)
{
    ToolRunner runner({L"--echo"});
    runner.Start();
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
    const std::uint32_t tool = runner.GetProcessId();
    runner.Close();
    EXPECT_TRUE(AwaitGone(tool));
}

TEST(ProcessRunnerTest, MoreThanAPipeOfOutputComesPieceByPiece)
{
    constexpr std::size_t Much = 1'000'000;
    ToolRunner runner({L"--print=" + std::to_wstring(Much)});
    runner.Start();
    const std::string output = ReadToEnd(runner);
    ASSERT_EQ(output.size(), Much);
    EXPECT_EQ(output.substr(Much - 10), "0123456789");
}

TEST(ProcessRunnerTest, WithoutRedirectionNothingCanBeRead)
{
    ToolRunner runner({L"--exit=0"});
    runner.Start();
    runner.SetRedirectIo(false);
    std::string bytes;
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetCharactersInPipe(); }), "I/O was not redirected for this process");
    EXPECT_EQ(RuntimeText([&] { runner.ReadFromPipe(bytes); }), "I/O was not redirected for this process");
}

TEST(ProcessRunnerTest, AfterClosingNothingCanBeRead)
{
    ToolRunner runner({L"--exit=0"});
    runner.Start();
    runner.Close();
    std::string bytes;
    EXPECT_EQ(RuntimeText([&] { runner.ReadFromPipe(bytes); }), "m_hChildStdOutRd is unexpectedly null");
    EXPECT_EQ(Win32Text([&] { (void)runner.GetFinalExitCode(bytes); }), "GetExitCodeProcess() failed");
}

// --- Exit codes

TEST(ProcessRunnerTest, TheFinalExitCodeComesWithTheWholeOutput)
{
    ToolRunner runner({L"--print=3000"});
    runner.Start();
    ASSERT_TRUE(AwaitEnd(runner));
    std::string output = "before ";
    EXPECT_EQ(runner.GetFinalExitCode(output), 0U);
    EXPECT_EQ(output.size(), 3007U);
    EXPECT_TRUE(output.starts_with("before 0123"));
}

TEST(ProcessRunnerTest, AToolThatFillsItsPipeIsReadUntilItEnds)
{
    // More than any pipe, less than five of them.
    ToolRunner runner({L"--print=10000"});
    runner.Start();
    std::string output;
    EXPECT_EQ(runner.GetFinalExitCode(output), 0U);
    EXPECT_EQ(output.size(), 10000U);
}

TEST(ProcessRunnerTest, AToolThatStillRunsTimesOutAndWhatWasReadIsKept)
{
    ToolRunner runner({L"--print-and-hang=30"});
    runner.Start();
    for (const Stopwatch watch; runner.GetCharactersInPipe() < 30 && watch.ElapsedMs() < LimitMs;)
    {
        Shared::Time::SleepFor(std::chrono::milliseconds(5));
    }
    std::string output;
    const Stopwatch watch;
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetFinalExitCode(output); }), "Read results timed out");
    EXPECT_GE(watch.ElapsedMs(), 2500.0);
    EXPECT_EQ(output.size(), 30U);
    EXPECT_TRUE(Contract::IsRunning(runner.GetProcessId()));
}

TEST(ProcessRunnerTest, TheWaitIsOneOfTheAgentsClock)
{
    const FastClock clock;
    ToolRunner runner({L"--hang"});
    runner.Start();
    std::string output;
    const Stopwatch watch;
    EXPECT_EQ(RuntimeText([&] { (void)runner.GetFinalExitCode(output); }), "Read results timed out");
    EXPECT_LT(watch.ElapsedMs(), 2500.0 * VEL_TIME_SCALE);
}

TEST(ProcessRunnerTest, AToolThatCrashesEndsWithACodeThatIsNone)
{
    ToolRunner runner({L"--crash"});
    runner.Start();
    ASSERT_TRUE(AwaitEnd(runner));
    std::string output;
    const std::uint32_t code = runner.GetFinalExitCode(output);
    EXPECT_GE(code, 3U);
    EXPECT_NE(code, ProcessRunner::StillActive);
}

TEST(ProcessRunnerTest, TheExitCodeCanBeAskedFromTheFirstMomentOn)
{
    ToolRunner runner({L"--hang"});
    runner.Start();
    EXPECT_EQ(runner.QueryExitCode(), ProcessRunner::StillActive);
    Contract::KillProcess(runner.GetProcessId());
    ASSERT_TRUE(AwaitEnd(runner));
    EXPECT_NE(runner.QueryExitCode(), ProcessRunner::StillActive);
}

// --- The end

TEST(ProcessRunnerTest, ClosingEndsTheTool)
{
    ToolRunner runner({L"--hang"});
    runner.Start();
    const std::uint32_t tool = runner.GetProcessId();
    ReadUntil(runner, "ready");
    runner.Close();
    EXPECT_TRUE(AwaitGone(tool));
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
    EXPECT_EQ(runner.GetProcessId(), 0U);
    runner.Close();
}

TEST(ProcessRunnerTest, AbandoningARunnerEndsTheTool)
{
    std::uint32_t tool = 0;
    {
        ToolRunner runner({L"--hang"});
        runner.Start();
        tool = runner.GetProcessId();
        EXPECT_TRUE(Contract::IsRunning(tool));
    }
    EXPECT_TRUE(AwaitGone(tool));
}

TEST(ProcessRunnerTest, WhatAToolHasStartedEndsWithIt)
{
    ToolRunner runner({L"--spawn-grandchild"});
    runner.Start();
    const std::uint32_t grandchild = NumberIn(ReadUntilNumber(runner, "grandchild"), "grandchild");
    ASSERT_TRUE(Contract::IsRunning(grandchild));
    runner.Close();
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(ProcessRunnerTest, WhatAToolLeavesBehindEndsWithTheRunner)
{
    ToolRunner runner({L"--leave-grandchild"});
    runner.Start();
    const std::uint32_t grandchild = NumberIn(ReadToEnd(runner), "grandchild");
    EXPECT_TRUE(Contract::IsRunning(grandchild));
    runner.Close();
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(ProcessRunnerTest, WhatHasBrokenWithAToolEndsWithTheRunnerToo)
{
    ToolRunner runner({L"--leave-daemon"});
    runner.Start();
    const std::uint32_t grandchild = NumberIn(ReadToEnd(runner), "grandchild");
    EXPECT_TRUE(Contract::IsRunning(grandchild));
    runner.Close();
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(ProcessRunnerTest, MovingHandsTheToolOver)
{
    ToolRunner runner({L"--print-and-hang=5"});
    runner.Start();
    const std::uint32_t tool = runner.GetProcessId();
    ToolRunner moved = std::move(runner);
    EXPECT_EQ(moved.GetProcessId(), tool);
    EXPECT_EQ(moved.GetState(), ProcessRunner::State::Started);
    EXPECT_EQ(ReadUntil(moved, "01234"), "01234");
    moved.Close();
    EXPECT_TRUE(AwaitGone(tool));
}

TEST(ProcessRunnerTest, PipesAndProcessCanBeClosedWhileTheJobStays)
{
    ToolRunner runner({L"--leave-grandchild"});
    runner.Start();
    const std::uint32_t grandchild = NumberIn(ReadToEnd(runner), "grandchild");
    runner.ClosePipesAndProcess();
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
    EXPECT_TRUE(Contract::IsRunning(grandchild));
    runner.Close();
    EXPECT_TRUE(AwaitGone(grandchild));
}

// --- Dead with its owner

TEST(DeadWithItsOwnerTest, AToolAndWhatItStartedEndWhenTheirOwnerIsKilled)
{
    ToolRunner owner({L"--tool", L"--spawn-grandchild"});
    owner.program = Contract::OwnerTool;
    owner.Start();
    const auto [child, grandchild] = ReadFamily(owner);
    ASSERT_TRUE(Contract::IsRunning(child));
    ASSERT_TRUE(Contract::IsRunning(grandchild));
    Contract::KillProcess(owner.GetProcessId());
    EXPECT_TRUE(AwaitGone(child));
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(DeadWithItsOwnerTest, AHelperAndWhatItStartedEndWhenTheirOwnerIsKilled)
{
    ToolRunner owner({L"--helper", L"--spawn-grandchild"});
    owner.program = Contract::OwnerTool;
    owner.Start();
    const auto [child, grandchild] = ReadFamily(owner);
    ASSERT_TRUE(Contract::IsRunning(child));
    ASSERT_TRUE(Contract::IsRunning(grandchild));
    Contract::KillProcess(owner.GetProcessId());
    EXPECT_TRUE(AwaitGone(child));
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(DeadWithItsOwnerTest, WhatHasBrokenWithItsToolEndsWhenTheOwnerIsKilled)
{
    ToolRunner owner({L"--tool", L"--spawn-daemon"});
    owner.program = Contract::OwnerTool;
    owner.Start();
    const std::uint32_t grandchild = NumberIn(ReadUntilNumber(owner, "grandchild"), "grandchild");
    ASSERT_TRUE(Contract::IsRunning(grandchild));
    Contract::KillProcess(owner.GetProcessId());
    EXPECT_TRUE(AwaitGone(grandchild));
}

TEST(DeadWithItsOwnerTest, WhatAToolHasLeftBehindEndsWithAnOwnerThatEndsByItself)
{
    ToolRunner owner({L"--tool", L"--leave-daemon"});
    owner.program = Contract::OwnerTool;
    owner.Start();
    const std::uint32_t grandchild = NumberIn(ReadUntilNumber(owner, "grandchild"), "grandchild");
    EXPECT_TRUE(AwaitEnd(owner));
    EXPECT_TRUE(AwaitGone(grandchild));
}

// --- Breaking off

TEST(SendBreakTest, AToolWithAGroupOfItsOwnBreaksOff)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine has no break event";
    }
    ToolRunner runner({L"--await-break"}, {}, OwnGroup);
    runner.Start();
    ReadUntil(runner, "ready");
    EXPECT_TRUE(Shared::Concurrency::SendBreak(runner.GetProcessId()));
    EXPECT_THAT(ReadToEnd(runner), testing::HasSubstr("broken off"));
    EXPECT_EQ(runner.QueryExitCode(), 3U);
}

TEST(SendBreakTest, AToolThatDoesNotHeedItGoesOnUntilItIsEnded)
{
    ToolRunner runner({L"--ignore-break"}, {}, OwnGroup);
    runner.Start();
    ReadUntil(runner, "ready");
    (void)Shared::Concurrency::SendBreak(runner.GetProcessId());
    EXPECT_FALSE(WaitFor(runner.GetProcessHandle(), QuietMs));
    const std::uint32_t tool = runner.GetProcessId();
    runner.Close();
    EXPECT_TRUE(AwaitGone(tool));
}

TEST(SendBreakTest, NobodyCannotBeAsked)
{
    EXPECT_FALSE(Shared::Concurrency::SendBreak(0));
}
