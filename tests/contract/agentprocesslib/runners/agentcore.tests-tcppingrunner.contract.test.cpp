#include "agentcore.tests-tcppingrunner.hpp"

#include "../../../unit/agentprocesslib/runners/runners.targets.hpp"
#include "../io/contract.residentsize.hpp"
#include "agentcore.tests-toolarguments.hpp"
#include "contract.runnertest.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.time-clock.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

using AgentCore::Tests::TcpPingRequest;
using AgentCore::Tests::TcpPingResult;
using AgentCore::Tests::TcpPingRunner;
using Shared::Concurrency::ProcessRunner;
using Shared::Log::Level;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;

namespace
{

constexpr const char* Output =
    "Probing 192.0.2.1:443/tcp - Port is open - time=12.345ms \r\n"
    "Probing 192.0.2.1:443/tcp - No response - time=5000.000ms \r\n"
    "     2 probes sent. \r\n     1 successful, 1 failed.  (50.00% fail)\r\n"
    "Approximate trip times in milli-seconds:\r\n     Minimum = 12.345ms, Maximum = 12.345ms, Average = 12.250ms\r\n";

TcpPingRequest Request(const std::wstring& target)
{
    TcpPingRequest request;
    request.config.target = target;
    request.config.test.id = "t1";
    request.config.networkObjectUuid = L"o1";
    request.config.hasCurlTest = true;
    request.probeCount = 6;
    request.intervalSeconds = 10;
    request.port = 443;
    request.timeoutSeconds = 5.0F;
    return request;
}

TcpPingRunner Runner(const std::wstring& target)
{
    return {{}, Request(target)};
}

void ExpectOutputRead(const PingStatistics& statistics)
{
    EXPECT_EQ(statistics.pings_sent(), 2U);
    EXPECT_EQ(statistics.pings_received(), 1U);
    EXPECT_EQ(statistics.min_rtt(), 12U);
    EXPECT_EQ(statistics.avg_rtt(), 12.25F);
    EXPECT_EQ(statistics.period_available(), 20'000U);
    EXPECT_EQ(statistics.period_total(), 20'000U);
}

/// Waits until the tool has printed this.
void AwaitOutput(TcpPingRunner& runner, const std::string& text)
{
    for (const Stopwatch watch;
         runner.GetOutput().find(text) == std::string::npos && watch.ElapsedMs() < TestSupport::LimitMs;)
    {
        Shared::Time::SleepFor(std::chrono::milliseconds(5));
    }
    ASSERT_NE(runner.GetOutput().find(text), std::string::npos);
}

bool AwaitFinished(TcpPingRunner& runner)
{
    for (const Stopwatch watch; !runner.CheckFinished() && watch.ElapsedMs() < TestSupport::LimitMs;)
    {
        Shared::Time::SleepFor(std::chrono::milliseconds(5));
    }
    return runner.CheckFinished();
}

class TcpPingRunnerTest : public Contract::RunnerTest
{
};

} // namespace

// --- Whether it runs

TEST_F(TcpPingRunnerTest, ItRunsInTheStatesThatItsConfigurationNames)
{
    TcpPingRequest request = Request(L"nothing");
    request.config.test.runFromTrustedNetworks = true;
    TcpPingRunner internal({}, request);
    request.config.test.runFromTrustedNetworks = false;
    request.config.test.runFromUntrustedNetworksWithVpnDisabled = true;
    TcpPingRunner disconnected({}, request);
    ExpectToRunWhereConfigured(internal, disconnected);
}

TEST_F(TcpPingRunnerTest, ARefusalIsLogged)
{
    TcpPingRunner runner = Runner(L"hang");
    SetTunnelStatus(L"disconnected");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"internal");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"connected-non-tv");
    EXPECT_FALSE(runner.Start());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(
        lines[0].text,
        "TCP ping test t1 is not being run because it's not configured to run in disconnected VPN state.");
    EXPECT_EQ(
        lines[1].text, "TCP ping test t1 is not being run because it's not configured to run in internal VPN state.");
    EXPECT_EQ(lines[2].text, "TCP ping test t1 is not being run because the VPN is in connected-non-tv state.");
    EXPECT_EQ(lines[0].level, Level::Info);
}

TEST_F(TcpPingRunnerTest, OneThatWasNeverStartedHasNotFinishedAndHasNoResult)
{
    TcpPingRunner runner = Runner(L"nothing");
    EXPECT_FALSE(runner.CheckFinished());
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Process has not been initiated");
}

// --- While it runs, and after

TEST_F(TcpPingRunnerTest, TheToolGetsItsArguments)
{
    TcpPingRunner runner = Runner(L"h");
    EXPECT_EQ(Contract::ArgumentsOf(runner), AgentCore::Tests::BuildTcpPingArguments(Request(L"h")));
}

TEST_F(TcpPingRunnerTest, OutputIsCollectedWhileTheToolRuns)
{
    TcpPingRunner runner = Runner(L"hang");
    runner.Start();
    AwaitOutput(runner, "ready");
    EXPECT_FALSE(runner.CheckFinished());
    EXPECT_EQ(runner.GetProcessExitCode(), ProcessRunner::StillActive);
    EXPECT_EQ(runner.GetOutput(), "ready"); // what was taken out of the pipe stays
}

TEST_F(TcpPingRunnerTest, AFinishedToolKeepsOutputAndCodeAndLetsGoOfItsProcess)
{
    TcpPingRunner runner = Runner(Contract::Printing(Output, 1));
    runner.Start();
    ASSERT_TRUE(AwaitFinished(runner));
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
    EXPECT_EQ(runner.GetOutput(), Output);
    EXPECT_EQ(runner.GetProcessExitCode(), 1U);
    EXPECT_TRUE(runner.CheckFinished());
    ExpectOutputRead(runner.ParseTestResult().statistics);
    ExpectOutputRead(runner.ParseTestResult().statistics);
}

TEST_F(TcpPingRunnerTest, ACodeThatWasKeptStillSaysThatTheTestFailed)
{
    TcpPingRunner runner = Runner(Contract::Printing(Output, 3));
    runner.Start();
    ASSERT_TRUE(AwaitFinished(runner));
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Tcping returned an unexpected exit code: 3");
}

TEST_F(TcpPingRunnerTest, TheResultSaysWhatWasTestedAndWhatTheToolSays)
{
    TcpPingRunner runner = Runner(Contract::Printing(Output));
    Contract::RunToEnd(runner);
    const TcpPingResult result = runner.ParseTestResult();
    EXPECT_EQ(result.config, Request(Contract::Printing(Output)).config);
    EXPECT_EQ(result.statistics.period_start_utc(), runner.GetStartTimeUtc());
    EXPECT_TRUE(result.statistics.curl_tests_configured());
    ExpectOutputRead(result.statistics);
}

TEST_F(TcpPingRunnerTest, AToolThatStillRunsIsAwaited)
{
    TcpPingRunner runner = Runner(Contract::Printing(Output));
    runner.Start();
    ExpectOutputRead(runner.ParseTestResult().statistics);
}

TEST_F(TcpPingRunnerTest, AToolThatBreaksOffGivesItsSummary)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine has no break event";
    }
    TcpPingRunner runner = Runner(Contract::PrintingAtBreak(Output));
    TcpPingRunner other = Runner(L"hang");
    runner.Start();
    other.Start();
    AwaitOutput(runner, "ready");
    EXPECT_TRUE(Shared::Concurrency::SendBreak(runner.GetProcessId()));
    ExpectOutputRead(runner.ParseTestResult().statistics);
    EXPECT_FALSE(other.CheckFinished()); // it was for one alone
}

// --- Bad days

TEST_F(TcpPingRunnerTest, FailedProbesAreNoFailureOfTheTest)
{
    for (const std::uint32_t code : {0U, 1U, 2U})
    {
        TcpPingRunner runner = Runner(Contract::Printing(Output, code));
        Contract::RunToEnd(runner);
        ExpectOutputRead(runner.ParseTestResult().statistics);
    }
}

TEST_F(TcpPingRunnerTest, EveryOtherExitCodeIsAFailure)
{
    for (const std::uint32_t code : Contract::ExitCodes())
    {
        if (code >= 3)
        {
            TcpPingRunner runner = Runner(L"exit=" + std::to_wstring(code));
            Contract::RunToEnd(runner);
            EXPECT_EQ(
                RuntimeText([&] { runner.ParseTestResult(); }),
                fmt::format("Tcping returned an unexpected exit code: {}", code));
        }
    }
}

TEST_F(TcpPingRunnerTest, AToolThatCrashesIsAFailure)
{
    TcpPingRunner runner = Runner(L"crash");
    Contract::RunToEnd(runner);
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }).find("Tcping returned an unexpected exit code: "), 0U);
}

TEST_F(TcpPingRunnerTest, AToolThatPrintsNothingHasSentNothing)
{
    TcpPingRunner runner = Runner(L"nothing");
    Contract::RunToEnd(runner);
    const PingStatistics statistics = runner.ParseTestResult().statistics;
    EXPECT_EQ(statistics.pings_sent(), 0U);
    EXPECT_EQ(statistics.min_rtt(), std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(statistics.period_total(), 0U);
}

TEST_F(TcpPingRunnerTest, OutputThatIsCutOffGivesWhatThereIs)
{
    const std::string whole = Output;
    TcpPingRunner runner = Runner(Contract::Printing(whole.substr(0, whole.find("probes"))));
    Contract::RunToEnd(runner);
    const PingStatistics statistics = runner.ParseTestResult().statistics;
    EXPECT_EQ(statistics.period_available(), 10'000U);
    EXPECT_EQ(statistics.pings_sent(), 0U);
}

TEST_F(TcpPingRunnerTest, AToolThatIgnoresTheBreakIsEndedWhenItsTimeIsUp)
{
    const Contract::FastClock clock;
    TcpPingRunner runner = Runner(L"ignore-break");
    const Stopwatch watch;
    runner.Start();
    const std::uint32_t tool = runner.GetProcessId();
    AwaitOutput(runner, "ready");
    (void)Shared::Concurrency::SendBreak(tool);
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Tcping did not end and has been ended");
    // Six probes of ten seconds and five more, a thousand times as fast.
    EXPECT_GE(watch.ElapsedMs(), 90.0);
    EXPECT_TRUE(Contract::AwaitGone(tool));
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
}

TEST_F(TcpPingRunnerTest, NoSettingHoldsTheWorkerUpForLongerThanACycle)
{
    const Contract::FastClock clock;
    TcpPingRequest request = Request(L"hang");
    request.timeoutSeconds = 4'294'967.0F;
    TcpPingRunner runner({}, request);
    const Stopwatch watch;
    runner.Start();
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Tcping did not end and has been ended");
    EXPECT_GE(watch.ElapsedMs(), 300.0);
}

TEST_F(TcpPingRunnerTest, AToolWhoseTimeIsUpHasAMomentForItsSummary)
{
    const Contract::FastClock clock;
    TcpPingRequest request = Request(L"hang");
    request.probeCount = 0;
    TcpPingRunner runner({}, request);
    runner.Start();
    const Shared::Time::MonotonicTime start = Shared::Time::MonotonicNow();
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Tcping did not end and has been ended");
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(1));
}

TEST_F(TcpPingRunnerTest, AToolThatPrintsAHundredMegabytesCostsNoMemory)
{
    const Contract::FastClock clock;
    TcpPingRunner runner = Runner(L"flood=100000000");
    runner.Start();
    const std::size_t before = Contract::ResidentBytes();
    EXPECT_EQ(RuntimeText([&] { runner.ParseTestResult(); }), "Tcping did not end and has been ended");
    EXPECT_LT(Contract::ResidentBytes(), before + 20'000'000U);
}

TEST_F(TcpPingRunnerTest, ALookTakesAtMostWhatThePipeHolds)
{
    constexpr std::size_t LargestPipe = 65'536;
    TcpPingRunner runner = Runner(L"flood=100000000");
    runner.Start();
    std::size_t before = 0;
    int fruitfulLooks = 0;
    for (const Stopwatch watch; fruitfulLooks < 10 && watch.ElapsedMs() < TestSupport::LimitMs;)
    {
        const std::size_t now = runner.GetOutput().size();
        EXPECT_LE(now - before, LargestPipe);
        fruitfulLooks += now > before ? 1 : 0;
        before = now;
        Shared::Time::SleepFor(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(fruitfulLooks, 10);
}

TEST_F(TcpPingRunnerTest, AToolThatIsNotThereOrNoProgramIsAFailureOfTheStart)
{
    for (const std::wstring& tool : Contract::MakeUnusableTools())
    {
        Contract::WithTool<TcpPingRunner> runner(tool, Shared::Raii::Win32Handle(), Request(L"h"));
        EXPECT_EQ(TestSupport::Win32Text([&] { runner.Start(); }), "CreateProcess() failed");
        EXPECT_FALSE(runner.CheckFinished());
    }
}

TEST_F(TcpPingRunnerTest, ATargetThatIsNoHostArrivesAsOneArgument)
{
    for (const auto& targets : {TestTargets::Strange(), TestTargets::Patterns()})
    {
        for (const std::wstring& target : targets)
        {
            TcpPingRunner runner = Runner(target);
            EXPECT_EQ(Contract::ArgumentsOf(runner), AgentCore::Tests::BuildTcpPingArguments(Request(target)));
        }
    }
}

TEST_F(TcpPingRunnerTest, ATargetWithANullCharacterIsRefused)
{
    TcpPingRunner runner = Runner(TestTargets::WithANullCharacter());
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { runner.Start(); }), "Text with a null character for a child process");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}

TEST_F(TcpPingRunnerTest, ATargetThatWouldBeAnOptionIsAFailureOfTheStart)
{
    TcpPingRunner runner = Runner(L"-t");
    EXPECT_EQ(TestSupport::InvalidArgumentText([&] { runner.Start(); }), "The target -t would be read as an option");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}
