#include "agentcore.system-inventorysource.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.winreg-functions.hpp"
#include "shared.wmi-wmi.windows.hpp"

#include "shared.platform-windows.windows.hpp"

namespace AgentCore::System
{

namespace
{

using Shared::WMI::WMIClassObject;
using Shared::WMI::WMIServer;
using Shared::WMI::WmiStringAsUInt64;

/// Reads a property. False, as there is no need to read on, when it is null.
template <typename Type, typename Value>
bool Read(const WMIClassObject& row, const wchar_t* name, std::optional<Value>& value)
{
    value = row.Get<Type>(name);
    return value.has_value();
}

// Each reads its row's properties in the order in which they are asked of the record.

ComputerSystemRecord ReadComputerSystem(const WMIClassObject& row)
{
    ComputerSystemRecord record;
    (void)(Read<bool>(row, L"HypervisorPresent", record.isHypervisorPresent) &&
           Read<std::wstring>(row, L"Domain", record.domain) && Read<std::wstring>(row, L"Name", record.name) &&
           Read<std::wstring>(row, L"Manufacturer", record.manufacturer) &&
           Read<std::wstring>(row, L"Model", record.model));
    return record;
}

OperatingSystemRecord ReadOperatingSystem(const WMIClassObject& row)
{
    return {row.Get<std::wstring>(L"Caption")};
}

BiosRecord ReadBios(const WMIClassObject& row)
{
    return {row.Get<std::wstring>(L"SerialNumber")};
}

ProcessorRecord ReadProcessor(const WMIClassObject& row)
{
    ProcessorRecord record;
    (void)(Read<std::int32_t>(row, L"Architecture", record.architecture) &&
           Read<std::wstring>(row, L"Name", record.name) &&
           Read<std::int32_t>(row, L"MaxClockSpeed", record.maxClockSpeed) &&
           Read<std::int32_t>(row, L"NumberOfCores", record.coreCount) &&
           Read<std::int32_t>(row, L"NumberOfLogicalProcessors", record.logicalProcessorCount));
    return record;
}

MemoryModuleRecord ReadMemoryModule(const WMIClassObject& row)
{
    MemoryModuleRecord record;
    (void)(Read<WmiStringAsUInt64>(row, L"Capacity", record.capacity) &&
           Read<std::wstring>(row, L"BankLabel", record.bankLabel));
    return record;
}

LogicalDiskRecord ReadLogicalDisk(const WMIClassObject& row)
{
    LogicalDiskRecord record;
    (void)(Read<std::wstring>(row, L"Name", record.name) && Read<std::wstring>(row, L"FileSystem", record.fileSystem) &&
           Read<std::int32_t>(row, L"MediaType", record.mediaType) &&
           Read<WmiStringAsUInt64>(row, L"Size", record.size) &&
           Read<WmiStringAsUInt64>(row, L"FreeSpace", record.freeSpace));
    return record;
}

class WmiInventorySource final : public InventorySource
{
public:
    std::optional<ComputerSystemRecord> QueryComputerSystem(InventoryGaps&) override
    {
        return First(L"select * from Win32_ComputerSystem", &ReadComputerSystem);
    }

    std::optional<OperatingSystemRecord> QueryOperatingSystem(InventoryGaps&) override
    {
        return First(L"select * from Win32_OperatingSystem", &ReadOperatingSystem);
    }

    std::optional<BiosRecord> QueryBios(InventoryGaps&) override
    {
        return First(L"select * from Win32_BIOS", &ReadBios);
    }

    std::optional<std::wstring> QueryReleaseName(InventoryGaps& gaps) override
    {
        const std::wstring key = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
        for (const wchar_t* const name : {L"DisplayVersion", L"ReleaseId"})
        {
            std::wstring text;
            if (Shared::WinReg::TryGetStringValue(Shared::WinReg::Root::LocalMachine, key, name, text))
            {
                return text;
            }
        }
        gaps.push_back({"system.os.version", "the registry has neither DisplayVersion nor ReleaseId"});
        return std::nullopt;
    }

    void QueryProcessors(InventoryGaps&, const Visitor<ProcessorRecord>& visit) override
    {
        ForEach(L"select * from Win32_Processor", &ReadProcessor, visit);
    }

    void QueryMemoryModules(InventoryGaps&, const Visitor<MemoryModuleRecord>& visit) override
    {
        ForEach(L"select * from Win32_PhysicalMemory", &ReadMemoryModule, visit);
    }

    void QueryLogicalDisks(InventoryGaps&, const Visitor<LogicalDiskRecord>& visit) override
    {
        ForEach(L"select * from Win32_LogicalDisk", &ReadLogicalDisk, visit);
    }

    PowerStatusRecord QueryPowerStatus(InventoryGaps&) override
    {
        SYSTEM_POWER_STATUS status{};
        if (::GetSystemPowerStatus(&status) == FALSE)
        {
            throw Shared::Exception::Win32Exception("GetSystemPowerStatus() failed", Shared::Platform::LastError());
        }
        return {
            status.ACLineStatus, status.BatteryFlag, status.BatteryLifePercent,
            // SystemStatusFlag, by the name that it had before Windows 10, as MinGW's header has it.
            status.Reserved1, static_cast<std::int32_t>(status.BatteryLifeTime),
            static_cast<std::int32_t>(status.BatteryFullLifeTime)};
    }

private:
    template <typename Record>
    std::optional<Record> First(const wchar_t* wql, Record (*read)(const WMIClassObject&)) const
    {
        const auto row = m_cimV2.Query(wql).Next();
        return row ? std::optional{read(*row)} : std::nullopt;
    }

    template <typename Record>
    void ForEach(const wchar_t* wql, Record (*read)(const WMIClassObject&), const Visitor<Record>& visit) const
    {
        auto rows = m_cimV2.Query(wql);
        while (const auto row = rows.Next())
        {
            visit(read(*row));
        }
    }

    WMIServer m_cimV2{L"ROOT\\CIMV2"};
    // Nothing is asked of these two; a machine on which they cannot be had has no inventory.
    WMIServer m_storage{L"ROOT\\MICROSOFT\\WINDOWS\\STORAGE"};
    WMIServer m_wmi{L"ROOT\\WMI"};
};

} // namespace

std::unique_ptr<InventorySource> MakeInventorySource()
{
    return std::make_unique<WmiInventorySource>();
}

} // namespace AgentCore::System
