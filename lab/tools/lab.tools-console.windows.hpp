#pragma once

#include "shared.platform-windows.windows.hpp"

namespace Lab::Tools
{

/// Signalled for good once the break signal was given; never so without a BreakSignal. Owned by the process.
HANDLE BreakEvent();

} // namespace Lab::Tools
