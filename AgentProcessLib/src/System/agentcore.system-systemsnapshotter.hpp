#pragma once

#include "agentcore.system-diskquery.hpp"
#include "agentcore.system-systemfunctions.hpp"
#include "agentcore.system-systemtimes.hpp"
#include "agentcore.wlan-wlanquerier.hpp"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hardware.pb.h"
#include "network.pb.h"
#include "samples.pb.h"

namespace AgentCore::System
{

/// Where snapshots come from.
struct SnapshotSources
{
    std::function<MemoryStatus()> readMemory = []
    {
        return GetMemoryStatus();
    };
    std::function<SystemTimes()> readTimes = []
    {
        return GetSystemTimes();
    };
    std::unique_ptr<Wlan::WlanQuerier> wlan;
    std::unique_ptr<DiskQuerier> disks;
};

/// Samples memory, processors, wireless links and disks, and reduces what it has sampled when asked. Nothing that a system
/// or a caller may do makes its lists grow without limit.
///
/// Belongs to the thread that made it. Windows: that thread has initialised COM before.
class SystemSnapshotter
{
public:
    /// Samples this machine: opens a session with the wireless service, whose absence means no wireless links, and then
    /// connects to what tells of disks. Throws what MakeDiskQuerier() throws.
    SystemSnapshotter();
    /// Samples these; none of them is null.
    explicit SystemSnapshotter(SnapshotSources sources);
    SystemSnapshotter(const SystemSnapshotter&) = delete;
    SystemSnapshotter& operator=(const SystemSnapshotter&) = delete;
    virtual ~SystemSnapshotter() = default;

    /// Takes one sample of everything, of the disks of `logicalDisks` only. Does not throw: a failure is logged as an error,
    /// "Exception occurred when capturing Snapshot information", and what would have come behind it is not sampled this
    /// time; disks that cannot be asked ("Exception during GetLogicalDiskSnapshot()") are no such failure.
    virtual void DoSystemSnapshot(const std::vector<LogicalDisk>& logicalDisks);

    /// The least, the average and the most of the samples of memory, which are given up. All 0 without samples.
    virtual SampledMemoryResults GetAvgMemory();

    /// The samples of the processors' load, which are given up; oldest first. The first one of each snapshotter is 0.
    virtual std::vector<CpuSnapshot> TakeCpuSnapshots();

    /// The wireless links of the moment, each with the least, the average and the most of what was sampled of it. A link
    /// without samples tells the values of the moment, and 0 for the least and the most. All samples are given up.
    virtual std::vector<WirelessLan> GetAvgWirelessQualityAndReset();

    /// The sampled disks, sorted by name, each with the least, the average and the most of its queue and with its last
    /// queue and room. Their sizes are those that `logicalDisks` has for the names, 0 for a name that is not there. All
    /// samples are given up.
    virtual std::vector<LogicalDiskSnapshot> GetLogicalDiskSnapshot(const std::vector<LogicalDisk>& logicalDisks);

protected:
    virtual void SampleMemory();
    virtual void SampleCpu();
    virtual void SampleWlans();
    virtual void SampleDisks(const std::vector<LogicalDisk>& logicalDisks);

private:
    std::vector<LogicalDiskSnapshot> QueryDisks(const std::vector<LogicalDisk>& logicalDisks);

    CpuSampler m_cpuSampler;
    std::vector<MemorySnapshot> m_memory;
    std::vector<CpuSnapshot> m_cpu;
    std::vector<WirelessLan> m_wlans;
    std::map<std::string, std::vector<LogicalDiskSnapshot>> m_disks;
    SnapshotSources m_sources;
};

} // namespace AgentCore::System
