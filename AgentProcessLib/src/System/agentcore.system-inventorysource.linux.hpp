#pragma once

#include "agentcore.system-inventorysource.hpp"
#include "agentcore.system-volumes.linux.hpp"

#include <optional>
#include <string>

namespace AgentCore::System
{

/// The inventory of Linux.
///
/// | What | From, the first that tells |
/// |---|---|
/// | manufacturer, model, serial number | DMI tables; /sys/class/dmi/id; model and serial number also the device tree |
/// | hypervisor | processor flag in /proc/cpuinfo, /sys/hypervisor, device tree |
/// | host name, domain | /proc/sys/kernel, /etc/hosts |
/// | operating system | os-release, /proc/sys/kernel |
/// | processors | /sys/devices/system/cpu, /proc/cpuinfo, DMI tables |
/// | memory modules | DMI tables |
/// | logical disks | /proc/self/mountinfo, statvfs(), /sys/dev/block, /sys/class/block |
/// | power | /sys/class/power_supply |
///
/// DMI tables, and the serial number in /sys/class/dmi/id, are for root alone. All of it is read anew each time; no
/// operation waits for anybody but this machine's kernel.
class LinuxInventorySource final : public InventorySource
{
public:
    using RoomQuery = AgentCore::System::RoomQuery;

    /// @param root the folder in which /proc, /sys, /etc and all mount points of the machine lie, such as one that was
    /// recorded; without a separator at its end.
    /// @param queryRoom takes the place of statvfs(), if given.
    explicit LinuxInventorySource(std::string root = {}, RoomQuery queryRoom = {});

    std::optional<ComputerSystemRecord> QueryComputerSystem(InventoryGaps& gaps) override;
    std::optional<OperatingSystemRecord> QueryOperatingSystem(InventoryGaps& gaps) override;
    std::optional<BiosRecord> QueryBios(InventoryGaps& gaps) override;
    std::optional<std::wstring> QueryReleaseName(InventoryGaps& gaps) override;
    void QueryProcessors(InventoryGaps& gaps, const Visitor<ProcessorRecord>& visit) override;
    void QueryMemoryModules(InventoryGaps& gaps, const Visitor<MemoryModuleRecord>& visit) override;
    void QueryLogicalDisks(InventoryGaps& gaps, const Visitor<LogicalDiskRecord>& visit) override;
    /// Everything is unknown where the kernel has no power supplies.
    PowerStatusRecord QueryPowerStatus(InventoryGaps& gaps) override;

private:
    std::string m_root;
    RoomQuery m_queryRoom;
};

} // namespace AgentCore::System
