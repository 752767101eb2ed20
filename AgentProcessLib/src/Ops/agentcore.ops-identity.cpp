#include "agentcore.ops-identity.hpp"

#include "shared.appsettings-functions.hpp"
#include "shared.log-functions.hpp"

namespace AgentCore::Ops
{

namespace Settings = Shared::AppSettings;

RegistryIdentity::RegistryIdentity()
{
    Shared::Log::Warn("This build cannot open the user id of the VPN client yet: user and tenant are unknown to it");
}

bool RegistryIdentity::HasIdentityChanged(const AppState&)
{
    Shared::Log::Info("No registered-id could be derived from the current VPN connection information");
    return false;
}

bool RegistryIdentity::UpdateEnablement(const AppState& appState)
{
    return Settings::UpdateEnablement(appState.instanceAgentConfig.enabled, {});
}

std::wstring RegistryIdentity::GetSubTenantId()
{
    return {};
}

std::wstring RegistryIdentity::GetRegisteredId()
{
    return {};
}

std::wstring RegistryIdentity::GetTunnelStatus()
{
    return Settings::GetTunnelStatusText();
}

void RegistryIdentity::RefreshServer(AppState& appState)
{
    Settings::RefreshServerFromRegistry(appState.settings);
}

std::uint32_t RegistryIdentity::CalculateRetryDelay(std::uint32_t attempt)
{
    return Settings::CalculateRetryDelay(attempt);
}

} // namespace AgentCore::Ops
