#pragma once

#include "agentcore.tests-testrequests.hpp"
#include "shared.concurrency-processrunner.hpp"
#include "shared.time-clock.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <test_results.pb.h>

namespace AgentCore::Tests
{

/// What a minute of TCP pings has shown.
struct TcpPingResult
{
    Messaging::TestConfiguration config;
    PingStatistics statistics;
};

/// Runs one minute of TCP pings against one target with the tool tcping. The tool has a process group of its own, so that
/// it can be asked to break off; it prints its summary then, and ends. One thread at a time.
class TcpPingRunner : public Shared::Concurrency::ProcessRunner
{
public:
    /// @param logonToken identity of the tool, owned from now on
    TcpPingRunner(Shared::Raii::Win32Handle logonToken, TcpPingRequest request);

    bool ShouldRun() noexcept override;
    /// Throws as BuildTcpPingArguments().
    std::vector<std::wstring> BuildArgumentList() override;
    void OnStarted() override;

    /// All that the tool has printed until now. Never waits. Throws as ReadFromPipe().
    std::string GetOutput();
    /// 259 while the tool runs. Asks the system, unless CheckFinished() has seen the tool's end and kept its code. Throws
    /// Win32Exception "GetExitCodeProcess() failed".
    std::uint32_t GetProcessExitCode();
    /// Whether the tool has ended; false for one that was never started. Once it has, its output and code are kept and the
    /// pipes and the process closed. Never waits. Throws as the two above.
    bool CheckFinished();
    /// The result of a tool that has ended or was asked to, which is awaited for as long as its probes can take from its
    /// start on, at most five minutes, at least one second. One that has not ended then is ended with all it has started.
    /// Throws the runtime exceptions "Process has not been initiated", "Tcping returned an unexpected exit code: " and the
    /// code (3 and above; 1 and 2 tell of failed probes), "Tcping did not end and has been ended"; and as
    /// ReadTcpingReport() and GetOutput().
    virtual TcpPingResult ParseTestResult();

    const TcpPingRequest& GetRequest() const noexcept;

private:
    void AppendOutput();
    void AwaitEnd();

    TcpPingRequest m_request;
    std::string m_output;
    std::uint32_t m_exitCode = 0;
    bool m_isFinished = false;
    Shared::Time::MonotonicTime m_startedAt;
};

} // namespace AgentCore::Tests
