#include "contract.residentsize.hpp"

#include "shared.platform-windows.windows.hpp"

#include <psapi.h>

namespace Contract
{

std::size_t ResidentBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    return ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters) != FALSE
        ? counters.WorkingSetSize
        : 0;
}

} // namespace Contract
