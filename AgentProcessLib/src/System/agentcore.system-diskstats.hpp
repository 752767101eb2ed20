#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// What Linux tells of the work of block devices. Pure.
namespace AgentCore::System
{

/// One line of /proc/diskstats.
struct DiskStat
{
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    /// The kernel's name of the disk or partition; a part of the text that was read.
    std::string_view name;
    /// Requests that have been begun and not been ended.
    std::uint32_t inFlight = 0;

    bool operator==(const DiskStat&) const = default;
};

/// Reads the text of /proc/diskstats, which must outlive the result. Lines of another form are passed over.
std::vector<DiskStat> ParseDiskStats(std::string_view text);

} // namespace AgentCore::System
