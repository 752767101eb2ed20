#include "agentcore.system-systemsnapshotter.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.wmi-value.hpp"

namespace AgentCore::System
{

namespace
{

using Shared::WMI::GetValueOrThrow;

/// As many samples, and as many disks, as are kept. A cycle has ten: this only guards against a loss of reductions.
constexpr std::size_t MostKept = 25;

/// Empties a list that has got to hold more than `most`.
template <typename List>
void Limit(List& list, std::size_t most)
{
    if (list.size() > most)
    {
        list.clear();
    }
}

SnapshotSources MakeSources()
{
    SnapshotSources sources;
    sources.wlan = std::make_unique<Wlan::WlanQuerier>();
    sources.disks = MakeDiskQuerier();
    return sources;
}

LogicalDiskSnapshot ToMessage(const LogicalDiskSampleRecord& record)
{
    LogicalDiskSnapshot message;
    message.set_name(Shared::Util::ConvertStringType(GetValueOrThrow(record.name)));
    message.set_free_megabytes(GetValueOrThrow(record.freeMegabytes));
    message.set_current_disk_queue_length(GetValueOrThrow(record.currentDiskQueueLength));
    return message;
}

/// One of the values that are sampled of a wireless link, and where its reductions go.
struct LinkValue
{
    std::uint32_t (WirelessLan::*get)() const;
    void (WirelessLan::*setMinimum)(std::uint32_t);
    void (WirelessLan::*setAverage)(std::uint32_t);
    void (WirelessLan::*setMaximum)(std::uint32_t);
};

constexpr std::array<LinkValue, 3> LinkValues{
    {{&WirelessLan::rx, &WirelessLan::set_min_rx, &WirelessLan::set_rx, &WirelessLan::set_max_rx},
     {&WirelessLan::tx, &WirelessLan::set_min_tx, &WirelessLan::set_tx, &WirelessLan::set_max_tx},
     {&WirelessLan::quality, &WirelessLan::set_min_quality, &WirelessLan::set_quality, &WirelessLan::set_max_quality}}};

void Reduce(WirelessLan& wlan, const std::vector<const WirelessLan*>& samples, const LinkValue& value)
{
    std::uint32_t least = std::numeric_limits<std::uint32_t>::max();
    std::uint32_t most = 0;
    std::uint64_t sum = 0;
    for (const auto* const sample : samples)
    {
        const auto reading = (sample->*value.get)();
        least = std::min(least, reading);
        most = std::max(most, reading);
        sum += reading;
    }
    (wlan.*value.setMinimum)(least);
    (wlan.*value.setAverage)(static_cast<std::uint32_t>(sum / samples.size()));
    (wlan.*value.setMaximum)(most);
}

/// Those of `samples` that are of the same link.
std::vector<const WirelessLan*> FindSamples(const std::vector<WirelessLan>& samples, const WirelessLan& wlan)
{
    std::vector<const WirelessLan*> found;
    for (const auto& sample : samples)
    {
        if (sample.ssid() == wlan.ssid() && sample.interface_id() == wlan.interface_id())
        {
            found.push_back(&sample);
        }
    }
    return found;
}

LogicalDiskSnapshot Reduce(const std::string& name, const std::vector<LogicalDiskSnapshot>& samples)
{
    std::int32_t least = std::numeric_limits<std::int32_t>::max();
    std::int32_t most = -1;
    std::int64_t sum = 0;
    for (const auto& sample : samples)
    {
        least = std::min(least, sample.current_disk_queue_length());
        most = std::max(most, sample.current_disk_queue_length());
        sum += sample.current_disk_queue_length();
    }
    LogicalDiskSnapshot result;
    result.set_name(name);
    result.set_min_disk_queue_length(least);
    result.set_max_disk_queue_length(most);
    result.set_avg_disk_queue_length(static_cast<std::int32_t>(sum / static_cast<std::int64_t>(samples.size())));
    result.set_current_disk_queue_length(samples.back().current_disk_queue_length());
    result.set_free_megabytes(samples.back().free_megabytes());
    return result;
}

std::uint64_t FindMegabytes(const std::vector<LogicalDisk>& logicalDisks, const std::string& name)
{
    constexpr unsigned megabyteShift = 20;
    const auto found = std::find_if(
        logicalDisks.begin(), logicalDisks.end(), [&name](const LogicalDisk& disk) { return disk.name() == name; });
    return found == logicalDisks.end() ? 0 : found->size() >> megabyteShift;
}

} // namespace

SystemSnapshotter::SystemSnapshotter() : SystemSnapshotter(MakeSources())
{
}

SystemSnapshotter::SystemSnapshotter(SnapshotSources sources) : m_sources(std::move(sources))
{
}

void SystemSnapshotter::DoSystemSnapshot(const std::vector<LogicalDisk>& logicalDisks)
{
    Shared::Log::Debug("Collecting data...");
    try
    {
        SampleMemory();
        SampleCpu();
        SampleWlans();
        SampleDisks(logicalDisks);
        Shared::Log::Debug("Data collection succeeded.");
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("Exception occurred when capturing Snapshot information", exception);
    }
}

void SystemSnapshotter::SampleMemory()
{
    Limit(m_memory, MostKept);
    MemorySnapshot snapshot;
    snapshot.set_memory_load(m_sources.readMemory().memoryLoad);
    m_memory.push_back(std::move(snapshot));
}

void SystemSnapshotter::SampleCpu()
{
    Limit(m_cpu, MostKept);
    m_cpu.push_back(m_cpuSampler.Sample(m_sources.readTimes()));
}

void SystemSnapshotter::SampleWlans()
{
    Limit(m_wlans, MostKept);
    for (auto& wlan : m_sources.wlan->GetWlanStats())
    {
        m_wlans.push_back(std::move(wlan));
    }
}

void SystemSnapshotter::SampleDisks(const std::vector<LogicalDisk>& logicalDisks)
{
    Limit(m_disks, MostKept);
    for (auto& disk : QueryDisks(logicalDisks))
    {
        if (!disk.name().empty())
        {
            auto& samples = m_disks[disk.name()];
            Limit(samples, MostKept);
            samples.push_back(std::move(disk));
        }
    }
}

std::vector<LogicalDiskSnapshot> SystemSnapshotter::QueryDisks(const std::vector<LogicalDisk>& logicalDisks)
{
    // Without a disk to ask for there is no question.
    if (logicalDisks.empty())
    {
        return {};
    }
    try
    {
        std::vector<LogicalDiskSnapshot> rows;
        m_sources.disks->Query(
            logicalDisks, [&rows](const LogicalDiskSampleRecord& record) { rows.push_back(ToMessage(record)); });
        return rows;
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("Exception during GetLogicalDiskSnapshot()", exception);
        return {};
    }
}

SampledMemoryResults SystemSnapshotter::GetAvgMemory()
{
    const auto samples = std::exchange(m_memory, {});
    SampledMemoryResults results;
    if (samples.empty())
    {
        return results;
    }
    auto least = samples.front().memory_load();
    auto most = least;
    std::uint64_t sum = 0;
    for (const auto& sample : samples)
    {
        least = std::min(least, sample.memory_load());
        most = std::max(most, sample.memory_load());
        sum += sample.memory_load();
    }
    results.set_min_memory_load(least);
    results.set_avg_memory_load(static_cast<std::uint32_t>(sum / samples.size()));
    results.set_max_memory_load(most);
    return results;
}

std::vector<CpuSnapshot> SystemSnapshotter::TakeCpuSnapshots()
{
    return std::exchange(m_cpu, {});
}

std::vector<WirelessLan> SystemSnapshotter::GetAvgWirelessQualityAndReset()
{
    auto wlans = m_sources.wlan->GetWlanStats();
    const auto samples = std::exchange(m_wlans, {});
    for (auto& wlan : wlans)
    {
        const auto found = FindSamples(samples, wlan);
        if (!found.empty())
        {
            for (const auto& value : LinkValues)
            {
                Reduce(wlan, found, value);
            }
        }
    }
    return wlans;
}

std::vector<LogicalDiskSnapshot> SystemSnapshotter::GetLogicalDiskSnapshot(const std::vector<LogicalDisk>& logicalDisks)
{
    std::vector<LogicalDiskSnapshot> results;
    for (const auto& [name, samples] : std::exchange(m_disks, {}))
    {
        results.push_back(Reduce(name, samples));
        results.back().set_total_size_megabytes(FindMegabytes(logicalDisks, name));
    }
    return results;
}

} // namespace AgentCore::System
