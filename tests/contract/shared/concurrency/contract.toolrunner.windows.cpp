#include "contract.toolrunner.hpp"

#include "shared.raii-win32handle.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Contract
{

bool IsRunning(std::uint32_t processId)
{
    const Shared::Raii::Win32Handle process(::OpenProcess(SYNCHRONIZE, FALSE, processId));
    return process.IsValid() && ::WaitForSingleObject(process.GetRawHandle(), 0) == WAIT_TIMEOUT;
}

void KillProcess(std::uint32_t processId)
{
    constexpr UINT ExitCode = 9;
    const Shared::Raii::Win32Handle process(::OpenProcess(PROCESS_TERMINATE, FALSE, processId));
    ::TerminateProcess(process.GetRawHandle(), ExitCode);
}

std::wstring ProgramFile(const std::wstring& name)
{
    return name + L".exe";
}

} // namespace Contract
