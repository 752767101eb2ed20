#pragma once

#include "agentcore.ops-appstate.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <string>

namespace AgentCore::Ops
{

/// How the server knows the machine.
struct DeviceIds
{
    /// The VPN client's id of the machine, else the system's.
    std::wstring device;
    /// The system's, where `device` is the VPN client's; else empty.
    std::wstring legacyDevice;
};

/// Who the agent works for, and what it keeps about that: what the main loop's states ask of the machine's settings. An
/// interface, so that the states are tested without a machine. One thread at a time.
class Identity
{
public:
    Identity() = default;
    Identity(const Identity&) = delete;
    Identity& operator=(const Identity&) = delete;
    virtual ~Identity() = default;

    /// What the VPN client tells of user and tunnel. Never throws for a value that cannot be read.
    virtual Shared::AppSettings::VpnConnectionInfo GetVpnConnectionInfo() = 0;
    /// The VPN client's word for its tunnel.
    virtual std::wstring GetTunnelStatus() = 0;
    /// Throws the runtime exception "Failed to get the machine guid from the registry".
    virtual DeviceIds GetDeviceIds() = 0;

    /// The identity that the server gave this agent. False, with a line in the log, when there is none.
    virtual bool GetCurrentRegistrationInfo(Shared::AppSettings::RegistrationInfo& out) = 0;
    /// The tenant that the agent is registered for; empty when it is not.
    virtual std::wstring GetRegisteredSubtenantId() = 0;
    /// Throws Win32Exception.
    virtual void SetRegisteredSubtenantId(const std::wstring& subtenantId) = 0;
    /// Keeps account, UUID and server. Throws Win32Exception.
    virtual void SaveRegistration(const Shared::AppSettings::AppSettings& settings) = 0;
    /// Forgets account, UUID and registered tenant; what is not there is no error. Throws Win32Exception.
    virtual void DeleteRegistration() = 0;
    /// The identity that this machine has had with a tenant before; an empty record when there is none.
    virtual Shared::AppSettings::RegistrationInfo FindRegistration(const std::wstring& subtenantId) = 0;
    virtual void RemoveRegistration(const std::wstring& subtenantId) = 0;

    /// Reads all settings anew. Throws what is wrong with them.
    virtual Shared::AppSettings::AppSettings LoadAppSettings() = 0;
    /// Reads the server's address anew. Throws when there is none.
    virtual void RefreshServer(Shared::AppSettings::AppSettings& settings) = 0;
    /// Writes the status that follows from user, selection and server; true when network tests may run.
    virtual bool UpdateEnablement(bool remoteEnabled) = 0;
    /// Milliseconds before the given attempt.
    virtual std::uint32_t CalculateRetryDelay(std::uint32_t attempt) = 0;

    /// The version that is installed now. Throws Win32Exception.
    virtual std::wstring GetInstalledVersion() = 0;
    /// Tells the updater which version to install; each call anew. Throws Win32Exception.
    virtual void SetTargetVersion(const std::wstring& version) = 0;
    /// Lets the updater replace the agent. Never throws for a value that cannot be written.
    virtual void EnableAutoUpdate() = 0;
};

/// The real one, on the registry.
class RegistryIdentity : public Identity
{
public:
    /// @param key opens the enciphered values
    explicit RegistryIdentity(Shared::Crypto::SensitiveString key);

    Shared::AppSettings::VpnConnectionInfo GetVpnConnectionInfo() override;
    std::wstring GetTunnelStatus() override;
    DeviceIds GetDeviceIds() override;
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

private:
    Shared::Crypto::SensitiveString m_key;
};

/// The BIOS serial number of this machine, of which the key of its enciphered settings is made; empty when there is none.
/// Any thread. Throws what SystemQuerier's constructor throws, and ComException.
std::string GetBiosSerialNumber();

} // namespace AgentCore::Ops
