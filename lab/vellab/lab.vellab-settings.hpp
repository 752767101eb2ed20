#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Lab
{

/// The user who is signed in to the VPN client.
struct VpnUser
{
    std::wstring username = L"lab.user";
    std::wstring domain = L"LABORATORY";
    std::wstring tenantId = L"lab-tenant";
    std::wstring subTenantId = L"lab-subtenant";
};

/// Lays out the registry as an installer and a VPN client leave it: the keys that the agent looks for, with the values of
/// an agent that was installed and never registered. What an earlier run left is deleted first.
/// @param server what the config key names as the server; empty leaves the value out.
/// @param user enciphered as the VPN client does it, with this machine's key; nothing leaves the value out.
/// Throws what the registry operations throw.
void LayOutSettings(const std::string& server, const std::optional<VpnUser>& user = VpnUser());

/// Enciphers the user and writes it, as the VPN client does when another one signs in.
void SetVpnUser(const VpnUser& user);

/// Writes the list of identities that this machine has had, enciphered, with one for that subtenant.
void SetKnownIdentity(const std::wstring& subTenantId, const std::wstring& agentUuid);

/// What the agent leaves for the updater.
struct UpgradeHandOff
{
    /// The version to go to.
    std::optional<std::string> targetVersion;
    /// 1: the updater may replace the agent.
    std::optional<std::uint32_t> autoUpdate;

    bool operator==(const UpgradeHandOff&) const = default;
};

UpgradeHandOff ReadUpgradeHandOff();

/// For people.
std::string DescribeUpgradeHandOff(const UpgradeHandOff& handOff);

/// Deletes those keys, where the registry is shared with what comes later.
void RemoveSettings();

} // namespace Lab
