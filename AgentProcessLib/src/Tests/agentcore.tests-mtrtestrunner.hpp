#pragma once

#include "agentcore.tests-pathtestrunner.hpp"

#include <string>
#include <vector>

namespace AgentCore::Tests
{

/// Runs one path test against one target with the tool mtr, by ICMP or UDP probes: five cycles, five seconds apart.
class MtrTestRunner : public PathTestRunner
{
public:
    /// @param logonToken identity of the tool, which needs raw sockets; owned from now on
    MtrTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request);

    bool ShouldRun() noexcept override;
    /// Throws as BuildMtrArguments().
    std::vector<std::wstring> BuildArgumentList() override;
    /// The texts: "MTR exited with an abnormal return code: " and the code, "MTR return string: " and the output, "MTR test
    /// URL: " and the target, on three lines; "Mtr unexpectedly returned an empty string."; and those of ReadMtrReport().
    MtrTestResult ReadTestResult() override;
};

} // namespace AgentCore::Tests
