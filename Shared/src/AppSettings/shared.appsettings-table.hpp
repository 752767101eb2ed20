#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

namespace Shared::AppSettings
{

/// The keys of the agent's settings, all below HKEY_LOCAL_MACHINE. Their paths: PathOf() in shared.appsettings-paths.hpp.
enum class SettingsKey : std::uint32_t
{
    /// What the agent and its updater tell each other.
    Agent,
    /// What the installer and the registration lay down.
    Config,
    /// What the VPN client tells of itself.
    Vpn,
    /// What the VPN client tells the agent.
    VpnVel,
    /// What the VPN client's set-up tells.
    VpnSetup,
    /// What the system tells.
    Machine
};

/// What a value holds. All but numbers are stored as text.
enum class ValueType : std::uint32_t
{
    Text,
    /// Base64 of a ciphertext, opened with the registration key.
    EncipheredText,
    /// DWORD.
    Number,
    /// A number with a point, in every locale.
    Fraction,
    /// "%H:%M:%S".
    TimeSpan,
    /// The agent's time text.
    TimeText
};

/// The values, in the order of the table.
enum class Value : std::uint32_t
{
    Server,
    ServerOverride,
    AgentUuid,
    AccountId,
    RegisteredId,
    Registrations,
    IgnoreSslErrors,
    ProxyPacUrl,
    Proxy,
    ConnectTimeout,
    MinimumLogLevel,
    MaxLogFiles,
    MaxLogFileSize,
    LogTarget,
    DisabledUsernames,
    RetryDelayMultiplier,
    MaximumRetryDelaySeconds,
    MinimumRetryDelaySeconds,
    PingTimeoutMs,
    TransmissionRandomisationPeriod,
    ResponseTimeout,
    AutoUpdate,
    Status,
    InstalledVersion,
    TargetVersion,
    LastNotificationRetrieval,
    LastConnectedTime,
    SelfServiceEnabled,
    GatewayAddress,
    GatewayLocation,
    SourceRegion,
    TunnelIp,
    TunnelStatus,
    UserId,
    UserSelection,
    OstraAccessAgent,
    MachineId,
    DnsResolutionTimeout,
    VpnVersion,
    VpnCurrentVersion,
    MachineGuid
};

/// What counts where the value is missing: nothing (the reader says what then happens), a number, or a text.
using Absent = std::variant<std::monostate, std::uint32_t, const wchar_t*>;
inline constexpr Absent NoDefault;

/// One value of the settings. `reader`, `writer` and `meaning` are for people.
struct Setting
{
    Value value;
    SettingsKey key;
    const wchar_t* name;
    ValueType type;
    Absent absent;
    const char* reader;
    const char* writer;
    const char* meaning;
};

/// All values that the agent reads or writes. The code reads them through these rows, docs/settings.md is made of them.
inline constexpr auto Table = std::to_array<Setting>({
    {Value::Server, SettingsKey::Config, L"Server", ValueType::Text, NoDefault,
     "LoadAppSettings, RefreshServerFromRegistry", "installer; agent on registration",
     "Where the cloud service is: a host, with a scheme, a port or quotation marks around it if need be. Without it the "
     "agent does not start."},
    {Value::ServerOverride, SettingsKey::Config, L"ServerOverride", ValueType::Text, L"",
     "LoadAppSettings, RefreshServerFromRegistry", "agent on registration (the same text as Server)",
     "Wins over Server unless it is empty."},
    {Value::AgentUuid, SettingsKey::Config, L"AgentUUID", ValueType::Text, L"",
     "LoadAppSettings, GetAgentUuid, GetCurrentRegistrationInfo",
     "agent on registration; deleted when it registers anew", "The identity that the server gave this agent."},
    {Value::AccountId, SettingsKey::Config, L"AccountID", ValueType::Number, std::uint32_t{0},
     "LoadAppSettings, GetAccountId, GetCurrentRegistrationInfo",
     "agent on registration; deleted when it registers anew", "The customer's account."},
    {Value::RegisteredId, SettingsKey::Config, L"RegisteredId", ValueType::EncipheredText, L"",
     "GetRegisteredSubtenantId", "agent on registration; deleted when it registers anew",
     "The subtenant for which the agent holds its identity."},
    {Value::Registrations, SettingsKey::Config, L"Registrations", ValueType::EncipheredText, L"", "GetRegistrations",
     "agent, removing entries only", "Identities that this machine has had with other subtenants."},
    {Value::IgnoreSslErrors, SettingsKey::Config, L"IgnoreSSLErrors", ValueType::Number, std::uint32_t{0},
     "LoadAppSettings", "installer", "Not 0: the server's certificate may be wrong."},
    {Value::ProxyPacUrl, SettingsKey::Config, L"ProxyPacUrl", ValueType::Text, L"", "LoadAppSettings", "installer",
     "Address of a script that names the proxy."},
    {Value::Proxy, SettingsKey::Config, L"Proxy", ValueType::Text, L"", "LoadAppSettings", "installer",
     "The proxy; read only where ProxyPacUrl is missing."},
    {Value::ConnectTimeout, SettingsKey::Config, L"ConnectTimeout", ValueType::Number, std::uint32_t{60},
     "LoadAppSettings", "installer", "Seconds for connecting to the server."},
    {Value::MinimumLogLevel, SettingsKey::Config, L"MinimumLogLevel", ValueType::Text, L"info", "LoadAppSettings",
     "installer", "trace, debug, info, warning or warn, error or err, critical, in any case; everything else is info."},
    {Value::MaxLogFiles, SettingsKey::Config, L"MaxLogFiles", ValueType::Number, std::uint32_t{4}, "LoadAppSettings",
     "installer", "Rotated log files that are kept beside the one that is written; at most 200000."},
    {Value::MaxLogFileSize, SettingsKey::Config, L"MaxLogFileSize", ValueType::Number, std::uint32_t{10'485'760},
     "LoadAppSettings", "installer", "Bytes of one log file; not 0."},
    {Value::LogTarget, SettingsKey::Config, L"LogTarget", ValueType::Text, L"filesystem", "LoadAppSettings",
     "installer", "eventlog, console or filesystem, in any case; everything else is filesystem."},
    {Value::DisabledUsernames, SettingsKey::Config, L"DisabledUsernames", ValueType::Text, NoDefault,
     "GetDisabledUserNames", "installer",
     "Users for whom no network tests run, as DOMAIN\\user, with commas between, in any case."},
    {Value::RetryDelayMultiplier, SettingsKey::Config, L"RetryDelayMultiplier", ValueType::Fraction, L"2.0",
     "GetRetryDelayMultiplier, CalculateRetryDelay", "installer",
     "What each delay grows by. Read once in the life of the process."},
    {Value::MaximumRetryDelaySeconds, SettingsKey::Config, L"MaximumRetryDelaySeconds", ValueType::Number,
     std::uint32_t{3600}, "CalculateRetryDelay", "installer",
     "The longest delay between two attempts, in seconds. Read once in the life of the process."},
    {Value::MinimumRetryDelaySeconds, SettingsKey::Config, L"MinimumRetryDelaySeconds", ValueType::Number,
     std::uint32_t{30}, "CalculateRetryDelay", "installer",
     "The first delay, in seconds, which wins over the longest. Read once in the life of the process."},
    {Value::PingTimeoutMs, SettingsKey::Config, L"PingTimeoutMs", ValueType::Number, std::uint32_t{5000},
     "GetPingTimeoutMs", "installer", "Milliseconds for the answer to a ping, also over TCP."},
    {Value::TransmissionRandomisationPeriod, SettingsKey::Config, L"TransmissionRandomisationPeriod",
     ValueType::TimeSpan, L"00:04:30", "GetTransmissionRandomisationPeriod", "installer",
     "The longest time that a finished poll waits before it is sent; how long is drawn each time."},
    {Value::ResponseTimeout, SettingsKey::Config, L"ResponseTimeout", ValueType::TimeSpan, L"00:00:30",
     "GetResponseTimeout", "installer", "How long the agent waits for the server's answer to a request."},
    {Value::AutoUpdate, SettingsKey::Config, L"AutoUpdate", ValueType::Number, NoDefault,
     "the updater, outside of the agent", "agent (EnableAutoUpdate writes 1)", "1: the updater may replace the agent."},
    {Value::Status, SettingsKey::Agent, L"status", ValueType::Text, NoDefault, "SetStatus",
     "agent (SetStatus); updater, \"upgrade\"", "disabled, enabled, upgrade or admin-disabled."},
    {Value::InstalledVersion, SettingsKey::Agent, L"installed-version", ValueType::Text, NoDefault,
     "LoadAppSettings, GetInstalledVersion", "installer", "The agent's version. Without it the agent does not start."},
    {Value::TargetVersion, SettingsKey::Agent, L"target-version", ValueType::Text, NoDefault,
     "the updater, outside of the agent", "agent (SetTargetVersion)", "The version that the updater is to install."},
    {Value::LastNotificationRetrieval, SettingsKey::Agent, L"last-notification-retrieval", ValueType::TimeText,
     NoDefault, "GetLastNotificationRetrieval", "agent (SetLastNotificationRetrieval)",
     "Until when notifications have been fetched; missing means now."},
    {Value::LastConnectedTime, SettingsKey::Agent, L"last-connected-time", ValueType::TimeText, NoDefault,
     "other programs", "agent (UpdateLastConnectedTime)", "When the server last answered, with a padded zone."},
    {Value::SelfServiceEnabled, SettingsKey::Agent, L"self-service-enabled", ValueType::Number, std::uint32_t{0},
     "GetSelfServiceEnabled", "agent (SetSelfServiceEnabled)", "Not 0: the signed-in user is given notifications."},
    {Value::GatewayAddress, SettingsKey::VpnVel, L"gateway-address", ValueType::Text, L"",
     "LoadAppSettings, GetVpnConnectionInfo", "VPN client",
     "The gateway of the tunnel: gateway=, ipv4= and ipv6=, with commas between."},
    {Value::GatewayLocation, SettingsKey::VpnVel, L"gateway-location", ValueType::Text, L"", "GetVpnConnectionInfo",
     "VPN client", "Where the gateway is."},
    {Value::SourceRegion, SettingsKey::VpnVel, L"source-region", ValueType::Text, L"",
     "LoadAppSettings, GetVpnConnectionInfo", "VPN client", "Where the user is."},
    {Value::TunnelIp, SettingsKey::VpnVel, L"tunnel-ip", ValueType::Text, L"",
     "LoadAppSettings, GetVpnConnectionInfo, GetTunnelIps", "VPN client",
     "This machine's addresses in the tunnel: ipv4= and ipv6=, with a comma between."},
    {Value::TunnelStatus, SettingsKey::VpnVel, L"tunnel-status", ValueType::Text, L"disconnected",
     "LoadAppSettings, GetVpnConnectionInfo, GetTunnelStatus", "VPN client",
     "disconnected, connected, disabled, connected-non-tv, connected-internal or internal; in no other case."},
    {Value::UserId, SettingsKey::VpnVel, L"user-id", ValueType::EncipheredText, L"",
     "LoadAppSettings, GetVpnConnectionInfo, GetUserId", "VPN client",
     "The user: username=, domain=, tenant-id= and sub-tenant-id=, with commas between. Line ends in the base64 do not "
     "count."},
    {Value::UserSelection, SettingsKey::VpnVel, L"user-selection", ValueType::Text, L"",
     "LoadAppSettings, GetUserSelectionEnabled", "VPN client",
     "enable, in no other case: the user lets network tests run."},
    {Value::OstraAccessAgent, SettingsKey::VpnVel, L"ostra-access-agent", ValueType::Text, L"", "GetOstraAccessAgent",
     "VPN client", "Which VPN client this is; empty means the older one."},
    {Value::MachineId, SettingsKey::VpnVel, L"machine-id", ValueType::Text, L"", "GetMachineId", "VPN client",
     "The machine as the VPN client knows it; wins over MachineGuid at registration."},
    {Value::DnsResolutionTimeout, SettingsKey::VpnVel, L"dns-resolution-timeout", ValueType::Number,
     std::uint32_t{15'000}, "GetDnsResolutionTimeoutMs", "VPN client", "Milliseconds for the resolution of a name."},
    {Value::VpnVersion, SettingsKey::Vpn, L"Version", ValueType::Text, L"", "LoadAppSettings", "VPN client",
     "The VPN client's version as it tells it itself."},
    {Value::VpnCurrentVersion, SettingsKey::VpnSetup, L"CurrentVersion", ValueType::Text, NoDefault,
     "GetVpnClientVersion", "VPN client's installer", "The installed VPN client's version."},
    {Value::MachineGuid, SettingsKey::Machine, L"MachineGuid", ValueType::Text, NoDefault, "GetMachineGuid", "system",
     "The machine's identity. On Linux that of /etc/machine-id counts where the value is missing."},
});

namespace Detail
{

consteval bool IsInOrder()
{
    for (std::size_t i = 0; i < Table.size(); ++i)
    {
        if (static_cast<std::size_t>(Table[i].value) != i)
        {
            return false;
        }
    }
    return Table.size() == static_cast<std::size_t>(Value::MachineGuid) + 1;
}

} // namespace Detail

static_assert(Detail::IsInOrder(), "the table has a row for each value, in the order of their names");

/// The row of a value.
constexpr const Setting& RowOf(Value value)
{
    return Table[static_cast<std::size_t>(value)];
}

/// The number that counts where the value is missing. Only for rows that have one, or it does not compile.
consteval std::uint32_t DefaultNumber(Value value)
{
    return std::get<std::uint32_t>(RowOf(value).absent);
}

/// The text that counts where the value is missing.
consteval std::wstring_view DefaultText(Value value)
{
    return std::get<const wchar_t*>(RowOf(value).absent);
}

} // namespace Shared::AppSettings
