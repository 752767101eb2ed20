#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "samples.pb.h"

namespace AgentCore::System
{

/// What all processors have done since the machine's start, added up; 100-ns units.
struct SystemTimes
{
    std::uint64_t idle = 0;
    /// In the kernel, being idle included.
    std::uint64_t kernel = 0;
    std::uint64_t user = 0;

    bool operator==(const SystemTimes&) const = default;
};

/// Asks the system. Throws Win32Exception "GetSystemTimes() failed". Any thread.
SystemTimes GetSystemTimes();

/// Reads the text of /proc/stat. Waiting for disks is idle time, work for guests is user time, and interrupts and what a
/// hypervisor took away are time in the kernel. Nothing when the line of all processors is missing or senseless. Pure.
/// @param ticksPerSecond 1 at least.
std::optional<SystemTimes> ParseSystemTimes(std::string_view text, std::uint64_t ticksPerSecond);

/// Makes samples of the processors' load of what they have done between two readings.
class CpuSampler
{
public:
    /// The load since the last reading, in percent; 0 while there is none to compare with. Of two readings of the same
    /// instant it is not a number.
    CpuSnapshot Sample(const SystemTimes& times);

private:
    SystemTimes m_previous;
};

} // namespace AgentCore::System
