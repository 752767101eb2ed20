#pragma once

#include "shared.appsettings-table.hpp"

#include <cstdint>
#include <string>

namespace Shared::AppSettings
{

/// Where log lines go.
enum class LogTarget : std::uint32_t
{
    EventLog = 1,
    Console = 2,
    FileSystem = 3
};

/// The log's settings.
struct LogSettings
{
    /// Rotated files that are kept beside the one that is written.
    std::uint32_t maxLogFiles = DefaultNumber(Value::MaxLogFiles);
    /// Bytes of one file.
    std::uint32_t maxLogFileSize = DefaultNumber(Value::MaxLogFileSize);
    LogTarget logTarget = LogTarget::FileSystem;
    /// With the numbers of Shared::Log::Level.
    std::uint32_t minimumLogLevel = 2;
};

/// Port of a server text that names none.
inline constexpr std::uint32_t DefaultServerPort = 443;

/// What the agent keeps of its settings: filled at start, refreshed where the agent says so.
struct AppSettings
{
    std::uint32_t accountId = DefaultNumber(Value::AccountId);
    std::wstring agentUuid;
    std::wstring subtenantId;
    std::uint32_t ignoreSslErrors = DefaultNumber(Value::IgnoreSslErrors);
    /// The server as it was written, and what was made of it: a bare host, and a port.
    std::wstring serverRaw;
    std::wstring server;
    std::uint32_t port = DefaultServerPort;
    std::wstring installedVersion;
    std::wstring proxyPacUrl;
    std::wstring proxy;
    /// Has its place in the record; nothing fills it.
    std::wstring reserved;
    /// Seconds.
    std::uint32_t connectTimeout = DefaultNumber(Value::ConnectTimeout);
    LogSettings logging;

    // The VPN client's values as they stand in the registry; empty where there is none.
    std::wstring gatewayAddress;
    std::wstring sourceRegion;
    std::wstring tunnelIp;
    std::wstring tunnelStatus;
    /// Enciphered.
    std::wstring userId;
    std::wstring userSelection;
    std::wstring vpnVersion;
};

} // namespace Shared::AppSettings
