#include "shared.appsettings-appsettingsloader.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-values.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-functions.hpp"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Shared::AppSettings
{

namespace
{

void RequireConfigKey()
{
    try
    {
        (void)WinReg::OpenKey(WinReg::Root::LocalMachine, Paths::Config);
    }
    catch (const std::exception& exception)
    {
        // The exception below names the key alone; why it cannot be opened is told here.
        Log::LogException("Failed to open the config key", exception);
        throw Exception::RuntimeException(
            Util::ConvertStringType(std::wstring_view(Paths::Config)) + " does not exist.");
    }
}

/// Port of a server text; a text that is no port must not become one.
std::optional<std::uint32_t> ParsePort(const std::wstring& text)
{
    constexpr std::uint32_t LargestPort = 65535;
    constexpr std::size_t MostDigits = 5;
    if (text.empty() || text.size() > MostDigits)
    {
        return std::nullopt;
    }
    std::uint32_t port = 0;
    for (const wchar_t digit : text)
    {
        if (digit < L'0' || digit > L'9')
        {
            return std::nullopt;
        }
        port = port * 10 + static_cast<std::uint32_t>(digit - L'0');
    }
    return port >= 1 && port <= LargestPort ? std::optional(port) : std::nullopt;
}

void LoadVpnValues(AppSettings& settings)
{
    settings.gatewayAddress = ReadText(Value::GatewayAddress);
    settings.sourceRegion = ReadText(Value::SourceRegion);
    settings.tunnelIp = ReadText(Value::TunnelIp);
    settings.tunnelStatus = TryReadText(Value::TunnelStatus).value_or(std::wstring());
    settings.userId = ReadText(Value::UserId);
    settings.userSelection = ReadText(Value::UserSelection);
    settings.vpnVersion = ReadText(Value::VpnVersion);
}

LogSettings ReadLogSettings()
{
    LogSettings settings;
    settings.maxLogFiles = ReadNumber(Value::MaxLogFiles);
    settings.maxLogFileSize = ReadNumber(Value::MaxLogFileSize);
    settings.logTarget = ParseLogTarget(ReadText(Value::LogTarget));
    settings.minimumLogLevel = ParseLogLevel(ReadText(Value::MinimumLogLevel));
    return settings;
}

} // namespace

AppSettings LoadAppSettings(const Crypto::SensitiveString& key)
{
    AppSettings settings;
    LoadLocalConfigFromRegistry(settings, key);
    LoadVpnValues(settings);
    settings.logging = ReadLogSettings();
    return settings;
}

void LoadLocalConfigFromRegistry(AppSettings& settings, const Crypto::SensitiveString& key)
{
    RequireConfigKey();
    RefreshServerFromRegistry(settings);
    settings.installedVersion = RequireText(Value::InstalledVersion);
    settings.ignoreSslErrors = ReadNumber(Value::IgnoreSslErrors);
    if (std::optional<std::wstring> agentUuid = TryReadText(Value::AgentUuid))
    {
        settings.agentUuid = std::move(*agentUuid);
        settings.accountId = ReadNumber(Value::AccountId);
        settings.subtenantId = GetRegisteredSubtenantId(key);
    }
    if (std::optional<std::wstring> proxyPacUrl = TryReadText(Value::ProxyPacUrl))
    {
        settings.proxyPacUrl = std::move(*proxyPacUrl);
    }
    else
    {
        settings.proxy = ReadText(Value::Proxy);
    }
    settings.connectTimeout = ReadNumber(Value::ConnectTimeout);
}

void RefreshServerFromRegistry(AppSettings& settings)
{
    std::optional<std::wstring> server = ReadText(Value::ServerOverride);
    if (server->empty())
    {
        server = TryReadText(Value::Server);
    }
    if (!server)
    {
        throw Exception::RuntimeException("No server value found in registry key.");
    }
    settings.serverRaw = Util::ReplaceAll(*server, std::wstring_view(L"\""), std::wstring_view());
    SetServerAndPort(settings);
}

void SetServerAndPort(AppSettings& settings)
{
    std::wstring server = settings.serverRaw;
    for (const std::wstring_view removed : {L"https://", L"http://", L"\""})
    {
        server = Util::ReplaceAll(server, removed, std::wstring_view());
    }
    if (server.ends_with(L'/'))
    {
        server.pop_back();
    }
    const std::vector<std::wstring> tokens = Util::Split(server, std::wstring_view(L":"));
    const std::optional<std::uint32_t> port = tokens.size() == 2 ? ParsePort(tokens[1]) : DefaultServerPort;
    if (tokens.empty() || tokens.size() > 2 || !port)
    {
        throw Exception::RuntimeException("Unexpected number of tokens when searching for server port.");
    }
    settings.server = tokens[0];
    settings.port = *port;
}

LogTarget ParseLogTarget(std::wstring_view text)
{
    static constexpr std::array<std::pair<std::wstring_view, LogTarget>, 3> Names = {
        {{L"eventlog", LogTarget::EventLog},
         {L"console", LogTarget::Console},
         {DefaultText(Value::LogTarget), LogTarget::FileSystem}}};
    for (const auto& [name, target] : Names)
    {
        if (Util::EqualsIgnoreCase(text, name))
        {
            return target;
        }
    }
    return LogTarget::FileSystem;
}

std::uint32_t ParseLogLevel(std::wstring_view text)
{
    using Log::Level;
    static constexpr std::array<std::pair<std::wstring_view, Level>, 8> Names = {
        {{L"trace", Level::Trace},
         {L"debug", Level::Debug},
         {L"info", Level::Info},
         {L"warning", Level::Warning},
         {L"warn", Level::Warning},
         {L"error", Level::Error},
         {L"err", Level::Error},
         {L"critical", Level::Critical}}};
    for (const auto& [name, level] : Names)
    {
        if (Util::EqualsIgnoreCase(text, name))
        {
            return static_cast<std::uint32_t>(level);
        }
    }
    return static_cast<std::uint32_t>(Level::Info);
}

} // namespace Shared::AppSettings
