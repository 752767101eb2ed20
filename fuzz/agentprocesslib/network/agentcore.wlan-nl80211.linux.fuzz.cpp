// Any bytes as a datagram of the kernel's wireless subsystem, and what links come of it.
//   The whole input is the datagram: messages that answer request number 1, whose kind is the family's.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "agentcore.wlan-nl80211.linux.hpp"
#include "agentcore.wlan-wlanquerier.hpp"
#include "fuzz.require.hpp"
#include "shared.util-utf8.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::Wlan;
using namespace Shared::System;

struct Rows
{
    std::optional<std::uint16_t> family;
    std::vector<StationInterface> interfaces;
    std::optional<JoinedNetwork> network;
    std::vector<Station> stations;
};

Rows ReadRows(const std::vector<char>& datagram)
{
    Rows rows;
    std::size_t messages = 0;
    ReadNetlinkDatagram(
        datagram, NetlinkRequest::Sequence, 0,
        [&](const NetlinkMessage& message)
        {
            ++messages;
            ReadFamilyRow(message, rows.family);
            ReadInterfaceRow(message, rows.interfaces);
            ReadNetworkRow(message, rows.network);
            ReadStationRow(message, rows.stations);
        });
    Require(rows.interfaces.size() + rows.stations.size() <= messages);
    return rows;
}

/// A service with one interface, whose link is what was read.
class OneLink final : public WlanClient
{
public:
    OneLink(StationInterface stationInterface, WlanConnection connection, std::optional<std::uint32_t> channel)
        : m_interface(std::move(stationInterface)), m_connection(std::move(connection)), m_channel(channel)
    {
    }

    std::vector<WlanInterface> EnumerateInterfaces() override
    {
        return {{m_interface.name, InterfaceState::Connected}};
    }

    std::optional<WlanConnection> QueryConnection(const WlanInterface& /*wlanInterface*/) override
    {
        return m_connection;
    }

    std::optional<std::uint32_t> QueryChannel(const WlanInterface& /*wlanInterface*/) override
    {
        return m_channel;
    }

private:
    StationInterface m_interface;
    WlanConnection m_connection;
    std::optional<std::uint32_t> m_channel;
};

void CheckLink(const StationInterface& stationInterface, const JoinedNetwork& network, const Station* accessPoint)
{
    const auto connection = ToConnection(stationInterface, network, accessPoint);
    const auto channel = ToChannel(network.frequency);
    Require(connection.quality <= 100);
    Require(connection.ssid.size() <= 32);
    Require(static_cast<std::uint32_t>(connection.phyType) <= 11);
    Require(!channel || (*channel >= 1 && *channel <= 233));

    const auto wlans = WlanQuerier{std::make_unique<OneLink>(stationInterface, connection, channel)}.GetWlanStats();
    Require(wlans.size() == 1);
    Require(Shared::Util::Utf8::DropInvalid(wlans[0].ssid()) == wlans[0].ssid());
    Require(wlans[0].ssid().find('\0') == std::string::npos);
    WirelessLan again;
    Require(again.ParseFromString(wlans[0].SerializeAsString()));
    Require(again.SerializeAsString() == wlans[0].SerializeAsString());
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A copy of its own is aligned, and its end is known to the sanitizer.
    auto rows = ReadRows({data, data + size});
    rows.interfaces.emplace_back();
    const auto network = rows.network.value_or(JoinedNetwork{});
    const auto* const accessPoint = FindAccessPoint(rows.stations, network);
    Require(accessPoint != nullptr || rows.stations.empty() || rows.stations.front().isPeer);
    for (const auto& stationInterface : rows.interfaces)
    {
        CheckLink(stationInterface, network, accessPoint);
    }
    return 0;
}
