#pragma once

#include "agentcore.system-diskquery.hpp"
#include "agentcore.system-diskstats.hpp"
#include "agentcore.system-mounts.hpp"
#include "agentcore.system-volumes.linux.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace AgentCore::System
{

/// The logical disks of Linux: a disk is named by a mount point. Which mounts may be asked is found out anew each time, as
/// for the inventory, so that nothing waits for a network or a program that has taken a disk's place.
class LinuxDiskQuerier final : public DiskQuerier
{
public:
    /// @param root the folder in which /proc, /dev and all mount points of the machine lie, without a separator at its end.
    /// @param queryRoom takes the place of statvfs(), if given.
    explicit LinuxDiskQuerier(std::string root = {}, RoomQuery queryRoom = {});

    /// Throws Win32Exception "/proc/self/mountinfo cannot be read".
    void Query(const std::vector<LogicalDisk>& logicalDisks, const Visitor& visit) override;

private:
    /// Where a volume can be asked; parts of a list of volumes.
    struct Place
    {
        const Volume* volume;
        const std::string* mountPoint;
    };

    /// All places by the names that the inventory gives them: a mount point may be any bytes, a name is text.
    static std::map<std::wstring, Place> FindPlaces(const std::vector<Volume>& volumes);
    std::optional<LogicalDiskSampleRecord> Sample(
        const std::string& name, const Place& place, const std::vector<DiskStat>& stats);
    std::optional<std::int32_t> FindQueueLength(const Volume& volume, const std::vector<DiskStat>& stats) const;
    /// Logs what is not told: as a warning the first time that it is said of this disk, later for debugging.
    void Report(const std::string& name, std::string_view reason);

    std::string m_root;
    RoomQuery m_queryRoom;
    std::set<std::string> m_reported;
};

} // namespace AgentCore::System
