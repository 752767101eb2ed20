#include "agentcore.system-systemfunctions.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include "shared.platform-windows.windows.hpp"

namespace AgentCore::System
{

MemoryStatus GetMemoryStatus()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    if (::GlobalMemoryStatusEx(&status) == FALSE)
    {
        throw Shared::Exception::Win32Exception("GlobalMemoryStatusEx() failed", Shared::Platform::LastError());
    }
    return {status.ullTotalPhys, status.dwMemoryLoad};
}

} // namespace AgentCore::System
