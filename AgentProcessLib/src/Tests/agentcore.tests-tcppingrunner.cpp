#include "agentcore.tests-tcppingrunner.hpp"

#include "agentcore.tests-tcpingreport.hpp"
#include "agentcore.tests-toolarguments.hpp"
#include "agentcore.tests-tunnelrule.hpp"
#include "shared.exception-exceptions.hpp"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Tests
{

namespace
{

using Seconds = std::chrono::duration<double>;
using Shared::Exception::RuntimeException;

/// A process group of its own.
constexpr std::uint32_t CreationFlags = 512;
constexpr std::chrono::milliseconds EndPause{100};
constexpr std::uint32_t FirstFailureCode = 3;
/// For the summary of a tool that was asked to break off when its time was up already.
constexpr std::chrono::seconds LeastWait{1};
/// A cycle; whatever the time-out of a probe is set to, the worker is not held up for longer.
constexpr Seconds MostWait{300.0};

std::chrono::nanoseconds LongestRun(const TcpPingRequest& request)
{
    const double probeSeconds = static_cast<double>(request.intervalSeconds) + request.timeoutSeconds;
    const Seconds all(static_cast<double>(request.probeCount) * probeSeconds);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::min(MostWait, all));
}

} // namespace

TcpPingRunner::TcpPingRunner(Shared::Raii::Win32Handle logonToken, TcpPingRequest request)
    : ProcessRunner(std::move(logonToken), CreationFlags), m_request(std::move(request))
{
}

bool TcpPingRunner::ShouldRun() noexcept
{
    const Messaging::MtrTest& test = m_request.config.test;
    return RunsInCurrentTunnelState(TunnelRuleOf(test), TcpPingTunnelTexts, test.id);
}

std::vector<std::wstring> TcpPingRunner::BuildArgumentList()
{
    return BuildTcpPingArguments(m_request);
}

void TcpPingRunner::OnStarted()
{
    ProcessRunner::OnStarted();
    m_startedAt = Shared::Time::MonotonicNow();
}

std::string TcpPingRunner::GetOutput()
{
    if (!m_isFinished)
    {
        AppendOutput();
    }
    return m_output;
}

std::uint32_t TcpPingRunner::GetProcessExitCode()
{
    if (!m_isFinished)
    {
        m_exitCode = QueryExitCode();
    }
    return m_exitCode;
}

bool TcpPingRunner::CheckFinished()
{
    if (m_isFinished || GetState() != State::Started)
    {
        return m_isFinished;
    }
    if (GetProcessExitCode() == StillActive)
    {
        return false;
    }
    AppendOutput();
    ClosePipesAndProcess();
    m_isFinished = true;
    return true;
}

TcpPingResult TcpPingRunner::ParseTestResult()
{
    if (GetState() != State::Started)
    {
        throw RuntimeException("Process has not been initiated");
    }
    TcpPingResult result;
    result.config = m_request.config;
    result.statistics.set_min_rtt(std::numeric_limits<std::uint32_t>::max());
    result.statistics.set_period_start_utc(GetStartTimeUtc());
    result.statistics.set_curl_tests_configured(m_request.config.hasCurlTest);
    AwaitEnd();
    if (m_exitCode >= FirstFailureCode)
    {
        throw RuntimeException(fmt::format("Tcping returned an unexpected exit code: {}", m_exitCode));
    }
    if (GetProcessHandle() != nullptr)
    {
        AppendOutput();
    }
    ReadTcpingReport(m_output, m_request.intervalSeconds, result.statistics);
    return result;
}

const TcpPingRequest& TcpPingRunner::GetRequest() const noexcept
{
    return m_request;
}

void TcpPingRunner::AppendOutput()
{
    std::string bytes;
    ReadFromPipe(bytes);
    m_output += bytes;
}

void TcpPingRunner::AwaitEnd()
{
    const Shared::Time::MonotonicTime deadline =
        std::max(m_startedAt + LongestRun(m_request), Shared::Time::MonotonicNow() + LeastWait);
    while (GetProcessExitCode() == StillActive)
    {
        if (Shared::Time::MonotonicNow() >= deadline)
        {
            Close();
            throw RuntimeException("Tcping did not end and has been ended");
        }
        Shared::Time::SleepFor(EndPause);
    }
}

} // namespace AgentCore::Tests
