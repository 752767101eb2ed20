// Any text as each of the VPN client's values. The lists are taken apart a second way.
//   The whole input is the text, in UTF-8.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz.require.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.log-configuration.hpp"
#include "shared.util-functions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
namespace Settings = Shared::AppSettings;

/// The lines are formatted and go nowhere.
const bool s_isQuiet = []
{
    Shared::Log::ConfigureLogging(0, Shared::Log::Level::Trace, "", 1, 1);
    return true;
}();

/// What stands behind the prefix in the last element that has it, found from behind.
std::wstring LastOf(const std::wstring& list, const std::wstring& prefix)
{
    const std::wstring all = L"," + list;
    const std::size_t start = all.rfind(L"," + prefix);
    if (start == std::wstring::npos)
    {
        return {};
    }
    const std::size_t begin = start + 1 + prefix.size();
    return all.substr(begin, all.find(L',', begin) - begin);
}

std::wstring Without(std::wstring text, const std::wstring& gone)
{
    for (std::size_t position = text.find(gone); position != std::wstring::npos; position = text.find(gone, position))
    {
        text.erase(position, gone.size());
    }
    return text;
}

void CheckLists(const std::wstring& text)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseUserId(text, info);
    Require(info.username == LastOf(text, L"username="));
    Require(info.domain == LastOf(text, L"domain="));
    Require(info.tenantId == LastOf(text, L"tenant-id="));
    Require(info.subTenantId == LastOf(text, L"sub-tenant-id="));
    Settings::ParseGatewayAddress(text, info);
    Require(info.gateway == LastOf(text, L"gateway="));
    Require(info.gatewayIpV4 == LastOf(text, L"ipv4="));
    Require(info.gatewayIpV6 == LastOf(text, L"ipv6="));
    const Settings::TunnelIps ips = Settings::ParseTunnelIps(text);
    Require(ips.raw == text);
    Require(ips.ipV4 == Without(LastOf(text, L"ipv4="), L"ipv4="));
    Require(ips.ipV6 == Without(LastOf(text, L"ipv6="), L"ipv6="));
}

void CheckFullUsername(const std::wstring& text)
{
    Settings::VpnConnectionInfo info;
    Settings::ParseUserId(text, info);
    const std::wstring full = Settings::BuildFullUsername(info.username, info.domain);
    Require(full.empty() == info.username.empty());
    Require(full.ends_with(info.username));
    const bool isWhole = info.username.find_first_of(L"@\\") != std::wstring::npos || info.domain.empty();
    Require(full.empty() || (full == info.username) == isWhole);
    Require(full.empty() || isWhole || full.size() == info.domain.size() + 1 + info.username.size());
}

void CheckStatus(const std::wstring& text)
{
    const auto status = Settings::VpnConnectionStatusConverter::FromText(text);
    Require(!status || Settings::VpnStatus(*status).ToText() == text);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Require(s_isQuiet);
    const std::wstring text =
        Shared::Util::ConvertStringType(std::string_view(reinterpret_cast<const char*>(data), size));
    CheckLists(text);
    CheckFullUsername(text);
    CheckStatus(text);
    return 0;
}
