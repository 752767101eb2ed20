#pragma once

#include "shared.appsettings-table.hpp"

#include <string>

namespace Shared::AppSettings
{

namespace Paths
{

// Keys below HKEY_LOCAL_MACHINE that stand where they stand.

/// What the products of the house share.
inline constexpr const wchar_t* Vendor = L"SOFTWARE\\Tarvane";
/// The agent key: what the agent and its updater tell each other.
inline constexpr const wchar_t* Agent = L"SOFTWARE\\Tarvane\\VEL";
/// The config key: what the installer and the registration lay down.
inline constexpr const wchar_t* Config = L"SOFTWARE\\Tarvane\\VEL\\Config";
/// Key of the newer VPN client, and of the older one.
inline constexpr const wchar_t* OstraAccess = L"SOFTWARE\\Tarvane\\Ostra Access";
inline constexpr const wchar_t* Norvik = L"SOFTWARE\\Tarvane\\Norvik";
/// Where the system keeps the machine's identity.
inline constexpr const wchar_t* Machine = L"SOFTWARE\\Microsoft\\Cryptography";

} // namespace Paths

/// The path of a key. Those of the VPN client hang on GetVpnKeyPath(). Any thread.
const std::wstring& PathOf(SettingsKey key);

/// Key of the VPN client: that of the newer client when it can be opened, else that of the older. Chosen at the first call
/// and kept for the life of the process. Any thread.
const std::wstring& GetVpnKeyPath();

/// Key in which the VPN client leaves its values for the agent.
const std::wstring& GetVpnVelKeyPath();

/// Key in which the VPN client's set-up leaves its version.
const std::wstring& GetVpnSetupKeyPath();

} // namespace Shared::AppSettings
