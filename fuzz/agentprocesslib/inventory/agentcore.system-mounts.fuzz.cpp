// Any text as /proc/self/mountinfo, and the volumes that are selected of it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agentcore.system-mounts.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System;

bool IsMounted(const std::vector<Mount>& mounts, const Volume& volume, const std::string& mountPoint)
{
    return std::any_of(
        mounts.begin(), mounts.end(),
        [&](const Mount& mount)
        {
            return mount.mountPoint == mountPoint && mount.major == volume.major &&
                (mount.major == 0 || mount.minor == volume.minor);
        });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto mounts = ParseMountInfo(text);
    for (const auto& mount : mounts)
    {
        Require(mount.mountPoint.starts_with('/') && !mount.fileSystem.empty() && !mount.source.empty());
        Require(mount.mountPoint.size() + mount.root.size() + mount.source.size() <= size);
    }
    InventoryGaps gaps;
    const auto volumes = SelectVolumes(mounts, gaps);
    Require(volumes.size() + gaps.size() <= mounts.size());
    std::set<std::pair<std::uint32_t, std::uint32_t>> devices;
    for (const auto& volume : volumes)
    {
        Require(!volume.mountPoints.empty() && !volume.fileSystem.starts_with("fuse"));
        Require(volume.major == 0 || devices.emplace(volume.major, volume.minor).second);
        for (const auto& mountPoint : volume.mountPoints)
        {
            Require(IsMounted(mounts, volume, mountPoint));
        }
    }
    // The lines' order does not change where a volume is named when none covers another: only that it is stable is checked.
    InventoryGaps again;
    Require(SelectVolumes(mounts, again).size() == volumes.size() && again == gaps);
    return 0;
}
