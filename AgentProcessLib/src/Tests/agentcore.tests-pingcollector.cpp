#include "agentcore.tests-pingcollector.hpp"

#include <exception>
#include <memory>
#include <utility>

#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-time.hpp"

namespace AgentCore::Tests
{

namespace
{

using Messaging::TestConfiguration;
using Shared::Util::ConvertStringType;

constexpr char KeySeparator = '\x1F';
constexpr std::wstring_view TcpProtocol = L"tcp";

/// A gateway that an adapter without one may tell of.
constexpr std::string_view NoGateway = "0.0.0.0";

PingBatch DescribeTest(const TestConfiguration& test, const std::string& time)
{
    PingBatch batch;
    batch.server = ConvertStringType(test.target);
    batch.networkObjectUuid = ConvertStringType(test.networkObjectUuid);
    batch.testUuid = ConvertStringType(test.testKey);
    batch.curlTestsConfigured = test.hasCurlTest;
    batch.periodStartUtc = time;
    return batch;
}

PingBatch DescribeServer(std::string address, ServerType type, const std::string& time)
{
    PingBatch batch;
    batch.server = std::move(address);
    batch.serverType = type;
    batch.periodStartUtc = time;
    return batch;
}

PingSources SystemSources(PingCollector::VpnSource getVpnConnectionInfo)
{
    const auto querier = std::make_shared<System::NetworkingQuerier>();
    return {
        [](const std::wstring& hostName) { return HostNameToAddresses(hostName); },
        [](const std::wstring& address) { return DoIpV4Ping(address); },
        [querier] { return querier->GetNetworkInterfaces(); }, std::move(getVpnConnectionInfo)};
}

} // namespace

std::string JoinPingKey(std::string_view id, std::string_view target)
{
    std::string key{id};
    key += KeySeparator;
    key += target;
    return key;
}

std::string_view GetPingKeyId(std::string_view key) noexcept
{
    return key.substr(0, key.find(KeySeparator));
}

PingCollector::PingCollector(VpnSource getVpnConnectionInfo)
    : PingCollector(SystemSources(std::move(getVpnConnectionInfo)))
{
}

PingCollector::PingCollector(PingSources sources) : m_sources(std::move(sources))
{
}

GatewayPingResult PingCollector::PingTests(const std::vector<TestConfiguration>& tests, const std::wstring& tunnelIp)
{
    const auto time = Shared::Util::FormatTimeText(Shared::Time::UtcNow());
    for (const auto& test : tests)
    {
        if (test.protocol != TcpProtocol)
        {
            PingConfiguredTest(test, time);
        }
    }
    const auto result = PingDefaultGateways(time);
    const auto vpnGateway = ReadVpnGateway();
    PingTunnel(ConvertStringType(tunnelIp), time);
    PingVpnGateway(vpnGateway, time);
    return result;
}

void PingCollector::PingConfiguredTest(const TestConfiguration& test, const std::string& time)
{
    try
    {
        const auto addresses = m_sources.resolve(test.target);
        auto batch = DescribeTest(test, time);
        const auto id = batch.testUuid;
        Ping(addresses.ipv4, id, std::move(batch));
    }
    catch (const std::exception& exception)
    {
        Shared::Log::Debug("Pinging test target {} failed: {}", ConvertStringType(test.target), exception.what());
    }
}

std::vector<System::NetworkInterfaceRecord> PingCollector::ListInterfaces() const
{
    try
    {
        return m_sources.getInterfaces();
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogExceptionWarning("No default gateway is pinged in this round", exception);
        return {};
    }
}

GatewayPingResult PingCollector::PingDefaultGateways(const std::string& time)
{
    auto result = GatewayPingResult::NotPinged;
    for (const auto& [message, dnsServers] : ListInterfaces())
    {
        const auto& gateway = message.ipv4_default_gateway();
        if (gateway.empty() || gateway == NoGateway)
        {
            continue;
        }
        auto batch = DescribeServer(gateway, DEFAULT_GATEWAY, time);
        batch.isTestUuidInKey = true;
        const bool answered = PingServer(message.name(), std::move(batch), "Pinging default gateway [{}] failed: {}");
        if (answered || result == GatewayPingResult::NotPinged)
        {
            result = answered ? GatewayPingResult::Answered : GatewayPingResult::Unanswered;
        }
    }
    return result;
}

std::string PingCollector::ReadVpnGateway() const
{
    try
    {
        return ConvertStringType(m_sources.getVpnConnectionInfo().gatewayIpV4);
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogExceptionWarning("What the VPN client tells is not known in this round", exception);
        return {};
    }
}

void PingCollector::PingTunnel(const std::string& address, const std::string& time)
{
    if (address.empty())
    {
        Shared::Log::Warn("The tunnelIp is empty; no tunnelIp (overlay) ping will be performed.");
        return;
    }
    PingServer(
        ServerType_Name(VPN_TUNNEL), DescribeServer(address, VPN_TUNNEL, time), "Pinging VEL tunnel-ip {} failed: {}");
}

void PingCollector::PingVpnGateway(const std::string& address, const std::string& time)
{
    if (address.empty())
    {
        Shared::Log::Warn("GatewayAddressIpV4 is empty; no VPN gateway (underlay) ping will be performed.");
        return;
    }
    PingServer(
        ServerType_Name(VPN_GATEWAY), DescribeServer(address, VPN_GATEWAY, time), "Pinging VEL gateway {} failed: {}");
}

bool PingCollector::PingServer(std::string_view keyId, PingBatch batch, FailureText failure)
{
    const auto address = batch.server;
    try
    {
        return Ping(ConvertStringType(address), keyId, std::move(batch));
    }
    catch (const std::exception& exception)
    {
        Shared::Log::Debug(failure, address, exception.what());
        return false;
    }
}

bool PingCollector::Ping(const std::wstring& address, std::string_view keyId, PingBatch batch)
{
    const auto result = m_sources.ping(address);
    const auto key = JoinPingKey(keyId, batch.server);
    batch.samples.push_back({result.roundTripMs, result.status, result.replied});
    m_batches[key].push_back(std::move(batch));
    return result.replied && result.status == Icmp::StatusSuccess;
}

PingBatches PingCollector::TakeBatches() noexcept
{
    return std::exchange(m_batches, {});
}

PingAggregates& PingCollector::GetAggregates() noexcept
{
    return m_aggregates;
}

} // namespace AgentCore::Tests
