#pragma once

#include "shared.raii-nativehandle.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.time-clock.hpp"

#include <chrono>
#include <cstdint>
#include <ratio>
#include <vector>

namespace Shared::System
{

/// The unit in which systems count processor time: 100 ns.
using CpuTime = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

/// Ids of all processes that the system lists, in no order; a process may have ended since. Throws Win32Exception
/// "EnumProcesses() failed". Any thread.
std::vector<std::uint32_t> EnumerateProcessIds();

/// A handle to a running process, for waiting on its end and for GetProcessTime(), not inheritable. It means that process
/// for as long as it is held, whoever gets the id later.
/// Throws Win32Exception "OpenProcess() failed", as for a process that is gone or one that this user may not see. Any
/// thread.
Raii::Win32Handle OpenProcess(std::uint32_t processId);

struct ProcessTime
{
    /// Time on processors so far, in the kernel and in the program. Linux counts it in scheduler ticks (10 ms).
    CpuTime kernel{};
    CpuTime user{};
    /// When the process was started. Linux derives it from the time of the machine's start, which it tells in whole
    /// seconds.
    Time::UtcTime created{};

    CpuTime Total() const noexcept
    {
        return kernel + user;
    }
};

/// Reads the times of a process by its handle. Throws the invalid-argument exception "processHandle cannot be null", and
/// Win32Exception "GetProcessTimes() failed". A process that has ended is still readable on Windows, and on Linux until
/// its parent has taken notice of the end. Any thread.
ProcessTime GetProcessTime(Raii::RawHandle processHandle);

} // namespace Shared::System
