#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <array>

namespace Shared::AppSettings
{

namespace
{

struct StatusWord
{
    VpnConnectionStatus status;
    std::wstring_view word;
};

constexpr std::array<StatusWord, 6> StatusWords = {
    {{VpnConnectionStatus::Disconnected, L"disconnected"},
     {VpnConnectionStatus::Connected, L"connected"},
     {VpnConnectionStatus::Disabled, L"disabled"},
     {VpnConnectionStatus::ConnectedNonTv, L"connected-non-tv"},
     {VpnConnectionStatus::ConnectedInternal, L"connected-internal"},
     {VpnConnectionStatus::Internal, L"internal"}}};

} // namespace

std::wstring_view VpnConnectionStatusConverter::ToText(VpnConnectionStatus status) noexcept
{
    for (const StatusWord& row : StatusWords)
    {
        if (row.status == status)
        {
            return row.word;
        }
    }
    return {};
}

std::optional<VpnConnectionStatus> VpnConnectionStatusConverter::FromText(std::wstring_view text) noexcept
{
    for (const StatusWord& row : StatusWords)
    {
        if (row.word == text)
        {
            return row.status;
        }
    }
    return std::nullopt;
}

} // namespace Shared::AppSettings
