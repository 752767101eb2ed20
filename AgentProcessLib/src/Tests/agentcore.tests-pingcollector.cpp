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
    PingVpn(tunnelIp, time);
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

GatewayPingResult PingCollector::PingDefaultGateways(const std::string& time)
{
    auto result = GatewayPingResult::NotPinged;
    std::vector<System::NetworkInterfaceRecord> interfaces;
    try
    {
        interfaces = m_sources.getInterfaces();
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogExceptionWarning("No default gateway is pinged in this round", exception);
    }
    for (const auto& [message, dnsServers] : interfaces)
    {
        const auto& gateway = message.ipv4_default_gateway();
        if (gateway.empty() || gateway == NoGateway)
        {
            continue;
        }
        result = result == GatewayPingResult::NotPinged ? GatewayPingResult::Unanswered : result;
        try
        {
            auto batch = DescribeServer(gateway, DEFAULT_GATEWAY, time);
            batch.isTestUuidInKey = true;
            if (Ping(ConvertStringType(gateway), message.name(), std::move(batch)))
            {
                result = GatewayPingResult::Answered;
            }
        }
        catch (const std::exception& exception)
        {
            Shared::Log::Debug("Pinging default gateway [{}] failed: {}", gateway, exception.what());
        }
    }
    return result;
}

void PingCollector::PingVpn(const std::wstring& tunnelIp, const std::string& time)
{
    std::wstring gateway;
    try
    {
        gateway = m_sources.getVpnConnectionInfo().gatewayIpV4;
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogExceptionWarning("What the VPN client tells is not known in this round", exception);
    }
    const auto ping =
        [&](const std::wstring& address, ServerType type, fmt::format_string<std::string, const char*> failure)
    {
        const auto text = ConvertStringType(address);
        try
        {
            Ping(address, ServerType_Name(type), DescribeServer(text, type, time));
        }
        catch (const std::exception& exception)
        {
            Shared::Log::Debug(failure, std::string{text}, exception.what());
        }
    };
    if (tunnelIp.empty())
    {
        Shared::Log::Warn("The tunnelIp is empty; no tunnelIp (overlay) ping will be performed.");
    }
    else
    {
        ping(tunnelIp, VPN_TUNNEL, "Pinging VEL tunnel-ip {} failed: {}");
    }
    if (gateway.empty())
    {
        Shared::Log::Warn("GatewayAddressIpV4 is empty; no VPN gateway (underlay) ping will be performed.");
    }
    else
    {
        ping(gateway, VPN_GATEWAY, "Pinging VEL gateway {} failed: {}");
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
