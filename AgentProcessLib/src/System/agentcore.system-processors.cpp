#include "agentcore.system-processors.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "agentcore.system-texts.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::System
{

namespace
{

/// A socket while its parts are gathered.
struct Socket
{
    std::set<std::string, std::less<>> cores;
    std::uint32_t logicalProcessorCount = 0;
    /// Of one of its logical processors.
    std::optional<std::uint32_t> number;
    std::uint64_t maxKilohertz = 0;
};

using Sockets = std::map<std::int32_t, Socket>;

/// Names under which the architectures tell what the processor is called, the better ones first.
constexpr std::array<std::string_view, 4> NameRows{"model name", "cpu model", "cpu", "Processor"};

struct ArchitectureRow
{
    std::string_view machine;
    std::int32_t number;
};

/// Machines by how the kernel's names for them begin.
constexpr std::array<ArchitectureRow, 10> Architectures{
    {{"x86_64", 9},
     {"i386", 0},
     {"i486", 0},
     {"i586", 0},
     {"i686", 0},
     {"mips", 1},
     {"alpha", 2},
     {"ppc", 3},
     {"aarch64", 12},
     {"arm", 5}}};

std::int32_t ToCount(std::uint64_t number)
{
    return static_cast<std::int32_t>(std::min<std::uint64_t>(number, std::numeric_limits<std::int32_t>::max()));
}

std::uint32_t ParseMegahertz(std::string_view text)
{
    double megahertz = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), megahertz);
    const bool isSpeed =
        error == std::errc{} && megahertz >= 0.5 && megahertz < std::numeric_limits<std::int32_t>::max();
    return isSpeed ? static_cast<std::uint32_t>(std::lround(megahertz)) : 0;
}

bool HasWord(std::string_view list, std::string_view wanted)
{
    for (auto word = Texts::TakeWord(list); !word.empty(); word = Texts::TakeWord(list))
    {
        if (word == wanted)
        {
            return true;
        }
    }
    return false;
}

/// One block of /proc/cpuinfo while it is read.
struct Block
{
    CpuInfoEntry entry;
    std::size_t nameRank = NameRows.size();
    bool hasHypervisorFlag = false;

    void Take(std::string_view line)
    {
        const auto row = Texts::SplitAt(':', line);
        if (!row)
        {
            return;
        }
        if (row->name == "processor")
        {
            entry.number = Texts::ParseNumber<std::uint32_t>(row->value);
        }
        else if (row->name == "physical id")
        {
            entry.physicalId = Texts::ParseNumber<std::int32_t>(row->value);
        }
        else if (row->name == "core id")
        {
            entry.coreId = Texts::ParseNumber<std::int32_t>(row->value);
        }
        else if (row->name == "cpu MHz")
        {
            entry.megahertz = ParseMegahertz(row->value);
        }
        else if (row->name == "flags")
        {
            hasHypervisorFlag = HasWord(row->value, "hypervisor");
        }
        else
        {
            TakeName(*row);
        }
    }

private:
    void TakeName(const Texts::NameAndValue& row)
    {
        const auto rank =
            static_cast<std::size_t>(std::find(NameRows.begin(), NameRows.end(), row.name) - NameRows.begin());
        if (rank < nameRank && !row.value.empty())
        {
            nameRank = rank;
            entry.name = row.value;
        }
    }
};

/// Cuts the first block off `text`: the lines up to an empty one.
Block TakeBlock(std::string_view& text)
{
    Block block;
    while (!text.empty())
    {
        const auto line = Texts::TakeLine(text);
        if (Texts::Trim(line).empty())
        {
            break;
        }
        block.Take(line);
    }
    return block;
}

Sockets GatherSockets(const std::vector<LogicalCpu>& cpus)
{
    Sockets sockets;
    for (const auto& cpu : cpus)
    {
        auto& socket = sockets[cpu.package.value_or(0)];
        socket.cores.insert(cpu.coreSiblings.empty() ? fmt::format("cpu {}", cpu.number) : cpu.coreSiblings);
        ++socket.logicalProcessorCount;
        socket.number = socket.number.value_or(cpu.number);
        socket.maxKilohertz = std::max(socket.maxKilohertz, cpu.maxKilohertz);
    }
    return sockets;
}

/// The same from what /proc/cpuinfo tells.
std::vector<LogicalCpu> ToLogicalCpus(const CpuInfo& info)
{
    std::vector<LogicalCpu> cpus;
    for (const auto& entry : info.entries)
    {
        const auto core = entry.coreId ? fmt::format("core {}", *entry.coreId) : std::string{};
        cpus.push_back({*entry.number, entry.physicalId, core, 0});
    }
    return cpus;
}

/// The entries of /proc/cpuinfo by their numbers.
class EntryFinder
{
public:
    explicit EntryFinder(const CpuInfo& info)
    {
        for (const auto& entry : info.entries)
        {
            m_byNumber.emplace(*entry.number, &entry);
        }
    }

    /// The entry of that number, or, as the text may have been cut before it, the first one; null when there is none.
    const CpuInfoEntry* Find(std::optional<std::uint32_t> number) const
    {
        const auto found = number ? m_byNumber.find(*number) : m_byNumber.end();
        if (found != m_byNumber.end())
        {
            return found->second;
        }
        return m_byNumber.empty() ? nullptr : m_byNumber.begin()->second;
    }

private:
    std::map<std::uint32_t, const CpuInfoEntry*> m_byNumber;
};

/// Makes one processor out of all that is known of its socket.
class ProcessorMaker
{
public:
    ProcessorMaker(const CpuInfoEntry* entry, const Dmi::Processor* firmware, std::string field, InventoryGaps& gaps)
        : m_entry(entry), m_firmware(firmware), m_field(std::move(field)), e_gaps(gaps)
    {
    }

    std::wstring Name()
    {
        for (const auto& name :
             {m_entry != nullptr ? m_entry->name : "", m_firmware != nullptr ? m_firmware->version : ""})
        {
            if (!name.empty())
            {
                return Shared::Util::ConvertStringType(name);
            }
        }
        e_gaps.push_back({m_field + ".name", "neither /proc/cpuinfo nor the firmware names it"});
        return {};
    }

    std::int32_t MaxClockSpeed(std::uint64_t maxKilohertz)
    {
        constexpr std::uint64_t kilohertzPerMegahertz = 1000;
        const auto field = m_field + ".max_clock_speed";
        if (maxKilohertz >= kilohertzPerMegahertz)
        {
            return ToCount(maxKilohertz / kilohertzPerMegahertz);
        }
        if (m_firmware != nullptr && m_firmware->maxSpeedMegahertz > 0)
        {
            return ToCount(m_firmware->maxSpeedMegahertz);
        }
        if (m_entry != nullptr && m_entry->megahertz > 0)
        {
            e_gaps.push_back(
                {field,
                 "no frequency scaling, and the firmware tells none: it is the speed of the moment of /proc/cpuinfo"});
            return ToCount(m_entry->megahertz);
        }
        e_gaps.push_back({field, "no frequency scaling, and neither the firmware nor /proc/cpuinfo tells any"});
        return 0;
    }

private:
    const CpuInfoEntry* m_entry;
    const Dmi::Processor* m_firmware;
    std::string m_field;
    InventoryGaps& e_gaps;
};

std::string FieldOf(std::size_t index)
{
    return fmt::format("system.hardware.cpu[{}]", index);
}

std::vector<ProcessorRecord> MakeFromFirmware(
    const std::vector<Dmi::Processor>& firmware, std::int32_t architecture, InventoryGaps& gaps)
{
    std::vector<ProcessorRecord> records;
    for (const auto& processor : firmware)
    {
        ProcessorMaker maker(nullptr, &processor, FieldOf(records.size()), gaps);
        auto name = maker.Name();
        records.push_back(
            {architecture, std::move(name), maker.MaxClockSpeed(0), ToCount(processor.coreCount),
             ToCount(processor.threadCount)});
    }
    return records;
}

} // namespace

CpuInfo ParseCpuInfo(std::string_view text)
{
    CpuInfo info;
    std::string boardName;
    while (!text.empty())
    {
        auto block = TakeBlock(text);
        info.hasHypervisorFlag = info.hasHypervisorFlag || block.hasHypervisorFlag;
        if (block.entry.number)
        {
            info.entries.push_back(std::move(block.entry));
        }
        else if (!block.entry.name.empty())
        {
            boardName = std::move(block.entry.name);
        }
    }
    for (auto& entry : info.entries)
    {
        if (entry.name.empty())
        {
            entry.name = boardName;
        }
    }
    return info;
}

std::vector<std::uint32_t> ParseCpuList(std::string_view text)
{
    std::vector<std::pair<std::uint32_t, std::uint32_t>> ranges;
    while (!text.empty())
    {
        const auto piece = text.substr(0, text.find(','));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        const auto range = Texts::SplitAt('-', piece);
        const auto first = Texts::ParseNumber<std::uint32_t>(range ? range->name : piece);
        const auto last = Texts::ParseNumber<std::uint32_t>(range ? range->value : piece);
        if (first && last)
        {
            ranges.emplace_back(*first, std::min(*last, HighestCpuNumber));
        }
    }
    std::sort(ranges.begin(), ranges.end());
    std::vector<std::uint32_t> numbers;
    std::uint32_t next = 0;
    for (const auto& [first, last] : ranges)
    {
        for (next = std::max(next, first); next <= last; ++next)
        {
            numbers.push_back(next);
        }
    }
    return numbers;
}

std::vector<ProcessorRecord> MakeProcessors(
    const std::vector<LogicalCpu>& cpus,
    const CpuInfo& info,
    const std::vector<Dmi::Processor>& firmware,
    std::int32_t architecture,
    InventoryGaps& gaps)
{
    const auto sockets = GatherSockets(cpus.empty() ? ToLogicalCpus(info) : cpus);
    if (sockets.empty())
    {
        return MakeFromFirmware(firmware, architecture, gaps);
    }
    const EntryFinder entries(info);
    std::vector<ProcessorRecord> records;
    for (const auto& [package, socket] : sockets)
    {
        const auto index = records.size();
        ProcessorMaker maker(
            entries.Find(socket.number), index < firmware.size() ? &firmware[index] : nullptr, FieldOf(index), gaps);
        auto name = maker.Name();
        records.push_back(
            {architecture, std::move(name), maker.MaxClockSpeed(socket.maxKilohertz), ToCount(socket.cores.size()),
             ToCount(socket.logicalProcessorCount)});
    }
    return records;
}

std::int32_t FindArchitecture(std::string_view machine)
{
    constexpr std::int32_t unknown = 100;
    const auto* const row = std::find_if(
        Architectures.begin(), Architectures.end(),
        [machine](const ArchitectureRow& candidate) { return machine.starts_with(candidate.machine); });
    return row == Architectures.end() ? unknown : row->number;
}

} // namespace AgentCore::System
