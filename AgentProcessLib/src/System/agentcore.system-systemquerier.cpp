#include "agentcore.system-systemquerier.hpp"

#include <array>
#include <exception>
#include <optional>
#include <utility>

#include "agentcore.system-systemfunctions.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.wmi-value.hpp"

namespace AgentCore::System
{

namespace
{

using Shared::Exception::RuntimeException;
using Shared::Exception::Win32Exception;
using Shared::WMI::GetValueOrThrow;

struct ArchitectureRow
{
    std::int32_t architecture;
    const char* name;
};

constexpr std::array<ArchitectureRow, 8> ArchitectureNames{
    {{0, "x86"}, {1, "MIPS"}, {2, "Alpha"}, {3, "PowerPC"}, {5, "ARM"}, {6, "ia64"}, {9, "x64"}, {100, "Unknown"}}};

/// The architectures that were met and those of the table, kept for the life of the process.
struct ArchitectureMap
{
    ArchitectureMap()
    {
        for (const auto& row : ArchitectureNames)
        {
            names.emplace(row.architecture, row.name);
        }
    }

    Shared::Concurrency::CriticalSectionWrapper section;
    std::map<std::int32_t, std::string> names;
};

std::string GetText(
    const std::optional<std::wstring>& text, const std::source_location& where = std::source_location::current())
{
    return Shared::Util::ConvertStringType(GetValueOrThrow(text, where));
}

/// The row, or the failure that there is none.
template <typename Record>
const Record& GetRowOrThrow(
    const std::optional<Record>& row,
    const char* failure,
    const std::source_location& where = std::source_location::current())
{
    if (!row)
    {
        throw RuntimeException(failure, where);
    }
    return *row;
}

/// Tells of a failure, unless the source has told better why something is missing.
void AddIfNone(InventoryGaps& gaps, const char* field, const std::exception& exception)
{
    if (gaps.empty())
    {
        gaps.push_back({field, exception.what()});
    }
}

ComputerSystem ToMessage(const ComputerSystemRecord& record)
{
    ComputerSystem message;
    message.set_is_hypervisor_present(GetValueOrThrow(record.isHypervisorPresent));
    message.set_domain(GetText(record.domain));
    message.set_name(GetText(record.name));
    message.set_manufacturer(GetText(record.manufacturer));
    message.set_model(GetText(record.model));
    return message;
}

Cpu ToMessage(const ProcessorRecord& record)
{
    // Its name has no place in the message; looking it up is how an architecture becomes known.
    (void)GetArchitectureName(GetValueOrThrow(record.architecture));
    Cpu message;
    message.set_name(GetText(record.name));
    message.set_max_clock_speed(GetValueOrThrow(record.maxClockSpeed));
    message.set_core_count(GetValueOrThrow(record.coreCount));
    message.set_logical_processor_count(GetValueOrThrow(record.logicalProcessorCount));
    return message;
}

PhysicalRamDevice ToMessage(const MemoryModuleRecord& record)
{
    PhysicalRamDevice message;
    message.set_capacity(GetValueOrThrow(record.capacity));
    message.set_bank_label(GetText(record.bankLabel));
    return message;
}

LogicalDisk ToMessage(const LogicalDiskRecord& record)
{
    LogicalDisk message;
    message.set_name(GetText(record.name));
    message.set_file_system(GetText(record.fileSystem));
    message.set_drive_type(GetValueOrThrow(record.mediaType));
    message.set_size(GetValueOrThrow(record.size));
    message.set_free_space(GetValueOrThrow(record.freeSpace));
    return message;
}

BatteryStatus ToMessage(const PowerStatusRecord& record)
{
    BatteryStatus message;
    message.set_ac_line_status(record.acLineStatus);
    message.set_battery_flag(record.batteryFlag);
    message.set_battery_life_percent(record.batteryLifePercent);
    message.set_system_status_flag(record.systemStatusFlag);
    message.set_battery_life_time(record.batteryLifeTime);
    message.set_battery_full_lifetime(record.batteryFullLifeTime);
    return message;
}

} // namespace

SystemQuerier::SystemQuerier()
    : m_source(MakeInventorySource()),
      m_networking(std::make_unique<NetworkingQuerier>()),
      m_wlan(std::make_unique<Wlan::WlanQuerier>())
{
}

SystemQuerier::SystemQuerier(
    std::unique_ptr<InventorySource> source,
    std::unique_ptr<NetworkingQuerier> networking,
    std::unique_ptr<Wlan::WlanQuerier> wlan) noexcept
    : m_source(std::move(source)), m_networking(std::move(networking)), m_wlan(std::move(wlan))
{
}

template <typename Query>
void SystemQuerier::Run(const Getter& getter, const Query& query, const std::source_location& where)
{
    auto& gaps = m_gaps[getter.field];
    gaps.clear();
    try
    {
        query(gaps);
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException(getter.failure, exception, where);
        AddIfNone(gaps, getter.field, exception);
    }
    for (const auto& gap : gaps)
    {
        Shared::Log::Debug("Not in the inventory: {}: {}", gap.field, gap.reason);
    }
}

ComputerSystem SystemQuerier::GetSystemInfo()
{
    ComputerSystem result;
    Run({"Exception during GetSystemInfo()", "system.computer"},
        [&](InventoryGaps& gaps)
        {
            const auto row = m_source->QueryComputerSystem(gaps);
            result = ToMessage(GetRowOrThrow(row, "Could not extract Win32_ComputerSystem information."));
        });
    return result;
}

OperatingSystem SystemQuerier::GetOsInfo()
{
    OperatingSystem result;
    Run({"Exception during GetOsInfo()", "system.os"},
        [&](InventoryGaps& gaps)
        {
            const auto release = m_source->QueryReleaseName(gaps);
            if (!release)
            {
                Shared::Log::Warn(
                    "SystemQuerier could not determine the DisplayVersion or ReleaseId of this version of "
                    "Windows.");
            }
            const auto row = m_source->QueryOperatingSystem(gaps);
            const auto& record = GetRowOrThrow(row, "Could not extract Win32_OperatingSystem information.");
            OperatingSystem message;
            message.set_name(GetText(record.caption));
            message.set_version(Shared::Util::ConvertStringType(release.value_or(L"")));
            result = std::move(message);
        });
    return result;
}

std::vector<Cpu> SystemQuerier::GetCpuInfo()
{
    std::vector<Cpu> result;
    Run({"Exception during GetCpuInfo()", "system.hardware.cpu"},
        [&](InventoryGaps& gaps)
        {
            std::vector<Cpu> messages;
            m_source->QueryProcessors(
                gaps, [&messages](const ProcessorRecord& record) { messages.push_back(ToMessage(record)); });
            result = std::move(messages);
        });
    return result;
}

std::vector<PhysicalRamDevice> SystemQuerier::GetRamInfo()
{
    std::vector<PhysicalRamDevice> result;
    Run({"Exception during GetRamInfo()", "system.hardware.ram.modules"},
        [&](InventoryGaps& gaps)
        {
            std::vector<PhysicalRamDevice> messages;
            m_source->QueryMemoryModules(
                gaps, [&messages](const MemoryModuleRecord& record) { messages.push_back(ToMessage(record)); });
            result = std::move(messages);
        });
    return result;
}

Bios SystemQuerier::GetBiosInfo()
{
    Bios result;
    Run({"Exception during GetBiosInfo()", "system.bios"},
        [&](InventoryGaps& gaps)
        {
            const auto row = m_source->QueryBios(gaps);
            result.set_serial_number(GetText(GetRowOrThrow(row, "Could not extract BIOS information.").serialNumber));
        });
    return result;
}

std::vector<LogicalDisk> SystemQuerier::GetLogicalDisks()
{
    std::vector<LogicalDisk> result;
    Run({"Exception during GetLogicalDisks()", "system.logical_drives"},
        [&](InventoryGaps& gaps)
        {
            // The disks before a failure are told, unlike in the other lists.
            m_source->QueryLogicalDisks(
                gaps, [&result](const LogicalDiskRecord& record) { result.push_back(ToMessage(record)); });
        });
    return result;
}

BatteryStatus SystemQuerier::GetBatteryStatus()
{
    const Getter getter{"Exception during GetBatteryStatus()", "system.battery_status"};
    BatteryStatus result;
    Run(getter,
        [&](InventoryGaps& gaps)
        {
            try
            {
                result = ToMessage(m_source->QueryPowerStatus(gaps));
            }
            catch (const Win32Exception& exception)
            {
                Shared::Log::Error("GetSystemPowerStatus() failed: {}", exception.GetCode());
                AddIfNone(gaps, getter.field, exception);
            }
        });
    return result;
}

std::vector<WirelessLan> SystemQuerier::GetWirelessLans()
{
    std::vector<WirelessLan> result;
    Run({"Exception during GetWlanStats()", "network.wlans"}, [&](InventoryGaps&) { result = m_wlan->GetWlanStats(); });
    return result;
}

std::vector<NetworkInterfaceRecord> SystemQuerier::GetNetworkInterfaces()
{
    std::vector<NetworkInterfaceRecord> result;
    Run({"Exception during GetNetworkInterfaces()", "network.interfaces"},
        [&](InventoryGaps&) { result = m_networking->GetNetworkInterfaces(); });
    return result;
}

std::uint64_t SystemQuerier::GetTotalPhysicalRam() noexcept
{
    return GetTotalPhysicalRamOrZero();
}

InventoryGaps SystemQuerier::GetGaps() const
{
    InventoryGaps all;
    for (const auto& [field, gaps] : m_gaps)
    {
        all.insert(all.end(), gaps.begin(), gaps.end());
    }
    return all;
}

const std::string& GetArchitectureName(std::int32_t architecture)
{
    // Never destroyed, as threads may outlive the end of main().
    static auto& s_map = *new ArchitectureMap();
    const Shared::Concurrency::CriticalSection guard(s_map.section.Get());
    return s_map.names[architecture];
}

} // namespace AgentCore::System
