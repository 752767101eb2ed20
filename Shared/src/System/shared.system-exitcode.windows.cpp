#include "shared.system-exitcode.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::System
{

void ReportExitCode(std::int32_t) noexcept
{
    // The status that the process ends with has room for it.
}

std::optional<std::int32_t> ReadReportedExitCode(std::uint32_t)
{
    return std::nullopt;
}

void LeaveProcess(std::int32_t code) noexcept
{
    ::ExitProcess(static_cast<UINT>(code));
}

} // namespace Shared::System
