#pragma once

#include <cstdint>

namespace AgentCore::System
{

/// The machine's memory at one moment.
struct MemoryStatus
{
    /// Bytes that the operating system can use; somewhat less than what the modules hold.
    std::uint64_t totalPhysical = 0;
    /// How much of it is in use, 0 to 100.
    std::uint32_t memoryLoad = 0;
};

/// Asks the system. Throws Win32Exception "GlobalMemoryStatusEx() failed". Any thread.
MemoryStatus GetMemoryStatus();

/// The machine's memory in bytes. Throws as GetMemoryStatus(). Any thread.
std::uint64_t GetTotalPhysicalRam();

/// The same, or 0 with the failure in the log. `read` takes the system's place. Any thread.
std::uint64_t GetTotalPhysicalRamOrZero(MemoryStatus (*read)() = &GetMemoryStatus) noexcept;

} // namespace AgentCore::System
