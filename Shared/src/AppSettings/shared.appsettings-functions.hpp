#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The agent's smaller settings. Free functions; nothing is kept but the limits of the retry delay. All may be called from
/// any thread and rely on the registry's atomicity for each value.
namespace Shared::AppSettings
{

/// The version text that the installer wrote. Throws Win32Exception.
std::wstring GetInstalledVersion();

/// Tells the updater which version to install. Written even when it stands there, as the updater waits for the writing.
/// Throws Win32Exception.
void SetTargetVersion(const std::wstring& version);

/// Lets the updater replace the agent. What fails is told on the standard error stream: "Failed to set AutoUpdates registry
/// value: {}".
void EnableAutoUpdate();

/// The machine's identity. On Linux that of /etc/machine-id where the settings have none. Throws the runtime exception
/// "Failed to get the machine guid from the registry".
std::wstring GetMachineGuid();

/// What the delay between retries grows by. A text that is no number is logged and counts as missing.
double GetRetryDelayMultiplier();

/// Milliseconds to wait before the given attempt of something that failed, at least 1000. The limits are read once in the
/// life of the process.
std::uint32_t CalculateRetryDelay(std::uint32_t attempt);

/// Milliseconds for the answer to a ping.
std::uint32_t GetPingTimeoutMs();

/// The longest time that a finished poll waits before it is sent. A text that is no time span is logged as an error and
/// counts as missing.
std::chrono::milliseconds GetTransmissionRandomisationPeriod();

/// How long the agent waits for the server's answer. As above.
std::chrono::seconds GetResponseTimeout();

/// Writes the present time to `last-connected-time` and gives it in seconds since 1970. False, with an error in the log
/// and `epochSeconds` untouched, when it cannot be written.
bool UpdateLastConnectedTime(std::int64_t& epochSeconds);

/// Until when notifications have been fetched, as a time text; the present time when that is not known.
std::string GetLastNotificationRetrieval();

/// Whether writing replaces what is there.
enum class ExistingValue : std::uint32_t
{
    Replace,
    Keep
};

/// Writes it. Throws Win32Exception.
void SetLastNotificationRetrieval(std::string_view timeText, ExistingValue existing);

/// Whether the signed-in user is given notifications; false when that is not known.
bool GetSelfServiceEnabled();

/// Writes it. False, with an error in the log, when it cannot be written.
bool SetSelfServiceEnabled(bool isEnabled);

/// The number at the start of a text, behind blanks: "2.5", also with an exponent; the point is a point in every locale.
/// What follows the number does not count. Nothing for a text that begins with none, and for a number that is too large or
/// too small.
std::optional<double> ParseFraction(std::wstring_view text);

} // namespace Shared::AppSettings
