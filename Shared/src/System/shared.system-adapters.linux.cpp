#include "shared.system-adapters.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include <libmnl/libmnl.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.system-resolverfile.linux.hpp"
#include "shared.util-functions.hpp"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace Shared::System
{

namespace
{

/// Dumps are repeated when the tables changed under them, but not for ever.
constexpr int MostTries = 5;

[[noreturn]] void Fail(std::uint32_t code)
{
    throw Exception::Win32Exception("GetAdaptersAddresses() failed", code);
}

template <typename T>
std::optional<T> ReadNumberFile(const std::string& path)
{
    const auto text = ReadProcFile(path);
    T value{};
    if (!text || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc{})
    {
        return std::nullopt;
    }
    return value;
}

bool Exists(const std::string& path)
{
    struct stat status
    {
    };

    return ::stat(path.c_str(), &status) == 0;
}

std::optional<IpAddress> ReadAddress(int family, const void* bytes, std::size_t size)
{
    const std::size_t wanted = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    std::array<char, INET6_ADDRSTRLEN> text{};
    if ((family != AF_INET && family != AF_INET6) || size < wanted ||
        ::inet_ntop(family, bytes, text.data(), text.size()) == nullptr)
    {
        return std::nullopt;
    }
    return IpAddress{family == AF_INET ? AddressFamily::IpV4 : AddressFamily::IpV6, text.data()};
}

/// The attributes of one netlink message or of one nested attribute, by number. Unknown ones are passed over.
class Attributes
{
public:
    /// For the library's walks; `attributes` is the object to fill.
    static int Collect(const nlattr* attribute, void* attributes)
    {
        const auto type = mnl_attr_get_type(attribute);
        if (type < Count)
        {
            static_cast<Attributes*>(attributes)->m_attributes[type] = attribute;
        }
        return MNL_CB_OK;
    }

    const nlattr* Find(std::size_t type) const
    {
        return m_attributes[type];
    }

    std::string_view Text(std::size_t type) const
    {
        const auto* const attribute = Find(type);
        if (attribute == nullptr)
        {
            return {};
        }
        const std::string_view text{
            static_cast<const char*>(mnl_attr_get_payload(attribute)), mnl_attr_get_payload_len(attribute)};
        return text.substr(0, text.find('\0'));
    }

    std::optional<std::uint32_t> Number(std::size_t type) const
    {
        const auto* const attribute = Find(type);
        if (attribute == nullptr || mnl_attr_get_payload_len(attribute) < sizeof(std::uint32_t))
        {
            return std::nullopt;
        }
        return mnl_attr_get_u32(attribute);
    }

    std::optional<IpAddress> Address(std::size_t type, int family) const
    {
        const auto* const attribute = Find(type);
        return attribute == nullptr
            ? std::nullopt
            : ReadAddress(family, mnl_attr_get_payload(attribute), mnl_attr_get_payload_len(attribute));
    }

private:
    /// Room for those of every kind of message that is read here.
    static constexpr std::size_t Count = std::max({IFLA_MAX, IFA_MAX, RTA_MAX}) + 1;
    std::array<const nlattr*, Count> m_attributes{};
};

Attributes ReadAttributes(const nlmsghdr* message, std::size_t headerSize)
{
    Attributes attributes;
    mnl_attr_parse(message, static_cast<unsigned>(headerSize), &Attributes::Collect, &attributes);
    return attributes;
}

struct DefaultRoute
{
    std::uint32_t adapterIndex;
    std::uint32_t metric;
    IpAddress gateway;
};

/// What the three dumps gather.
struct Tables
{
    std::vector<Adapter> adapters;
    std::map<std::uint32_t, std::vector<UnicastAddress>> addresses;
    std::vector<DefaultRoute> routes;
};

AdapterType ReadType(unsigned short hardware, const std::string& name)
{
    switch (hardware)
    {
    case ARPHRD_LOOPBACK:
        return AdapterType::Loopback;
    case ARPHRD_PPP:
        return AdapterType::Ppp;
    case ARPHRD_NONE: // tun devices, which have no link layer
    case ARPHRD_TUNNEL:
    case ARPHRD_TUNNEL6:
    case ARPHRD_SIT:
    case ARPHRD_IPGRE:
    case ARPHRD_IP6GRE:
        return AdapterType::Tunnel;
    case ARPHRD_IEEE80211:
        return AdapterType::Wireless;
    case ARPHRD_ETHER:
        return Exists("/sys/class/net/" + name + "/phy80211") || Exists("/sys/class/net/" + name + "/wireless")
            ? AdapterType::Wireless
            : AdapterType::Ethernet;
    default:
        return AdapterType::Other;
    }
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

int OnLink(const nlmsghdr* message, void* context)
{
    if (message->nlmsg_type != RTM_NEWLINK || mnl_nlmsg_get_payload_len(message) < sizeof(ifinfomsg))
    {
        return MNL_CB_OK;
    }
    const auto* const header = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(message));
    const auto attributes = ReadAttributes(message, sizeof(ifinfomsg));

    Adapter adapter;
    adapter.index = static_cast<std::uint32_t>(header->ifi_index);
    adapter.name = attributes.Text(IFLA_IFNAME);
    adapter.friendlyName = Util::ConvertStringType(adapter.name);
    const auto alias = attributes.Text(IFLA_IFALIAS);
    adapter.description = alias.empty() ? adapter.friendlyName : Util::ConvertStringType(alias);
    adapter.type = ReadType(header->ifi_type, adapter.name);
    const auto* const state = attributes.Find(IFLA_OPERSTATE);
    adapter.status = ReadStatus(state == nullptr ? 0 : mnl_attr_get_u8(state), header->ifi_flags);
    adapter.mtu = attributes.Number(IFLA_MTU).value_or(0);

    // Loopback and tunnels have addresses of zeros or of IP, which are no hardware's.
    const auto* const mac = attributes.Find(IFLA_ADDRESS);
    if (mac != nullptr && adapter.type != AdapterType::Loopback && adapter.type != AdapterType::Tunnel)
    {
        const auto* const bytes = static_cast<const std::uint8_t*>(mnl_attr_get_payload(mac));
        adapter.mac.assign(bytes, bytes + mnl_attr_get_payload_len(mac));
    }
    static_cast<Tables*>(context)->adapters.push_back(std::move(adapter));
    return MNL_CB_OK;
}

int OnAddress(const nlmsghdr* message, void* context)
{
    if (message->nlmsg_type != RTM_NEWADDR || mnl_nlmsg_get_payload_len(message) < sizeof(ifaddrmsg))
    {
        return MNL_CB_OK;
    }
    const auto* const header = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(message));
    const auto attributes = ReadAttributes(message, sizeof(ifaddrmsg));
    // On a link with two ends IFA_ADDRESS is the other one, and the machine's own is IFA_LOCAL.
    auto address = attributes.Address(IFA_LOCAL, header->ifa_family);
    if (!address)
    {
        address = attributes.Address(IFA_ADDRESS, header->ifa_family);
    }
    if (address)
    {
        static_cast<Tables*>(context)->addresses[header->ifa_index].push_back(
            {*std::move(address), header->ifa_prefixlen});
    }
    return MNL_CB_OK;
}

/// The next hop of a route or of one of its parallel parts, in whichever family it is written.
std::optional<IpAddress> ReadGateway(const Attributes& attributes, int family)
{
    if (auto gateway = attributes.Address(RTA_GATEWAY, family))
    {
        return gateway;
    }
    const auto* const via = attributes.Find(RTA_VIA);
    if (via == nullptr || mnl_attr_get_payload_len(via) < sizeof(rtvia))
    {
        return std::nullopt;
    }
    const auto* const hop = static_cast<const rtvia*>(mnl_attr_get_payload(via));
    return ReadAddress(hop->rtvia_family, hop->rtvia_addr, mnl_attr_get_payload_len(via) - sizeof(rtvia));
}

void ReadParallelRoutes(const nlattr* parts, int family, std::uint32_t metric, Tables& tables)
{
    const auto* position = static_cast<const char*>(mnl_attr_get_payload(parts));
    std::size_t left = mnl_attr_get_payload_len(parts);
    while (left >= sizeof(rtnexthop))
    {
        const auto* const hop = reinterpret_cast<const rtnexthop*>(position);
        if (hop->rtnh_len < sizeof(rtnexthop) || hop->rtnh_len > left)
        {
            return;
        }
        Attributes attributes;
        mnl_attr_parse_payload(
            position + sizeof(rtnexthop), hop->rtnh_len - sizeof(rtnexthop), &Attributes::Collect, &attributes);
        if (auto gateway = ReadGateway(attributes, family))
        {
            tables.routes.push_back({static_cast<std::uint32_t>(hop->rtnh_ifindex), metric, *std::move(gateway)});
        }
        const std::size_t step = std::min<std::size_t>(RTNH_ALIGN(hop->rtnh_len), left);
        position += step;
        left -= step;
    }
}

int OnRoute(const nlmsghdr* message, void* context)
{
    if (message->nlmsg_type != RTM_NEWROUTE || mnl_nlmsg_get_payload_len(message) < sizeof(rtmsg))
    {
        return MNL_CB_OK;
    }
    const auto* const header = static_cast<const rtmsg*>(mnl_nlmsg_get_payload(message));
    const auto attributes = ReadAttributes(message, sizeof(rtmsg));
    const auto table = attributes.Number(RTA_TABLE).value_or(header->rtm_table);
    if (header->rtm_dst_len != 0 || header->rtm_type != RTN_UNICAST || table != RT_TABLE_MAIN)
    {
        return MNL_CB_OK;
    }
    auto& tables = *static_cast<Tables*>(context);
    const auto metric = attributes.Number(RTA_PRIORITY).value_or(0);
    if (const auto* const parts = attributes.Find(RTA_MULTIPATH))
    {
        ReadParallelRoutes(parts, header->rtm_family, metric, tables);
        return MNL_CB_OK;
    }
    const auto adapterIndex = attributes.Number(RTA_OIF);
    auto gateway = ReadGateway(attributes, header->rtm_family);
    if (adapterIndex && gateway)
    {
        tables.routes.push_back({*adapterIndex, metric, *std::move(gateway)});
    }
    return MNL_CB_OK;
}

using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;

Socket OpenSocket()
{
    Socket socket{mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC), &mnl_socket_close};
    if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0)
    {
        Fail(Platform::LastError());
    }
    // The kernel answers at once or not at all.
    const timeval limit{5, 0};
    if (::setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0)
    {
        Fail(Platform::LastError());
    }
    return socket;
}

/// Asks for one whole table and hands each row to `onRow`. False when the table changed meanwhile.
bool Dump(mnl_socket* socket, std::uint16_t request, std::size_t headerSize, mnl_cb_t onRow, Tables& tables)
{
    constexpr unsigned sequence = 1;
    constexpr std::size_t largestDatagram = 32768; // the kernel fills no more than this of a reader's buffer
    std::vector<char> buffer(largestDatagram);
    auto* const message = mnl_nlmsg_put_header(buffer.data());
    message->nlmsg_type = request;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message->nlmsg_seq = sequence;
    // A header of zeros: any family, any adapter.
    mnl_nlmsg_put_extra_header(message, headerSize);
    if (mnl_socket_sendto(socket, message, message->nlmsg_len) < 0)
    {
        Fail(Platform::LastError());
    }
    while (true)
    {
        const auto size = mnl_socket_recvfrom(socket, buffer.data(), buffer.size());
        if (size < 0)
        {
            Fail(Platform::LastError());
        }
        const int result = mnl_cb_run(
            buffer.data(), static_cast<std::size_t>(size), sequence, mnl_socket_get_portid(socket), onRow, &tables);
        if (result < 0)
        {
            if (Platform::LastError() == EINTR)
            {
                return false;
            }
            Fail(Platform::LastError());
        }
        if (result <= MNL_CB_STOP)
        {
            return true;
        }
    }
}

/// A new socket for each try: what is left of a dump that was broken off goes with the old one.
bool TryReadTables(Tables& tables)
{
    const auto socket = OpenSocket();
    return Dump(socket.get(), RTM_GETLINK, sizeof(ifinfomsg), &OnLink, tables) &&
        Dump(socket.get(), RTM_GETADDR, sizeof(ifaddrmsg), &OnAddress, tables) &&
        Dump(socket.get(), RTM_GETROUTE, sizeof(rtmsg), &OnRoute, tables);
}

Tables ReadTables()
{
    for (int i = 0; i < MostTries; ++i)
    {
        Tables tables;
        if (TryReadTables(tables))
        {
            return tables;
        }
    }
    Fail(EAGAIN);
}

/// Drivers tell megabits, or a negative number, or nothing.
std::uint64_t ReadSpeed(const std::string& name)
{
    constexpr std::uint64_t bitsPerMegabit = 1'000'000;
    const auto speed = ReadNumberFile<std::int64_t>("/sys/class/net/" + name + "/speed").value_or(0);
    return speed > 0 && speed < 0xFFFFFFFF ? static_cast<std::uint64_t>(speed) * bitsPerMegabit : 0;
}

} // namespace

std::vector<Adapter> GetAdapters()
{
    auto tables = ReadTables();
    std::stable_sort(
        tables.routes.begin(), tables.routes.end(),
        [](const DefaultRoute& first, const DefaultRoute& second) { return first.metric < second.metric; });
    const auto resolver = ReadResolverConfiguration();
    const auto suffix = Util::ConvertStringType(resolver.suffix);

    for (auto& adapter : tables.adapters)
    {
        if (const auto found = tables.addresses.find(adapter.index); found != tables.addresses.end())
        {
            adapter.unicastAddresses = std::move(found->second);
        }
        for (const auto& route : tables.routes)
        {
            if (route.adapterIndex == adapter.index)
            {
                adapter.gateways.push_back(route.gateway);
            }
        }
        if (adapter.type != AdapterType::Loopback)
        {
            adapter.dnsServers = resolver.servers;
            adapter.dnsSuffix = suffix;
        }
        adapter.transmitSpeed = ReadSpeed(adapter.name);
        adapter.receiveSpeed = adapter.transmitSpeed;
    }
    return std::move(tables.adapters);
}

} // namespace Shared::System
