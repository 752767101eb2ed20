#include "agentcore.system-systemfunctions.linux.hpp"

#include <cerrno>
#include <cstdint>

#include "agentcore.system-memoryinfo.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.system-procfile.linux.hpp"

namespace AgentCore::System
{

namespace
{

[[noreturn]] void Fail(std::uint32_t code)
{
    throw Shared::Exception::Win32Exception("GlobalMemoryStatusEx() failed", code);
}

} // namespace

MemoryStatus ReadMemoryStatus(const std::string& root)
{
    const auto text = Shared::System::ReadProcFile(root + "/proc/meminfo");
    if (!text)
    {
        Fail(Shared::Platform::LastError());
    }
    const auto status = ParseMemoryInfo(*text);
    if (!status)
    {
        Fail(ENODATA);
    }
    return *status;
}

MemoryStatus GetMemoryStatus()
{
    return ReadMemoryStatus({});
}

} // namespace AgentCore::System
