#pragma once

#include "shared.system-adapters.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace Shared::System
{

/// What the file of the system's resolver tells.
struct ResolverConfiguration
{
    /// In the order in which they are asked.
    std::vector<IpAddress> servers;
    /// The first domain that is put behind short names; empty for none.
    std::string suffix;
};

/// Reads the text of a resolver file: lines "nameserver <address>", "search <domain>..." and "domain <domain>", of which
/// the last counts. Everything else is passed over, addresses that are none among it. A zone behind an address is cut.
ResolverConfiguration ParseResolverFile(std::string_view text);

/// What /etc/resolv.conf tells; empty when there is no such file. Where it names nothing but the local stub of the system's
/// own resolver, the file in which that one lists the servers it asks. Any thread.
ResolverConfiguration ReadResolverConfiguration();

} // namespace Shared::System
