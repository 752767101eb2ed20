#include "agentcore.tests-pathtestrunner.hpp"

#include "../../../unit/agentprocesslib/runners/runners.targets.hpp"
#include "agentcore.tests-bmtrtestrunner.hpp"
#include "agentcore.tests-mtrtestrunner.hpp"
#include "agentcore.tests-toolarguments.hpp"
#include "contract.runnertest.hpp"
#include "test.support-exceptions.hpp"

#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

using AgentCore::Tests::BmtrTestRunner;
using AgentCore::Tests::MtrTestRequest;
using AgentCore::Tests::MtrTestRunner;
using Shared::Concurrency::ProcessRunner;
using TestSupport::RuntimeText;

namespace
{

constexpr const char* Output =
    R"({"report":{"hubs":[{"count":"1","host":"gateway","LossPct":20.0,"Snt":5}]},"index":99,"x":1})";

MtrTestRequest Request(const std::wstring& target)
{
    MtrTestRequest request;
    request.config.emplace();
    request.target = target;
    request.networkObjectUuid = "o1";
    request.mtrConfigUuid = "m1";
    request.runnerIndex = 3;
    request.index = 7;
    request.serverType = INTERNET;
    request.vpnInfo.gateway = L"g.example";
    request.vpnInfo.tunnelIpV6 = L"fd00::1";
    request.tunnelIp = L"10.0.0.2";
    return request;
}

/// What the two runners differ in.
struct Mtr : MtrTestRunner
{
    explicit Mtr(MtrTestRequest request) : MtrTestRunner({}, std::move(request))
    {
    }

    static constexpr const char* Name = "MTR";
    static constexpr const char* NothingPrinted = "Mtr unexpectedly returned an empty string.";
    static constexpr const char* Unreadable = "rapidJSON encountered a parse error on string ==> ";
    static constexpr bool TellsWhatIsUnreadable = true;

    static std::vector<std::wstring> Arguments(const std::wstring& target)
    {
        return AgentCore::Tests::BuildMtrArguments(3, target);
    }
};

struct Bmtr : BmtrTestRunner
{
    explicit Bmtr(MtrTestRequest request) : BmtrTestRunner({}, std::move(request), false)
    {
    }

    static constexpr const char* Name = "BMTR";
    static constexpr const char* NothingPrinted = "BMTR unexpectedly returned an empty string.";
    static constexpr const char* Unreadable = "Failed to JSON serialise an MTR result";
    static constexpr bool TellsWhatIsUnreadable = false;

    static std::vector<std::wstring> Arguments(const std::wstring& target)
    {
        return AgentCore::Tests::BuildBmtrArguments(false, target);
    }
};

template <typename Runner>
class PathTestRunnerTest : public Contract::RunnerTest
{
protected:
    static std::string Failure(const std::wstring& target)
    {
        Runner runner(Request(target));
        Contract::RunToEnd(runner);
        return RuntimeText([&] { runner.ReadTestResult(); });
    }
};

using Runners = ::testing::Types<Mtr, Bmtr>;
TYPED_TEST_SUITE(PathTestRunnerTest, Runners);

} // namespace

// --- Whether it runs

TYPED_TEST(PathTestRunnerTest, ItRunsInTheStatesThatItsConfigurationNames)
{
    MtrTestRequest request = Request(L"nothing");
    request.config->runFromTrustedNetworks = true;
    TypeParam internal(request);
    request.config->runFromTrustedNetworks = false;
    request.config->runFromUntrustedNetworksWithVpnDisabled = true;
    TypeParam disconnected(request);
    this->ExpectToRunWhereConfigured(internal, disconnected);
}

TYPED_TEST(PathTestRunnerTest, ATestOfTheGatewayRunsInEveryState)
{
    MtrTestRequest request = Request(L"nothing");
    request.config.reset();
    TypeParam runner(request);
    EXPECT_TRUE(runner.IsGatewayTest());
    EXPECT_FALSE(TypeParam(Request(L"nothing")).IsGatewayTest());
    for (const wchar_t* status :
         {L"connected", L"disconnected", L"disabled", L"connected-internal", L"internal", L"connected-non-tv", L"?"})
    {
        this->SetTunnelStatus(status);
        EXPECT_TRUE(runner.ShouldRun());
    }
    EXPECT_TRUE(this->m_log.Lines().empty());
}

// --- The result

TYPED_TEST(PathTestRunnerTest, TheToolGetsItsArguments)
{
    TypeParam runner(Request(L"h"));
    EXPECT_EQ(Contract::ArgumentsOf(runner), TypeParam::Arguments(L"h"));
}

TYPED_TEST(PathTestRunnerTest, TheResultSaysWhatWasTestedAndWhatTheToolSays)
{
    TypeParam runner(Request(Contract::Printing(Output)));
    Contract::RunToEnd(runner);
    const MtrTestResult result = runner.ReadTestResult();
    ASSERT_EQ(result.report().hubs_size(), 1);
    EXPECT_EQ(result.report().hubs(0).host(), "gateway");
    EXPECT_EQ(result.report().hubs(0).losspct(), 20.0);
    EXPECT_EQ(result.start_time(), runner.GetStartTime());
    EXPECT_EQ(result.network_object_uuid(), "o1");
    EXPECT_EQ(result.mtr_config_uuid(), "m1");
    EXPECT_EQ(result.index(), 7); // not the tool's
    EXPECT_EQ(result.server_type(), INTERNET);
    EXPECT_EQ(result.norvik().tunnel_ip().gateway(), "g.example");
    EXPECT_EQ(result.norvik().tunnel_ip().ipv4(), "10.0.0.2");
    EXPECT_EQ(result.norvik().tunnel_ip().ipv6(), "fd00::1");
}

TYPED_TEST(PathTestRunnerTest, TheTunnelsAddressIsTheAgentsWhateverTheToolSays)
{
    TypeParam runner(Request(Contract::Printing(R"({"norvik":{"tunnelIp":{"gateway":"x","ipv4":"y"}}})")));
    Contract::RunToEnd(runner);
    const MtrTestResult result = runner.ReadTestResult();
    EXPECT_EQ(result.norvik().tunnel_ip().gateway(), "g.example");
    EXPECT_EQ(result.norvik().tunnel_ip().ipv4(), "10.0.0.2");
}

// --- Bad days

TYPED_TEST(PathTestRunnerTest, EveryExitCodeButZeroIsAFailure)
{
    for (const std::uint32_t code : Contract::ExitCodes())
    {
        EXPECT_EQ(
            TestFixture::Failure(L"exit=" + std::to_wstring(code)),
            fmt::format(
                "{} exited with an abnormal return code: {}\nMTR return string: some words\nMTR test URL: exit={}",
                TypeParam::Name, code, code));
    }
}

TYPED_TEST(PathTestRunnerTest, AToolThatCrashesIsAFailureWithWhatItPrinted)
{
    const std::string failure = TestFixture::Failure(L"crash");
    EXPECT_EQ(failure.find(std::string(TypeParam::Name) + " exited with an abnormal return code: "), 0U) << failure;
    EXPECT_NE(failure.find("\nMTR return string: some words\nMTR test URL: crash"), std::string::npos) << failure;
}

TYPED_TEST(PathTestRunnerTest, AToolThatPrintsNothingIsAFailure)
{
    EXPECT_EQ(TestFixture::Failure(L"nothing"), TypeParam::NothingPrinted);
}

TYPED_TEST(PathTestRunnerTest, HalfAReportIsAFailure)
{
    const std::string half = std::string(Output).substr(0, 40);
    EXPECT_EQ(
        TestFixture::Failure(Contract::Printing(half)),
        TypeParam::Unreadable + (TypeParam::TellsWhatIsUnreadable ? half : std::string()));
}

TYPED_TEST(PathTestRunnerTest, AToolThatNeverEndsTimesOutAndEndsWithItsRunner)
{
    const Contract::FastClock clock;
    TypeParam runner(Request(L"hang"));
    ASSERT_TRUE(runner.Start());
    const std::uint32_t tool = runner.GetProcessId();
    EXPECT_EQ(RuntimeText([&] { runner.ReadTestResult(); }), "Read results timed out");
    runner.Close();
    EXPECT_TRUE(Contract::AwaitGone(tool));
}

TYPED_TEST(PathTestRunnerTest, AToolThatPrintsAHundredMegabytesCostsNoMemory)
{
    TypeParam runner(Request(L"flood=100000000"));
    Contract::ExpectFloodToCostNoMemory(runner);
}

TYPED_TEST(PathTestRunnerTest, AToolThatIsNotThereOrNoProgramIsAFailureOfTheStart)
{
    for (const std::wstring& tool : Contract::MakeUnusableTools())
    {
        Contract::WithTool<TypeParam> runner(tool, Request(L"h"));
        EXPECT_EQ(TestSupport::Win32Text([&] { runner.Start(); }), "CreateProcess() failed");
        EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    }
}

TYPED_TEST(PathTestRunnerTest, ATargetThatIsNoHostArrivesAsOneArgument)
{
    for (const auto& targets : {TestTargets::Strange(), TestTargets::Patterns()})
    {
        for (const std::wstring& target : targets)
        {
            TypeParam runner(Request(target));
            EXPECT_EQ(Contract::ArgumentsOf(runner), TypeParam::Arguments(target));
        }
    }
}

TYPED_TEST(PathTestRunnerTest, ATargetWithANullCharacterIsRefused)
{
    TypeParam runner(Request(TestTargets::WithANullCharacter()));
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { runner.Start(); }), "Text with a null character for a child process");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}

TYPED_TEST(PathTestRunnerTest, ATargetThatWouldBeAnOptionIsAFailureOfTheStart)
{
    TypeParam runner(Request(L"-c1"));
    EXPECT_EQ(TestSupport::InvalidArgumentText([&] { runner.Start(); }), "The target -c1 would be read as an option");
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
}
