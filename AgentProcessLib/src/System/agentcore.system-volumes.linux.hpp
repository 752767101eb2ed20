#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace AgentCore::System
{

/// Room of a mounted file system, in bytes.
struct VolumeRoom
{
    std::uint64_t size = 0;
    /// What users may still fill, without what is kept for root.
    std::uint64_t free = 0;
};

/// Asks for the room at a mount point; nothing, with the reason in errno, when there is none to be told.
using RoomQuery = std::function<std::optional<VolumeRoom>(const std::string& mountPoint)>;

/// Asks the kernel. Single files are mounted into containers; those are no place of a disk. A file system that is served
/// by a network or a program can keep this waiting, so only a volume of SelectVolumes() may be asked for. Any thread.
std::optional<VolumeRoom> AskForRoom(const std::string& mountPoint);

/// The kernel's name of the device that a mount has for its source, "sda1" or "dm-0"; senseless for a source that is none.
/// @param root the folder in which /dev lies, without a separator at its end.
std::string FindDeviceName(const std::string& root, const std::string& source);

} // namespace AgentCore::System
