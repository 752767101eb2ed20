#pragma once

namespace Shared::AppSettings::Paths
{

// Keys below HKEY_LOCAL_MACHINE, and the names of their values.

/// What the products of the house share.
inline constexpr const wchar_t* Vendor = L"SOFTWARE\\Tarvane";
/// The agent key: what the agent and its updater tell each other.
inline constexpr const wchar_t* Agent = L"SOFTWARE\\Tarvane\\VEL";
/// The config key: what the installer and the registration lay down.
inline constexpr const wchar_t* Config = L"SOFTWARE\\Tarvane\\VEL\\Config";

} // namespace Shared::AppSettings::Paths
