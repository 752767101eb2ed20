#include "agentcore.system-mounts.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "agentcore.system-texts.hpp"

namespace AgentCore::System
{

namespace
{

template <std::size_t Count>
using Names = std::array<std::string_view, Count>;

/// Those that keep their data on devices and yet have a number of no device.
constexpr Names<4> OnUnnumberedDevices{"bcachefs", "btrfs", "ubifs", "zfs"};
/// Those without a device that the kernel serves from its memory, so that no path through them can wait.
constexpr Names<9> InMemory{"autofs", "cgroup2", "devtmpfs", "overlay", "proc", "ramfs", "rootfs", "sysfs", "tmpfs"};
/// Those that several machines mount at once and agree upon.
constexpr Names<2> OfClusters{"gfs2", "ocfs2"};
/// Those that hold what was packed into them, without room for more.
constexpr Names<3> PackedImages{"cramfs", "erofs", "squashfs"};

template <std::size_t Count>
bool IsOneOf(const Names<Count>& names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsOnDevice(const Mount& mount)
{
    return mount.major != 0 || IsOneOf(OnUnnumberedDevices, mount.fileSystem);
}

/// Whether a program serves it, on a device or not: "fuse", "fuseblk", "fuse.name".
bool IsServedByProgram(const Mount& mount)
{
    return mount.fileSystem.starts_with("fuse");
}

bool CanWait(const Mount& mount)
{
    return IsServedByProgram(mount) || IsOneOf(OfClusters, mount.fileSystem) ||
        !(IsOnDevice(mount) || IsOneOf(InMemory, mount.fileSystem));
}

/// Undoes the escapes of blanks and the like: a backslash and three octal digits.
std::string Unescape(std::string_view text)
{
    constexpr std::size_t digitCount = 3;
    std::string result;
    while (!text.empty())
    {
        unsigned int code = 0;
        const char* const digits = text.data() + 1;
        const bool isEscape = text.front() == '\\' && text.size() > digitCount &&
            std::all_of(digits, digits + digitCount, [](char c) { return c >= '0' && c <= '7'; });
        if (isEscape)
        {
            code = static_cast<unsigned int>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
        }
        const bool isCharacter = code > 0 && code <= 0xFF;
        result.push_back(isCharacter ? static_cast<char>(code) : text.front());
        text.remove_prefix(isCharacter ? digitCount + 1 : 1);
    }
    return result;
}

std::optional<Mount> ParseLine(std::string_view line)
{
    const auto id = Texts::ParseNumber<std::uint32_t>(Texts::TakeWord(line));
    const auto parentId = Texts::ParseNumber<std::uint32_t>(Texts::TakeWord(line));
    const auto device = Texts::SplitAt(':', Texts::TakeWord(line));
    const auto major = Texts::ParseNumber<std::uint32_t>(device ? device->name : "");
    const auto minor = Texts::ParseNumber<std::uint32_t>(device ? device->value : "");
    if (!id || !parentId || !major || !minor)
    {
        return std::nullopt;
    }
    Mount mount{*id, *parentId, *major, *minor, Unescape(Texts::TakeWord(line)), Unescape(Texts::TakeWord(line)),
                {},  {}};

    // Optional fields, whose number differs, end with a lone hyphen.
    auto word = Texts::TakeWord(line);
    while (!word.empty() && word != "-")
    {
        word = Texts::TakeWord(line);
    }
    mount.fileSystem = Texts::TakeWord(line);
    mount.source = Unescape(Texts::TakeWord(line));
    const bool isWhole = mount.mountPoint.starts_with('/') && !mount.fileSystem.empty() && !mount.source.empty();
    return isWhole ? std::optional{std::move(mount)} : std::nullopt;
}

/// How the mounts lie upon one another.
class MountTree
{
public:
    explicit MountTree(const std::vector<Mount>& mounts) : e_mounts(mounts)
    {
        for (std::size_t i = 0; i < mounts.size(); ++i)
        {
            m_byId.insert_or_assign(mounts[i].id, i);
            m_lastAt.insert_or_assign(mounts[i].mountPoint, i);
        }
    }

    /// The mounts that lead to that one, itself first. Nothing when they make no sense.
    std::optional<std::vector<std::size_t>> FindWay(std::size_t index) const
    {
        constexpr std::size_t deepest = 256;
        std::vector<std::size_t> way{index};
        for (auto parent = m_byId.find(e_mounts[index].parentId); parent != m_byId.end();
             parent = m_byId.find(e_mounts[way.back()].parentId))
        {
            // The mount at the top may name itself as its parent.
            if (parent->second == way.back())
            {
                return way;
            }
            if (way.size() == deepest)
            {
                return std::nullopt;
            }
            way.push_back(parent->second);
        }
        return way;
    }

    /// Whether a later mount, which is none of those on the way, lies over the mount point or a folder above it.
    bool IsCovered(const std::vector<std::size_t>& way) const
    {
        const std::string_view path = e_mounts[way.front()].mountPoint;
        for (auto end = path.find('/', 1); end != std::string_view::npos; end = path.find('/', end + 1))
        {
            if (IsCoveredAt(path.substr(0, end), way))
            {
                return true;
            }
        }
        return IsCoveredAt(path, way) || IsCoveredAt("/", way);
    }

private:
    bool IsCoveredAt(std::string_view path, const std::vector<std::size_t>& way) const
    {
        const auto last = m_lastAt.find(path);
        return last != m_lastAt.end() && last->second > way.front() &&
            std::find(way.begin(), way.end(), last->second) == way.end();
    }

    const std::vector<Mount>& e_mounts;
    std::unordered_map<std::uint32_t, std::size_t> m_byId;
    std::map<std::string, std::size_t, std::less<>> m_lastAt;
};

/// Why a mount of a device cannot be asked; empty when it can.
std::string FindObstacle(const std::vector<Mount>& mounts, std::size_t index, const MountTree& tree)
{
    if (CanWait(mounts[index]))
    {
        return mounts[index].fileSystem + " is served by a program or a cluster, which may keep the query waiting";
    }
    const auto way = tree.FindWay(index);
    if (!way)
    {
        return "the mounts that lead to it make no sense";
    }
    // Whoever waits for the root has no agent either.
    const auto waiting = std::find_if(
        way->begin(), way->end(),
        [&mounts](std::size_t step) { return CanWait(mounts[step]) && mounts[step].mountPoint != "/"; });
    if (waiting != way->end())
    {
        return "it lies behind " + mounts[*waiting].mountPoint + " (" + mounts[*waiting].fileSystem +
            "), which may keep the query waiting";
    }
    return tree.IsCovered(*way) ? "another mount covers it" : std::string{};
}

/// What is the same for all mounts of a device, and for all data sets of a pool.
using DeviceKey = std::tuple<std::uint32_t, std::uint32_t, std::string>;

DeviceKey KeyOf(const Mount& mount)
{
    if (mount.major != 0)
    {
        return {mount.major, mount.minor, {}};
    }
    return {
        0, 0,
        mount.fileSystem + " " +
            (mount.fileSystem == "zfs" ? mount.source.substr(0, mount.source.find('/')) : mount.source)};
}

/// All mounts of a device, those that can be asked apart.
struct Device
{
    std::vector<const Mount*> usable;
    const Mount* unusable = nullptr;
    std::string obstacle;
};

Volume MakeVolume(std::vector<const Mount*> mounts)
{
    const auto rank = [](const Mount* mount)
    {
        return std::tuple(mount->root != "/", mount->mountPoint.size());
    };
    std::stable_sort(
        mounts.begin(), mounts.end(), [&rank](const Mount* a, const Mount* b) { return rank(a) < rank(b); });
    const auto& first = *mounts.front();
    Volume volume{first.major, first.minor, first.fileSystem, first.source, {}};
    for (const auto* const mount : mounts)
    {
        volume.mountPoints.push_back(mount->mountPoint);
    }
    return volume;
}

std::map<DeviceKey, Device> GatherDevices(const std::vector<Mount>& mounts)
{
    const MountTree tree(mounts);
    std::map<DeviceKey, Device> devices;
    for (std::size_t i = 0; i < mounts.size(); ++i)
    {
        if (!IsOnDevice(mounts[i]) || IsOneOf(PackedImages, mounts[i].fileSystem))
        {
            continue;
        }
        auto& device = devices[KeyOf(mounts[i])];
        auto obstacle = FindObstacle(mounts, i, tree);
        if (obstacle.empty())
        {
            device.usable.push_back(&mounts[i]);
        }
        else if (device.unusable == nullptr)
        {
            device.unusable = &mounts[i];
            device.obstacle = std::move(obstacle);
        }
    }
    return devices;
}

} // namespace

std::vector<Mount> ParseMountInfo(std::string_view text)
{
    std::vector<Mount> mounts;
    while (!text.empty())
    {
        if (auto mount = ParseLine(Texts::TakeLine(text)))
        {
            mounts.push_back(*std::move(mount));
        }
    }
    return mounts;
}

std::vector<Volume> SelectVolumes(const std::vector<Mount>& mounts, InventoryGaps& gaps)
{
    std::vector<Volume> volumes;
    for (auto& [key, device] : GatherDevices(mounts))
    {
        if (!device.usable.empty())
        {
            volumes.push_back(MakeVolume(std::move(device.usable)));
        }
        else
        {
            gaps.push_back({"system.logical_drives[" + device.unusable->mountPoint + "]", device.obstacle});
        }
    }
    std::sort(
        volumes.begin(), volumes.end(),
        [](const Volume& a, const Volume& b) { return a.mountPoints.front() < b.mountPoints.front(); });
    return volumes;
}

} // namespace AgentCore::System
