#include "agentcore.system-diskquery.linux.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::System
{

namespace
{

constexpr unsigned MegabyteShift = 20;

} // namespace

LinuxDiskQuerier::LinuxDiskQuerier(std::string root, RoomQuery queryRoom)
    : m_root(std::move(root)), m_queryRoom(queryRoom ? std::move(queryRoom) : &AskForRoom)
{
}

void LinuxDiskQuerier::Query(const std::vector<LogicalDisk>& logicalDisks, const Visitor& visit)
{
    const auto mounts = Shared::System::ReadProcFile(m_root + "/proc/self/mountinfo");
    if (!mounts)
    {
        throw Shared::Exception::Win32Exception("/proc/self/mountinfo cannot be read", Shared::Platform::LastError());
    }
    InventoryGaps ofNoInterest;
    const auto volumes = SelectVolumes(ParseMountInfo(*mounts), ofNoInterest);
    const auto diskStats = Shared::System::ReadProcFile(m_root + "/proc/diskstats");
    const auto stats = ParseDiskStats(diskStats ? std::string_view{*diskStats} : std::string_view{});
    const auto places = FindPlaces(volumes);
    for (const auto& disk : logicalDisks)
    {
        const auto place = places.find(Shared::Util::ConvertStringType(disk.name()));
        if (place == places.end())
        {
            Report(disk.name(), "it is not mounted, or behind what could keep the query waiting");
        }
        else if (const auto record = Sample(disk.name(), place->second, stats))
        {
            visit(*record);
        }
    }
}

std::map<std::wstring, LinuxDiskQuerier::Place> LinuxDiskQuerier::FindPlaces(const std::vector<Volume>& volumes)
{
    std::map<std::wstring, Place> places;
    for (const auto& volume : volumes)
    {
        for (const auto& mountPoint : volume.mountPoints)
        {
            places.try_emplace(Shared::Util::ConvertStringType(mountPoint), Place{&volume, &mountPoint});
        }
    }
    return places;
}

std::optional<LogicalDiskSampleRecord> LinuxDiskQuerier::Sample(
    const std::string& name, const Place& place, const std::vector<DiskStat>& stats)
{
    const auto room = m_queryRoom(m_root + *place.mountPoint);
    if (!room)
    {
        Report(name, Shared::Exception::TranslateWin32Error(static_cast<std::uint32_t>(errno)));
        return std::nullopt;
    }
    const auto queueLength = FindQueueLength(*place.volume, stats);
    if (!queueLength)
    {
        Report(name, "the kernel does not tell the queue of its device");
    }
    return LogicalDiskSampleRecord{
        Shared::Util::ConvertStringType(name), room->free >> MegabyteShift, queueLength.value_or(0)};
}

std::optional<std::int32_t> LinuxDiskQuerier::FindQueueLength(
    const Volume& volume, const std::vector<DiskStat>& stats) const
{
    const auto deviceName = volume.major == 0 ? FindDeviceName(m_root, volume.source) : std::string{};
    const auto isDevice = [&volume, &deviceName](const DiskStat& stat)
    {
        return volume.major == 0 ? stat.name == deviceName : stat.major == volume.major && stat.minor == volume.minor;
    };
    const auto found = std::find_if(stats.begin(), stats.end(), isDevice);
    if (found == stats.end())
    {
        return std::nullopt;
    }
    constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(found->inFlight, most));
}

void LinuxDiskQuerier::Report(const std::string& name, std::string_view reason)
{
    // Not more than there are disks, but for a list that is given anew each time.
    constexpr std::size_t mostReported = 256;
    auto line = fmt::format("Logical disk {} is not told whole: {}", name, reason);
    if (m_reported.size() < mostReported && m_reported.insert(line).second)
    {
        Shared::Log::Write(Shared::Log::Level::Warning, line);
        return;
    }
    Shared::Log::Debug("{}", line);
}

std::unique_ptr<DiskQuerier> MakeDiskQuerier()
{
    return std::make_unique<LinuxDiskQuerier>();
}

} // namespace AgentCore::System
