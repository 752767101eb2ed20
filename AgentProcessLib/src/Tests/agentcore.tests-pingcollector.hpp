#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include <test_results.pb.h>

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.system-networkingquerier.hpp"
#include "agentcore.tests-functions.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"

namespace AgentCore::Tests
{

/// One ping, as it counts.
struct PingSample
{
    /// Milliseconds.
    std::uint32_t rtt = 0;
    /// 0 for success.
    std::uint32_t status = 0;
    bool answered = false;
};

/// Samples of one target that were taken in one round, and what they are of.
struct PingBatch
{
    std::string server;
    std::string networkObjectUuid;
    std::string testUuid;
    /// Whether the first part of the key stands in place of `testUuid`.
    bool isTestUuidInKey = false;
    ServerType serverType = UNKNOWN;
    bool curlTestsConfigured = false;
    /// The time text of the round.
    std::string periodStartUtc;
    std::vector<PingSample> samples;
};

/// Batches of each key, in the order of time.
using PingBatches = std::map<std::string, std::vector<PingBatch>, std::less<>>;

/// What the statistics of one key belong to, and these.
struct PingAggregate
{
    std::string server;
    std::string networkObjectUuid;
    std::string testUuid;
    ServerType serverType = UNKNOWN;
    std::vector<PingStatistics> results;
};

using PingAggregates = std::map<std::string, PingAggregate, std::less<>>;

/// What keeps the results of one target apart from those of others: what is tested, and at which address.
std::string JoinPingKey(std::string_view id, std::string_view target);

/// The part of such a key that tells what is tested.
std::string_view GetPingKeyId(std::string_view key) noexcept;

/// How the default gateways answered in a round, with the numbers by which others are told.
enum class GatewayPingResult : std::uint32_t
{
    /// One at least.
    Answered = 0,
    Unanswered = 1,
    /// There is none.
    NotPinged = 2
};

/// What a collector asks. All of it is set.
struct PingSources
{
    std::function<HostAddresses(const std::wstring& hostName)> resolve;
    std::function<PingResult(const std::wstring& address)> ping;
    std::function<std::vector<System::NetworkInterfaceRecord>()> getInterfaces;
    std::function<Shared::AppSettings::VpnConnectionInfo()> getVpnConnectionInfo;
};

/// Pings the targets of the tests, the gateways and the tunnel round by round, and keeps the results of one cycle. Belongs
/// to one thread.
class PingCollector
{
public:
    using VpnSource = std::function<Shared::AppSettings::VpnConnectionInfo()>;

    /// Asks the system, and `getVpnConnectionInfo` for what the VPN client tells.
    explicit PingCollector(VpnSource getVpnConnectionInfo);
    explicit PingCollector(PingSources sources);
    PingCollector(const PingCollector&) = delete;
    PingCollector& operator=(const PingCollector&) = delete;
    virtual ~PingCollector() = default;

    /// One round: one echo for each target of `tests` that is not tested by TCP, each default gateway, the other end of the
    /// tunnel and the VPN's gateway, one after the other. A target that cannot be found has no sample of this round. Never
    /// throws for what one target does; the log tells.
    /// @param tunnelIp the address that stands for the tunnel; empty for none
    virtual GatewayPingResult PingTests(
        const std::vector<Messaging::TestConfiguration>& tests, const std::wstring& tunnelIp);

    /// What the rounds since the last call have found.
    PingBatches TakeBatches() noexcept;

    /// The statistics so far.
    PingAggregates& GetAggregates() noexcept;

private:
    /// Of the address and what() of the failure.
    using FailureText = fmt::format_string<const std::string&, const char*>;

    void PingConfiguredTest(const Messaging::TestConfiguration& test, const std::string& time);
    std::vector<System::NetworkInterfaceRecord> ListInterfaces() const;
    GatewayPingResult PingDefaultGateways(const std::string& time);
    /// Empty when there is none, or nobody can tell.
    std::string ReadVpnGateway() const;
    void PingTunnel(const std::string& address, const std::string& time);
    void PingVpnGateway(const std::string& address, const std::string& time);
    /// Pings what is known by its address alone; true for a success. The log tells of a failure.
    bool PingServer(std::string_view keyId, PingBatch batch, FailureText failure);
    /// Adds the batch with one sample; true for a success.
    bool Ping(const std::wstring& address, std::string_view keyId, PingBatch batch);

    PingSources m_sources;
    PingBatches m_batches;
    PingAggregates m_aggregates;
};

} // namespace AgentCore::Tests
