#pragma once

#include "shared.system-adapters.hpp"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace Shared::System
{

/// DNS servers by the index of their adapter, those that are asked for all links under 0; each list in the order in which
/// it is asked.
using LinkDnsServers = std::map<std::uint32_t, std::vector<IpAddress>>;

/// Asks the system's own resolver, if one runs, which servers it uses, and takes no longer than `limit`. Nothing when there
/// is none, or it does not answer in time or not as expected. Never starts it. Any thread.
std::optional<LinkDnsServers> QueryLinkDnsServers(std::chrono::nanoseconds limit);

} // namespace Shared::System
