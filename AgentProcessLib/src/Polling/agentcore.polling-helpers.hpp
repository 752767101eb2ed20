#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.tests-curltestrunner.hpp"
#include "agentcore.tests-pathtestrunner.hpp"
#include "agentcore.tests-tcppingrunner.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <memory>
#include <string>
#include <vector>

#include <test_results.pb.h>

/// Starts the network tests of a cycle, and collects them at its end. What one target does wrong costs that target alone:
/// the log tells, and nothing is thrown for it. A runner that could not be started, or that is not to run in the state that
/// the tunnel is in, stays among the others and is passed over when they are collected.
///
/// `debugMode` gives the tools the agent's own user with fewer rights instead of a service account. All functions belong to
/// the thread that owns the runners.
namespace AgentCore::Polling
{

using NetworkObjects = std::vector<Messaging::NetworkObject>;
using CurlRunners = std::vector<std::unique_ptr<Tests::CurlTestRunner>>;
using PathRunners = std::vector<std::unique_ptr<Tests::PathTestRunner>>;
using TcpPingRunners = std::vector<std::unique_ptr<Tests::TcpPingRunner>>;

/// Starts the test against each address and then each domain of its network object, whose names it looks up one after the
/// other, each for as long as the settings allow. Does nothing when there is no such object.
void StartCurlTest(
    const NetworkObjects& objects, const Messaging::CurlTest& test, CurlRunners& runners, bool debugMode);

/// The same for a test of the path. A runner's number is its place in `runners`.
void StartMtrTest(
    const NetworkObjects& objects,
    const Messaging::MtrTest& test,
    PathRunners& runners,
    const Shared::AppSettings::VpnConnectionInfo& vpnInfo,
    const std::wstring& tunnelIp,
    bool debugMode);

/// The same by TCP; the log tells why a test is skipped. For when the driver is usable.
void StartTcpMtrTests(
    const NetworkObjects& objects,
    const Messaging::MtrTest& test,
    PathRunners& runners,
    const Shared::AppSettings::VpnConnectionInfo& vpnInfo,
    const std::wstring& tunnelIp,
    bool debugMode);

/// Starts a test of the path to the VPN's gateway, while the tunnel is up and the gateway known.
void StartVpnGatewayMtrTest(
    PathRunners& runners,
    const Shared::AppSettings::VpnConnectionInfo& vpnInfo,
    const std::wstring& tunnelIp,
    bool debugMode);

/// Starts a minute of pings for each configuration that is tested by TCP.
void StartTcpPingTests(bool debugMode, const std::vector<Messaging::TestConfiguration>& tests, TcpPingRunners& runners);

/// The results of the path tests that were started. `runners` is empty afterwards.
/// @param discard whether user or tenant have changed: then only tests of the gateway count
/// @param gatewayChanged whether these do not count either
std::vector<MtrTestResult> ProcessMtrResults(PathRunners& runners, bool discard, bool gatewayChanged);

/// The results of the HTTP tests that were started; none if they are discarded. `runners` is empty afterwards.
std::vector<CurlTestResult> ProcessCurlResults(CurlRunners& runners, bool discard);

/// The address beside this machine's own in the tunnel, which is that of the other end. Empty while the tunnel is not up,
/// without an address there, and when that is none, which the log tells.
std::wstring DetermineTunnelIp();

/// Whether path tests by TCP can use their driver; false when no test needs it.
bool IsTcpDriverUsable(const std::vector<Messaging::MtrTest>& tests);

} // namespace AgentCore::Polling
