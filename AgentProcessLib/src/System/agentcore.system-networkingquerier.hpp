#pragma once

#include <functional>
#include <string>
#include <vector>

#include "network.pb.h"
#include "shared.system-adapters.hpp"

namespace AgentCore::System
{

/// One network interface that is up.
struct NetworkInterfaceRecord
{
    /// What goes into messages to the server. `id` is the adapter's GUID with braces on Windows and the interface's name
    /// on Linux, the same text as the `interface_id` of its wireless link. `address_source`, `service_provider` and `type`
    /// are not set.
    NetworkInterface message;
    /// Addresses of the interface's DNS servers, both families, in the order in which they are asked.
    std::vector<std::string> dnsServers;
};

/// The records of those adapters that are up and either Ethernet or wireless, in the given order. Ports of bridges and
/// bonds are left out, as what they belong to has the addresses. Of several addresses of a family the last one counts, of
/// several gateways the first. Texts that are not UTF-8 lose what is wrong in them. Pure.
std::vector<NetworkInterfaceRecord> SelectNetworkInterfaces(const std::vector<Shared::System::Adapter>& adapters);

/// Tells which network interfaces the machine uses now. Belongs to the thread that made it.
class NetworkingQuerier
{
public:
    using AdapterSource = std::function<std::vector<Shared::System::Adapter>()>;

    /// Asks the system.
    NetworkingQuerier();
    /// Asks `source`, which is not empty.
    explicit NetworkingQuerier(AdapterSource source);
    NetworkingQuerier(const NetworkingQuerier&) = delete;
    NetworkingQuerier& operator=(const NetworkingQuerier&) = delete;
    virtual ~NetworkingQuerier() = default;

    /// The interfaces that are up, asked anew on each call. Throws Win32Exception "GetAdaptersAddresses() failed".
    virtual std::vector<NetworkInterfaceRecord> GetNetworkInterfaces();

private:
    AdapterSource m_source;
};

} // namespace AgentCore::System
