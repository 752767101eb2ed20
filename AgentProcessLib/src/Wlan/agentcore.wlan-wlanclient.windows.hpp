#pragma once

#include "agentcore.wlan-wlanclient.hpp"

#include "shared.platform-windows.windows.hpp"

#include <wlanapi.h>

namespace AgentCore::Wlan
{

/// The functions of the Native WLAN API that are used. They are found when the process runs, as editions of Windows for
/// servers come without their library.
struct WlanApi
{
    decltype(&::WlanOpenHandle) openHandle = nullptr;
    decltype(&::WlanCloseHandle) closeHandle = nullptr;
    decltype(&::WlanEnumInterfaces) enumInterfaces = nullptr;
    decltype(&::WlanQueryInterface) queryInterface = nullptr;
    decltype(&::WlanFreeMemory) freeMemory = nullptr;
};

/// Opens a session through `api`, which has all its functions; null when that fails. What `library` owns lives as long as
/// the session.
std::unique_ptr<WlanClient> OpenWlanClient(const WlanApi& api, std::shared_ptr<void> library);

} // namespace AgentCore::Wlan
