#pragma once

#include <cstddef>
#include <fstream>

#include <unistd.h>

namespace TestSupport
{

/// Memory that the process really has now, in bytes.
inline std::size_t ResidentBytes()
{
    std::ifstream statm("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    statm >> all >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace TestSupport
