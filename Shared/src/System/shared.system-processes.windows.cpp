#include "shared.system-processes.hpp"

#include <cstddef>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include "shared.platform-windows.windows.hpp"

#include <psapi.h>

namespace Shared::System
{

namespace
{

/// Between 1601, where the system's file times begin, and 1970.
constexpr CpuTime SystemEpoch = std::chrono::seconds{11'644'473'600};

CpuTime ToCpuTime(const FILETIME& time)
{
    return CpuTime{static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime)};
}

} // namespace

std::vector<std::uint32_t> EnumerateProcessIds()
{
    // The call does not tell that there would have been more: an answer that leaves room is the whole one.
    constexpr std::size_t mostIds = 1U << 20U;
    for (std::size_t room = 1024; room <= mostIds; room *= 2)
    {
        std::vector<DWORD> ids(room);
        DWORD bytes = 0;
        if (::K32EnumProcesses(ids.data(), static_cast<DWORD>(ids.size() * sizeof(DWORD)), &bytes) == FALSE)
        {
            throw Exception::Win32Exception("EnumProcesses() failed", Platform::LastError());
        }
        const std::size_t count = bytes / sizeof(DWORD);
        if (count < room)
        {
            return {ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(count)};
        }
    }
    throw Exception::Win32Exception("EnumProcesses() failed", ERROR_INSUFFICIENT_BUFFER);
}

Raii::Win32Handle OpenProcess(std::uint32_t processId)
{
    const HANDLE process = ::OpenProcess(PROCESS_QUERY_INFORMATION | SYNCHRONIZE, FALSE, processId);
    if (process == nullptr)
    {
        throw Exception::Win32Exception("OpenProcess() failed", Platform::LastError());
    }
    return Raii::Win32Handle{process};
}

ProcessTime GetProcessTime(Raii::RawHandle processHandle)
{
    if (processHandle == nullptr)
    {
        throw Exception::InvalidArgumentException("processHandle cannot be null");
    }
    FILETIME created{};
    FILETIME ended{};
    FILETIME kernel{};
    FILETIME user{};
    if (::GetProcessTimes(processHandle, &created, &ended, &kernel, &user) == FALSE)
    {
        throw Exception::Win32Exception("GetProcessTimes() failed", Platform::LastError());
    }
    ProcessTime times;
    times.kernel = ToCpuTime(kernel);
    times.user = ToCpuTime(user);
    times.created = Time::UtcTime{ToCpuTime(created) - SystemEpoch};
    return times;
}

} // namespace Shared::System
