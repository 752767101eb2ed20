#include "agentcore.wlan-nl80211.linux.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace AgentCore::Wlan
{

namespace
{

using Shared::System::NetlinkAttributes;
using Shared::System::NetlinkMessage;
using Address = std::array<std::uint8_t, 6>;

/// The attributes of a message of that command; nothing for another.
std::optional<NetlinkAttributes> ReadCommand(const NetlinkMessage& message, std::uint8_t command)
{
    const auto header = message.ReadHeader<genlmsghdr>();
    if (!header || header->cmd != command)
    {
        return std::nullopt;
    }
    return NetlinkAttributes{message.GetAttributes(sizeof(genlmsghdr))};
}

/// The name in the row of elements that an access point sends: a number, a length and as many bytes, each.
std::string ReadSsid(std::span<const char> elements)
{
    constexpr unsigned char ssidElement = 0;
    constexpr std::size_t headerSize = 2;
    constexpr std::size_t longest = 32;
    while (elements.size() >= headerSize)
    {
        const std::size_t size = static_cast<unsigned char>(elements[1]);
        if (size > elements.size() - headerSize)
        {
            break;
        }
        if (static_cast<unsigned char>(elements[0]) == ssidElement)
        {
            const auto name = elements.subspan(headerSize, std::min(size, longest));
            return {name.begin(), name.end()};
        }
        elements = elements.subspan(headerSize + size);
    }
    return {};
}

std::optional<JoinedNetwork> ReadNetwork(const NetlinkAttributes& bss)
{
    const auto address = bss.Read<Address>(NL80211_BSS_BSSID);
    if (bss.Read<std::uint32_t>(NL80211_BSS_STATUS) != NL80211_BSS_STATUS_ASSOCIATED || !address)
    {
        return std::nullopt;
    }
    JoinedNetwork network;
    network.bssid = *address;
    network.frequency = bss.Read<std::uint32_t>(NL80211_BSS_FREQUENCY).value_or(0);
    if (const auto elements = bss.Find(NL80211_BSS_INFORMATION_ELEMENTS))
    {
        network.ssid = ReadSsid(*elements);
    }
    constexpr std::int32_t hundredths = 100;
    if (const auto signal = bss.Read<std::int32_t>(NL80211_BSS_SIGNAL_MBM))
    {
        network.signal = *signal / hundredths;
    }
    network.signalShare = bss.Read<std::uint8_t>(NL80211_BSS_SIGNAL_UNSPEC);
    return network;
}

struct GenerationRow
{
    std::uint16_t attribute;
    PhyType type;
};

/// The newest first.
constexpr std::array<GenerationRow, 4> Generations{
    {{NL80211_RATE_INFO_EHT_MCS, PhyType::ExtremelyHighThroughput},
     {NL80211_RATE_INFO_HE_MCS, PhyType::HighEfficiency},
     {NL80211_RATE_INFO_VHT_MCS, PhyType::VeryHighThroughput},
     {NL80211_RATE_INFO_MCS, PhyType::HighThroughput}}};

std::optional<LinkRate> ReadRate(const NetlinkAttributes& station, std::uint16_t type)
{
    if (!station.Find(type))
    {
        return std::nullopt;
    }
    const auto info = station.Nested(type);
    const std::uint64_t hundreds = info.Read<std::uint32_t>(NL80211_RATE_INFO_BITRATE32)
                                       .value_or(info.Read<std::uint16_t>(NL80211_RATE_INFO_BITRATE).value_or(0));
    LinkRate rate;
    rate.rate =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(hundreds * 100, std::numeric_limits<std::uint32_t>::max()));
    const auto* const generation = std::find_if(
        Generations.begin(), Generations.end(),
        [&info](const GenerationRow& row) { return info.Find(row.attribute).has_value(); });
    rate.generation = generation == Generations.end() ? PhyType::Unknown : generation->type;
    return rate;
}

std::optional<std::int32_t> ReadSignal(const NetlinkAttributes& station)
{
    const auto last = station.Read<std::int8_t>(NL80211_STA_INFO_SIGNAL);
    const auto signal = last ? last : station.Read<std::int8_t>(NL80211_STA_INFO_SIGNAL_AVG);
    return signal ? std::optional<std::int32_t>{*signal} : std::nullopt;
}

/// Whether a flag is set; nothing when the driver does not tell.
std::optional<bool> ReadFlag(const nl80211_sta_flag_update& flags, unsigned number)
{
    const auto bit = 1U << number;
    return (flags.mask & bit) == 0 ? std::nullopt : std::optional{(flags.set & bit) != 0};
}

struct WidthRow
{
    std::uint32_t width;
    PhyType type;
};

/// Widths that only links of a kind and its successors have.
constexpr std::array<WidthRow, 6> Widths{
    {{NL80211_CHAN_WIDTH_20, PhyType::HighThroughput},
     {NL80211_CHAN_WIDTH_40, PhyType::HighThroughput},
     {NL80211_CHAN_WIDTH_80, PhyType::VeryHighThroughput},
     {NL80211_CHAN_WIDTH_80P80, PhyType::VeryHighThroughput},
     {NL80211_CHAN_WIDTH_160, PhyType::VeryHighThroughput},
     {NL80211_CHAN_WIDTH_320, PhyType::ExtremelyHighThroughput}}};

PhyType ByWidth(std::optional<std::uint32_t> width)
{
    const auto* const row = std::find_if(
        Widths.begin(), Widths.end(), [&width](const WidthRow& candidate) { return candidate.width == width; });
    return row == Widths.end() ? PhyType::Unknown : row->type;
}

/// A band of frequencies in megahertz, and its channels: number = (frequency - base) / spacing.
struct Band
{
    std::uint32_t first;
    std::uint32_t last;
    std::uint32_t base;
    std::uint32_t spacing;
    /// What every link in it is at least.
    PhyType least;
};

constexpr std::array<Band, 5> Bands{
    {{2412, 2472, 2407, 5, PhyType::Unknown},
     {4910, 4980, 4000, 5, PhyType::Ofdm},
     {5005, 5920, 5000, 5, PhyType::Ofdm},
     {5955, 7115, 5950, 5, PhyType::HighEfficiency},
     {58320, 70200, 56160, 2160, PhyType::DirectionalMultiGigabit}}};

struct LoneChannel
{
    std::uint32_t frequency;
    std::uint32_t channel;
    PhyType least;
};

/// Channels beside the even row of their band.
constexpr std::array<LoneChannel, 2> LoneChannels{{{2484, 14, PhyType::Unknown}, {5935, 2, PhyType::HighEfficiency}}};

const Band* FindBand(std::uint32_t frequency)
{
    const auto* const found = std::find_if(
        Bands.begin(), Bands.end(),
        [frequency](const Band& band) { return frequency >= band.first && frequency <= band.last; });
    return found == Bands.end() ? nullptr : found;
}

const LoneChannel* FindLoneChannel(std::uint32_t frequency)
{
    const auto* const found = std::find_if(
        LoneChannels.begin(), LoneChannels.end(),
        [frequency](const LoneChannel& channel) { return channel.frequency == frequency; });
    return found == LoneChannels.end() ? nullptr : found;
}

PhyType ByBand(std::uint32_t frequency)
{
    if (const auto* const channel = FindLoneChannel(frequency))
    {
        return channel->least;
    }
    const auto* const band = FindBand(frequency);
    return band == nullptr ? PhyType::Unknown : band->least;
}

/// The rates of the oldest kinds of links at 2.4 GHz, in kilobits per second; what is faster or between them came later.
constexpr std::array<std::uint32_t, 4> SpreadSpectrumRates{1000, 2000, 5500, 11000};

PhyType ByOldRates(const Station& station)
{
    auto type = PhyType::Unknown;
    for (const auto& direction : {station.receive, station.transmit})
    {
        if (direction && direction->rate != 0)
        {
            const bool isOldest = std::find(SpreadSpectrumRates.begin(), SpreadSpectrumRates.end(), direction->rate) !=
                SpreadSpectrumRates.end();
            type = std::max(type, isOldest ? PhyType::HighRateDsss : PhyType::ExtendedRate);
        }
    }
    return type;
}

} // namespace

void ReadFamilyRow(const NetlinkMessage& message, std::optional<std::uint16_t>& family)
{
    if (const auto attributes = ReadCommand(message, CTRL_CMD_NEWFAMILY))
    {
        family = attributes->Read<std::uint16_t>(CTRL_ATTR_FAMILY_ID);
    }
}

void ReadInterfaceRow(const NetlinkMessage& message, std::vector<StationInterface>& interfaces)
{
    const auto attributes = ReadCommand(message, NL80211_CMD_NEW_INTERFACE);
    if (!attributes)
    {
        return;
    }
    const auto type = attributes->Read<std::uint32_t>(NL80211_ATTR_IFTYPE);
    const auto index = attributes->Read<std::uint32_t>(NL80211_ATTR_IFINDEX);
    const auto name = attributes->Text(NL80211_ATTR_IFNAME);
    if ((type == NL80211_IFTYPE_STATION || type == NL80211_IFTYPE_P2P_CLIENT) && index && !name.empty())
    {
        interfaces.push_back({*index, std::string{name}, attributes->Read<std::uint32_t>(NL80211_ATTR_CHANNEL_WIDTH)});
    }
}

void ReadNetworkRow(const NetlinkMessage& message, std::optional<JoinedNetwork>& network)
{
    const auto attributes = ReadCommand(message, NL80211_CMD_NEW_SCAN_RESULTS);
    if (attributes && !network)
    {
        network = ReadNetwork(attributes->Nested(NL80211_ATTR_BSS));
    }
}

void ReadStationRow(const NetlinkMessage& message, std::vector<Station>& stations)
{
    const auto attributes = ReadCommand(message, NL80211_CMD_NEW_STATION);
    const auto address = attributes ? attributes->Read<Address>(NL80211_ATTR_MAC) : std::nullopt;
    if (!address)
    {
        return;
    }
    const auto info = attributes->Nested(NL80211_ATTR_STA_INFO);
    Station station;
    station.address = *address;
    station.signal = ReadSignal(info);
    station.receive = ReadRate(info, NL80211_STA_INFO_RX_BITRATE);
    station.transmit = ReadRate(info, NL80211_STA_INFO_TX_BITRATE);
    if (const auto flags = info.Read<nl80211_sta_flag_update>(NL80211_STA_INFO_STA_FLAGS))
    {
        station.isAuthorised = ReadFlag(*flags, NL80211_STA_FLAG_AUTHORIZED);
        station.isPeer = ReadFlag(*flags, NL80211_STA_FLAG_TDLS_PEER).value_or(false);
    }
    stations.push_back(station);
}

const Station* FindAccessPoint(const std::vector<Station>& stations, const JoinedNetwork& network)
{
    auto found = std::find_if(
        stations.begin(), stations.end(), [&](const Station& station) { return station.address == network.bssid; });
    if (found == stations.end())
    {
        found = std::find_if(stations.begin(), stations.end(), [](const Station& station) { return !station.isPeer; });
    }
    return found == stations.end() ? nullptr : &*found;
}

std::optional<std::uint32_t> ToChannel(std::uint32_t frequency)
{
    if (const auto* const channel = FindLoneChannel(frequency))
    {
        return channel->channel;
    }
    const auto* const band = FindBand(frequency);
    if (band == nullptr || (frequency - band->base) % band->spacing != 0)
    {
        return std::nullopt;
    }
    return (frequency - band->base) / band->spacing;
}

std::uint32_t ToQuality(std::int32_t signal)
{
    constexpr std::int32_t weakest = -100;
    constexpr std::int32_t strongest = -50;
    constexpr std::int32_t full = 100;
    return static_cast<std::uint32_t>(
        (std::clamp(signal, weakest, strongest) - weakest) * full / (strongest - weakest));
}

PhyType ToPhyType(const StationInterface& stationInterface, const JoinedNetwork& network, const Station* accessPoint)
{
    auto newest = std::max(ByWidth(stationInterface.channelWidth), ByBand(network.frequency));
    if (accessPoint != nullptr)
    {
        newest = std::max(newest, accessPoint->receive.value_or(LinkRate{}).generation);
        newest = std::max(newest, accessPoint->transmit.value_or(LinkRate{}).generation);
    }
    // Only the band at 2.4 GHz has links older than all that is told of so far.
    return newest == PhyType::Unknown && ToChannel(network.frequency) && accessPoint != nullptr
        ? ByOldRates(*accessPoint)
        : newest;
}

WlanConnection ToConnection(
    const StationInterface& stationInterface, const JoinedNetwork& network, const Station* accessPoint)
{
    WlanConnection connection;
    connection.ssid = network.ssid;
    connection.bssid = network.bssid;
    connection.phyType = ToPhyType(stationInterface, network, accessPoint);
    auto signal = network.signal;
    if (accessPoint != nullptr)
    {
        signal = accessPoint->signal ? accessPoint->signal : signal;
        connection.receiveRate = accessPoint->receive.value_or(LinkRate{}).rate;
        connection.transmitRate = accessPoint->transmit.value_or(LinkRate{}).rate;
    }
    constexpr std::uint8_t full = 100;
    connection.quality = signal ? ToQuality(*signal) : std::min(network.signalShare.value_or(0), full);
    return connection;
}

} // namespace AgentCore::Wlan
