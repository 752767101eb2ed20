#pragma once

#include "shared.appsettings-appsettings.hpp"

#include <cstdint>
#include <string>

/// The agent's settings in the registry. Free functions; nothing is kept but the limits of the retry delay. All may be
/// called from any thread and rely on the registry's atomicity for each value.
namespace Shared::AppSettings
{

/// The word under which the agent tells its state, in the value `status` of the agent key.
enum class AgentStatus : std::uint32_t
{
    Disabled = 0,
    Enabled = 1,
    Upgrade = 2,
    AdminDisabled = 3
};

/// Reads all settings.
/// Throws the runtime exceptions "<config key> does not exist.", "No server value found in registry key." and
/// "Unexpected number of tokens when searching for server port.", and Win32Exception when `installed-version` is missing.
AppSettings LoadAppSettings();

/// Reads the server alone into `settings`. Throws as above.
void RefreshServerFromRegistry(AppSettings& settings);

/// Derives `server` and `port` from `serverRaw`: schemes and quotation marks are removed wherever they stand, one "/" at
/// the end too; what stands behind a ":" is the port, 443 without one. Throws the runtime exception "Unexpected number of
/// tokens when searching for server port." for no token or more than two, and for a port that is none (1 to 65535).
void SetServerAndPort(AppSettings& settings);

/// What a value of `LogTarget` means, whatever its case; every unknown text is the file system.
LogTarget ParseLogTarget(const std::wstring& text);

/// What a value of `MinimumLogLevel` means: "trace", "debug", "info", "warning" or "warn", "error" or "err", "critical",
/// with the numbers of Shared::Log::Level. Everything else, "off" too, is info.
std::uint32_t ParseLogLevel(const std::wstring& text);

/// Writes `status`. With `keepUpgrade`, a status of "upgrade" stays; a status that already stands there is not written
/// again, so that the agent does not wake its own watch. Throws the runtime exception "Unknown newStatus value " and the
/// number, and Win32Exception when the value cannot be written.
void SetStatus(AgentStatus newStatus, bool keepUpgrade);

/// Whether the user has the network tests switched on in the VPN client: exactly "enable". Unreadable means no.
bool GetUserSelectionEnabled();

/// The VPN client's word for its tunnel; "disconnected", with a warning in the log, when it cannot be read.
std::wstring GetTunnelStatusText();

/// Whether a user may have network tests: false, with a line in the log, for the names of `DisabledUsernames`.
bool CheckUsername(const std::wstring& name);

/// Writes the `status` that follows from the user, the user's selection and the server's switch, and tells whether
/// network tests may run.
bool UpdateEnablement(bool remoteEnabled, const std::wstring& fullUsername);

/// Writes the present time to `last-connected-time` and gives it in seconds since 1970. False, with an error in the log
/// and `epochSeconds` untouched, when it cannot be written.
bool UpdateLastConnectedTime(std::int64_t& epochSeconds);

/// Milliseconds to wait before the given attempt of something that failed, at least 1000. The limits are read once in the
/// life of the process.
std::uint32_t CalculateRetryDelay(std::uint32_t attempt);

/// The version text that the installer wrote. Throws Win32Exception.
std::wstring GetInstalledVersion();

/// Key of the VPN client: that of the newer client when it is installed, else that of the older. Chosen at the first call
/// and kept for the life of the process.
const std::wstring& GetVpnKeyPath();

/// Key in which the VPN client leaves its values for the agent.
std::wstring GetVpnVelKeyPath();

} // namespace Shared::AppSettings
