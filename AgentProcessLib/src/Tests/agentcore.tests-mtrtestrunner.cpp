#include "agentcore.tests-mtrtestrunner.hpp"

#include "agentcore.tests-toolarguments.hpp"
#include "agentcore.tests-tooloutput.hpp"

#include <utility>

namespace AgentCore::Tests
{

namespace
{

constexpr TunnelRuleTexts TunnelTexts = {
    TunnelRuleTexts::Refusal("MTR test {} is not being run because it's not configured to run in {} VPN state."),
    TunnelRuleTexts::Refusal("MTR test {} is not being run because the VPN is in {} state."),
    "Unknown tunnelStatus value {} ({})"};

constexpr ToolFailureTexts FailureTexts = {
    "MTR exited with an abnormal return code: {}\nMTR return string: {}\nMTR test URL: {}",
    "Mtr unexpectedly returned an empty string."};

} // namespace

MtrTestRunner::MtrTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request)
    : PathTestRunner(std::move(logonToken), std::move(request))
{
}

bool MtrTestRunner::ShouldRun() noexcept
{
    return RunsNow(TunnelTexts);
}

std::vector<std::wstring> MtrTestRunner::BuildArgumentList()
{
    return BuildMtrArguments(GetRequest().runnerIndex, GetRequest().target);
}

MtrTestResult MtrTestRunner::ReadTestResult()
{
    const std::string output = ReadToolOutput(*this, GetRequest().target, FailureTexts);
    MtrTestResult result = ReadMtrReport(output, GetFacts());
    AddTunnelAddress(result);
    return result;
}

} // namespace AgentCore::Tests
