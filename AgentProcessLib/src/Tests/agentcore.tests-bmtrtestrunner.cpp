#include "agentcore.tests-bmtrtestrunner.hpp"

#include "agentcore.tests-toolarguments.hpp"
#include "agentcore.tests-tooloutput.hpp"

#include <utility>

namespace AgentCore::Tests
{

namespace
{

constexpr ToolFailureTexts FailureTexts = {
    "BMTR exited with an abnormal return code: {}\nMTR return string: {}\nMTR test URL: {}",
    "BMTR unexpectedly returned an empty string."};

} // namespace

BmtrTestRunner::BmtrTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request, bool modeFlag)
    : PathTestRunner(std::move(logonToken), std::move(request)), m_modeFlag(modeFlag)
{
}

bool BmtrTestRunner::ShouldRun() noexcept
{
    return RunsNow(BmtrTunnelTexts);
}

std::vector<std::wstring> BmtrTestRunner::BuildArgumentList()
{
    return BuildBmtrArguments(m_modeFlag, GetRequest().target);
}

MtrTestResult BmtrTestRunner::ReadTestResult()
{
    const std::string output = ReadToolOutput(*this, GetRequest().target, FailureTexts);
    MtrTestResult result = ReadBmtrReport(output, GetFacts());
    AddTunnelAddress(result);
    return result;
}

} // namespace AgentCore::Tests
