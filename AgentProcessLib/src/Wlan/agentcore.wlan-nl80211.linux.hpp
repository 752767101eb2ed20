#pragma once

#include "agentcore.wlan-wlanclient.hpp"
#include "shared.system-netlink.linux.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the kernel's wireless subsystem tells, read from its messages, and what becomes of it. All functions are pure, and
/// pass over messages of other kinds and damaged ones.
namespace AgentCore::Wlan
{

/// A wireless interface that joins networks of others, as the kernel lists it.
struct StationInterface
{
    std::uint32_t index = 0;
    std::string name;
    /// One of the kernel's numbers (NL80211_CHAN_WIDTH_20_NOHT and so on); nothing when no channel is in use.
    std::optional<std::uint32_t> channelWidth;

    bool operator==(const StationInterface&) const = default;
};

/// The network that an interface has joined, by what the access point sends.
struct JoinedNetwork
{
    std::string ssid;
    std::array<std::uint8_t, 6> bssid{};
    /// Megahertz.
    std::uint32_t frequency = 0;
    /// Of its last beacon, in dBm; or as a share of 100, for drivers that know no unit.
    std::optional<std::int32_t> signal;
    std::optional<std::uint8_t> signalShare;

    bool operator==(const JoinedNetwork&) const = default;
};

/// Speed of one direction of a link.
struct LinkRate
{
    /// Kilobits per second.
    std::uint32_t rate = 0;
    /// HighThroughput or one of its successors; Unknown for the rates of older kinds.
    PhyType generation = PhyType::Unknown;

    bool operator==(const LinkRate&) const = default;
};

/// The other end of a link.
struct Station
{
    std::array<std::uint8_t, 6> address{};
    /// dBm.
    std::optional<std::int32_t> signal;
    /// Whether it may send data; nothing when the driver does not tell.
    std::optional<bool> isAuthorised;
    /// Whether it is another member of the network, to which there is a direct link.
    bool isPeer = false;
    std::optional<LinkRate> receive;
    std::optional<LinkRate> transmit;

    bool operator==(const Station&) const = default;
};

// Each takes one message into the rows. Of networks the first that is joined counts, as a link over several channels has
// several.
void ReadFamilyRow(const Shared::System::NetlinkMessage& message, std::optional<std::uint16_t>& family);
void ReadInterfaceRow(const Shared::System::NetlinkMessage& message, std::vector<StationInterface>& interfaces);
void ReadNetworkRow(const Shared::System::NetlinkMessage& message, std::optional<JoinedNetwork>& network);
void ReadStationRow(const Shared::System::NetlinkMessage& message, std::vector<Station>& stations);

/// The access point among the stations: the one with the network's address; else the first that is no peer, as an access
/// point of several links has an address besides those of its links. Null when there is none.
const Station* FindAccessPoint(const std::vector<Station>& stations, const JoinedNetwork& network);

/// The number of the channel with that frequency (megahertz) in the bands at 2.4, 4.9, 5, 6 and 60 GHz; nothing for another.
std::optional<std::uint32_t> ToChannel(std::uint32_t frequency);

/// A signal as Windows tells it: -100 dBm and below is 0, -50 dBm and above is 100, and evenly between.
std::uint32_t ToQuality(std::int32_t signal);

/// The kind of link by its rates, the width of its channel and its band, of which each can show a newer kind than the
/// others. An idle link shows its old rates; what is not known is Unknown.
PhyType ToPhyType(const StationInterface& stationInterface, const JoinedNetwork& network, const Station* accessPoint);

/// Everything of a link. `accessPoint` may be null.
WlanConnection ToConnection(
    const StationInterface& stationInterface, const JoinedNetwork& network, const Station* accessPoint);

} // namespace AgentCore::Wlan
