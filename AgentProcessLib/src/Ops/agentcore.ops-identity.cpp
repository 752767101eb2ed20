#include "agentcore.ops-identity.hpp"

#include "agentcore.system-systemquerier.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.appsettings-enablement.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <string_view>
#include <utility>

namespace AgentCore::Ops
{

namespace Settings = Shared::AppSettings;

std::string GetBiosSerialNumber()
{
    Shared::COM::ComInitialiser com;
    com.Initialise();
    return System::SystemQuerier().GetBiosInfo().serial_number();
}

RegistryIdentity::RegistryIdentity(Shared::Crypto::SensitiveString key) : m_key(std::move(key))
{
}

bool RegistryIdentity::HasIdentityChanged(const AppState& appState)
{
    const std::wstring actual = Settings::GetRegisteredSubtenantId(m_key);
    const Settings::VpnConnectionInfo vpn = Settings::GetVpnConnectionInfo(m_key);
    if (vpn.subTenantId.empty())
    {
        Shared::Log::Info("No registered-id could be derived from the current VPN connection information");
        return false;
    }
    if (actual != vpn.subTenantId)
    {
        Shared::Log::Info("The expected and actual registeredIds do not match; the agent will need to reregister");
        return true;
    }
    if (!Shared::Util::EqualsIgnoreCase(std::wstring_view(vpn.fullUsername), std::wstring_view(appState.username)))
    {
        Shared::Log::Info("Detected a username change. The agent will need to re-initialise.");
        return true;
    }
    return false;
}

bool RegistryIdentity::UpdateEnablement(const AppState& appState)
{
    return Settings::UpdateEnablement(appState.instanceAgentConfig.enabled, m_key);
}

std::wstring RegistryIdentity::GetSubTenantId()
{
    return Settings::GetVpnConnectionInfo(m_key).subTenantId;
}

std::wstring RegistryIdentity::GetRegisteredId()
{
    return Settings::GetRegisteredSubtenantId(m_key);
}

std::wstring RegistryIdentity::GetTunnelStatus()
{
    std::wstring text;
    (void)Settings::GetTunnelStatus(text);
    return text;
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
