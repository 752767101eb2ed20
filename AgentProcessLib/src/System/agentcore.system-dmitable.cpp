#include "agentcore.system-dmitable.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <numeric>

namespace AgentCore::System::Dmi
{

namespace
{

constexpr std::size_t HeaderLength = 4;

/// Kinds of structures.
enum StructureType : std::uint8_t
{
    BiosType = 0,
    SystemType = 1,
    ProcessorType = 4,
    MemoryDeviceType = 17,
    EndOfTable = 127
};

/// A number of `Number`'s size with its low byte first, which is the order in the table; nothing where the bytes end before.
template <typename Number>
std::optional<Number> ReadNumber(std::string_view bytes, std::size_t offset)
{
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Number))
    {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (std::size_t i = sizeof(Number); i-- > 0;)
    {
        number = number << 8U | static_cast<std::uint8_t>(bytes[offset + i]);
    }
    return static_cast<Number>(number);
}

bool HasValidChecksum(std::string_view bytes)
{
    const auto sum = std::accumulate(
        bytes.begin(), bytes.end(), 0U,
        [](unsigned int before, char byte) { return before + static_cast<std::uint8_t>(byte); });
    return (sum & 0xFFU) == 0;
}

/// The first `length` bytes when they are there and their checksum is right; else nothing.
std::optional<std::string_view> TakeChecked(std::string_view bytes, std::size_t length)
{
    if (bytes.size() < length || !HasValidChecksum(bytes.substr(0, length)))
    {
        return std::nullopt;
    }
    return bytes.substr(0, length);
}

std::optional<EntryPoint> ParseVersion3(std::string_view bytes)
{
    constexpr std::size_t shortest = 24;
    const auto entry =
        TakeChecked(bytes, std::max<std::size_t>(shortest, ReadNumber<std::uint8_t>(bytes, 6).value_or(0)));
    if (!entry)
    {
        return std::nullopt;
    }
    return EntryPoint{
        *ReadNumber<std::uint8_t>(*entry, 7), *ReadNumber<std::uint8_t>(*entry, 8),
        *ReadNumber<std::uint32_t>(*entry, 12), std::nullopt};
}

/// The part of an entry point of version 2 that older ones consist of, with the version as one decimal in each half byte.
std::optional<EntryPoint> ParseLegacy(std::string_view bytes)
{
    constexpr std::size_t length = 15;
    const auto entry = bytes.starts_with("_DMI_") ? TakeChecked(bytes, length) : std::nullopt;
    if (!entry)
    {
        return std::nullopt;
    }
    const auto version = *ReadNumber<std::uint8_t>(*entry, 14);
    return EntryPoint{
        static_cast<std::uint8_t>(version >> 4U), static_cast<std::uint8_t>(version & 0xFU),
        *ReadNumber<std::uint16_t>(*entry, 6), *ReadNumber<std::uint16_t>(*entry, 12)};
}

std::optional<EntryPoint> ParseVersion2(std::string_view bytes)
{
    constexpr std::size_t legacyPart = 16;
    constexpr std::size_t shortest = 31;
    const auto entry =
        TakeChecked(bytes, std::max<std::size_t>(shortest, ReadNumber<std::uint8_t>(bytes, 5).value_or(0)));
    auto result = entry ? ParseLegacy(bytes.substr(legacyPart)) : std::nullopt;
    if (result)
    {
        result->majorVersion = *ReadNumber<std::uint8_t>(*entry, 6);
        result->minorVersion = *ReadNumber<std::uint8_t>(*entry, 7);
    }
    return result;
}

/// One structure of the table: its formatted part, and the texts behind it, each with a null character at its end.
struct Structure
{
    std::uint8_t type = 0;
    std::string_view formatted;
    std::string_view texts;

    template <typename Number>
    std::optional<Number> Read(std::size_t offset) const
    {
        return ReadNumber<Number>(formatted, offset);
    }

    /// The text whose number, counted from 1, stands at `offset`.
    std::string ReadText(std::size_t offset) const
    {
        const std::size_t number = Read<std::uint8_t>(offset).value_or(0);
        auto rest = number == 0 ? std::string_view{} : texts;
        for (std::size_t i = 1; i < number && !rest.empty(); ++i)
        {
            rest.remove_prefix(std::min(rest.find('\0'), rest.size() - 1) + 1);
        }
        const auto text = rest.substr(0, rest.find('\0'));
        return text.find_first_not_of(' ') == std::string_view::npos ? std::string{} : std::string{text};
    }
};

/// Cuts the first structure off `bytes`. Nothing when it is not whole.
std::optional<Structure> TakeStructure(std::string_view& bytes)
{
    using namespace std::string_view_literals;

    const std::size_t length = ReadNumber<std::uint8_t>(bytes, 1).value_or(0);
    if (length < HeaderLength || length > bytes.size())
    {
        return std::nullopt;
    }
    const auto behind = bytes.substr(length);
    const auto end = behind.find("\0\0"sv);
    if (end == std::string_view::npos)
    {
        return std::nullopt;
    }
    const Structure structure{
        static_cast<std::uint8_t>(bytes.front()), bytes.substr(0, length), behind.substr(0, end + 1)};
    bytes.remove_prefix(length + end + 2);
    return structure;
}

SystemInformation ReadSystem(const Structure& structure)
{
    return {structure.ReadText(0x04), structure.ReadText(0x05), structure.ReadText(0x07)};
}

/// Bytes of a module: 0 for none in the slot, nothing when the firmware does not know.
std::optional<std::uint64_t> ReadCapacity(const Structure& structure)
{
    constexpr std::uint16_t unknown = 0xFFFF;
    constexpr std::uint16_t extended = 0x7FFF;
    constexpr std::uint16_t inKilobytes = 0x8000;
    constexpr unsigned int kilobyteShift = 10;
    constexpr unsigned int megabyteShift = 20;

    const auto size = structure.Read<std::uint16_t>(0x0C);
    if (!size || *size == unknown)
    {
        return std::nullopt;
    }
    if (*size == extended)
    {
        const auto megabytes = structure.Read<std::uint32_t>(0x1C);
        return megabytes ? std::optional{std::uint64_t{*megabytes & 0x7FFFFFFFU} << megabyteShift} : std::nullopt;
    }
    return std::uint64_t{*size & 0x7FFFU} << ((*size & inKilobytes) != 0 ? kilobyteShift : megabyteShift);
}

bool IsReadOnlyMemory(const Structure& structure)
{
    constexpr std::array<std::uint8_t, 5> readOnlyTypes{0x08, 0x09, 0x0A, 0x0B, 0x0C};
    const auto type = structure.Read<std::uint8_t>(0x12).value_or(0);
    return std::find(readOnlyTypes.begin(), readOnlyTypes.end(), type) != readOnlyTypes.end();
}

std::optional<MemoryDevice> ReadMemoryDevice(const Structure& structure)
{
    const auto capacity = ReadCapacity(structure);
    if (capacity == 0U || IsReadOnlyMemory(structure))
    {
        return std::nullopt;
    }
    return MemoryDevice{capacity, structure.ReadText(0x11)};
}

/// A count that has one byte, and a word further behind for what does not fit into it.
std::uint32_t ReadCount(const Structure& structure, std::size_t byteOffset, std::size_t wordOffset)
{
    constexpr std::uint8_t doesNotFit = 0xFF;
    const auto count = structure.Read<std::uint8_t>(byteOffset).value_or(0);
    return count == doesNotFit ? structure.Read<std::uint16_t>(wordOffset).value_or(count) : count;
}

std::optional<Processor> ReadProcessor(const Structure& structure)
{
    constexpr std::uint8_t centralProcessor = 3;
    constexpr std::uint8_t isPopulated = 0x40;
    if (structure.Read<std::uint8_t>(0x05) != centralProcessor ||
        (structure.Read<std::uint8_t>(0x18).value_or(0) & isPopulated) == 0)
    {
        return std::nullopt;
    }
    return Processor{
        structure.ReadText(0x10), structure.Read<std::uint16_t>(0x14).value_or(0), ReadCount(structure, 0x23, 0x2A),
        ReadCount(structure, 0x25, 0x2E)};
}

void AddTo(Table& table, const Structure& structure)
{
    switch (structure.type)
    {
    case BiosType:
        table.hasBios = true;
        break;
    case SystemType:
        if (!table.system)
        {
            table.system = ReadSystem(structure);
        }
        break;
    case ProcessorType:
        if (auto processor = ReadProcessor(structure))
        {
            table.processors.push_back(*std::move(processor));
        }
        break;
    case MemoryDeviceType:
        if (auto device = ReadMemoryDevice(structure))
        {
            table.memoryDevices.push_back(*std::move(device));
        }
        break;
    default:
        break;
    }
}

} // namespace

std::optional<EntryPoint> ParseEntryPoint(std::string_view bytes)
{
    if (bytes.starts_with("_SM3_"))
    {
        return ParseVersion3(bytes);
    }
    return bytes.starts_with("_SM_") ? ParseVersion2(bytes) : ParseLegacy(bytes);
}

Table ParseTable(std::string_view bytes, const EntryPoint& entryPoint)
{
    Table table;
    auto rest = bytes.substr(0, entryPoint.tableLength);
    const std::size_t most =
        entryPoint.structureCount ? *entryPoint.structureCount : std::numeric_limits<std::size_t>::max();
    for (std::size_t i = 0; i < most && !rest.empty(); ++i)
    {
        const auto structure = TakeStructure(rest);
        if (!structure)
        {
            table.isDamaged = true;
            break;
        }
        if (structure->type == EndOfTable)
        {
            break;
        }
        AddTo(table, *structure);
    }
    return table;
}

} // namespace AgentCore::System::Dmi
