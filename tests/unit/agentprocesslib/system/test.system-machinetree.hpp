#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport
{

/// A folder in which the files lie by which a Linux machine tells of itself. Paths begin with "/" and count from there.
class MachineTree
{
public:
    explicit MachineTree(std::filesystem::path root);

    /// Makes the file, and the folders that lead to it, in place of what was there.
    void AddFile(std::string_view path, std::string_view bytes) const;
    void AddFolder(std::string_view path) const;
    void AddLink(std::string_view path, std::string_view target) const;
    void Remove(std::string_view path) const;

    /// The folder, without a separator at its end.
    std::string Root() const;

private:
    std::filesystem::path PathOf(std::string_view path) const;

    std::filesystem::path m_root;
};

/// Builds the bytes of a DMI table.
class DmiTableBuilder
{
public:
    /// A structure with `formatted` behind its header, and its texts.
    DmiTableBuilder& Add(std::uint8_t type, std::string_view formatted, const std::vector<std::string>& texts = {});
    DmiTableBuilder& AddBios();
    DmiTableBuilder& AddSystem(const std::string& maker, const std::string& product, const std::string& serialNumber);
    /// A socket with a processor in it, of up to 254 cores and threads.
    DmiTableBuilder& AddProcessor(
        const std::string& version, std::uint16_t megahertz, std::uint8_t cores, std::uint8_t threads);
    /// A slot; `size` as it stands in the table (0 for an empty one), `extendedSize` in megabytes.
    DmiTableBuilder& AddMemory(
        const std::string& bank, std::uint16_t size, std::uint32_t extendedSize = 0, std::uint8_t type = 0x1A);
    DmiTableBuilder& AddEnd();

    std::string Bytes() const;
    std::size_t Count() const;

private:
    std::string m_bytes;
    std::size_t m_count = 0;
};

/// The bytes of an entry point of version 3.2 for a table of at most that length.
std::string MakeEntryPoint3(std::uint32_t tableLength);
/// The same of version 2.8, and of the oldest kind with version 2.1.
std::string MakeEntryPoint2(std::uint16_t tableLength, std::uint16_t structureCount);
std::string MakeLegacyEntryPoint(std::uint16_t tableLength, std::uint16_t structureCount);
/// Sets the byte at `position` so that the first `length` bytes from `start` add up to 0.
void FixChecksum(std::string& bytes, std::size_t start, std::size_t length, std::size_t position);

/// A notebook on battery: one processor of four cores and eight threads, two modules and an empty slot, an encrypted disk
/// with a boot partition, a memory stick, and a mouse with a battery of its own.
void LayOutLaptop(const MachineTree& tree);
/// A server with two sockets of two cores each, four modules of 64 GB, no frequency scaling, disks in a pool.
void LayOutServer(const MachineTree& tree);
/// A virtual machine whose firmware tells little.
void LayOutVirtualMachine(const MachineTree& tree);
/// A small board without DMI, described by a device tree.
void LayOutBoard(const MachineTree& tree);
/// A container that sees nothing but its own root.
void LayOutEmptyContainer(const MachineTree& tree);

/// The lines of /proc/self/mountinfo of a machine with `count` file systems on devices, and as many others.
std::string MakeMountInfo(std::size_t count);

} // namespace TestSupport
