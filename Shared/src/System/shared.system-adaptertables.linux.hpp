#pragma once

#include "shared.system-adapters.hpp"
#include "shared.system-linkdns.linux.hpp"
#include "shared.system-netlink.linux.hpp"
#include "shared.system-resolverfile.linux.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Shared::System
{

/// A default route of the main table, or one of its parallel parts.
struct DefaultRoute
{
    std::uint32_t adapterIndex = 0;
    /// The lower, the rather it is taken.
    std::uint32_t metric = 0;
    IpAddress gateway;

    bool operator==(const DefaultRoute&) const = default;
};

/// A link of the kernel's table.
struct Link
{
    /// Without what the other tables and the device's records tell. The description is the administrator's alias; empty for
    /// none.
    Adapter adapter;
    /// Whether software made it, so that there is no hardware of which to tell.
    bool isSoftware = false;
};

using AddressTable = std::map<std::uint32_t, std::vector<UnicastAddress>>;

/// The kernel's tables of links, addresses and routes, as far as adapters are made of them.
struct AdapterTables
{
    std::vector<Link> links;
    /// By the adapter's index, in the kernel's order.
    AddressTable addresses;
    /// In the kernel's order.
    std::vector<DefaultRoute> routes;
};

// Each takes one message of the table's dump into the rows; messages of other kinds and damaged ones give no row. Pure.

/// Software devices are told apart by their kind: those that carry packets through other packets are tunnels, a tap as well
/// as a tun; bridges, bonds, VLANs and the ends of virtual cables are Ethernet, as what the machine's addresses may be on.
void ReadLinkRow(const NetlinkMessage& message, std::vector<Link>& links);
void ReadAddressRow(const NetlinkMessage& message, AddressTable& addresses);
void ReadRouteRow(const NetlinkMessage& message, std::vector<DefaultRoute>& routes);

/// Reads all three. Throws Win32Exception "GetAdaptersAddresses() failed".
AdapterTables ReadAdapterTables(const NetlinkOpener& open);

/// Puts addresses and gateways to their adapters, gateways of a low metric first. Pure.
std::vector<Link> JoinTables(AdapterTables tables);

/// Gives each adapter but loopback its DNS servers: those of its own link, else those that the resolver asks for all links;
/// without such a resolver, what the machine's file lists. The suffix is always the file's. Pure.
void AssignDns(
    std::vector<Adapter>& adapters, const std::optional<LinkDnsServers>& links, const ResolverConfiguration& file);

/// What the system's device records tell of an adapter. Empty texts are not known.
struct DeviceNames
{
    /// By the hardware database.
    std::string vendor;
    std::string model;
};

/// What people know an adapter by: the alias that the administrator gave, else vendor and model of the hardware, else its
/// name. Pure.
std::wstring DescribeAdapter(std::wstring_view alias, const DeviceNames& device, std::wstring_view name);

/// The kind of an Ethernet adapter by the text of its device's event file: what calls itself "wlan" is wireless, a modem
/// for mobile networks ("wwan") is none of the kinds, "l2tpeth" is a tunnel. Nothing for others. Pure.
std::optional<AdapterType> ReadDeviceType(std::string_view text);

} // namespace Shared::System
