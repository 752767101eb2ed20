#pragma once

#include "agentcore.ops-identity.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace TestSupport
{

/// A machine whose settings are fields: answers what the test says, keeps what it is told, and counts what it is asked.
class FakeIdentity : public AgentCore::Ops::Identity
{
public:
    Shared::AppSettings::VpnConnectionInfo GetVpnConnectionInfo() override;
    std::wstring GetTunnelStatus() override;
    AgentCore::Ops::DeviceIds GetDeviceIds() override;
    bool GetCurrentRegistrationInfo(Shared::AppSettings::RegistrationInfo& out) override;
    std::wstring GetRegisteredSubtenantId() override;
    void SetRegisteredSubtenantId(const std::wstring& subtenantId) override;
    void SaveRegistration(const Shared::AppSettings::AppSettings& settings) override;
    void DeleteRegistration() override;
    Shared::AppSettings::RegistrationInfo FindRegistration(const std::wstring& subtenantId) override;
    void RemoveRegistration(const std::wstring& subtenantId) override;
    Shared::AppSettings::AppSettings LoadAppSettings() override;
    void RefreshServer(Shared::AppSettings::AppSettings& settings) override;
    bool UpdateEnablement(bool remoteEnabled) override;
    std::uint32_t CalculateRetryDelay(std::uint32_t attempt) override;
    std::wstring GetInstalledVersion() override;
    void SetTargetVersion(const std::wstring& version) override;
    void EnableAutoUpdate() override;

    /// What the VPN client tells.
    Shared::AppSettings::VpnConnectionInfo vpnInfo;
    AgentCore::Ops::DeviceIds deviceIds;
    /// The kept identity; its subtenant is the registered one.
    Shared::AppSettings::RegistrationInfo registration;
    /// What SaveRegistration() was given last; LoadAppSettings() gives it with a version of its own.
    Shared::AppSettings::AppSettings saved;
    int saves = 0;
    int deletions = 0;
    /// Earlier identities by their tenants, and the tenants that were removed.
    std::map<std::wstring, Shared::AppSettings::RegistrationInfo> registrations;
    std::vector<std::wstring> removed;

    bool testsEnabled = false;
    /// Throws from UpdateEnablement().
    bool fails = false;
    /// The server's switch, as each update of the enablement was given it.
    std::vector<bool> enablementUpdates;
    /// How often the registered tenant was asked for.
    int identityChecks = 0;
    int serverRefreshes = 0;
    /// What every delay is; the attempts that it was asked for are kept.
    std::uint32_t delayMs = 1;
    std::vector<std::uint32_t> attempts;

    /// What is installed, and what the updater was told, one entry for each time.
    std::wstring installedVersion;
    std::vector<std::wstring> targetVersions;
    /// Throws from SetTargetVersion().
    bool targetVersionFails = false;
    int autoUpdateEnablings = 0;
};

} // namespace TestSupport
