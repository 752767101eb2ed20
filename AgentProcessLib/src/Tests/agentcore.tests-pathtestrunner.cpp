#include "agentcore.tests-pathtestrunner.hpp"

#include "shared.util-functions.hpp"

#include <utility>

namespace AgentCore::Tests
{

namespace
{

constexpr std::uint32_t NoCreationFlags = 0;

} // namespace

PathTestRunner::PathTestRunner(Shared::Raii::Win32Handle logonToken, MtrTestRequest request)
    : ProcessRunner(std::move(logonToken), NoCreationFlags), m_request(std::move(request))
{
}

const MtrTestRequest& PathTestRunner::GetRequest() const noexcept
{
    return m_request;
}

bool PathTestRunner::IsGatewayTest() const noexcept
{
    return !m_request.config.has_value();
}

bool PathTestRunner::RunsNow(const TunnelRuleTexts& texts) const noexcept
{
    return IsGatewayTest() || RunsInCurrentTunnelState(TunnelRuleOf(*m_request.config), texts, m_request.mtrConfigUuid);
}

PathTestFacts PathTestRunner::GetFacts() const
{
    return {
        GetStartTime(), m_request.networkObjectUuid, m_request.mtrConfigUuid, m_request.index, m_request.serverType};
}

void PathTestRunner::AddTunnelAddress(MtrTestResult& result) const
{
    Address address;
    address.set_gateway(Shared::Util::ConvertStringType(m_request.vpnInfo.gateway));
    address.set_ipv4(Shared::Util::ConvertStringType(m_request.tunnelIp));
    address.set_ipv6(Shared::Util::ConvertStringType(m_request.vpnInfo.tunnelIpV6));
    *result.mutable_norvik()->mutable_tunnel_ip() = std::move(address);
}

} // namespace AgentCore::Tests
