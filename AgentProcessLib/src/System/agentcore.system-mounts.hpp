#pragma once

#include "agentcore.system-inventorysource.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What Linux tells of mounted file systems, and which of them are the inventory's logical disks. Pure.
namespace AgentCore::System
{

/// One line of /proc/self/mountinfo. Paths have their escapes undone and are any bytes but null characters.
struct Mount
{
    std::uint32_t id = 0;
    std::uint32_t parentId = 0;
    /// Numbers of the block device; a major number of 0 stands for none.
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    /// What of the file system is mounted: "/" for all of it.
    std::string root;
    std::string mountPoint;
    std::string fileSystem;
    std::string source;

    bool operator==(const Mount&) const = default;
};

/// Reads the text of /proc/self/mountinfo. Lines of another form are passed over.
std::vector<Mount> ParseMountInfo(std::string_view text);

/// A file system on a device of this machine.
struct Volume
{
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::string fileSystem;
    std::string source;
    /// Where it can be reached, at least one place; the one to name it by first: where all of it is mounted, and among
    /// those the shortest path.
    std::vector<std::string> mountPoints;
};

/// The volumes among `mounts`, each device once, sorted by where they are mounted.
///
/// Asking a file system that another machine or a program serves may take for ever, and so may the way to it. So only what
/// the kernel itself reads from devices counts, where no mount on the way is served: nothing of a network, nothing in user
/// space, no disk shared by a cluster. Packed images, which have no room, are left out as well.
/// @param gaps gets the volumes that are on devices of this machine and left out all the same, below
/// "system.logical_drives": behind or served by what could wait, or covered by another mount.
std::vector<Volume> SelectVolumes(const std::vector<Mount>& mounts, InventoryGaps& gaps);

} // namespace AgentCore::System
