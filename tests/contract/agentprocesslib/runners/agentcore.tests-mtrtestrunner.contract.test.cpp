#include "agentcore.tests-mtrtestrunner.hpp"

#include "contract.runnertest.hpp"
#include "test.support-exceptions.hpp"

#include <gtest/gtest.h>

using AgentCore::Tests::MtrTestRequest;
using AgentCore::Tests::MtrTestRunner;
using Shared::Concurrency::ProcessRunner;
using Shared::Log::Level;
using TestSupport::RuntimeText;

// What both runners do: agentcore.tests-pathtestrunner.contract.test.cpp.

namespace
{

MtrTestRequest Request(const std::wstring& target)
{
    MtrTestRequest request;
    request.config.emplace();
    request.target = target;
    request.mtrConfigUuid = "m1";
    request.runnerIndex = 3;
    return request;
}

MtrTestRunner Runner(const std::wstring& target)
{
    return {{}, Request(target)};
}

class MtrTestRunnerTest : public Contract::RunnerTest
{
};

} // namespace

TEST_F(MtrTestRunnerTest, ARefusalIsLogged)
{
    MtrTestRunner runner = Runner(L"hang");
    SetTunnelStatus(L"disabled");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"connected-internal");
    EXPECT_FALSE(runner.Start());
    SetTunnelStatus(L"connected-non-tv");
    EXPECT_FALSE(runner.Start());
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "MTR test m1 is not being run because it's not configured to run in disabled VPN state.");
    EXPECT_EQ(
        lines[1].text,
        "MTR test m1 is not being run because it's not configured to run in connected-internal VPN state.");
    EXPECT_EQ(lines[2].text, "MTR test m1 is not being run because the VPN is in connected-non-tv state.");
    EXPECT_EQ(lines[0].level, Level::Info);
    EXPECT_EQ(RuntimeText([&] { runner.ReadTestResult(); }), "Test has not been initiated.");
}

TEST_F(MtrTestRunnerTest, TheRunningNumberGoesToTheTool)
{
    MtrTestRunner runner = Runner(L"h");
    EXPECT_EQ(Contract::ArgumentsOf(runner).at(7), L"33768");
}
