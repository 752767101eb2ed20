#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The tables in which a machine's firmware describes its parts (SMBIOS). Pure: bytes in, records out. Every length and
/// every number in the bytes is checked against what is there, so that no bytes can make a reader fail, run on or take more
/// memory than a small multiple of their size.
namespace AgentCore::System::Dmi
{

/// What the entry point tells of the table.
struct EntryPoint
{
    std::uint8_t majorVersion = 0;
    std::uint8_t minorVersion = 0;
    /// Bytes of the table; for version 3 the most that it may have.
    std::uint32_t tableLength = 0;
    /// Structures in the table; version 3 does not tell.
    std::optional<std::uint16_t> structureCount;

    bool operator==(const EntryPoint&) const = default;
};

/// Reads an entry point of any of the three kinds ("_SM3_", "_SM_", "_DMI_"). Nothing when the anchor, the length or a
/// checksum is wrong.
std::optional<EntryPoint> ParseEntryPoint(std::string_view bytes);

/// The machine as a whole. Texts are as the firmware has them, which may be no UTF-8; empty where it tells none or only
/// blanks.
struct SystemInformation
{
    std::string manufacturer;
    std::string productName;
    std::string serialNumber;

    bool operator==(const SystemInformation&) const = default;
};

/// A slot with a memory module in it.
struct MemoryDevice
{
    /// Bytes; nothing when the firmware does not know.
    std::optional<std::uint64_t> capacity;
    std::string bankLabel;

    bool operator==(const MemoryDevice&) const = default;
};

/// A socket with a central processor in it.
struct Processor
{
    /// As it names itself.
    std::string version;
    // 0 where the firmware does not know.
    std::uint32_t maxSpeedMegahertz = 0;
    std::uint32_t coreCount = 0;
    std::uint32_t threadCount = 0;

    bool operator==(const Processor&) const = default;
};

/// What the inventory takes from the table, in the table's order.
struct Table
{
    bool hasBios = false;
    std::optional<SystemInformation> system;
    std::vector<MemoryDevice> memoryDevices;
    std::vector<Processor> processors;
    /// Whether the table ends in the middle of a structure; what stood before is told all the same.
    bool isDamaged = false;
};

/// Reads the table itself. Empty slots and sockets are left out, and so are modules of read-only and flash memory, which
/// are no RAM. Of several structures for the machine as a whole the first one counts.
Table ParseTable(std::string_view bytes, const EntryPoint& entryPoint);

} // namespace AgentCore::System::Dmi
