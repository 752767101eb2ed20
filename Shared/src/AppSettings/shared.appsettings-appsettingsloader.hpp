#pragma once

#include "shared.appsettings-appsettings.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <string_view>

namespace Shared::AppSettings
{

/// Reads all settings; `key` opens the enciphered ones.
/// Throws the runtime exceptions "<config key> does not exist.", "No server value found in registry key." and
/// "Unexpected number of tokens when searching for server port.", and Win32Exception when `installed-version` is missing.
/// All other values that cannot be read have their defaults. Any thread.
AppSettings LoadAppSettings(const Crypto::SensitiveString& key);

/// The part of LoadAppSettings() that reads the agent's own keys. Throws as above.
void LoadLocalConfigFromRegistry(AppSettings& settings, const Crypto::SensitiveString& key);

/// Reads the server alone into `settings`. Throws the exceptions about the server.
void RefreshServerFromRegistry(AppSettings& settings);

/// Derives `server` and `port` from `serverRaw`: schemes and quotation marks are removed wherever they stand, one "/" at
/// the end too; what stands behind a ":" is the port, 443 without one. Throws the runtime exception "Unexpected number of
/// tokens when searching for server port." for no token or more than two, and for a port that is none (1 to 65535); both
/// fields are then what they were.
void SetServerAndPort(AppSettings& settings);

/// What a value of `LogTarget` means, whatever its case; every unknown text is the file system.
LogTarget ParseLogTarget(std::wstring_view text);

/// What a value of `MinimumLogLevel` means, whatever its case: "trace", "debug", "info", "warning" or "warn", "error" or
/// "err", "critical", with the numbers of Shared::Log::Level. Everything else, "off" too, is info.
std::uint32_t ParseLogLevel(std::wstring_view text);

} // namespace Shared::AppSettings
