#include "agentcore.system-volumes.linux.hpp"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace AgentCore::System
{

std::optional<VolumeRoom> AskForRoom(const std::string& mountPoint)
{
    struct stat status
    {
    };

    if (::stat(mountPoint.c_str(), &status) != 0)
    {
        return std::nullopt;
    }
    if (!S_ISDIR(status.st_mode))
    {
        errno = ENOTDIR;
        return std::nullopt;
    }

    struct statvfs room
    {
    };

    if (::statvfs(mountPoint.c_str(), &room) != 0)
    {
        return std::nullopt;
    }
    if (room.f_blocks == 0)
    {
        errno = ENODATA;
        return std::nullopt;
    }
    return VolumeRoom{std::uint64_t{room.f_blocks} * room.f_frsize, std::uint64_t{room.f_bavail} * room.f_frsize};
}

std::string FindDeviceName(const std::string& root, const std::string& source)
{
    // A name of the device mapper is a link to the device's own.
    std::error_code isNoLink;
    const auto target = std::filesystem::read_symlink(root + source, isNoLink);
    return (isNoLink ? std::filesystem::path(source) : target).filename().string();
}

} // namespace AgentCore::System
