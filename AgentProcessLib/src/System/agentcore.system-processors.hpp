#pragma once

#include "agentcore.system-dmitable.hpp"
#include "agentcore.system-inventorysource.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What Linux tells of processors, and how the processors of the inventory are made of it. Pure.
namespace AgentCore::System
{

/// One logical processor of /proc/cpuinfo.
struct CpuInfoEntry
{
    std::optional<std::uint32_t> number;
    /// Socket and core, which not all architectures tell here.
    std::optional<std::int32_t> physicalId;
    std::optional<std::int32_t> coreId;
    std::string name;
    /// The speed of the moment, 0 when it is not told.
    std::uint32_t megahertz = 0;

    bool operator==(const CpuInfoEntry&) const = default;
};

struct CpuInfo
{
    std::vector<CpuInfoEntry> entries;
    /// Whether a hypervisor shows itself to the processor.
    bool hasHypervisorFlag = false;
};

/// Reads the text of /proc/cpuinfo: blocks of "name : value", one for each logical processor. Blocks without the line
/// "processor" (some architectures have one for the board) are no entries; their name, when they have one, is that of
/// entries without.
CpuInfo ParseCpuInfo(std::string_view text);

/// Highest number of a logical processor that ParseCpuList() gives.
inline constexpr std::uint32_t HighestCpuNumber = 16383;

/// Reads a list such as "0-3,8,10-11", as the kernel writes it, into ascending numbers without doubles. What is no number
/// or no range is passed over, and so are numbers above HighestCpuNumber.
std::vector<std::uint32_t> ParseCpuList(std::string_view text);

/// What /sys/devices/system/cpu tells of one logical processor that is online.
struct LogicalCpu
{
    std::uint32_t number = 0;
    /// The socket; nothing when it is not told.
    std::optional<std::int32_t> package;
    /// The list of the logical processors that share its core, which names the core in all of the machine; empty when it
    /// is not told.
    std::string coreSiblings;
    /// Highest speed of its frequency scaling in kilohertz, 0 without one.
    std::uint64_t maxKilohertz = 0;
};

/// The inventory's processors, one for each socket, in the order of the sockets' numbers.
///
/// Sockets, cores and logical processors come from `cpus`, from `info` when that is empty, from `firmware` when both are. A
/// logical processor that names no socket belongs to the first one; one that names no core is a core of its own. The name
/// comes from `info`, else from `firmware`. The highest speed is that of the frequency scaling, else what the firmware
/// tells, else (with a gap that says so) the speed of the moment from `info`.
/// @param gaps gets what none of them tells, below "system.hardware.cpu".
std::vector<ProcessorRecord> MakeProcessors(
    const std::vector<LogicalCpu>& cpus,
    const CpuInfo& info,
    const std::vector<Dmi::Processor>& firmware,
    std::int32_t architecture,
    InventoryGaps& gaps);

/// The number of an architecture by the kernel's name for it ("x86_64"); 100 for one that has none.
std::int32_t FindArchitecture(std::string_view machine);

} // namespace AgentCore::System
