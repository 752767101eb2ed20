#include "agentcore.polling-helpers.hpp"

#include "agentcore.polling-tcpdriver.hpp"
#include "agentcore.tests-bmtrtestrunner.hpp"
#include "agentcore.tests-functions.hpp"
#include "agentcore.tests-mtrtestrunner.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.log-functions.hpp"
#include "shared.security-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <source_location>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Polling
{

namespace
{

using Messaging::CurlTest;
using Messaging::MtrTest;
using Messaging::NetworkObject;
using Messaging::TestConfiguration;
using Shared::AppSettings::VpnConnectionInfo;
using Shared::AppSettings::VpnConnectionStatus;
using Shared::Concurrency::ProcessRunner;
using Shared::Util::ConvertStringType;

constexpr std::string_view TcpProtocol = "tcp";
constexpr std::wstring_view TcpPingProtocol = L"tcp";
constexpr std::uint32_t TcpPingCount = 6;
constexpr std::uint32_t TcpPingIntervalSeconds = 10;
constexpr float MsPerSecond = 1000.0F;
/// The way to measure that the servers' path tests by TCP were made for.
constexpr bool BmtrModeFlag = false;

/// One of the addresses or domains of a network object.
struct Target
{
    const std::string& text;
    /// Its place among those of its kind.
    std::uint32_t index;
    bool isDomain;
};

const NetworkObject* FindNetworkObject(const NetworkObjects& objects, const std::string& uuid)
{
    const auto found = std::ranges::find(objects, uuid, &NetworkObject::uuid);
    return found == objects.end() ? nullptr : &*found;
}

/// What is made stays among the runners, started or not.
template <typename Runners, typename Runner>
void StartRunner(Runners& runners, std::unique_ptr<Runner> runner)
{
    runners.push_back(std::move(runner));
    runners.back()->Start();
}

/// Starts what `make` makes of each target of the object, its addresses first; `fail` tells what goes wrong with one.
template <typename Runners, typename Make, typename Fail>
void StartForEachTarget(const NetworkObject& object, Runners& runners, Make make, Fail fail)
{
    const auto start = [&](const Target& target)
    {
        try
        {
            StartRunner(runners, make(target));
        }
        catch (const std::exception& exception)
        {
            fail(exception.what());
        }
    };
    std::uint32_t index = 0;
    for (const auto& address : object.ips)
    {
        start({address, index++, false});
    }
    index = 0;
    for (const auto& domain : object.domains)
    {
        start({domain, index++, true});
    }
}

Tests::CurlTestRequest MakeCurlRequest(const CurlTest& test, const Target& target)
{
    Tests::CurlTestRequest request;
    request.config = test;
    request.successCodes = test.successCodes;
    request.index = target.index;
    request.target = ConvertStringType(target.text);
    request.networkObjectUuid = test.netobj;
    request.scheme = test.protocol;
    request.curlUuid = test.id;
    request.port = static_cast<std::uint16_t>(test.port);
    request.isDomain = target.isDomain;
    request.ignoreSslErrors = test.ignoreSsl;
    return request;
}

/// What all path tests of a worker have in common.
struct PathTestSurroundings
{
    const VpnConnectionInfo& vpnInfo;
    const std::wstring& tunnelIp;
};

Tests::MtrTestRequest MakeMtrRequest(
    std::wstring target, const PathRunners& runners, const PathTestSurroundings& surroundings)
{
    Tests::MtrTestRequest request;
    request.runnerIndex = static_cast<std::uint32_t>(runners.size());
    request.index = request.runnerIndex;
    request.target = std::move(target);
    request.vpnInfo = surroundings.vpnInfo;
    request.tunnelIp = surroundings.tunnelIp;
    return request;
}

Tests::MtrTestRequest MakeMtrRequest(
    const MtrTest& test, const Target& target, const PathRunners& runners, const PathTestSurroundings& surroundings)
{
    Tests::MtrTestRequest request = MakeMtrRequest(ConvertStringType(target.text), runners, surroundings);
    request.config = test;
    request.networkObjectUuid = test.netobj;
    request.mtrConfigUuid = test.id;
    return request;
}

Tests::TcpPingRequest MakeTcpPingRequest(const TestConfiguration& test)
{
    Tests::TcpPingRequest request;
    request.config = test;
    request.probeCount = TcpPingCount;
    request.intervalSeconds = TcpPingIntervalSeconds;
    request.port = static_cast<std::uint32_t>(test.port);
    request.timeoutSeconds = static_cast<float>(Shared::AppSettings::GetPingTimeoutMs()) / MsPerSecond;
    return request;
}

/// Whether a test still tells of what is there although user or tenant have changed.
bool IsStillValid(const Tests::PathTestRunner& runner, bool gatewayChanged)
{
    if (!runner.IsGatewayTest())
    {
        Shared::Log::Info("Discarding MTR non-VPN gateway test due to changed username or subtenant.");
        return false;
    }
    if (gatewayChanged)
    {
        Shared::Log::Info("Discarding MTR VPN gateway test test due to changed gateway address.");
    }
    return !gatewayChanged;
}

/// The results of the started runners that are wanted.
template <typename Result, typename Runners, typename IsWanted>
std::vector<Result> ReadResults(
    const Runners& runners, IsWanted isWanted, std::string_view failure, const std::source_location& where)
{
    std::vector<Result> results;
    for (const auto& runner : runners)
    {
        if (runner->GetState() != ProcessRunner::State::Started || !isWanted(*runner))
        {
            continue;
        }
        try
        {
            results.push_back(runner->ReadTestResult());
        }
        catch (const std::exception& exception)
        {
            Shared::Log::LogException(failure, exception, where);
        }
    }
    return results;
}

} // namespace

void StartCurlTest(const NetworkObjects& objects, const CurlTest& test, CurlRunners& runners, bool debugMode)
{
    const NetworkObject* object = FindNetworkObject(objects, test.netobj);
    if (object == nullptr)
    {
        return;
    }
    StartForEachTarget(
        *object, runners,
        [&](const Target& target)
        {
            return std::make_unique<Tests::CurlTestRunner>(
                Shared::Security::GetCurlTcPingChildProcessIdentity(debugMode), MakeCurlRequest(test, target));
        },
        [&](const char* what) { Shared::Log::Warn("Curl {} test failed to initiate: {}.", test.id, what); });
}

void StartMtrTest(
    const NetworkObjects& objects,
    const MtrTest& test,
    PathRunners& runners,
    const VpnConnectionInfo& vpnInfo,
    const std::wstring& tunnelIp,
    bool debugMode)
{
    const NetworkObject* object = FindNetworkObject(objects, test.netobj);
    if (object == nullptr)
    {
        return;
    }
    StartForEachTarget(
        *object, runners,
        [&](const Target& target)
        {
            return std::make_unique<Tests::MtrTestRunner>(
                Shared::Security::GetMtrChildProcessIdentity(debugMode),
                MakeMtrRequest(test, target, runners, {vpnInfo, tunnelIp}));
        },
        [where = std::source_location::current()](const char* what)
        { Shared::Log::LogErrorAt(fmt::format("An MTR test failed to initiate successfully: {}", what), where); });
}

void StartTcpMtrTests(
    const NetworkObjects& objects,
    const MtrTest& test,
    PathRunners& runners,
    const VpnConnectionInfo& vpnInfo,
    const std::wstring& tunnelIp,
    bool debugMode)
{
    if (objects.empty())
    {
        Shared::Log::Warn("A BMTR test was skipped as no network objects are present.");
        return;
    }
    if (test.l4Protocol != TcpProtocol)
    {
        Shared::Log::Warn("A BMTR test was skipped as it's not a TCP test.");
        return;
    }
    const NetworkObject* object = FindNetworkObject(objects, test.netobj);
    if (object == nullptr)
    {
        Shared::Log::Warn("A BMTR test was skipped as no related network objects were found.");
        return;
    }
    StartForEachTarget(
        *object, runners,
        [&](const Target& target)
        {
            return std::make_unique<Tests::BmtrTestRunner>(
                Shared::Security::GetMtrChildProcessIdentity(debugMode),
                MakeMtrRequest(test, target, runners, {vpnInfo, tunnelIp}), BmtrModeFlag);
        },
        [where = std::source_location::current()](const char* what)
        { Shared::Log::LogErrorAt(fmt::format("A BMTR test failed to initiate successfully: {}", what), where); });
}

void StartVpnGatewayMtrTest(
    PathRunners& runners, const VpnConnectionInfo& vpnInfo, const std::wstring& tunnelIp, bool debugMode)
{
    if (vpnInfo.status != VpnConnectionStatus::Connected || vpnInfo.gatewayIpV4.empty())
    {
        return;
    }
    try
    {
        Tests::MtrTestRequest request = MakeMtrRequest(vpnInfo.gatewayIpV4, runners, {vpnInfo, tunnelIp});
        request.serverType = VPN_GATEWAY;
        StartRunner(
            runners,
            std::make_unique<Tests::MtrTestRunner>(
                Shared::Security::GetMtrChildProcessIdentity(debugMode), std::move(request)));
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("VEL gateway-address MTR test failed to initiate successfully", exception);
    }
}

void StartTcpPingTests(bool debugMode, const std::vector<TestConfiguration>& tests, TcpPingRunners& runners)
{
    for (const auto& test : tests)
    {
        if (test.protocol != TcpPingProtocol)
        {
            continue;
        }
        try
        {
            StartRunner(
                runners,
                std::make_unique<Tests::TcpPingRunner>(
                    Shared::Security::GetCurlTcPingChildProcessIdentity(debugMode), MakeTcpPingRequest(test)));
        }
        catch (const std::exception& exception)
        {
            Shared::Log::Warn(
                "Couldn't start a tcping test for {0}: {1}", ConvertStringType(test.target), exception.what());
        }
    }
}

std::vector<MtrTestResult> ProcessMtrResults(PathRunners& runners, bool discard, bool gatewayChanged)
{
    Shared::Log::Info("Attempting to get MTR results...");
    auto results = ReadResults<MtrTestResult>(
        runners, [&](const Tests::PathTestRunner& runner) { return !discard || IsStillValid(runner, gatewayChanged); },
        "An MTR test failed to complete successfully", std::source_location::current());
    runners.clear();
    Shared::Log::Info("MTR results processed.");
    return results;
}

std::vector<CurlTestResult> ProcessCurlResults(CurlRunners& runners, bool discard)
{
    if (discard)
    {
        Shared::Log::Info("Discarding curl tests due to changed username or subtenant.");
        runners.clear();
        return {};
    }
    Shared::Log::Info("Attempting to get Curl results...");
    auto results = ReadResults<CurlTestResult>(
        runners, [](const Tests::CurlTestRunner&) { return true; }, "A Curl test failed to complete successfully",
        std::source_location::current());
    runners.clear();
    Shared::Log::Info("Curl results processed.");
    return results;
}

std::wstring DetermineTunnelIp()
{
    constexpr std::size_t addressParts = 4;
    try
    {
        std::wstring word;
        if (Shared::AppSettings::GetTunnelStatus(word) != VpnConnectionStatus::Connected)
        {
            return {};
        }
        const std::wstring own = Shared::AppSettings::GetTunnelIps().ipV4;
        if (Shared::Util::Split(own, L".").size() != addressParts)
        {
            return {};
        }
        const std::wstring adjacent = Shared::Util::ConstructAdjacentIpV4(own);
        Shared::Log::Info("Constructed IP address {}", ConvertStringType(adjacent));
        return Tests::HostNameToAddresses(adjacent).ipv4;
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("DetermineTunnelIp() failed", exception);
        return {};
    }
}

bool IsTcpDriverUsable(const std::vector<MtrTest>& tests)
{
    if (std::ranges::find(tests, TcpProtocol, &MtrTest::l4Protocol) == tests.end())
    {
        return false;
    }
    return IsTcpDriverRunning(&QueryTcpDriverState);
}

} // namespace AgentCore::Polling
