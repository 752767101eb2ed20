#include "agentcore.system-inventorysource.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "agentcore.system-dmitable.hpp"
#include "agentcore.system-hostname.hpp"
#include "agentcore.system-mounts.hpp"
#include "agentcore.system-powersupply.hpp"
#include "agentcore.system-processors.hpp"
#include "agentcore.system-texts.hpp"
#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.system-osrelease.linux.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.util-functions.hpp"

#include <sys/utsname.h>

namespace AgentCore::System
{

namespace
{

using Shared::Exception::TranslateWin32Error;
using Shared::Exception::Win32Exception;
using Shared::Util::ConvertStringType;

constexpr const char* EntryPointFile = "/sys/firmware/dmi/tables/smbios_entry_point";
constexpr const char* TableFile = "/sys/firmware/dmi/tables/DMI";
constexpr const char* CpuFolder = "/sys/devices/system/cpu";
constexpr const char* PowerSupplyFolder = "/sys/class/power_supply";

/// A file's content, or why there is none.
struct FileText
{
    std::optional<std::string> content;
    /// "<path> cannot be read: <reason>", and the errno.
    std::string reason;
    int code = 0;
};

std::string Explain(std::string_view path, int code)
{
    return fmt::format("{} cannot be read: {}", path, TranslateWin32Error(static_cast<std::uint32_t>(code)));
}

FileText Read(const std::string& root, const std::string& path)
{
    auto content = Shared::System::ReadProcFile(root + path);
    if (content)
    {
        return {std::move(content), {}, 0};
    }
    const int code = errno;
    return {std::nullopt, Explain(path, code), code};
}

/// A file's only line without its end; empty when there is none.
std::string ReadLine(const std::string& root, const std::string& path)
{
    return std::string{Texts::Trim(Read(root, path).content.value_or(""))};
}

template <typename Number>
std::optional<Number> ReadNumber(const std::string& root, const std::string& path)
{
    return Texts::ParseNumber<Number>(ReadLine(root, path));
}

/// The DMI tables, or why there are none.
struct Firmware
{
    std::optional<Dmi::Table> table;
    std::string reason;
    int code = 0;
};

Firmware ReadFirmware(const std::string& root)
{
    const auto entryPointText = Read(root, EntryPointFile);
    if (!entryPointText.content)
    {
        return {std::nullopt, entryPointText.reason, entryPointText.code};
    }
    const auto entryPoint = Dmi::ParseEntryPoint(*entryPointText.content);
    if (!entryPoint)
    {
        return {std::nullopt, std::string{EntryPointFile} + " makes no sense", EBADMSG};
    }
    const auto table = Read(root, TableFile);
    if (!table.content)
    {
        return {std::nullopt, table.reason, table.code};
    }
    return {Dmi::ParseTable(*table.content, *entryPoint), {}, 0};
}

/// A value of the machine as a whole.
struct FirmwareValue
{
    std::string text;
    /// Why it is empty.
    std::string reason;
    /// Whether there is firmware that could tell it, if only to somebody else.
    bool hasFirmware = false;
};

/// Where a value stands in each of the firmware's three forms; no device-tree file when it does not know such a value.
struct FirmwareSource
{
    std::string Dmi::SystemInformation::*member;
    const char* dmiFile;
    const char* deviceTreeFile;
};

constexpr FirmwareSource Manufacturer{&Dmi::SystemInformation::manufacturer, "/sys/class/dmi/id/sys_vendor", nullptr};
constexpr FirmwareSource Model{
    &Dmi::SystemInformation::productName, "/sys/class/dmi/id/product_name", "/sys/firmware/devicetree/base/model"};
constexpr FirmwareSource SerialNumber{
    &Dmi::SystemInformation::serialNumber, "/sys/class/dmi/id/product_serial",
    "/sys/firmware/devicetree/base/serial-number"};

FirmwareValue MakeValue(std::string text)
{
    // The kernel ends its copy with a line end, the device tree with a null character.
    text.resize(std::min(text.find_first_of(std::string_view{"\n\0", 2}), text.size()));
    const bool isBlank = text.find_first_not_of(' ') == std::string::npos;
    return isBlank ? FirmwareValue{{}, "the firmware tells none", true} : FirmwareValue{std::move(text), {}, true};
}

FirmwareValue ReadValue(const std::string& root, const Firmware& firmware, const FirmwareSource& source)
{
    if (firmware.table && firmware.table->system)
    {
        return MakeValue((*firmware.table->system).*source.member);
    }
    auto copy = Read(root, source.dmiFile);
    if (copy.content)
    {
        return MakeValue(*std::move(copy.content));
    }
    auto leaf = source.deviceTreeFile == nullptr ? FileText{} : Read(root, source.deviceTreeFile);
    if (leaf.content)
    {
        return MakeValue(*std::move(leaf.content));
    }
    return {{}, copy.reason, copy.code != ENOENT || (firmware.table && firmware.table->hasBios)};
}

/// The text of a value, which may be missing without harm to others.
std::wstring TakeText(const FirmwareValue& value, const char* field, InventoryGaps& gaps)
{
    if (value.text.empty())
    {
        gaps.push_back({field, value.reason});
    }
    return ConvertStringType(value.text);
}

bool HasHypervisor(const std::string& root, InventoryGaps& gaps)
{
    const auto info = Read(root, "/proc/cpuinfo");
    if (info.content && ParseCpuInfo(*info.content).hasHypervisorFlag)
    {
        return true;
    }
    for (const char* const path : {"/sys/hypervisor/type", "/sys/firmware/devicetree/base/hypervisor/compatible"})
    {
        if (!Read(root, path).content.value_or("").empty())
        {
            return true;
        }
    }
    if (!info.content)
    {
        gaps.push_back({"system.computer.is_hypervisor_present", info.reason});
    }
    return false;
}

HostNames ReadHostNames(const std::string& root, InventoryGaps& gaps)
{
    const auto hostName = Read(root, "/proc/sys/kernel/hostname");
    auto names = FindHostNames(
        hostName.content.value_or(""), ReadLine(root, "/proc/sys/kernel/domainname"),
        Read(root, "/etc/hosts").content.value_or(""));
    if (names.name.empty())
    {
        gaps.push_back({"system.computer.name", hostName.content ? "the kernel has none" : hostName.reason});
    }
    if (names.domain.empty())
    {
        gaps.push_back(
            {"system.computer.domain",
             "neither the host name, nor /etc/hosts, nor the kernel's domain name tells one"});
    }
    return names;
}

Shared::System::OsRelease ReadDistribution(const std::string& root, std::string& reason)
{
    for (const char* const path : {"/etc/os-release", "/usr/lib/os-release"})
    {
        const auto text = Read(root, path);
        if (text.content)
        {
            return Shared::System::ParseOsRelease(*text.content);
        }
        reason = text.reason;
    }
    return {};
}

std::string FindOr(const Shared::System::OsRelease& distribution, std::string_view name, const std::string& otherwise)
{
    const auto found = distribution.find(name);
    return found == distribution.end() || found->second.empty() ? otherwise : found->second;
}

LogicalCpu ReadLogicalCpu(const std::string& root, std::uint32_t number)
{
    const auto folder = fmt::format("{}/cpu{}", CpuFolder, number);
    LogicalCpu cpu;
    cpu.number = number;
    cpu.package = ReadNumber<std::int32_t>(root, folder + "/topology/physical_package_id");
    cpu.coreSiblings = ReadLine(root, folder + "/topology/core_cpus_list");
    if (cpu.coreSiblings.empty())
    {
        // As kernels before 5.3 call it.
        cpu.coreSiblings = ReadLine(root, folder + "/topology/thread_siblings_list");
    }
    cpu.maxKilohertz = ReadNumber<std::uint64_t>(root, folder + "/cpufreq/cpuinfo_max_freq").value_or(0);
    return cpu;
}

std::string ReadMachine()
{
    utsname kernel{};
    return ::uname(&kernel) == 0 ? kernel.machine : "";
}

std::string DiskField(const std::string& mountPoint)
{
    return "system.logical_drives[" + mountPoint + "]";
}

/// The folder in which the kernel tells of the volume's block device.
std::string FindDeviceFolder(const std::string& root, const Volume& volume)
{
    if (volume.major != 0)
    {
        return fmt::format("/sys/dev/block/{}:{}", volume.major, volume.minor);
    }
    return "/sys/class/block/" + FindDeviceName(root, volume.source);
}

std::int32_t ReadMediaType(
    const std::string& root, const Volume& volume, const std::string& mountPoint, InventoryGaps& gaps)
{
    const auto folder = FindDeviceFolder(root, volume);
    auto isRemovable = ReadNumber<std::uint32_t>(root, folder + "/removable");
    if (!isRemovable)
    {
        // Of a partition, the disk knows.
        isRemovable = ReadNumber<std::uint32_t>(root, folder + "/../removable");
    }
    if (!isRemovable)
    {
        gaps.push_back({DiskField(mountPoint) + ".drive_type", folder + " does not tell whether it is removable"});
        return MediaType::Unknown;
    }
    return *isRemovable == 0 ? MediaType::Fixed : MediaType::Removable;
}

/// The volume as it is told of at the first of its mount points that can be asked.
std::optional<LogicalDiskRecord> ReadDisk(
    const std::string& root,
    const Volume& volume,
    const LinuxInventorySource::RoomQuery& queryRoom,
    InventoryGaps& gaps)
{
    std::string reason;
    for (const auto& mountPoint : volume.mountPoints)
    {
        if (const auto room = queryRoom(root + mountPoint))
        {
            return LogicalDiskRecord{
                ConvertStringType(mountPoint), ConvertStringType(volume.fileSystem),
                ReadMediaType(root, volume, mountPoint, gaps), room->size, room->free};
        }
        if (reason.empty())
        {
            reason = Explain(mountPoint, errno);
        }
    }
    gaps.push_back({DiskField(volume.mountPoints.front()), reason});
    return std::nullopt;
}

/// Names of the folders of all power supplies, in order.
std::vector<std::string> ListPowerSupplies(const std::string& root, std::error_code& error)
{
    constexpr std::size_t most = 256;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(root + PowerSupplyFolder, error), end; !error && entry != end;
         entry.increment(error))
    {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    names.resize(std::min(names.size(), most));
    return names;
}

} // namespace

LinuxInventorySource::LinuxInventorySource(std::string root, RoomQuery queryRoom)
    : m_root(std::move(root)), m_queryRoom(queryRoom ? std::move(queryRoom) : &AskForRoom)
{
}

std::optional<ComputerSystemRecord> LinuxInventorySource::QueryComputerSystem(InventoryGaps& gaps)
{
    const auto firmware = ReadFirmware(m_root);
    const bool hasHypervisor = HasHypervisor(m_root, gaps);
    const auto names = ReadHostNames(m_root, gaps);
    const auto manufacturer = ReadValue(m_root, firmware, Manufacturer);
    const auto model = ReadValue(m_root, firmware, Model);
    ComputerSystemRecord record{
        hasHypervisor, ConvertStringType(names.domain), ConvertStringType(names.name),
        TakeText(manufacturer, "system.computer.manufacturer", gaps), TakeText(model, "system.computer.model", gaps)};
    const bool isKnown = !names.name.empty() || !manufacturer.text.empty() || !model.text.empty();
    return isKnown ? std::optional{std::move(record)} : std::nullopt;
}

std::optional<OperatingSystemRecord> LinuxInventorySource::QueryOperatingSystem(InventoryGaps& gaps)
{
    std::string reason;
    const auto distribution = ReadDistribution(m_root, reason);
    const auto caption =
        FindOr(distribution, "PRETTY_NAME", FindOr(distribution, "NAME", ReadLine(m_root, "/proc/sys/kernel/ostype")));
    if (caption.empty())
    {
        gaps.push_back({"system.os.name", reason.empty() ? "os-release names none" : reason});
        return std::nullopt;
    }
    return OperatingSystemRecord{ConvertStringType(caption)};
}

std::optional<BiosRecord> LinuxInventorySource::QueryBios(InventoryGaps& gaps)
{
    const auto serialNumber = ReadValue(m_root, ReadFirmware(m_root), SerialNumber);
    if (!serialNumber.text.empty())
    {
        return BiosRecord{ConvertStringType(serialNumber.text)};
    }
    gaps.push_back({"system.bios.serial_number", serialNumber.reason});
    return serialNumber.hasFirmware ? std::optional{BiosRecord{}} : std::nullopt;
}

std::optional<std::wstring> LinuxInventorySource::QueryReleaseName(InventoryGaps& gaps)
{
    std::string reason;
    const auto distribution = ReadDistribution(m_root, reason);
    try
    {
        return Shared::System::MakeOsVersion(
                   ReadLine(m_root, "/proc/sys/kernel/ostype"), ReadLine(m_root, "/proc/sys/kernel/osrelease"),
                   distribution)
            .releaseId;
    }
    catch (const std::exception& exception)
    {
        gaps.push_back({"system.os.version", reason.empty() ? exception.what() : reason});
        return std::nullopt;
    }
}

void LinuxInventorySource::QueryProcessors(InventoryGaps& gaps, const Visitor<ProcessorRecord>& visit)
{
    const auto online = Read(m_root, std::string{CpuFolder} + "/online");
    std::vector<LogicalCpu> cpus;
    for (const auto number : ParseCpuList(online.content.value_or("")))
    {
        cpus.push_back(ReadLogicalCpu(m_root, number));
    }
    const auto info = Read(m_root, "/proc/cpuinfo");
    const auto records = MakeProcessors(
        cpus, ParseCpuInfo(info.content.value_or("")), ReadFirmware(m_root).table.value_or(Dmi::Table{}).processors,
        FindArchitecture(ReadMachine()), gaps);
    if (records.empty())
    {
        const auto reason = online.content ? std::string{CpuFolder} + "/online names none" : online.reason;
        gaps.push_back({"system.hardware.cpu", reason});
        throw Win32Exception(reason, static_cast<std::uint32_t>(online.code));
    }
    std::for_each(records.begin(), records.end(), visit);
}

void LinuxInventorySource::QueryMemoryModules(InventoryGaps& gaps, const Visitor<MemoryModuleRecord>& visit)
{
    const std::string field = "system.hardware.ram.modules";
    const auto firmware = ReadFirmware(m_root);
    if (!firmware.table)
    {
        gaps.push_back({field, firmware.reason});
        if (firmware.code != ENOENT)
        {
            throw Win32Exception(firmware.reason, static_cast<std::uint32_t>(firmware.code));
        }
        return;
    }
    const auto& devices = firmware.table->memoryDevices;
    if (firmware.table->isDamaged)
    {
        gaps.push_back({field, "the firmware's table ends within an entry: there may be more"});
    }
    else if (devices.empty())
    {
        gaps.push_back({field, "the firmware lists none"});
    }
    for (std::size_t i = 0; i < devices.size(); ++i)
    {
        if (!devices[i].capacity)
        {
            gaps.push_back({fmt::format("{}[{}].capacity", field, i), "the firmware does not know it"});
        }
        visit({devices[i].capacity.value_or(0), ConvertStringType(devices[i].bankLabel)});
    }
}

void LinuxInventorySource::QueryLogicalDisks(InventoryGaps& gaps, const Visitor<LogicalDiskRecord>& visit)
{
    const auto mounts = Read(m_root, "/proc/self/mountinfo");
    if (!mounts.content)
    {
        gaps.push_back({"system.logical_drives", mounts.reason});
        throw Win32Exception(mounts.reason, static_cast<std::uint32_t>(mounts.code));
    }
    for (const auto& volume : SelectVolumes(ParseMountInfo(*mounts.content), gaps))
    {
        if (const auto record = ReadDisk(m_root, volume, m_queryRoom, gaps))
        {
            visit(*record);
        }
    }
}

PowerStatusRecord LinuxInventorySource::QueryPowerStatus(InventoryGaps& gaps)
{
    std::error_code error;
    const auto names = ListPowerSupplies(m_root, error);
    if (error)
    {
        gaps.push_back({"system.battery_status", Explain(PowerSupplyFolder, error.value())});
        if (error != std::errc::no_such_file_or_directory)
        {
            throw Win32Exception("GetSystemPowerStatus() failed", static_cast<std::uint32_t>(error.value()));
        }
        return {};
    }
    std::vector<PowerSupply> supplies;
    for (const auto& name : names)
    {
        const auto folder = fmt::format("{}/{}", PowerSupplyFolder, name);
        // A device is not asked: a mouse may sleep for seconds before it answers.
        if (ReadLine(m_root, folder + "/scope") != "Device")
        {
            supplies.push_back(ParsePowerSupply(
                ReadLine(m_root, folder + "/type"), Read(m_root, folder + "/uevent").content.value_or("")));
        }
    }
    return MakePowerStatus(supplies);
}

std::unique_ptr<InventorySource> MakeInventorySource()
{
    return std::make_unique<LinuxInventorySource>();
}

} // namespace AgentCore::System
