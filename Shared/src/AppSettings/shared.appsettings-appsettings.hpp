#pragma once

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
    std::uint32_t maxLogFiles = 4;
    /// Bytes of one file.
    std::uint32_t maxLogFileSize = 10'485'760;
    LogTarget logTarget = LogTarget::FileSystem;
    /// With the numbers of Shared::Log::Level.
    std::uint32_t minimumLogLevel = 2;
};

/// What the agent keeps of its settings: filled at start, refreshed where the agent says so.
struct AppSettings
{
    std::uint32_t accountId = 0;
    std::wstring agentUuid;
    std::wstring subtenantId;
    std::uint32_t ignoreSslErrors = 0;
    /// The server as it was written, and what was made of it: a bare host, and a port.
    std::wstring serverRaw;
    std::wstring server;
    std::uint32_t port = 443;
    std::wstring installedVersion;
    std::wstring proxyPacUrl;
    std::wstring proxy;
    /// Seconds.
    std::uint32_t connectTimeout = 60;
    LogSettings logging;
};

} // namespace Shared::AppSettings
