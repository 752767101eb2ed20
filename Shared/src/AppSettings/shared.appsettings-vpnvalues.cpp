#include "shared.appsettings-vpnvalues.hpp"

#include "shared.appsettings-values.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <utility>

namespace Shared::AppSettings
{

namespace
{

/// An element of a list: what it begins with, and where the rest of it goes.
template <typename Record>
struct Element
{
    std::wstring_view prefix;
    std::wstring Record::*field;
};

constexpr std::array<Element<VpnConnectionInfo>, 3> GatewayElements = {
    {{L"gateway=", &VpnConnectionInfo::gateway},
     {L"ipv4=", &VpnConnectionInfo::gatewayIpV4},
     {L"ipv6=", &VpnConnectionInfo::gatewayIpV6}}};

constexpr std::array<Element<TunnelIps>, 2> TunnelElements = {
    {{L"ipv4=", &TunnelIps::ipV4}, {L"ipv6=", &TunnelIps::ipV6}}};

constexpr std::array<Element<VpnConnectionInfo>, 4> UserElements = {
    {{L"username=", &VpnConnectionInfo::username},
     {L"domain=", &VpnConnectionInfo::domain},
     {L"tenant-id=", &VpnConnectionInfo::tenantId},
     {L"sub-tenant-id=", &VpnConnectionInfo::subTenantId}}};

/// Goes through the elements of a list without copying them, as they may be secret, and calls `take` with the prefix, the
/// rest and the field of each that is known.
template <typename Record, std::size_t Size, typename Take>
void ForEachKnown(std::wstring_view list, const std::array<Element<Record>, Size>& elements, const Take& take)
{
    for (std::size_t start = 0; start < list.size();)
    {
        const std::size_t end = std::min(list.find(L',', start), list.size());
        const std::wstring_view token = list.substr(start, end - start);
        for (const Element<Record>& element : elements)
        {
            if (token.starts_with(element.prefix))
            {
                take(element.prefix, token.substr(element.prefix.size()), element.field);
            }
        }
        start = end + 1;
    }
}

template <std::size_t Size>
void Fill(std::wstring_view list, const std::array<Element<VpnConnectionInfo>, Size>& elements, VpnConnectionInfo& info)
{
    ForEachKnown(
        list, elements,
        [&info](std::wstring_view, std::wstring_view rest, std::wstring VpnConnectionInfo::*field)
        { info.*field = rest; });
}

void ReadGateway(VpnConnectionInfo& info)
{
    std::optional<std::wstring> text = TryReadText(Value::GatewayAddress);
    if (!text)
    {
        Log::Debug("Couldn't read the gateway-address value.");
        return;
    }
    info.gatewayAddress = std::move(*text);
    ParseGatewayAddress(info.gatewayAddress, info);
    if (info.gateway.empty())
    {
        Log::Debug("Gateway value is empty; this will impact the ping tests performed.");
    }
    if (info.gatewayIpV4.empty())
    {
        Log::Debug("GatewayIpV4 value is empty; this will impact the ping tests performed.");
    }
}

void ReadTunnelIps(VpnConnectionInfo& info)
{
    TunnelIps ips = GetTunnelIps();
    info.tunnelIp = std::move(ips.raw);
    info.tunnelIpV4 = std::move(ips.ipV4);
    info.tunnelIpV6 = std::move(ips.ipV6);
}

void ReadUser(VpnConnectionInfo& info, const Crypto::SensitiveString& key)
{
    try
    {
        ParseUserId(GetUserId(key).GetView(), info);
        info.fullUsername = BuildFullUsername(info.username, info.domain);
    }
    catch (const std::exception& exception)
    {
        Log::LogException("Failed parsing the user-id string", exception);
    }
}

} // namespace

VpnConnectionInfo GetVpnConnectionInfo(const Crypto::SensitiveString& key)
{
    VpnConnectionInfo info;
    std::wstring statusText;
    info.status = GetTunnelStatus(statusText);
    ReadGateway(info);
    if (std::optional<std::wstring> region = TryReadText(Value::SourceRegion))
    {
        info.sourceRegion = std::move(*region);
    }
    else
    {
        Log::Debug("Couldn't read the source-region value.");
    }
    ReadTunnelIps(info);
    ReadUser(info, key);
    if (std::optional<std::wstring> location = TryReadText(Value::GatewayLocation))
    {
        info.gatewayLocation = std::move(*location);
    }
    else
    {
        Log::Debug("Couldn't read the gateway-location value.");
    }
    return info;
}

VpnStatus GetTunnelStatus(std::wstring& text)
{
    if (std::optional<std::wstring> read = TryReadText(Value::TunnelStatus))
    {
        text = std::move(*read);
    }
    else
    {
        Log::Warn("Couldn't read the tunnel-status value; will assume it's disconnected...");
        text = DefaultText(Value::TunnelStatus);
    }
    const std::optional<VpnConnectionStatus> status = VpnConnectionStatusConverter::FromText(text);
    if (!status)
    {
        Log::Warn(
            "Couldn't map value {} to a known VPN status; will default to Disconnected", Util::ConvertStringType(text));
    }
    return status.value_or(VpnConnectionStatus::Disconnected);
}

TunnelIps GetTunnelIps()
{
    return ParseTunnelIps(ReadText(Value::TunnelIp));
}

Crypto::SensitiveString GetUserId(const Crypto::SensitiveString& key)
{
    std::wstring enciphered = RequireText(Value::UserId);
    std::erase_if(enciphered, [](wchar_t character) { return character == L'\r' || character == L'\n'; });
    return Decipher(enciphered, key);
}

bool GetUserSelectionEnabled()
{
    return ReadText(Value::UserSelection) == L"enable";
}

std::wstring GetOstraAccessAgent()
{
    return ReadText(Value::OstraAccessAgent);
}

std::wstring GetMachineId()
{
    return ReadText(Value::MachineId);
}

std::uint32_t GetDnsResolutionTimeoutMs()
{
    return ReadNumber(Value::DnsResolutionTimeout);
}

std::wstring GetVpnClientVersion()
{
    return RequireText(Value::VpnCurrentVersion);
}

void ParseGatewayAddress(std::wstring_view text, VpnConnectionInfo& info)
{
    Fill(text, GatewayElements, info);
}

TunnelIps ParseTunnelIps(std::wstring_view text)
{
    TunnelIps ips;
    ips.raw = text;
    ForEachKnown(
        text, TunnelElements,
        [&ips](std::wstring_view prefix, std::wstring_view rest, std::wstring TunnelIps::*field)
        { ips.*field = Util::ReplaceAll(rest, prefix, std::wstring_view()); });
    return ips;
}

void ParseUserId(std::wstring_view text, VpnConnectionInfo& info)
{
    Fill(text, UserElements, info);
}

std::wstring BuildFullUsername(const std::wstring& username, const std::wstring& domain)
{
    if (username.empty())
    {
        Log::Warn("No username component detected");
        if (!domain.empty())
        {
            Log::Warn(
                "Detected an abnormal case where the username was empty but domain was not: {}",
                Util::ConvertStringType(domain));
        }
        return {};
    }
    if (domain.empty())
    {
        return username;
    }
    if (username.find(L'@') != std::wstring::npos)
    {
        Log::Info(
            "Detected the domain was not empty but user contained an @: user {}, domain {}",
            Util::ConvertStringType(username), Util::ConvertStringType(domain));
        return username;
    }
    if (username.find(L'\\') != std::wstring::npos)
    {
        Log::Info(
            "Detected the domain was not empty but user contained an \\: user {}, domain {}",
            Util::ConvertStringType(username), Util::ConvertStringType(domain));
        return username;
    }
    return domain + L"\\" + username;
}

} // namespace Shared::AppSettings
