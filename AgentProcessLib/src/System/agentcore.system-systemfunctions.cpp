#include "agentcore.system-systemfunctions.hpp"

#include <exception>

#include "shared.log-functions.hpp"

namespace AgentCore::System
{

std::uint64_t GetTotalPhysicalRam()
{
    return GetMemoryStatus().totalPhysical;
}

std::uint64_t GetTotalPhysicalRamOrZero(MemoryStatus (*read)()) noexcept
{
    try
    {
        return read().totalPhysical;
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("Exception during GetTotalPhysicalRam()", exception);
        return 0;
    }
}

} // namespace AgentCore::System
