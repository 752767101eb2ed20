#pragma once

#include "shared.appsettings-vpnconnectioninfo.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <string>
#include <string_view>

/// What the VPN client leaves for the agent. All may be called from any thread; nothing is kept.
namespace Shared::AppSettings
{

/// All that the VPN client tells. Never throws for a value that cannot be read or opened: its fields are empty then, and
/// the log says why. What the fields of the user could be filled with before a failure, they keep.
VpnConnectionInfo GetVpnConnectionInfo(const Crypto::SensitiveString& key);

/// The state of the tunnel, and in `text` the client's word for it. A word that cannot be read is taken for "disconnected",
/// one that nobody knows for the state `Disconnected`, both with a warning.
VpnStatus GetTunnelStatus(std::wstring& text);

/// This machine's addresses in the tunnel.
struct TunnelIps
{
    std::wstring raw;
    std::wstring ipV4;
    std::wstring ipV6;
};

/// All empty when they cannot be read.
TunnelIps GetTunnelIps();

/// The deciphered text that tells user and tenant. Throws Win32Exception when it cannot be read, and what
/// Crypto::Decrypt() throws.
Crypto::SensitiveString GetUserId(const Crypto::SensitiveString& key);

/// Whether the user has the network tests switched on in the VPN client: exactly "enable". Unreadable means no.
bool GetUserSelectionEnabled();

/// Which VPN client this is, in its own word; empty when it does not say.
std::wstring GetOstraAccessAgent();

/// The machine's identity as the VPN client knows it; empty when it does not say.
std::wstring GetMachineId();

/// Milliseconds for the resolution of a name.
std::uint32_t GetDnsResolutionTimeoutMs();

/// The version of the installed VPN client. Throws Win32Exception.
std::wstring GetVpnClientVersion();

// The texts themselves. Lists have commas between their elements; what an element is it says by its prefix, elements
// without a known one are passed over, and of several with the same one the last counts.

/// Fills gateway ("gateway="), gatewayIpV4 ("ipv4=") and gatewayIpV6 ("ipv6=").
void ParseGatewayAddress(std::wstring_view text, VpnConnectionInfo& info);

/// The addresses ("ipv4=", "ipv6="), with the prefix removed wherever it stands in the element.
TunnelIps ParseTunnelIps(std::wstring_view text);

/// Fills username ("username="), domain ("domain="), tenantId ("tenant-id=") and subTenantId ("sub-tenant-id=").
void ParseUserId(std::wstring_view text, VpnConnectionInfo& info);

/// The user as the agent names it: "domain\username"; the user name alone when there is no domain, and when it holds "@"
/// or "\", which is logged; empty without a user name, with a warning.
std::wstring BuildFullUsername(const std::wstring& username, const std::wstring& domain);

} // namespace Shared::AppSettings
