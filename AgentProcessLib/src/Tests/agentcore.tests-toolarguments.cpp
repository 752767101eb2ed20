#include "agentcore.tests-toolarguments.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <fmt/format.h>
#include <fmt/xchar.h>

namespace AgentCore::Tests
{

namespace
{

using Arguments = std::vector<std::wstring>;
using Shared::Exception::InvalidArgumentException;
using Shared::Util::ConvertStringType;

constexpr std::uint16_t HttpPort = 80;
constexpr std::uint16_t HttpsPort = 443;
/// The tool's own port.
constexpr std::uint32_t TcpPingPort = 80;
constexpr std::uint32_t FirstMtrPort = 33'000;
constexpr std::uint32_t MtrPortsOfARunner = 256;
/// A scheme ends with the first of them, and the others open a pattern that curl makes several targets of.
constexpr std::wstring_view NoPartOfACurlTarget = L":{}[]";

void RequireTarget(const std::wstring& target)
{
    if (target.empty())
    {
        throw InvalidArgumentException("A test without a target cannot be run");
    }
    if (target.front() == L'-')
    {
        throw InvalidArgumentException(
            fmt::format("The target {} would be read as an option", ConvertStringType(target)));
    }
}

std::uint16_t ResolvePort(const CurlTestRequest& request)
{
    if (request.port != 0)
    {
        return request.port;
    }
    if (request.scheme == "http")
    {
        return HttpPort;
    }
    return request.scheme == "https" ? HttpsPort : std::uint16_t{0};
}

/// Without the scheme, which curl is given on its own. The port stands behind the path: that is what the tests' definitions
/// are made for.
std::wstring CurlUrl(const CurlTestRequest& request)
{
    std::wstring url = request.target;
    const std::wstring path = ConvertStringType(request.config.path);
    if (!path.empty())
    {
        if (!url.ends_with(L'/') && !path.starts_with(L'/'))
        {
            url += L'/';
        }
        url += path;
    }
    if (request.port != 0)
    {
        url += fmt::format(L":{}", request.port);
    }
    return url;
}

} // namespace

void RequireCurlRequest(const CurlTestRequest& request)
{
    RequireTarget(request.target);
    if (request.target.find_first_of(NoPartOfACurlTarget) != std::wstring::npos)
    {
        throw InvalidArgumentException(
            fmt::format("The target {} is more than a host", ConvertStringType(request.target)));
    }
    // As curl is given them: bytes of no character are dropped on the way.
    if (Shared::Util::EqualsIgnoreCase(std::wstring_view(ConvertStringType(request.scheme)), L"file"))
    {
        throw InvalidArgumentException("The scheme file would read this machine's files");
    }
    for (const std::string& header : request.config.headers)
    {
        if (ConvertStringType(header).starts_with(L'@'))
        {
            throw InvalidArgumentException(fmt::format("The header {} would be read from a file", header));
        }
    }
}

Arguments BuildCurlArguments(
    const CurlTestRequest& request, const std::wstring& resolvedIp, const std::wstring& nullDevice)
{
    RequireCurlRequest(request);
    Arguments arguments = {L"bin\\curl", L"-w", L"%{json}"};
    if (request.ignoreSslErrors)
    {
        arguments.emplace_back(L"-k");
    }
    const Arguments fixed = {
        L"--resolve",
        fmt::format(L"{}:{}:{}", request.target, ResolvePort(request), resolvedIp),
        L"--max-time",
        L"15",
        L"--proto-default",
        ConvertStringType(request.scheme),
        L"--ssl-revoke-best-effort",
        L"-s",
        L"-o",
        nullDevice,
        L"-4"};
    std::ranges::copy(fixed, std::back_inserter(arguments));
    for (const std::string& header : request.config.headers)
    {
        arguments.emplace_back(L"--header");
        arguments.push_back(ConvertStringType(header));
    }
    arguments.push_back(CurlUrl(request));
    return arguments;
}

Arguments BuildMtrArguments(std::uint32_t runnerIndex, const std::wstring& target)
{
    RequireTarget(target);
    return {
        L"bin\\mtr",
        L"--json",
        L"--timeout",
        L"15",
        L"-c",
        L"5",
        L"-q",
        std::to_wstring(FirstMtrPort + runnerIndex * MtrPortsOfARunner),
        L"--interval",
        L"5",
        L"--show-ips",
        L"--rtt-clamping",
        L"--end-verification",
        L"-4",
        target};
}

Arguments BuildBmtrArguments(bool modeFlag, const std::wstring& target)
{
    RequireTarget(target);
    return {L"bin\\bmtr.exe", modeFlag ? L"u" : L"s", L"i", modeFlag ? L"f" : L"n", L"5", L"1", L"5", target, L"80"};
}

Arguments BuildTcpPingArguments(const TcpPingRequest& request)
{
    RequireTarget(request.config.target);
    Arguments arguments = {
        L"bin\\tcping", L"-n", std::to_wstring(request.probeCount), L"-i", std::to_wstring(request.intervalSeconds),
        L"-w",
        // Shortest form, with a point whatever the locale.
        fmt::format(L"{}", request.timeoutSeconds), L"-j"};
    if (request.port != 0 && request.port != TcpPingPort)
    {
        arguments.emplace_back(L"-p");
        arguments.push_back(std::to_wstring(request.port));
    }
    arguments.push_back(request.config.target);
    return arguments;
}

} // namespace AgentCore::Tests
