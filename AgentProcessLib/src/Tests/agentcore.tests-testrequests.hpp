#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <test_results.pb.h>

/// What the runners of the network test tools are told. Plain values: a runner keeps its own copy for as long as it lives.
namespace AgentCore::Tests
{

/// One HTTP test against one target.
struct CurlTestRequest
{
    /// Of it the path, the headers and in which states of the tunnel it runs count here.
    Messaging::CurlTest config;
    /// "2XX" and "3XX" mean something, nothing else does.
    std::vector<std::string> successCodes;
    /// The target's position among those of its network object.
    std::uint32_t index = 0;
    /// Host name or address.
    std::wstring target;
    std::string networkObjectUuid;
    std::string scheme;
    std::string curlUuid;
    /// 0: the scheme's own.
    std::uint16_t port = 0;
    bool isDomain = false;
    bool ignoreSslErrors = false;
};

/// One test of the path to one target.
struct MtrTestRequest
{
    /// Nothing for the test of the VPN's gateway, which runs whatever state the tunnel is in.
    std::optional<Messaging::MtrTest> config;
    /// Running number of the runner; it keeps the probes of runners that run side by side apart.
    std::uint32_t runnerIndex = 0;
    /// Host name or address.
    std::wstring target;
    std::string networkObjectUuid;
    std::string mtrConfigUuid;
    /// What the result bears as its index.
    std::uint32_t index = 0;
    ServerType serverType = UNKNOWN;
    /// The VPN as it was when the test was started, and this machine's address in its tunnel.
    Shared::AppSettings::VpnConnectionInfo vpnInfo;
    std::wstring tunnelIp;
};

/// One minute of TCP pings against one target, which is that of the configuration.
struct TcpPingRequest
{
    Messaging::TestConfiguration config;
    std::uint32_t probeCount = 0;
    /// Seconds from one probe to the next.
    std::uint32_t intervalSeconds = 0;
    /// 0: the tool's own, which is 80.
    std::uint32_t port = 0;
    /// Seconds that a probe waits for its answer.
    float timeoutSeconds = 0.0F;
};

} // namespace AgentCore::Tests
