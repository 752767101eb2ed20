#include "shared.system-exitcode.hpp"

#include <cstdio>
#include <fstream>
#include <string>

#include "shared.system-runtimedirectory.linux.hpp"

#include <unistd.h>

namespace Shared::System
{

namespace
{

std::string ExitCodePath()
{
    return GetRuntimeDirectory() + "/exit-code";
}

} // namespace

void ReportExitCode(std::int32_t code) noexcept
{
    try
    {
        const std::string path = ExitCodePath();
        const std::string draft = path + "." + std::to_string(::getpid());
        {
            std::ofstream file(draft, std::ios::trunc);
            file << ::getpid() << ' ' << code << '\n';
        }
        if (std::rename(draft.c_str(), path.c_str()) != 0)
        {
            (void)std::remove(draft.c_str());
        }
    }
    catch (...)
    {
        // The process is ending; there is nobody left to tell.
    }
}

std::optional<std::int32_t> ReadReportedExitCode(std::uint32_t processId)
{
    std::ifstream file(ExitCodePath());
    std::uint32_t owner = 0;
    std::int32_t code = 0;
    if (!(file >> owner >> code) || owner != processId)
    {
        return std::nullopt;
    }
    return code;
}

void LeaveProcess(std::int32_t code) noexcept
{
    ::_exit(code);
}

} // namespace Shared::System
