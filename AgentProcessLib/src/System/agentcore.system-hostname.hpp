#pragma once

#include <string>
#include <string_view>

/// How Linux calls the machine, and what it belongs to. Pure.
namespace AgentCore::System
{

struct HostNames
{
    /// Without the domain.
    std::string name;
    /// Empty when none is told.
    std::string domain;

    bool operator==(const HostNames&) const = default;
};

/// Of the kernel's texts for host name and (NIS) domain, and the text of /etc/hosts. The domain is, in this order: what
/// stands behind the first dot of the host name; the same of a name of which /etc/hosts says that it is this host's; the
/// kernel's domain. Nobody on the network is asked, who could keep us waiting.
HostNames FindHostNames(std::string_view hostName, std::string_view kernelDomain, std::string_view hostsFile);

} // namespace AgentCore::System
