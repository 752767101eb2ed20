#include "agentcore.tests-mtrtestrunner.hpp"

#include "agentcore.tests-toolarguments.hpp"
#include "agentcore.tests-tooloutput.hpp"

#include <utility>

namespace AgentCore::Tests
{

namespace
{

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
    return RunsNow(MtrTunnelTexts);
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
