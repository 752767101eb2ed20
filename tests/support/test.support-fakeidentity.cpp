#include "test.support-fakeidentity.hpp"

#include "shared.exception-exceptions.hpp"

#include <stdexcept>

namespace TestSupport
{

using Shared::AppSettings::AppSettings;
using Shared::AppSettings::RegistrationInfo;
using Shared::AppSettings::VpnConnectionInfo;

VpnConnectionInfo FakeIdentity::GetVpnConnectionInfo()
{
    return vpnInfo;
}

std::wstring FakeIdentity::GetTunnelStatus()
{
    return L"connected-internal";
}

AgentCore::Ops::DeviceIds FakeIdentity::GetDeviceIds()
{
    return deviceIds;
}

bool FakeIdentity::GetCurrentRegistrationInfo(RegistrationInfo& out)
{
    out = registration;
    return !registration.agentUuid.empty();
}

std::wstring FakeIdentity::GetRegisteredSubtenantId()
{
    ++identityChecks;
    return registration.subtenantId;
}

void FakeIdentity::SetRegisteredSubtenantId(const std::wstring& subtenantId)
{
    registration.subtenantId = subtenantId;
}

void FakeIdentity::SaveRegistration(const AppSettings& settings)
{
    ++saves;
    saved = settings;
    registration.accountId = settings.accountId;
    registration.agentUuid = settings.agentUuid;
}

void FakeIdentity::DeleteRegistration()
{
    ++deletions;
    registration = {};
}

RegistrationInfo FakeIdentity::FindRegistration(const std::wstring& subtenantId)
{
    const auto found = registrations.find(subtenantId);
    return found == registrations.end() ? RegistrationInfo{} : found->second;
}

void FakeIdentity::RemoveRegistration(const std::wstring& subtenantId)
{
    removed.push_back(subtenantId);
    registrations.erase(subtenantId);
}

AppSettings FakeIdentity::LoadAppSettings()
{
    AppSettings loaded = saved;
    loaded.installedVersion = L"loaded anew";
    return loaded;
}

void FakeIdentity::RefreshServer(AppSettings&)
{
    ++serverRefreshes;
}

bool FakeIdentity::UpdateEnablement(bool remoteEnabled)
{
    enablementUpdates.push_back(remoteEnabled);
    if (fails)
    {
        throw Shared::Exception::RuntimeException("the enablement cannot be updated");
    }
    return testsEnabled;
}

std::uint32_t FakeIdentity::CalculateRetryDelay(std::uint32_t attempt)
{
    attempts.push_back(attempt);
    return delayMs;
}

std::wstring FakeIdentity::GetInstalledVersion()
{
    return installedVersion;
}

void FakeIdentity::SetTargetVersion(const std::wstring& version)
{
    if (targetVersionFails)
    {
        throw std::runtime_error("the target version cannot be written");
    }
    targetVersions.push_back(version);
}

void FakeIdentity::EnableAutoUpdate()
{
    ++autoUpdateEnablings;
}

} // namespace TestSupport
