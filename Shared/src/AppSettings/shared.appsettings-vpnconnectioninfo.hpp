#pragma once

#include "shared.time-clock.hpp"
#include "shared.util-enumeration.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Shared::AppSettings
{

/// What the VPN client says of its tunnel.
enum class VpnConnectionStatus : std::uint32_t
{
    Disconnected = 0,
    Connected = 1,
    Disabled = 2,
    ConnectedNonTv = 3,
    ConnectedInternal = 4,
    Internal = 5
};

/// The states and their words in the registry, "disconnected" to "internal".
struct VpnConnectionStatusConverter
{
    /// The word of a state; empty for a number that is none.
    static std::wstring_view ToText(VpnConnectionStatus status) noexcept;
    /// The state of a word, equal in length, content and case; nothing for any other text.
    static std::optional<VpnConnectionStatus> FromText(std::wstring_view text) noexcept;
};

/// The state of the tunnel, with its text.
using VpnStatus = Util::Enumeration<VpnConnectionStatus, VpnConnectionStatusConverter>;

/// What the VPN client tells of tunnel and user, taken apart. What it does not tell is empty.
struct VpnConnectionInfo
{
    VpnStatus status;
    /// The gateway as it stands in the registry, and its parts.
    std::wstring gatewayAddress;
    std::wstring gateway;
    std::wstring gatewayIpV4;
    std::wstring gatewayIpV6;
    /// This machine's addresses in the tunnel as they stand in the registry, and its parts.
    std::wstring tunnelIp;
    std::wstring tunnelIpV4;
    std::wstring tunnelIpV6;
    /// The user as the agent names it: "domain\username", or the user name alone.
    std::wstring fullUsername;
    std::wstring domain;
    std::wstring tenantId;
    std::wstring subTenantId;
    std::wstring gatewayLocation;
    std::wstring sourceRegion;
    /// When this was made: seconds since 1970.
    std::int64_t timestamp = Time::EpochSeconds();
    std::wstring username;
};

} // namespace Shared::AppSettings
