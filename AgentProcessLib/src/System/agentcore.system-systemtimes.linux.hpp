#pragma once

#include "agentcore.system-systemtimes.hpp"

#include <string>

namespace AgentCore::System
{

/// GetSystemTimes() of the machine whose /proc lies in the folder `root`, without a separator at its end. Throws
/// Win32Exception "GetSystemTimes() failed" with the errno of the reading, ENODATA for a text that makes no sense.
SystemTimes ReadSystemTimes(const std::string& root);

} // namespace AgentCore::System
