#include "agentcore.system-systemtimes.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include "shared.platform-windows.windows.hpp"

namespace AgentCore::System
{

namespace
{

std::uint64_t ToUnits(const FILETIME& time)
{
    return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

} // namespace

SystemTimes GetSystemTimes()
{
    FILETIME idle{};
    FILETIME kernel{};
    FILETIME user{};
    if (::GetSystemTimes(&idle, &kernel, &user) == FALSE)
    {
        throw Shared::Exception::Win32Exception("GetSystemTimes() failed", Shared::Platform::LastError());
    }
    return {ToUnits(idle), ToUnits(kernel), ToUnits(user)};
}

} // namespace AgentCore::System
