#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Shared::System
{

/// Kinds of adapters, with the numbers of the standard interface types. Every other kind counts as Other.
enum class AdapterType : std::uint32_t
{
    Other = 1,
    Ethernet = 6,
    Ppp = 23,
    Loopback = 24,
    Wireless = 71,
    Tunnel = 131
};

/// States of adapters. A driver of Linux that does not tell its state counts as up when the kernel sends through it.
enum class OperationalStatus : std::uint32_t
{
    Up = 1,
    Down = 2,
    Testing = 3,
    Unknown = 4,
    Dormant = 5,
    NotPresent = 6,
    LowerLayerDown = 7
};

enum class AddressFamily
{
    IpV4,
    IpV6
};

/// An address in its usual text form, without zone and prefix.
struct IpAddress
{
    AddressFamily family = AddressFamily::IpV4;
    std::string text;

    bool operator==(const IpAddress&) const = default;
};

/// An address of the machine itself and how many of its first bits name the network.
struct UnicastAddress
{
    IpAddress address;
    std::uint32_t prefixLength = 0;
};

/// One network adapter.
struct Adapter
{
    /// The system's number of it, above 0, unique at a time.
    std::uint32_t index = 0;
    /// What names it among programs: the text of a GUID with braces on Windows, the interface's name on Linux.
    std::string name;
    /// What names it for people: the connection's name on Windows, the interface's name on Linux.
    std::wstring friendlyName;
    /// What it is: the driver's text on Windows; on Linux the alias that the administrator gave, else vendor and model of
    /// the hardware, else the name.
    std::wstring description;
    AdapterType type = AdapterType::Other;
    OperationalStatus status = OperationalStatus::Unknown;
    /// Whether it is a port of a bridge, a bond or the like, which has the addresses in its place. Windows does not list
    /// such adapters.
    bool isPort = false;
    /// The hardware address, empty where there is none.
    std::vector<std::uint8_t> mac;
    std::vector<UnicastAddress> unicastAddresses;
    /// Next hops of default routes, those of the system's choice first. Both families.
    std::vector<IpAddress> gateways;
    /// In the order in which they are asked. On Linux those of the adapter's own link where the system's resolver keeps a
    /// list for each; else the machine's one list, which every adapter but loopback has.
    std::vector<IpAddress> dnsServers;
    std::wstring dnsSuffix;
    /// Bytes.
    std::uint32_t mtu = 0;
};

/// All network adapters, in the system's order, those that are down and loopback among them. An answer that keeps
/// outgrowing its buffer, as it does only while the machine's network is being rebuilt, counts as an empty one on Windows.
/// Throws Win32Exception "GetAdaptersAddresses() failed". Any thread; Windows wants sockets initialised.
std::vector<Adapter> GetAdapters();

} // namespace Shared::System
