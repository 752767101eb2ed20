#include "agentcore.system-systemtimes.linux.hpp"

#include <cerrno>
#include <cstdint>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.system-procfile.linux.hpp"

#include <unistd.h>

namespace AgentCore::System
{

SystemTimes ReadSystemTimes(const std::string& root)
{
    const auto text = Shared::System::ReadProcFile(root + "/proc/stat");
    const auto code = text ? ENODATA : static_cast<int>(Shared::Platform::LastError());
    const auto times = ParseSystemTimes(text.value_or(""), static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK)));
    if (!times)
    {
        throw Shared::Exception::Win32Exception("GetSystemTimes() failed", static_cast<std::uint32_t>(code));
    }
    return *times;
}

SystemTimes GetSystemTimes()
{
    return ReadSystemTimes({});
}

} // namespace AgentCore::System
