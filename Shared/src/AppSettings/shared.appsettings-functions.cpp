#include "shared.appsettings-functions.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-retrydelay.hpp"
#include "shared.util-time.hpp"
#include "shared.winreg-functions.hpp"

#include <algorithm>
#include <array>
#include <locale>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace Shared::AppSettings
{

namespace
{

using WinReg::Root;

/// A minimum of 0 seconds in the settings must not turn a retry into a busy loop.
constexpr std::uint32_t ShortestRetryDelayMs = 1000;

std::wstring ReadText(const std::wstring& path, const wchar_t* name, const std::wstring& absent = {})
{
    std::wstring text;
    return WinReg::TryGetStringValue(Root::LocalMachine, path, name, text) ? text : absent;
}

std::uint32_t ReadNumber(const std::wstring& path, const wchar_t* name, std::uint32_t absent)
{
    std::uint32_t number = absent;
    return WinReg::TryGetDwordValue(Root::LocalMachine, path, name, number) ? number : absent;
}

bool Exists(const std::wstring& path)
{
    try
    {
        return !WinReg::OpenKey(Root::LocalMachine, path).IsNull();
    }
    catch (const Exception::Win32Exception&)
    {
        return false;
    }
}

void RequireConfigKey()
{
    try
    {
        (void)WinReg::OpenKey(Root::LocalMachine, Paths::Config);
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

LogSettings ReadLogSettings()
{
    const LogSettings defaults;
    LogSettings settings;
    settings.maxLogFiles = ReadNumber(Paths::Config, L"MaxLogFiles", defaults.maxLogFiles);
    settings.maxLogFileSize = ReadNumber(Paths::Config, L"MaxLogFileSize", defaults.maxLogFileSize);
    settings.logTarget = ParseLogTarget(ReadText(Paths::Config, L"LogTarget", L"filesystem"));
    settings.minimumLogLevel = ParseLogLevel(ReadText(Paths::Config, L"MinimumLogLevel", L"info"));
    return settings;
}

/// A floating-point number in the classic locale, whatever the machine's: "2.5". Nothing for any other text.
std::optional<double> ParseFloat(const std::wstring& text)
{
    std::istringstream stream(Util::ConvertStringType(text));
    stream.imbue(std::locale::classic());
    double value = 0.0;
    stream >> value;
    return stream.fail() ? std::nullopt : std::optional(value);
}

double GetRetryDelayMultiplier()
{
    const Util::RetryDelayLimits defaults;
    std::wstring text;
    if (!WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"RetryDelayMultiplier", text))
    {
        return defaults.multiplier;
    }
    const std::optional<double> multiplier = ParseFloat(text);
    if (!multiplier)
    {
        Log::Warn("Failed converting RetryDelayMultiplier");
    }
    return multiplier.value_or(defaults.multiplier);
}

Util::RetryDelayLimits ReadRetryDelayLimits()
{
    Util::RetryDelayLimits limits;
    limits.maximumSeconds = ReadNumber(Paths::Config, L"MaximumRetryDelaySeconds", limits.maximumSeconds);
    limits.minimumSeconds = ReadNumber(Paths::Config, L"MinimumRetryDelaySeconds", limits.minimumSeconds);
    limits.multiplier = GetRetryDelayMultiplier();
    return limits;
}

std::vector<std::wstring> GetDisabledUserNames()
{
    std::wstring names;
    if (!WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"DisabledUsernames", names))
    {
        Log::Warn("GetDisabledUsername() failed to retrieve and process the disabled usernames");
        return {};
    }
    return Util::Split(names, std::wstring_view(L","));
}

const wchar_t* TextOf(AgentStatus status)
{
    static constexpr std::array<const wchar_t*, 4> Texts = {L"disabled", L"enabled", L"upgrade", L"admin-disabled"};
    const auto number = static_cast<std::uint32_t>(status);
    if (number >= Texts.size())
    {
        throw Exception::RuntimeException("Unknown newStatus value " + std::to_string(number));
    }
    return Texts[number];
}

} // namespace

AppSettings LoadAppSettings()
{
    AppSettings settings;
    RequireConfigKey();
    RefreshServerFromRegistry(settings);
    settings.installedVersion = GetInstalledVersion();
    settings.ignoreSslErrors = ReadNumber(Paths::Config, L"IgnoreSSLErrors", settings.ignoreSslErrors);
    if (WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"AgentUUID", settings.agentUuid))
    {
        settings.accountId = ReadNumber(Paths::Config, L"AccountID", settings.accountId);
    }
    if (!WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"ProxyPacUrl", settings.proxyPacUrl))
    {
        settings.proxy = ReadText(Paths::Config, L"Proxy");
    }
    settings.connectTimeout = ReadNumber(Paths::Config, L"ConnectTimeout", settings.connectTimeout);
    settings.logging = ReadLogSettings();
    return settings;
}

void RefreshServerFromRegistry(AppSettings& settings)
{
    std::wstring server = ReadText(Paths::Config, L"ServerOverride");
    if (server.empty() && !WinReg::TryGetStringValue(Root::LocalMachine, Paths::Config, L"Server", server))
    {
        throw Exception::RuntimeException("No server value found in registry key.");
    }
    settings.serverRaw = Util::ReplaceAll(server, std::wstring_view(L"\""), std::wstring_view());
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
    constexpr std::uint32_t DefaultPort = 443;
    const std::optional<std::uint32_t> port = tokens.size() == 2 ? ParsePort(tokens[1]) : DefaultPort;
    if (tokens.empty() || tokens.size() > 2 || !port)
    {
        throw Exception::RuntimeException("Unexpected number of tokens when searching for server port.");
    }
    settings.server = tokens[0];
    settings.port = *port;
}

LogTarget ParseLogTarget(const std::wstring& text)
{
    const std::wstring lowered = Util::ToLower(std::wstring_view(text));
    if (lowered == L"eventlog")
    {
        return LogTarget::EventLog;
    }
    return lowered == L"console" ? LogTarget::Console : LogTarget::FileSystem;
}

std::uint32_t ParseLogLevel(const std::wstring& text)
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
        if (Util::EqualsIgnoreCase(std::wstring_view(text), name))
        {
            return static_cast<std::uint32_t>(level);
        }
    }
    return static_cast<std::uint32_t>(Level::Info);
}

void SetStatus(AgentStatus newStatus, bool keepUpgrade)
{
    const std::wstring text = TextOf(newStatus);
    std::wstring present;
    const bool isThere = WinReg::TryGetStringValue(Root::LocalMachine, Paths::Agent, L"status", present);
    const bool mustStay = keepUpgrade && present == TextOf(AgentStatus::Upgrade);
    if (!mustStay && !(isThere && present == text))
    {
        WinReg::SetStringValue(Root::LocalMachine, Paths::Agent, L"status", text);
    }
}

bool GetUserSelectionEnabled()
{
    return ReadText(GetVpnVelKeyPath(), L"user-selection") == L"enable";
}

std::wstring GetTunnelStatusText()
{
    std::wstring text;
    if (!WinReg::TryGetStringValue(Root::LocalMachine, GetVpnVelKeyPath(), L"tunnel-status", text))
    {
        Log::Warn("Couldn't read the tunnel-status value; will assume it's disconnected...");
        text = L"disconnected";
    }
    return text;
}

bool CheckUsername(const std::wstring& name)
{
    for (const std::wstring& disabled : GetDisabledUserNames())
    {
        if (Util::EqualsIgnoreCase(std::wstring_view(name), std::wstring_view(disabled)))
        {
            Log::Info("The current username {} is a disabled username.", Util::ConvertStringType(name));
            return false;
        }
    }
    return true;
}

bool UpdateEnablement(bool remoteEnabled, const std::wstring& fullUsername)
{
    if (!CheckUsername(fullUsername))
    {
        Log::Info("This agent's network tests are locally disabled (disabled username).");
        SetStatus(AgentStatus::Disabled, true);
        return false;
    }
    if (!remoteEnabled)
    {
        Log::Info("This agent's network tests are remotely disabled (remote instance config).");
        SetStatus(AgentStatus::AdminDisabled, true);
        return false;
    }
    if (!GetUserSelectionEnabled())
    {
        Log::Info("This agent's network tests are locally disabled (registry user selection).");
        SetStatus(AgentStatus::Disabled, true);
        return false;
    }
    SetStatus(AgentStatus::Enabled, true);
    return true;
}

bool UpdateLastConnectedTime(std::int64_t& epochSeconds)
{
    try
    {
        const Time::UtcTime now = Time::UtcNow();
        const std::string text = Util::FormatTimeText(now, Util::ZoneForm::Padded);
        WinReg::SetStringValue(
            Root::LocalMachine, Paths::Agent, L"last-connected-time", Util::ConvertStringType(std::string_view(text)));
        epochSeconds = std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count();
        return true;
    }
    catch (const std::exception& exception)
    {
        Log::LogException("UpdateLastConnectedTime() failed", exception);
        return false;
    }
}

std::uint32_t CalculateRetryDelay(std::uint32_t attempt)
{
    static const Util::RetryDelayLimits s_limits = ReadRetryDelayLimits();
    return std::max(Util::CalculateRetryDelayMs(attempt, s_limits), ShortestRetryDelayMs);
}

std::wstring GetInstalledVersion()
{
    return WinReg::GetStringValue(Root::LocalMachine, Paths::Agent, L"installed-version");
}

const std::wstring& GetVpnKeyPath()
{
    static const std::wstring s_path = []
    {
        const std::wstring newer = std::wstring(Paths::Vendor) + L"\\Ostra Access";
        return Exists(newer) ? newer : std::wstring(Paths::Vendor) + L"\\Norvik";
    }();
    return s_path;
}

std::wstring GetVpnVelKeyPath()
{
    return GetVpnKeyPath() + L"\\VEL";
}

} // namespace Shared::AppSettings
