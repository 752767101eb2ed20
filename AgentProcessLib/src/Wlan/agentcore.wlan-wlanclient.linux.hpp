#pragma once

#include "agentcore.wlan-wlanclient.hpp"
#include "shared.system-netlink.linux.hpp"

namespace AgentCore::Wlan
{

/// A client that asks the kernel's wireless subsystem through transports of `open`. A machine without that subsystem has no
/// interfaces, until a device is plugged in that brings it.
std::unique_ptr<WlanClient> OpenWlanClient(Shared::System::NetlinkOpener open);

} // namespace AgentCore::Wlan
