#include "agentcore.tests-curltestrunner.hpp"

#include "../../../unit/agentprocesslib/runners/runners.targets.hpp"
#include "agentcore.tests-toolarguments.hpp"
#include "contract.runnertest.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-exceptions.hpp"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

using AgentCore::Tests::CurlTestRequest;
using AgentCore::Tests::CurlTestRunner;
using Shared::Concurrency::ProcessRunner;
using Shared::Log::Level;
using TestSupport::RuntimeText;

namespace
{

constexpr const char* Output =
    R"({"http_code":204,"remote_ip":"192.0.2.9","size_download":10,"speed_download":20,"time_appconnect":0.5,)"
    R"("time_connect":0.25,"time_namelookup":0.125,"time_pretransfer":0.5,"time_starttransfer":1.0,"time_total":2.0})";

CurlTestRequest Request(const std::wstring& target)
{
    CurlTestRequest request;
    request.target = target;
    request.scheme = "http";
    request.curlUuid = "c1";
    request.networkObjectUuid = "o1";
    request.successCodes = {"2XX"};
    request.index = 4;
    request.isDomain = true;
    return request;
}

std::vector<std::wstring> ResolveToOne(const std::wstring& /*hostName*/, std::uint32_t /*timeoutMs*/)
{
    return {L"192.0.2.1", L"192.0.2.2"};
}

CurlTestRunner Runner(const std::wstring& target)
{
    return {{}, Request(target), &ResolveToOne};
}

class CurlTestRunnerTest : public Contract::RunnerTest
{
protected:
    CurlTestRunnerTest()
    {
        m_winsock.Initialise();
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
};

std::string Failure(const std::wstring& target)
{
    CurlTestRunner runner = Runner(target);
    Contract::RunToEnd(runner);
    return RuntimeText([&] { runner.ReadTestResult(); });
}

} // namespace

// --- Whether it runs

TEST_F(CurlTestRunnerTest, ItRunsInTheStatesThatItsConfigurationNames)
{
    CurlTestRequest request = Request(L"nothing");
    request.config.runFromTrustedNetworks = true;
    CurlTestRunner internal({}, request, &ResolveToOne);
    request.config.runFromTrustedNetworks = false;
    request.config.runFromUntrustedNetworksWithVpnDisabled = true;
    CurlTestRunner disconnected({}, request, &ResolveToOne);
    ExpectToRunWhereConfigured(internal, disconnected);
}

TEST_F(CurlTestRunnerTest, ARefusalIsLogged)
{
    CurlTestRunner runner = Runner(L"hang");
    SetTunnelStatus(L"disabled");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"internal");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"connected-non-tv");
    EXPECT_FALSE(runner.Start());
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "Curl test c1 is not being run because it's not configured to run in disabled VPN state.");
    EXPECT_EQ(lines[1].text, "Curl test c1 is not being run because it's not configured to run in internal VPN state.");
    EXPECT_EQ(lines[2].text, "Curl test c1 is not being run because the VPN is in connected-non-tv state.");
    EXPECT_EQ(lines[0].level, Level::Info);
    EXPECT_EQ(lines[2].level, Level::Info);
    EXPECT_EQ(RuntimeText([&] { runner.ReadTestResult(); }), "Test has not been initiated.");
}

// --- The name

TEST_F(CurlTestRunnerTest, TheFirstAddressOfTheTargetIsHandedOver)
{
    CurlTestRunner runner = Runner(L"h");
    EXPECT_EQ(
        Contract::ArgumentsOf(runner),
        AgentCore::Tests::BuildCurlArguments(Request(L"h"), L"192.0.2.1", Shared::Concurrency::GetNullDeviceName()));
}

TEST_F(CurlTestRunnerTest, TheLookUpHasTheTimeThatTheVpnClientSets)
{
    std::vector<std::pair<std::wstring, std::uint32_t>> asked;
    const auto resolve = [&asked](const std::wstring& hostName, std::uint32_t timeoutMs)
    {
        asked.emplace_back(hostName, timeoutMs);
        return std::vector<std::wstring>{L"192.0.2.1"};
    };
    CurlTestRunner first({}, Request(L"nothing"), resolve);
    first.Start();
    SetDnsResolutionTimeoutMs(700);
    CurlTestRunner second({}, Request(L"nothing"), resolve);
    second.Start();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0], std::pair(std::wstring(L"nothing"), 15'000U));
    EXPECT_EQ(asked[1].second, 700U);
}

TEST_F(CurlTestRunnerTest, ATargetWithoutAnAddressIsAFailureOfTheStart)
{
    CurlTestRunner runner(
        {}, Request(L"h"), [](const std::wstring&, std::uint32_t) { return std::vector<std::wstring>(); });
    std::string what;
    try
    {
        runner.Start();
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        what = exception.what();
    }
    EXPECT_EQ(TestSupport::BareText(what), "No IP address has been resolved from host name.");
    EXPECT_EQ(what.find("Exception in BuildArgumentList() at"), 0U) << what;
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
}

TEST_F(CurlTestRunnerTest, WhatTheLookUpThrowsComesOutOfTheStart)
{
    CurlTestRunner runner(
        {}, Request(L"h"),
        [](const std::wstring&, std::uint32_t) -> std::vector<std::wstring>
        { throw Shared::Exception::RuntimeException("too slow"); });
    EXPECT_EQ(RuntimeText([&] { runner.Start(); }), "too slow");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}

TEST_F(CurlTestRunnerTest, TheSystemIsAskedUnlessSomebodyElseIs)
{
    CurlTestRunner runner({}, Request(L"192.0.2.7"));
    const std::vector<std::wstring> arguments = Contract::ArgumentsOf(runner);
    ASSERT_EQ(arguments.size(), 15U);
    EXPECT_EQ(arguments.at(4), L"192.0.2.7:80:192.0.2.7");
    EXPECT_GT(runner.GetApiDnsSeconds(), 0.0);
    EXPECT_EQ(m_log.Count(Level::Error, ""), 0U);
}

TEST_F(CurlTestRunnerTest, ANameThatTheSystemCannotFindIsAFailureOfTheStart)
{
    const std::wstring name = std::wstring(64, L'a') + L".invalid";
    CurlTestRunner runner({}, Request(name));
    const std::string text = RuntimeText([&] { runner.Start(); });
    // Some systems refuse such a name as a question, others in their answer.
    EXPECT_TRUE(
        text == "No IP address has been resolved from host name." ||
        text.find(Shared::Util::ConvertStringType(name)) != std::string::npos)
        << text;
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(runner.GetProcessHandle(), nullptr);
}

TEST_F(CurlTestRunnerTest, ARefusedTargetIsNotEvenLookedUp)
{
    int lookUps = 0;
    CurlTestRunner runner(
        {}, Request(L"--output=x"),
        [&lookUps](const std::wstring&, std::uint32_t)
        {
            ++lookUps;
            return std::vector<std::wstring>{L"192.0.2.1"};
        });
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { runner.Start(); }), "The target --output=x would be read as an option");
    EXPECT_EQ(lookUps, 0);
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}

TEST_F(CurlTestRunnerTest, TheTimeForTheNameIsTheAgentsAndCountsInTheResult)
{
    CurlTestRunner runner(
        {}, Request(Contract::Printing(Output)),
        [](const std::wstring&, std::uint32_t)
        {
            Shared::Time::SleepFor(std::chrono::milliseconds(20));
            return std::vector<std::wstring>{L"192.0.2.1"};
        });
    EXPECT_EQ(runner.GetApiDnsSeconds(), 0.0);
    Contract::RunToEnd(runner);
    EXPECT_GE(runner.GetApiDnsSeconds(), 0.02);
    const CurlTestResult result = runner.ReadTestResult();
    EXPECT_EQ(result.curl_results().time_namelookup(), 0.125 + runner.GetApiDnsSeconds());
    EXPECT_EQ(result.curl_results().total_time(), 2.0 + runner.GetApiDnsSeconds());
    EXPECT_EQ(result.curl_results().dns_lookup_time(), 0.125);
    EXPECT_EQ(
        m_log.Count(
            Level::Info, fmt::format("DNS name lookup time: curl = 0.125, API = {}", runner.GetApiDnsSeconds())),
        1U);
}

// --- The result

TEST_F(CurlTestRunnerTest, TheResultSaysWhatWasTestedAndWhatCurlSays)
{
    const std::wstring target = Contract::Printing(Output);
    CurlTestRunner runner = Runner(target);
    Contract::RunToEnd(runner);
    const CurlTestResult result = runner.ReadTestResult();
    EXPECT_EQ(result.curl_uuid(), "c1");
    EXPECT_EQ(result.netobj_uuid(), "o1");
    EXPECT_EQ(result.start_time(), static_cast<std::uint32_t>(runner.GetStartTime()));
    EXPECT_EQ(result.scheduled_time(), result.start_time());
    EXPECT_EQ(result.version(), 1U);
    EXPECT_EQ(result.target_ip(), "192.0.2.9");
    EXPECT_EQ(result.netobj_element().index(), 4U);
    EXPECT_EQ(result.netobj_element().target(), Shared::Util::ConvertStringType(target));
    EXPECT_TRUE(result.netobj_element().is_domain());
    EXPECT_EQ(result.curl_results().http_code(), 204U);
    EXPECT_EQ(result.curl_results().throughput(), 160U);
    EXPECT_TRUE(result.curl_results().success());
    // Not the runner's to fill.
    EXPECT_EQ(result.test_name(), "");
    EXPECT_EQ(result.utc_time(), "");
    EXPECT_FALSE(result.has_targetdnsresolution());
}

TEST_F(CurlTestRunnerTest, ARunnerCanBeMovedBeforeItIsRead)
{
    std::vector<CurlTestRunner> runners;
    runners.push_back(Runner(Contract::Printing(Output)));
    ASSERT_TRUE(runners.back().Start());
    for (int i = 0; i < 10; ++i)
    {
        runners.push_back(Runner(L"nothing"));
    }
    ASSERT_TRUE(Contract::AwaitEnd(runners.front()));
    EXPECT_EQ(runners.front().ReadTestResult().target_ip(), "192.0.2.9");
    EXPECT_EQ(runners.front().GetRequest().curlUuid, "c1");
}

// --- Bad days

TEST_F(CurlTestRunnerTest, EveryExitCodeButZeroIsAFailure)
{
    for (const std::uint32_t code : Contract::ExitCodes())
    {
        EXPECT_EQ(
            Failure(L"exit=" + std::to_wstring(code)),
            fmt::format(
                "Curl exited with an abnormal return code: {}\nCurl return string: some words\nCurl test URL: exit={}",
                code, code));
    }
}

TEST_F(CurlTestRunnerTest, AToolThatCrashesIsAFailureWithWhatItPrinted)
{
    const std::string failure = Failure(L"crash");
    EXPECT_EQ(failure.find("Curl exited with an abnormal return code: "), 0U) << failure;
    EXPECT_NE(failure.find("\nCurl return string: some words\nCurl test URL: crash"), std::string::npos) << failure;
}

TEST_F(CurlTestRunnerTest, AToolThatPrintsNothingIsAFailure)
{
    EXPECT_EQ(Failure(L"nothing"), "Curl unexpectedly returned an empty string.");
}

TEST_F(CurlTestRunnerTest, HalfAReportIsAFailure)
{
    const std::string half = std::string(Output).substr(0, 60);
    EXPECT_EQ(
        Failure(Contract::Printing(half)), "CurlTestRunner: rapidJSON encountered a parse error on JSON ==> " + half);
}

TEST_F(CurlTestRunnerTest, AToolThatNeverEndsTimesOutAndEndsWithItsRunner)
{
    const Contract::FastClock clock;
    CurlTestRunner runner = Runner(L"hang");
    ASSERT_TRUE(runner.Start());
    const std::uint32_t tool = runner.GetProcessId();
    EXPECT_EQ(RuntimeText([&] { runner.ReadTestResult(); }), "Read results timed out");
    runner.Close();
    EXPECT_TRUE(Contract::AwaitGone(tool));
}

TEST_F(CurlTestRunnerTest, AToolThatPrintsAHundredMegabytesCostsNoMemory)
{
    CurlTestRunner runner = Runner(L"flood=100000000");
    Contract::ExpectFloodToCostNoMemory(runner);
}

TEST_F(CurlTestRunnerTest, AToolThatIsNotThereOrNoProgramIsAFailureOfTheStart)
{
    for (const std::wstring& tool : Contract::MakeUnusableTools())
    {
        Contract::WithTool<CurlTestRunner> runner(tool, Shared::Raii::Win32Handle(), Request(L"h"), &ResolveToOne);
        EXPECT_EQ(TestSupport::Win32Text([&] { runner.Start(); }), "CreateProcess() failed");
        EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    }
}

TEST_F(CurlTestRunnerTest, ATargetThatIsNoHostArrivesAsOneArgument)
{
    for (const std::wstring& target : TestTargets::Strange())
    {
        CurlTestRunner runner = Runner(target);
        const std::vector<std::wstring> arguments = Contract::ArgumentsOf(runner);
        ASSERT_EQ(arguments.size(), 15U);
        EXPECT_EQ(arguments.back(), target);
        EXPECT_EQ(arguments.at(4), target + L":80:192.0.2.1");
    }
}

TEST_F(CurlTestRunnerTest, ATargetThatIsMoreThanAHostIsAFailureOfTheStart)
{
    for (const std::wstring& target : TestTargets::Patterns())
    {
        CurlTestRunner runner = Runner(target);
        EXPECT_EQ(
            TestSupport::InvalidArgumentText([&] { runner.Start(); }),
            fmt::format("The target {} is more than a host", Shared::Util::ConvertStringType(target)));
        EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    }
}

TEST_F(CurlTestRunnerTest, ATargetWithANullCharacterIsRefused)
{
    CurlTestRunner runner = Runner(TestTargets::WithANullCharacter());
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { runner.Start(); }), "Text with a null character for a child process");
}
