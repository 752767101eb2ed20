#include "agentcore.wlan-wlanquerier.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-utf8.hpp"

namespace AgentCore::Wlan
{

namespace
{

struct PhyMode
{
    PhyType type;
    std::string_view text;
};

constexpr std::array<PhyMode, 4> PhyModes{
    {{PhyType::Ofdm, "802.11a"},
     {PhyType::ExtendedRate, "802.11g"},
     {PhyType::HighThroughput, "802.11n"},
     {PhyType::VeryHighThroughput, "802.11ac"}}};

std::string ToPhyMode(PhyType type)
{
    const auto* const row =
        std::find_if(PhyModes.begin(), PhyModes.end(), [type](const PhyMode& mode) { return mode.type == type; });
    return row == PhyModes.end() ? fmt::format("unknown {}", static_cast<std::uint32_t>(type)) : std::string{row->text};
}

/// The name up to the first null character. Of a name that is not UTF-8 what is none is dropped, as from all texts: no
/// message could carry it.
std::string ToText(std::string_view ssid)
{
    return Shared::Util::Utf8::DropInvalid(ssid.substr(0, ssid.find('\0')));
}

void SetConnection(WirelessLan& wlan, const WlanConnection& connection)
{
    wlan.set_ssid(ToText(connection.ssid));
    wlan.set_bssid(fmt::format("{:x}", fmt::join(connection.bssid, ":")));
    wlan.set_rx(connection.receiveRate);
    wlan.set_tx(connection.transmitRate);
    wlan.set_quality(connection.quality);
    wlan.set_phy_mode(ToPhyMode(connection.phyType));
}

} // namespace

WlanQuerier::WlanQuerier() : WlanQuerier(OpenWlanClient())
{
}

WlanQuerier::WlanQuerier(std::unique_ptr<WlanClient> client) noexcept : m_client(std::move(client))
{
}

bool WlanQuerier::HasClient() const noexcept
{
    return m_client != nullptr;
}

std::vector<WlanInterface> WlanQuerier::EnumerateInterfaces()
{
    if (!HasClient())
    {
        return {};
    }
    try
    {
        return m_client->EnumerateInterfaces();
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        Shared::Log::Error("Failed to enumerate WLAN interfaces: {}", exception.GetCode());
        return {};
    }
}

WirelessLan WlanQuerier::ReadInterface(const WlanInterface& wlanInterface)
{
    WirelessLan wlan;
    wlan.set_interface_id(Shared::Util::Utf8::DropInvalid(wlanInterface.id));
    wlan.set_active(wlanInterface.state == InterfaceState::Connected);
    if (!HasClient())
    {
        return wlan;
    }
    if (const auto connection = m_client->QueryConnection(wlanInterface))
    {
        SetConnection(wlan, *connection);
    }
    if (const auto channel = m_client->QueryChannel(wlanInterface))
    {
        wlan.set_channel(std::to_string(*channel));
    }
    return wlan;
}

std::vector<WirelessLan> WlanQuerier::GetWlanStats()
{
    std::vector<WirelessLan> wlans;
    for (const auto& wlanInterface : EnumerateInterfaces())
    {
        if (wlanInterface.state == InterfaceState::Connected)
        {
            wlans.push_back(ReadInterface(wlanInterface));
        }
    }
    return wlans;
}

} // namespace AgentCore::Wlan
