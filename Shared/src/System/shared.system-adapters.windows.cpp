#include "shared.system-adapters.windows.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "shared.exception-exceptions.hpp"

namespace Shared::System
{

namespace
{

constexpr ULONG BufferStep = 15000;
constexpr int MostCalls = 3;

/// Room for the system's list, aligned as its records need it.
using Buffer = std::vector<std::max_align_t>;

/// False when the list outgrew the buffer each time.
bool FetchAdapters(AdaptersFunction getAdapters, Buffer& buffer)
{
    constexpr ULONG flags = GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_INCLUDE_GATEWAYS;
    ULONG size = BufferStep;
    for (int call = 0; call < MostCalls; ++call)
    {
        buffer.assign(size / sizeof(std::max_align_t) + 1, std::max_align_t{});
        // An overflow leaves in `size` what would have been needed; more may be needed by the next call.
        const ULONG result =
            getAdapters(AF_UNSPEC, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
        if (result == ERROR_SUCCESS)
        {
            return true;
        }
        if (result != ERROR_BUFFER_OVERFLOW)
        {
            throw Exception::Win32Exception("GetAdaptersAddresses() failed", result);
        }
        size += BufferStep;
    }
    return false;
}

std::optional<IpAddress> ReadAddress(const SOCKET_ADDRESS& address)
{
    if (address.lpSockaddr == nullptr)
    {
        return std::nullopt;
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    IpAddress result;
    const void* bytes = nullptr;
    if (address.lpSockaddr->sa_family == AF_INET)
    {
        result.family = AddressFamily::IpV4;
        bytes = &reinterpret_cast<const sockaddr_in*>(address.lpSockaddr)->sin_addr;
    }
    else if (address.lpSockaddr->sa_family == AF_INET6)
    {
        result.family = AddressFamily::IpV6;
        bytes = &reinterpret_cast<const sockaddr_in6*>(address.lpSockaddr)->sin6_addr;
    }
    if (bytes == nullptr || ::inet_ntop(address.lpSockaddr->sa_family, bytes, text.data(), text.size()) == nullptr)
    {
        return std::nullopt;
    }
    result.text = text.data();
    return result;
}

template <typename Node>
std::vector<IpAddress> ReadAddresses(const Node* node)
{
    std::vector<IpAddress> addresses;
    for (; node != nullptr; node = node->Next)
    {
        if (auto address = ReadAddress(node->Address))
        {
            addresses.push_back(*std::move(address));
        }
    }
    return addresses;
}

AdapterType ReadType(ULONG type)
{
    switch (type)
    {
    case IF_TYPE_ETHERNET_CSMACD:
    case IF_TYPE_PPP:
    case IF_TYPE_SOFTWARE_LOOPBACK:
    case IF_TYPE_IEEE80211:
    case IF_TYPE_TUNNEL:
        return static_cast<AdapterType>(type);
    default:
        return AdapterType::Other;
    }
}

OperationalStatus ReadStatus(IF_OPER_STATUS status)
{
    return status >= IfOperStatusUp && status <= IfOperStatusLowerLayerDown ? static_cast<OperationalStatus>(status)
                                                                            : OperationalStatus::Unknown;
}

std::wstring ReadText(const wchar_t* text)
{
    return text == nullptr ? std::wstring{} : std::wstring{text};
}

Adapter ReadAdapter(const IP_ADAPTER_ADDRESSES& source)
{
    Adapter adapter;
    adapter.index = source.IfIndex != 0 ? source.IfIndex : source.Ipv6IfIndex;
    adapter.name = source.AdapterName == nullptr ? "" : source.AdapterName;
    adapter.friendlyName = ReadText(source.FriendlyName);
    adapter.description = ReadText(source.Description);
    adapter.type = ReadType(source.IfType);
    adapter.status = ReadStatus(source.OperStatus);
    adapter.mac.assign(
        source.PhysicalAddress,
        source.PhysicalAddress + std::min<std::size_t>(source.PhysicalAddressLength, sizeof(source.PhysicalAddress)));
    for (const auto* node = source.FirstUnicastAddress; node != nullptr; node = node->Next)
    {
        if (auto address = ReadAddress(node->Address))
        {
            adapter.unicastAddresses.push_back({*std::move(address), node->OnLinkPrefixLength});
        }
    }
    adapter.gateways = ReadAddresses(source.FirstGatewayAddress);
    adapter.dnsServers = ReadAddresses(source.FirstDnsServerAddress);
    adapter.dnsSuffix = ReadText(source.DnsSuffix);
    adapter.mtu = source.Mtu;
    return adapter;
}

} // namespace

std::vector<Adapter> GetAdapters(AdaptersFunction getAdapters)
{
    Buffer buffer;
    std::vector<Adapter> adapters;
    if (!FetchAdapters(getAdapters, buffer))
    {
        return adapters;
    }
    for (const auto* source = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.data()); source != nullptr;
         source = source->Next)
    {
        adapters.push_back(ReadAdapter(*source));
    }
    return adapters;
}

std::vector<Adapter> GetAdapters()
{
    return GetAdapters(&::GetAdaptersAddresses);
}

} // namespace Shared::System
