#pragma once

#include "agentcore.system-systemfunctions.hpp"

#include <string>

namespace AgentCore::System
{

/// GetMemoryStatus() of the machine whose /proc lies in the folder `root`, without a separator at its end. Throws
/// Win32Exception "GlobalMemoryStatusEx() failed" with the errno of the reading, ENODATA for a text that makes no sense.
MemoryStatus ReadMemoryStatus(const std::string& root);

} // namespace AgentCore::System
