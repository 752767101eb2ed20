#include "agentcore.tests-curltestrunner.hpp"

#include "agentcore.tests-curlreport.hpp"
#include "agentcore.tests-hostresolver.hpp"
#include "agentcore.tests-toolarguments.hpp"
#include "agentcore.tests-tooloutput.hpp"
#include "agentcore.tests-tunnelrule.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <chrono>
#include <utility>

namespace AgentCore::Tests
{

namespace
{

constexpr std::uint32_t NoCreationFlags = 0;
constexpr std::uint32_t ResultVersion = 1;

constexpr ToolFailureTexts FailureTexts = {
    "Curl exited with an abnormal return code: {}\nCurl return string: {}\nCurl test URL: {}",
    "Curl unexpectedly returned an empty string."};

} // namespace

CurlTestRunner::CurlTestRunner(Shared::Raii::Win32Handle logonToken, CurlTestRequest request)
    : CurlTestRunner(
          std::move(logonToken),
          std::move(request),
          [](const std::wstring& hostName, std::uint32_t timeoutMs)
          { return HostResolver().Resolve(hostName, timeoutMs); })
{
}

CurlTestRunner::CurlTestRunner(Shared::Raii::Win32Handle logonToken, CurlTestRequest request, ResolveHost resolve)
    : ProcessRunner(std::move(logonToken), NoCreationFlags),
      m_request(std::move(request)),
      m_resolve(std::move(resolve))
{
}

bool CurlTestRunner::ShouldRun() noexcept
{
    return RunsInCurrentTunnelState(TunnelRuleOf(m_request.config), CurlTunnelTexts, m_request.curlUuid);
}

std::vector<std::wstring> CurlTestRunner::BuildArgumentList()
{
    // Before anybody waits for the name of a target that is refused.
    RequireCurlRequest(m_request);
    const Shared::Time::MonotonicTime start = Shared::Time::MonotonicNow();
    const std::uint32_t limitMs = Shared::AppSettings::GetDnsResolutionTimeoutMs();
    const std::vector<std::wstring> addresses = m_resolve(m_request.target, limitMs);
    if (addresses.empty())
    {
        throw Shared::Exception::RuntimeException("No IP address has been resolved from host name.");
    }
    m_apiDnsSeconds = std::chrono::duration<double>(Shared::Time::MonotonicNow() - start).count();
    return BuildCurlArguments(m_request, addresses.front(), Shared::Concurrency::GetNullDeviceName());
}

CurlTestResult CurlTestRunner::ReadTestResult()
{
    const std::string output = ReadToolOutput(*this, m_request.target, FailureTexts);
    const CurlReport report = ReadCurlReport(output);
    Shared::Log::Info("DNS name lookup time: curl = {}, API = {}", report.timeNameLookup, m_apiDnsSeconds);

    CurlTestResult result;
    *result.mutable_curl_results() = TranslateCurlReport(report, m_apiDnsSeconds, m_request.successCodes);
    result.set_curl_uuid(m_request.curlUuid);
    result.set_netobj_uuid(m_request.networkObjectUuid);
    const auto startTime = static_cast<std::uint32_t>(GetStartTime());
    result.set_start_time(startTime);
    result.set_scheduled_time(startTime);
    result.set_version(ResultVersion);
    result.set_target_ip(report.remoteIp);
    CurlTestResult::Element& element = *result.mutable_netobj_element();
    element.set_index(m_request.index);
    element.set_target(Shared::Util::ConvertStringType(m_request.target));
    element.set_is_domain(m_request.isDomain);
    return result;
}

const CurlTestRequest& CurlTestRunner::GetRequest() const noexcept
{
    return m_request;
}

double CurlTestRunner::GetApiDnsSeconds() const noexcept
{
    return m_apiDnsSeconds;
}

} // namespace AgentCore::Tests
