#pragma once

#include "agentcore.tests-testrequests.hpp"
#include "shared.concurrency-processrunner.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <test_results.pb.h>

namespace AgentCore::Tests
{

/// Looks up the IPv4 addresses of a host, in text form, for at most so many milliseconds. May throw.
using ResolveHost = std::function<std::vector<std::wstring>(const std::wstring& hostName, std::uint32_t timeoutMs)>;

/// Runs one HTTP test against one target with the tool curl. The agent looks the name up itself and tells curl the address,
/// so that the result can tell the time for that apart.
///
/// Start() takes as long as the look-up, up to the setting for it, and throws what that throws, the runtime exception "No
/// IP address has been resolved from host name." when there is none, and what BuildCurlArguments() refuses; for the rest
/// see ProcessRunner. One thread at a time.
class CurlTestRunner : public Shared::Concurrency::ProcessRunner
{
public:
    /// Looks the name up by a HostResolver. @param logonToken identity of the tool, owned from now on
    CurlTestRunner(Shared::Raii::Win32Handle logonToken, CurlTestRequest request);
    /// @param resolve looks the name up; not empty
    CurlTestRunner(Shared::Raii::Win32Handle logonToken, CurlTestRequest request, ResolveHost resolve);

    bool ShouldRun() noexcept override;
    std::vector<std::wstring> BuildArgumentList() override;
    /// The result of a tool that has ended or is about to. What only those who started the test know stays at its default.
    /// Throws the runtime exceptions "Curl exited with an abnormal return code: " and the code, "Curl return string: " and
    /// the output, "Curl test URL: " and the target, on three lines; "Curl unexpectedly returned an empty string."; and as
    /// ReadCurlReport() and GetFinalExitCode().
    virtual CurlTestResult ReadTestResult();

    const CurlTestRequest& GetRequest() const noexcept;
    /// What the agent itself has spent on the target's name; 0 before the start.
    double GetApiDnsSeconds() const noexcept;

private:
    CurlTestRequest m_request;
    ResolveHost m_resolve;
    double m_apiDnsSeconds = 0.0;
};

} // namespace AgentCore::Tests
