#pragma once

#include "shared.system-adapters.hpp"

#include "shared.platform-windows.windows.hpp"

#include <iphlpapi.h>

namespace Shared::System
{

using AdaptersFunction = decltype(&::GetAdaptersAddresses);

/// GetAdapters() by a function that stands in for the system's.
std::vector<Adapter> GetAdapters(AdaptersFunction getAdapters);

} // namespace Shared::System
