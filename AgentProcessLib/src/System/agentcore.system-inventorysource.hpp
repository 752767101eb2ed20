#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace AgentCore::System
{

/// A value of the inventory that this machine did not tell, or not as well as it should.
struct InventoryGap
{
    /// Where the value is missed, as the fields of the message `Startup` lead there: "system.bios.serial_number",
    /// "system.logical_drives[/mnt/data]".
    std::string field;
    /// Why, in a few words for people: which file or call, and what the system said.
    std::string reason;

    bool operator==(const InventoryGap&) const = default;
};

using InventoryGaps = std::vector<InventoryGap>;

// The records of the inventory, one for each row that the platform has. A property that is nothing is null there, and
// fails what reads the record with "WmiValue is null". A platform that can do without a property gives its empty value
// and a gap instead.

struct ComputerSystemRecord
{
    std::optional<bool> isHypervisorPresent;
    std::optional<std::wstring> domain;
    std::optional<std::wstring> name;
    std::optional<std::wstring> manufacturer;
    std::optional<std::wstring> model;
};

struct OperatingSystemRecord
{
    std::optional<std::wstring> caption;
};

/// One processor, in the sense of one socket.
struct ProcessorRecord
{
    /// 0 x86, 1 MIPS, 2 Alpha, 3 PowerPC, 5 ARM, 6 ia64, 9 x64, 12 ARM64.
    std::optional<std::int32_t> architecture;
    std::optional<std::wstring> name;
    /// Megahertz.
    std::optional<std::int32_t> maxClockSpeed;
    std::optional<std::int32_t> coreCount;
    std::optional<std::int32_t> logicalProcessorCount;
};

/// One memory module.
struct MemoryModuleRecord
{
    /// Bytes.
    std::optional<std::uint64_t> capacity;
    std::optional<std::wstring> bankLabel;
};

struct BiosRecord
{
    std::optional<std::wstring> serialNumber;
};

/// Kinds of media, as they are told of logical disks: floppy disks have the numbers between.
namespace MediaType
{
inline constexpr std::int32_t Unknown = 0;
/// Removable, other than a floppy disk.
inline constexpr std::int32_t Removable = 11;
inline constexpr std::int32_t Fixed = 12;
} // namespace MediaType

struct LogicalDiskRecord
{
    /// The drive letter with its colon on Windows, the mount point on Linux.
    std::optional<std::wstring> name;
    std::optional<std::wstring> fileSystem;
    std::optional<std::int32_t> mediaType;
    /// Bytes.
    std::optional<std::uint64_t> size;
    /// Bytes that users may still fill.
    std::optional<std::uint64_t> freeSpace;
};

/// Power supply and battery, in the numbers of the Windows power status.
struct PowerStatusRecord
{
    static constexpr std::uint32_t AcOffline = 0;
    static constexpr std::uint32_t AcOnline = 1;

    /// More than 66 per cent.
    static constexpr std::uint32_t BatteryHigh = 1;
    /// Less than 33 per cent.
    static constexpr std::uint32_t BatteryLow = 2;
    /// Less than 5 per cent.
    static constexpr std::uint32_t BatteryCritical = 4;
    static constexpr std::uint32_t BatteryCharging = 8;
    static constexpr std::uint32_t NoBattery = 128;

    /// Of line status, flag and percentage.
    static constexpr std::uint32_t Unknown = 255;
    static constexpr std::int32_t UnknownTime = -1;

    std::uint32_t acLineStatus = Unknown;
    std::uint32_t batteryFlag = Unknown;
    /// 0 to 100.
    std::uint32_t batteryLifePercent = Unknown;
    /// 1 while the battery saver is on.
    std::uint32_t systemStatusFlag = 0;
    /// Seconds that the battery lasts from now; unknown on line power.
    std::int32_t batteryLifeTime = UnknownTime;
    /// Seconds that it would last when full; unknown on line power.
    std::int32_t batteryFullLifeTime = UnknownTime;

    bool operator==(const PowerStatusRecord&) const = default;
};

/// Where the inventory comes from: one operation for each of its tables. Each asks anew, adds to `gaps` what it cannot
/// tell, and throws when the whole of its query fails. Belongs to the thread that made it, which on Windows has
/// initialised COM before.
class InventorySource
{
public:
    template <typename Record>
    using Visitor = std::function<void(const Record&)>;

    InventorySource() = default;
    InventorySource(const InventorySource&) = delete;
    InventorySource& operator=(const InventorySource&) = delete;
    virtual ~InventorySource() = default;

    /// The first row; nothing when there is none.
    virtual std::optional<ComputerSystemRecord> QueryComputerSystem(InventoryGaps& gaps) = 0;
    virtual std::optional<OperatingSystemRecord> QueryOperatingSystem(InventoryGaps& gaps) = 0;
    virtual std::optional<BiosRecord> QueryBios(InventoryGaps& gaps) = 0;

    /// How the release of the operating system is called, such as "22H2"; nothing when the system does not tell.
    virtual std::optional<std::wstring> QueryReleaseName(InventoryGaps& gaps) = 0;

    /// Gives each row to `visit` as soon as it is read, so that those before a failure have been visited. What `visit`
    /// throws ends the query.
    virtual void QueryProcessors(InventoryGaps& gaps, const Visitor<ProcessorRecord>& visit) = 0;
    virtual void QueryMemoryModules(InventoryGaps& gaps, const Visitor<MemoryModuleRecord>& visit) = 0;
    virtual void QueryLogicalDisks(InventoryGaps& gaps, const Visitor<LogicalDiskRecord>& visit) = 0;

    /// Throws Win32Exception "GetSystemPowerStatus() failed".
    virtual PowerStatusRecord QueryPowerStatus(InventoryGaps& gaps) = 0;
};

/// The inventory of this machine. Windows: WMI; throws the exceptions of Shared::WMI when its three connections (to
/// ROOT\CIMV2, ROOT\MICROSOFT\WINDOWS\STORAGE and ROOT\WMI, in this order) cannot be made. Linux: the texts and tables of
/// /proc, /sys and /etc; making it cannot fail.
std::unique_ptr<InventorySource> MakeInventorySource();

} // namespace AgentCore::System
