#include "shared.system-adaptertables.linux.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace Shared::System
{

namespace
{

struct HardwareRow
{
    unsigned short hardware;
    AdapterType type;
};

/// What the link layer is.
constexpr std::array<HardwareRow, 10> HardwareTypes{
    {{ARPHRD_ETHER, AdapterType::Ethernet},
     {ARPHRD_IEEE80211, AdapterType::Wireless},
     {ARPHRD_LOOPBACK, AdapterType::Loopback},
     {ARPHRD_PPP, AdapterType::Ppp},
     {ARPHRD_NONE, AdapterType::Tunnel}, // tun devices and the like, which have no link layer
     {ARPHRD_TUNNEL, AdapterType::Tunnel},
     {ARPHRD_TUNNEL6, AdapterType::Tunnel},
     {ARPHRD_SIT, AdapterType::Tunnel},
     {ARPHRD_IPGRE, AdapterType::Tunnel},
     {ARPHRD_IP6GRE, AdapterType::Tunnel}}};

struct KindRow
{
    std::string_view kind;
    AdapterType type;
};

/// Software devices that look like Ethernet and are something else.
constexpr std::array<KindRow, 10> EthernetLikeKinds{
    {{"tun", AdapterType::Tunnel}, // taps: a tun has no link layer
     {"vxlan", AdapterType::Tunnel},
     {"geneve", AdapterType::Tunnel},
     {"gretap", AdapterType::Tunnel},
     {"ip6gretap", AdapterType::Tunnel},
     {"erspan", AdapterType::Tunnel},
     {"ip6erspan", AdapterType::Tunnel},
     {"wwan", AdapterType::Other}, // modems for mobile networks
     {"ifb", AdapterType::Other},  // queues for shaping traffic
     {"vrf", AdapterType::Other}}};

/// Devices that hold others without taking their addresses over.
constexpr std::string_view RoutingDomain = "vrf";

struct DeviceRow
{
    std::string_view device;
    AdapterType type;
};

constexpr std::array<DeviceRow, 3> DeviceTypes{
    {{"wlan", AdapterType::Wireless}, {"wwan", AdapterType::Other}, {"l2tpeth", AdapterType::Tunnel}}};

AdapterType ReadType(unsigned short hardware, std::string_view kind)
{
    const auto* const row = std::find_if(
        HardwareTypes.begin(), HardwareTypes.end(),
        [hardware](const HardwareRow& candidate) { return candidate.hardware == hardware; });
    if (row == HardwareTypes.end())
    {
        return AdapterType::Other;
    }
    if (row->type != AdapterType::Ethernet)
    {
        return row->type;
    }
    const auto* const other = std::find_if(
        EthernetLikeKinds.begin(), EthernetLikeKinds.end(),
        [kind](const KindRow& candidate) { return candidate.kind == kind; });
    return other == EthernetLikeKinds.end() ? AdapterType::Ethernet : other->type;
}

OperationalStatus ReadStatus(std::uint8_t state, unsigned flags)
{
    // Numbers of RFC 2863, in the kernel's order.
    constexpr std::array<OperationalStatus, 7> states{OperationalStatus::Unknown, OperationalStatus::NotPresent,
                                                      OperationalStatus::Down,    OperationalStatus::LowerLayerDown,
                                                      OperationalStatus::Testing, OperationalStatus::Dormant,
                                                      OperationalStatus::Up};
    const auto status = state < states.size() ? states[state] : OperationalStatus::Unknown;
    if (status != OperationalStatus::Unknown)
    {
        return status;
    }
    if ((flags & IFF_UP) == 0)
    {
        return OperationalStatus::Down;
    }
    return (flags & IFF_RUNNING) != 0 ? OperationalStatus::Up : OperationalStatus::Unknown;
}

/// Loopback has an address of zeros and tunnels without a link layer have one of IP, which are no hardware's.
bool HasHardwareAddress(unsigned short hardware)
{
    const auto type = ReadType(hardware, {});
    return type != AdapterType::Loopback && type != AdapterType::Tunnel;
}

std::optional<IpAddress> ReadAddress(int family, std::span<const char> bytes)
{
    const std::size_t wanted = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    std::array<char, INET6_ADDRSTRLEN> text{};
    if ((family != AF_INET && family != AF_INET6) || bytes.size() < wanted ||
        ::inet_ntop(family, bytes.data(), text.data(), text.size()) == nullptr)
    {
        return std::nullopt;
    }
    return IpAddress{family == AF_INET ? AddressFamily::IpV4 : AddressFamily::IpV6, text.data()};
}

std::optional<IpAddress> FindAddress(const NetlinkAttributes& attributes, std::uint16_t type, int family)
{
    const auto bytes = attributes.Find(type);
    return bytes ? ReadAddress(family, *bytes) : std::nullopt;
}

/// The next hop of a route or of one of its parallel parts, in whichever family it is written.
std::optional<IpAddress> ReadGateway(const NetlinkAttributes& attributes, int family)
{
    if (auto gateway = FindAddress(attributes, RTA_GATEWAY, family))
    {
        return gateway;
    }
    const auto viaFamily = attributes.Read<decltype(rtvia::rtvia_family)>(RTA_VIA);
    return viaFamily ? ReadAddress(*viaFamily, attributes.Find(RTA_VIA)->subspan(sizeof(*viaFamily))) : std::nullopt;
}

void ReadParallelRoutes(
    std::span<const char> parts, int family, std::uint32_t metric, std::vector<DefaultRoute>& routes)
{
    while (parts.size() >= sizeof(rtnexthop))
    {
        rtnexthop hop{};
        std::memcpy(&hop, parts.data(), sizeof(hop));
        if (hop.rtnh_len < sizeof(rtnexthop) || hop.rtnh_len > parts.size())
        {
            return;
        }
        const NetlinkAttributes attributes{parts.first(hop.rtnh_len).subspan(sizeof(rtnexthop))};
        if (auto gateway = ReadGateway(attributes, family))
        {
            routes.push_back({static_cast<std::uint32_t>(hop.rtnh_ifindex), metric, *std::move(gateway)});
        }
        parts = parts.subspan(std::min<std::size_t>(RTNH_ALIGN(hop.rtnh_len), parts.size()));
    }
}

template <typename Header>
NetlinkRequest MakeDump(std::uint16_t type)
{
    // A header of zeros: any family, any adapter.
    return {type, NLM_F_DUMP, Header{}};
}

template <typename Rows>
void ReadTable(
    const NetlinkOpener& open, const NetlinkRequest& request, void (*readRow)(const NetlinkMessage&, Rows&), Rows& rows)
{
    if (const int error = ReadNetlinkTable(open, request, readRow, rows); error != 0)
    {
        throw Exception::Win32Exception("GetAdaptersAddresses() failed", static_cast<std::uint32_t>(error));
    }
}

} // namespace

void ReadLinkRow(const NetlinkMessage& message, std::vector<Link>& links)
{
    const auto header = message.ReadHeader<ifinfomsg>();
    if (message.GetType() != RTM_NEWLINK || !header || header->ifi_index <= 0)
    {
        return;
    }
    const NetlinkAttributes attributes{message.GetAttributes(sizeof(ifinfomsg))};
    const auto kinds = attributes.Nested(IFLA_LINKINFO);
    const auto kind = kinds.Text(IFLA_INFO_KIND);
    const auto ownerKind = kinds.Text(IFLA_INFO_SLAVE_KIND);

    Link link;
    link.isSoftware = !kind.empty();
    auto& adapter = link.adapter;
    adapter.index = static_cast<std::uint32_t>(header->ifi_index);
    adapter.name = attributes.Text(IFLA_IFNAME);
    adapter.friendlyName = Util::ConvertStringType(adapter.name);
    adapter.description = Util::ConvertStringType(attributes.Text(IFLA_IFALIAS));
    adapter.type = ReadType(header->ifi_type, kind);
    adapter.status = ReadStatus(attributes.Read<std::uint8_t>(IFLA_OPERSTATE).value_or(0), header->ifi_flags);
    adapter.isPort = attributes.Find(IFLA_MASTER).has_value() && ownerKind != RoutingDomain;
    adapter.mtu = attributes.Read<std::uint32_t>(IFLA_MTU).value_or(0);
    if (const auto mac = attributes.Find(IFLA_ADDRESS); mac && HasHardwareAddress(header->ifi_type))
    {
        adapter.mac.assign(mac->begin(), mac->end());
    }
    links.push_back(std::move(link));
}

void ReadAddressRow(const NetlinkMessage& message, AddressTable& addresses)
{
    const auto header = message.ReadHeader<ifaddrmsg>();
    if (message.GetType() != RTM_NEWADDR || !header)
    {
        return;
    }
    const NetlinkAttributes attributes{message.GetAttributes(sizeof(ifaddrmsg))};
    // On a link with two ends IFA_ADDRESS is the other one, and the machine's own is IFA_LOCAL.
    auto address = FindAddress(attributes, IFA_LOCAL, header->ifa_family);
    if (!address)
    {
        address = FindAddress(attributes, IFA_ADDRESS, header->ifa_family);
    }
    if (address)
    {
        addresses[header->ifa_index].push_back({*std::move(address), header->ifa_prefixlen});
    }
}

void ReadRouteRow(const NetlinkMessage& message, std::vector<DefaultRoute>& routes)
{
    const auto header = message.ReadHeader<rtmsg>();
    if (message.GetType() != RTM_NEWROUTE || !header || header->rtm_dst_len != 0 || header->rtm_type != RTN_UNICAST)
    {
        return;
    }
    const NetlinkAttributes attributes{message.GetAttributes(sizeof(rtmsg))};
    if (attributes.Read<std::uint32_t>(RTA_TABLE).value_or(header->rtm_table) != RT_TABLE_MAIN)
    {
        return;
    }
    const auto metric = attributes.Read<std::uint32_t>(RTA_PRIORITY).value_or(0);
    if (const auto parts = attributes.Find(RTA_MULTIPATH))
    {
        ReadParallelRoutes(*parts, header->rtm_family, metric, routes);
        return;
    }
    const auto adapterIndex = attributes.Read<std::uint32_t>(RTA_OIF);
    auto gateway = ReadGateway(attributes, header->rtm_family);
    if (adapterIndex && gateway)
    {
        routes.push_back({*adapterIndex, metric, *std::move(gateway)});
    }
}

AdapterTables ReadAdapterTables(const NetlinkOpener& open)
{
    AdapterTables tables;
    auto ofLinks = MakeDump<ifinfomsg>(RTM_GETLINK);
    ofLinks.PutNumber(IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
    ReadTable(open, ofLinks, &ReadLinkRow, tables.links);
    ReadTable(open, MakeDump<ifaddrmsg>(RTM_GETADDR), &ReadAddressRow, tables.addresses);
    ReadTable(open, MakeDump<rtmsg>(RTM_GETROUTE), &ReadRouteRow, tables.routes);
    return tables;
}

std::vector<Link> JoinTables(AdapterTables tables)
{
    std::stable_sort(
        tables.routes.begin(), tables.routes.end(),
        [](const DefaultRoute& first, const DefaultRoute& second) { return first.metric < second.metric; });
    std::map<std::uint32_t, std::vector<IpAddress>> gateways;
    for (auto& route : tables.routes)
    {
        gateways[route.adapterIndex].push_back(std::move(route.gateway));
    }
    for (auto& [adapter, isSoftware] : tables.links)
    {
        if (auto found = tables.addresses.find(adapter.index); found != tables.addresses.end())
        {
            adapter.unicastAddresses = std::move(found->second);
        }
        if (auto found = gateways.find(adapter.index); found != gateways.end())
        {
            adapter.gateways = std::move(found->second);
        }
    }
    return std::move(tables.links);
}

void AssignDns(
    std::vector<Adapter>& adapters, const std::optional<LinkDnsServers>& links, const ResolverConfiguration& file)
{
    constexpr std::uint32_t allLinks = 0;
    const auto suffix = Util::ConvertStringType(file.suffix);
    for (auto& adapter : adapters)
    {
        if (adapter.type == AdapterType::Loopback)
        {
            continue;
        }
        adapter.dnsSuffix = suffix;
        if (!links)
        {
            adapter.dnsServers = file.servers;
            continue;
        }
        const auto own = links->find(adapter.index);
        const auto found = own == links->end() ? links->find(allLinks) : own;
        if (found != links->end())
        {
            adapter.dnsServers = found->second;
        }
    }
}

std::wstring DescribeAdapter(std::wstring_view alias, const DeviceNames& device, std::wstring_view name)
{
    if (!alias.empty())
    {
        return std::wstring{alias};
    }
    if (device.model.empty())
    {
        return std::wstring{name};
    }
    return Util::ConvertStringType(device.vendor.empty() ? device.model : device.vendor + " " + device.model);
}

std::optional<AdapterType> ReadDeviceType(std::string_view text)
{
    constexpr std::string_view key = "DEVTYPE=";
    while (!text.empty())
    {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.starts_with(key))
        {
            continue;
        }
        const auto* const row = std::find_if(
            DeviceTypes.begin(), DeviceTypes.end(),
            [device = line.substr(key.size())](const DeviceRow& candidate) { return candidate.device == device; });
        return row == DeviceTypes.end() ? std::nullopt : std::optional{row->type};
    }
    return std::nullopt;
}

} // namespace Shared::System
