#pragma once

#include "agentcore.tests-mtrreport.hpp"
#include "agentcore.tests-testrequests.hpp"
#include "agentcore.tests-tunnelrule.hpp"
#include "shared.concurrency-processrunner.hpp"

#include <test_results.pb.h>

namespace AgentCore::Tests
{

/// What the runners of both path test tools have in common. One thread at a time.
class PathTestRunner : public Shared::Concurrency::ProcessRunner
{
public:
    /// The result of a tool that has ended or is about to. What only those who started the test know stays at its default.
    /// Throws runtime exceptions, worded by the runner, when the tool has ended with a code other than 0, has printed
    /// nothing, or something that cannot be read; and as GetFinalExitCode().
    virtual MtrTestResult ReadTestResult() = 0;

    const MtrTestRequest& GetRequest() const noexcept;
    /// Whether this is the test of the VPN's gateway, which no configuration asks for.
    bool IsGatewayTest() const noexcept;

protected:
    PathTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request);

    /// Always, without a configuration.
    bool RunsNow(const TunnelRuleTexts& texts) const noexcept;
    PathTestFacts GetFacts() const;
    /// The addresses of the tunnel as they were at the start.
    void AddTunnelAddress(MtrTestResult& result) const;

private:
    MtrTestRequest m_request;
};

} // namespace AgentCore::Tests
