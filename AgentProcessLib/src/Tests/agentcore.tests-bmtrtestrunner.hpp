#pragma once

#include "agentcore.tests-pathtestrunner.hpp"

#include <string>
#include <vector>

namespace AgentCore::Tests
{

/// Runs one path test by TCP against one target with the tool bmtr.exe, which works through the TCP driver.
class BmtrTestRunner : public PathTestRunner
{
public:
    /// @param logonToken identity of the tool, which needs raw sockets; owned from now on
    /// @param modeFlag see BuildBmtrArguments()
    BmtrTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request, bool modeFlag);

    /// Says nothing of refusals.
    bool ShouldRun() noexcept override;
    /// Throws as BuildBmtrArguments().
    std::vector<std::wstring> BuildArgumentList() override;
    /// The texts: "BMTR exited with an abnormal return code: " and the code, "MTR return string: " and the output, "MTR test
    /// URL: " and the target, on three lines; "BMTR unexpectedly returned an empty string."; and that of ReadBmtrReport().
    MtrTestResult ReadTestResult() override;

private:
    bool m_modeFlag;
};

} // namespace AgentCore::Tests
