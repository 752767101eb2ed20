#include "agentcore.wlan-wlanclient.linux.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "agentcore.wlan-nl80211.linux.hpp"
#include "shared.exception-exceptions.hpp"

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace AgentCore::Wlan
{

namespace
{

using Shared::System::NetlinkOpener;
using Shared::System::NetlinkRequest;

NetlinkRequest MakeRequest(std::uint16_t family, std::uint8_t command, std::uint16_t flags)
{
    return {family, flags, genlmsghdr{command, 0, 0}};
}

/// One interface and its link, as the last enumeration found them.
struct Link
{
    StationInterface stationInterface;
    std::optional<JoinedNetwork> network;
    std::vector<Station> stations;

    const Station* FindAccessPoint() const
    {
        return network ? Wlan::FindAccessPoint(stations, *network) : nullptr;
    }

    InterfaceState GetState() const
    {
        if (!network)
        {
            return InterfaceState::Disconnected;
        }
        const auto* const accessPoint = FindAccessPoint();
        return accessPoint == nullptr || accessPoint->isAuthorised.value_or(true) ? InterfaceState::Connected
                                                                                  : InterfaceState::Authenticating;
    }
};

class Nl80211Client final : public WlanClient
{
public:
    explicit Nl80211Client(NetlinkOpener open) noexcept : m_open(std::move(open))
    {
    }

    std::vector<WlanInterface> EnumerateInterfaces() override
    {
        m_links.clear();
        std::vector<WlanInterface> interfaces;
        const auto family = FindFamily();
        if (!family)
        {
            return interfaces;
        }
        for (auto& stationInterface : ListInterfaces(*family))
        {
            const auto& link = m_links.emplace_back(ReadLink(*family, std::move(stationInterface)));
            interfaces.push_back({link.stationInterface.name, link.GetState()});
        }
        return interfaces;
    }

    std::optional<WlanConnection> QueryConnection(const WlanInterface& wlanInterface) override
    {
        const auto* const link = FindLink(wlanInterface);
        if (link == nullptr)
        {
            return std::nullopt;
        }
        return ToConnection(link->stationInterface, *link->network, link->FindAccessPoint());
    }

    std::optional<std::uint32_t> QueryChannel(const WlanInterface& wlanInterface) override
    {
        const auto* const link = FindLink(wlanInterface);
        return link == nullptr ? std::nullopt : ToChannel(link->network->frequency);
    }

private:
    static void Check(int error)
    {
        if (error != 0)
        {
            throw Shared::Exception::Win32Exception(
                "The wireless interfaces could not be listed", static_cast<std::uint32_t>(error));
        }
    }

    /// The number under which the kernel's wireless subsystem is asked; nothing when it is not loaded.
    std::optional<std::uint16_t> FindFamily() const
    {
        auto request = MakeRequest(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, 0);
        request.PutText(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
        std::optional<std::uint16_t> family;
        const int error = ReadNetlinkTable(m_open, request, &ReadFamilyRow, family);
        if (error == ENOENT)
        {
            return std::nullopt;
        }
        Check(error);
        return family;
    }

    std::vector<StationInterface> ListInterfaces(std::uint16_t family) const
    {
        std::vector<StationInterface> interfaces;
        Check(ReadNetlinkTable(
            m_open, MakeRequest(family, NL80211_CMD_GET_INTERFACE, NLM_F_DUMP), &ReadInterfaceRow, interfaces));
        return interfaces;
    }

    /// What of the link can be read; an interface that has just gone has no link.
    Link ReadLink(std::uint16_t family, StationInterface stationInterface) const
    {
        Link link{std::move(stationInterface), {}, {}};
        auto ofNetworks = MakeRequest(family, NL80211_CMD_GET_SCAN, NLM_F_DUMP);
        ofNetworks.PutNumber(NL80211_ATTR_IFINDEX, link.stationInterface.index);
        ReadNetlinkTable(m_open, ofNetworks, &ReadNetworkRow, link.network);
        if (link.network)
        {
            auto ofStations = MakeRequest(family, NL80211_CMD_GET_STATION, NLM_F_DUMP);
            ofStations.PutNumber(NL80211_ATTR_IFINDEX, link.stationInterface.index);
            ReadNetlinkTable(m_open, ofStations, &ReadStationRow, link.stations);
        }
        return link;
    }

    /// Null when the interface was not listed or has no link.
    const Link* FindLink(const WlanInterface& wlanInterface) const
    {
        const auto found = std::find_if(
            m_links.begin(), m_links.end(),
            [&](const Link& link) { return link.stationInterface.name == wlanInterface.id; });
        return found == m_links.end() || !found->network ? nullptr : &*found;
    }

    NetlinkOpener m_open;
    std::vector<Link> m_links;
};

} // namespace

std::unique_ptr<WlanClient> OpenWlanClient(NetlinkOpener open)
{
    return open() == nullptr ? nullptr : std::make_unique<Nl80211Client>(std::move(open));
}

std::unique_ptr<WlanClient> OpenWlanClient()
{
    return OpenWlanClient([] { return Shared::System::OpenNetlink(NETLINK_GENERIC); });
}

} // namespace AgentCore::Wlan
