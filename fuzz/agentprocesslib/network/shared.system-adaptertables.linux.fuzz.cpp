// Any bytes as a datagram of the kernel's tables of links, addresses and routes, and what network interfaces come of it.
//   The whole input is the datagram: messages that answer request number 1.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "agentcore.system-networkingquerier.hpp"
#include "fuzz.require.hpp"
#include "shared.system-adaptertables.linux.hpp"
#include "shared.util-utf8.hpp"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace Shared::System;

void RequireAddress(const IpAddress& address)
{
    std::array<unsigned char, sizeof(in6_addr)> bytes{};
    const int family = address.family == AddressFamily::IpV4 ? AF_INET : AF_INET6;
    Require(::inet_pton(family, address.text.c_str(), bytes.data()) == 1);
}

void RequireUtf8(const std::string& text)
{
    Require(Shared::Util::Utf8::DropInvalid(text) == text);
}

AdapterTables ReadTables(const std::vector<char>& datagram)
{
    AdapterTables tables;
    std::map<std::uint16_t, std::size_t> messages;
    ReadNetlinkDatagram(
        datagram, NetlinkRequest::Sequence, 0,
        [&](const NetlinkMessage& message)
        {
            ++messages[message.GetType()];
            ReadLinkRow(message, tables.links);
            ReadAddressRow(message, tables.addresses);
            ReadRouteRow(message, tables.routes);
        });
    std::size_t addresses = 0;
    for (const auto& [index, ofAdapter] : tables.addresses)
    {
        addresses += ofAdapter.size();
    }
    Require(tables.links.size() <= messages[RTM_NEWLINK]);
    Require(addresses <= messages[RTM_NEWADDR]);
    // A route may have parallel parts, each of which takes more than its own header.
    Require(tables.routes.size() <= datagram.size() / sizeof(rtnexthop));
    return tables;
}

void CheckAdapters(const std::vector<Adapter>& adapters)
{
    for (const auto& adapter : adapters)
    {
        Require(adapter.index > 0);
        for (const auto& unicast : adapter.unicastAddresses)
        {
            RequireAddress(unicast.address);
        }
        std::for_each(adapter.gateways.begin(), adapter.gateways.end(), &RequireAddress);
    }
}

void CheckInterfaces(const std::vector<Adapter>& adapters)
{
    const auto records = AgentCore::System::SelectNetworkInterfaces(adapters);
    Require(records.size() <= adapters.size());
    for (const auto& record : records)
    {
        RequireUtf8(record.message.id());
        RequireUtf8(record.message.name());
        Require(record.message.mac().empty() || record.message.mac().size() == 17);
        NetworkInterface again;
        Require(again.ParseFromString(record.message.SerializeAsString()));
        Require(again.SerializeAsString() == record.message.SerializeAsString());
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A copy of its own is aligned, and its end is known to the sanitizer.
    std::vector<Adapter> adapters;
    for (auto& link : JoinTables(ReadTables({data, data + size})))
    {
        adapters.push_back(std::move(link.adapter));
    }
    CheckAdapters(adapters);
    CheckInterfaces(adapters);
    return 0;
}
