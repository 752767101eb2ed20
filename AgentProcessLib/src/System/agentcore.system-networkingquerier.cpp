#include "agentcore.system-networkingquerier.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "shared.util-functions.hpp"
#include "shared.util-utf8.hpp"

namespace AgentCore::System
{

namespace
{

using Shared::System::Adapter;
using Shared::System::AdapterType;
using Shared::System::AddressFamily;
using Shared::System::IpAddress;
using Shared::System::OperationalStatus;

struct TypeRow
{
    AdapterType adapterType;
    NetworkInterfaceType interfaceType;
};

/// The kinds of adapters that are told of.
constexpr std::array<TypeRow, 2> Types{
    {{AdapterType::Ethernet, NETWORK_INTERFACE_TYPE_ETHERNET}, {AdapterType::Wireless, NETWORK_INTERFACE_TYPE_WLAN}}};

NetworkInterfaceType ToInterfaceType(AdapterType type)
{
    const auto* const row = std::find_if(
        Types.begin(), Types.end(), [type](const TypeRow& candidate) { return candidate.adapterType == type; });
    return row == Types.end() ? NETWORK_INTERFACE_TYPE_UNSPECIFIED : row->interfaceType;
}

bool IsTold(const Adapter& adapter)
{
    return adapter.status == OperationalStatus::Up && !adapter.isPort &&
        ToInterfaceType(adapter.type) != NETWORK_INTERFACE_TYPE_UNSPECIFIED;
}

std::string FormatMac(const std::vector<std::uint8_t>& address)
{
    if (address.empty())
    {
        return {};
    }
    // Six bytes are told of any address: a shorter one is filled with zeros, as it stands in the system's record.
    std::array<std::uint8_t, 6> bytes{};
    std::copy_n(address.begin(), std::min(address.size(), bytes.size()), bytes.begin());
    return fmt::format("{:02X}", fmt::join(bytes, ":"));
}

void SetAddresses(NetworkInterface& message, const Adapter& adapter)
{
    for (const auto& [address, prefixLength] : adapter.unicastAddresses)
    {
        if (address.family == AddressFamily::IpV4)
        {
            message.set_ipv4(address.text);
        }
        else
        {
            message.set_ipv6(address.text);
        }
    }
}

std::string FirstOf(AddressFamily family, const std::vector<IpAddress>& addresses)
{
    const auto found = std::find_if(
        addresses.begin(), addresses.end(), [family](const IpAddress& address) { return address.family == family; });
    return found == addresses.end() ? std::string{} : found->text;
}

NetworkInterfaceRecord ToRecord(const Adapter& adapter)
{
    NetworkInterfaceRecord record;
    auto& message = record.message;
    message.set_id(Shared::Util::Utf8::DropInvalid(adapter.name));
    message.set_name(Shared::Util::ConvertStringType(adapter.description));
    message.set_mac(FormatMac(adapter.mac));
    SetAddresses(message, adapter);
    message.set_ipv4_default_gateway(FirstOf(AddressFamily::IpV4, adapter.gateways));
    message.set_ipv6_default_gateway(FirstOf(AddressFamily::IpV6, adapter.gateways));
    message.set_interface_type(ToInterfaceType(adapter.type));
    for (const auto& server : adapter.dnsServers)
    {
        record.dnsServers.push_back(server.text);
    }
    return record;
}

} // namespace

std::vector<NetworkInterfaceRecord> SelectNetworkInterfaces(const std::vector<Adapter>& adapters)
{
    std::vector<NetworkInterfaceRecord> records;
    for (const auto& adapter : adapters)
    {
        if (IsTold(adapter))
        {
            records.push_back(ToRecord(adapter));
        }
    }
    return records;
}

NetworkingQuerier::NetworkingQuerier() : NetworkingQuerier(&Shared::System::GetAdapters)
{
}

NetworkingQuerier::NetworkingQuerier(AdapterSource source) : m_source(std::move(source))
{
}

std::vector<NetworkInterfaceRecord> NetworkingQuerier::GetNetworkInterfaces()
{
    return SelectNetworkInterfaces(m_source());
}

} // namespace AgentCore::System
