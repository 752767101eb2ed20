#include "contract.pipeplatform.hpp"

#include "shared.platform-windows.windows.hpp"

#include <tlhelp32.h>

namespace Contract
{

namespace
{

std::size_t CountThreads()
{
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = ::Thread32First(snapshot, &entry); more != FALSE; more = ::Thread32Next(snapshot, &entry))
    {
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    }
    ::CloseHandle(snapshot);
    return count;
}

} // namespace

std::uint32_t AccessDeniedCode() noexcept
{
    return ERROR_ACCESS_DENIED;
}

std::uint32_t NoSuchPipeCode() noexcept
{
    return ERROR_FILE_NOT_FOUND;
}

Holdings CountHoldings()
{
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    return {handles, CountThreads()};
}

} // namespace Contract
