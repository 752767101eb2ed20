#include "wlan.nl80211messages.linux.hpp"

#include "test.support-netlink.linux.hpp"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace Nl80211Messages
{

using namespace TestSupport;

std::string Message(std::uint8_t command, const std::string& attributes, std::uint16_t type)
{
    return NetlinkMessageBytes(type, BytesOf(genlmsghdr{command, 1, 0}) + attributes);
}

std::string FamilyFound()
{
    return Message(
        CTRL_CMD_NEWFAMILY,
        NetlinkText(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME) + NetlinkNumber(CTRL_ATTR_FAMILY_ID, Family),
        GENL_ID_CTRL);
}

std::string Interface(std::uint32_t index, const std::string& name, std::uint32_t type, std::uint32_t width)
{
    return Message(
        NL80211_CMD_NEW_INTERFACE,
        NetlinkNumber(NL80211_ATTR_IFINDEX, index) + NetlinkText(NL80211_ATTR_IFNAME, name) +
            NetlinkNumber(NL80211_ATTR_IFTYPE, type) + NetlinkNumber(NL80211_ATTR_CHANNEL_WIDTH, width));
}

std::string ScanResult(const Network& network)
{
    auto bss = NetlinkAttribute(NL80211_BSS_BSSID, BytesOf(network.bssid)) +
        NetlinkNumber(NL80211_BSS_FREQUENCY, network.frequency) +
        NetlinkAttribute(NL80211_BSS_INFORMATION_ELEMENTS, network.elements);
    if (network.status)
    {
        bss += NetlinkNumber(NL80211_BSS_STATUS, *network.status);
    }
    if (network.signal)
    {
        bss += NetlinkNumber(NL80211_BSS_SIGNAL_MBM, *network.signal);
    }
    if (network.signalShare)
    {
        bss += NetlinkNumber(NL80211_BSS_SIGNAL_UNSPEC, *network.signalShare);
    }
    return Message(NL80211_CMD_NEW_SCAN_RESULTS, NetlinkAttribute(NL80211_ATTR_BSS | NLA_F_NESTED, bss));
}

std::string Element(std::uint8_t number, const std::string& content)
{
    return std::string{static_cast<char>(number), static_cast<char>(content.size())} + content;
}

std::string Rate(std::uint16_t direction, std::uint32_t hundreds, std::optional<std::uint16_t> generation)
{
    auto content = NetlinkNumber(NL80211_RATE_INFO_BITRATE32, hundreds);
    if (hundreds <= 0xFFFF)
    {
        content += NetlinkNumber(NL80211_RATE_INFO_BITRATE, static_cast<std::uint16_t>(hundreds));
    }
    if (generation)
    {
        content += NetlinkNumber<std::uint8_t>(*generation, 7);
    }
    return NetlinkAttribute(static_cast<std::uint16_t>(direction | NLA_F_NESTED), content);
}

std::string Flags(std::uint32_t mask, std::uint32_t set)
{
    return NetlinkNumber(NL80211_STA_INFO_STA_FLAGS, nl80211_sta_flag_update{mask, set});
}

std::string StationMessage(const std::array<std::uint8_t, 6>& address, const std::string& information)
{
    return Message(
        NL80211_CMD_NEW_STATION,
        NetlinkAttribute(NL80211_ATTR_MAC, BytesOf(address)) +
            NetlinkAttribute(NL80211_ATTR_STA_INFO | NLA_F_NESTED, information));
}

} // namespace Nl80211Messages
