#include "agentcore.tests-bmtrtestrunner.hpp"

#include "agentcore.tests-toolarguments.hpp"
#include "contract.runnertest.hpp"
#include "test.support-exceptions.hpp"

#include <gtest/gtest.h>

using AgentCore::Tests::BmtrTestRunner;
using AgentCore::Tests::MtrTestRequest;
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

BmtrTestRunner Runner(const std::wstring& target)
{
    return {{}, Request(target), false};
}

class BmtrTestRunnerTest : public Contract::RunnerTest
{
};

} // namespace

TEST_F(BmtrTestRunnerTest, ARefusalIsNotLogged)
{
    BmtrTestRunner runner = Runner(L"hang");
    for (const wchar_t* status :
         {L"disabled", L"disconnected", L"internal", L"connected-internal", L"connected-non-tv"})
    {
        SetTunnelStatus(status);
        EXPECT_FALSE(runner.Start());
    }
    EXPECT_EQ(runner.GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(m_log.Count(Level::Info, ""), 0U);
    EXPECT_EQ(RuntimeText([&] { runner.ReadTestResult(); }), "Test has not been initiated.");
}

TEST_F(BmtrTestRunnerTest, TheModeGoesToTheTool)
{
    BmtrTestRunner runner({}, Request(L"h"), true);
    EXPECT_EQ(Contract::ArgumentsOf(runner), AgentCore::Tests::BuildBmtrArguments(true, L"h"));
}
