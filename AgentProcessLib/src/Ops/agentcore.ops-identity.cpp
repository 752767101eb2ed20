#include "agentcore.ops-identity.hpp"

#include "agentcore.system-systemquerier.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.appsettings-enablement.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.com-cominitialiser.hpp"

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

Settings::VpnConnectionInfo RegistryIdentity::GetVpnConnectionInfo()
{
    return Settings::GetVpnConnectionInfo(m_key);
}

std::wstring RegistryIdentity::GetTunnelStatus()
{
    std::wstring text;
    (void)Settings::GetTunnelStatus(text);
    return text;
}

DeviceIds RegistryIdentity::GetDeviceIds()
{
    const std::wstring guid = Settings::GetMachineGuid();
    const std::wstring machineId = Settings::GetMachineId();
    return machineId.empty() ? DeviceIds{guid, {}} : DeviceIds{machineId, guid};
}

bool RegistryIdentity::GetCurrentRegistrationInfo(Settings::RegistrationInfo& out)
{
    return Settings::GetCurrentRegistrationInfo(m_key, out);
}

std::wstring RegistryIdentity::GetRegisteredSubtenantId()
{
    return Settings::GetRegisteredSubtenantId(m_key);
}

void RegistryIdentity::SetRegisteredSubtenantId(const std::wstring& subtenantId)
{
    Settings::SetRegisteredSubtenantId(subtenantId, m_key);
}

void RegistryIdentity::SaveRegistration(const Settings::AppSettings& settings)
{
    Settings::SaveRegistration(settings);
}

void RegistryIdentity::DeleteRegistration()
{
    Settings::DeleteRegistration();
}

Settings::RegistrationInfo RegistryIdentity::FindRegistration(const std::wstring& subtenantId)
{
    return Settings::FindRegistration(subtenantId, m_key);
}

void RegistryIdentity::RemoveRegistration(const std::wstring& subtenantId)
{
    Settings::RemoveRegistration(subtenantId, m_key);
}

Settings::AppSettings RegistryIdentity::LoadAppSettings()
{
    return Settings::LoadAppSettings(m_key);
}

void RegistryIdentity::RefreshServer(Settings::AppSettings& settings)
{
    Settings::RefreshServerFromRegistry(settings);
}

bool RegistryIdentity::UpdateEnablement(bool remoteEnabled)
{
    return Settings::UpdateEnablement(remoteEnabled, m_key);
}

std::uint32_t RegistryIdentity::CalculateRetryDelay(std::uint32_t attempt)
{
    return Settings::CalculateRetryDelay(attempt);
}

std::wstring RegistryIdentity::GetInstalledVersion()
{
    return Settings::GetInstalledVersion();
}

void RegistryIdentity::SetTargetVersion(const std::wstring& version)
{
    Settings::SetTargetVersion(version);
}

void RegistryIdentity::EnableAutoUpdate()
{
    Settings::EnableAutoUpdate();
}

} // namespace AgentCore::Ops
