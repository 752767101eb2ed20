#include "agentcore.system-inventorysource.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.system-machinetree.hpp"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

using namespace AgentCore::System;
using Shared::Exception::Win32Exception;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::SizeIs;

constexpr std::uint64_t Gigabyte = 1024ULL * 1024 * 1024;

auto IsGap(const std::string& field, const std::string& reason)
{
    return AllOf(Field(&InventoryGap::field, field), Field(&InventoryGap::reason, HasSubstr(reason)));
}

/// Lets this process read no more than an ordinary user may, from construction to destruction.
class OrdinaryUser
{
public:
    OrdinaryUser()
    {
        constexpr uid_t nobody = 65534;
        if (m_user == 0)
        {
            EXPECT_EQ(::seteuid(nobody), 0);
        }
    }

    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

    ~OrdinaryUser()
    {
        EXPECT_EQ(::seteuid(m_user), 0);
    }

private:
    uid_t m_user = ::geteuid();
};

/// A recorded machine in a folder of the test's own. Its volumes have the room that `m_rooms` tells by mount point.
class LinuxInventoryTest : public testing::Test
{
protected:
    LinuxInventorySource Source()
    {
        return LinuxInventorySource(
            m_tree.Root(),
            [this](const std::string& path) -> std::optional<VolumeRoom>
            {
                const auto room = m_rooms.find(path.substr(m_tree.Root().size()));
                errno = EACCES;
                return room == m_rooms.end() ? std::nullopt : std::optional{room->second};
            });
    }

    std::vector<ProcessorRecord> Processors()
    {
        std::vector<ProcessorRecord> records;
        Source().QueryProcessors(m_gaps, [&records](const ProcessorRecord& record) { records.push_back(record); });
        return records;
    }

    std::vector<MemoryModuleRecord> MemoryModules()
    {
        std::vector<MemoryModuleRecord> records;
        Source().QueryMemoryModules(
            m_gaps, [&records](const MemoryModuleRecord& record) { records.push_back(record); });
        return records;
    }

    std::vector<LogicalDiskRecord> LogicalDisks()
    {
        std::vector<LogicalDiskRecord> records;
        Source().QueryLogicalDisks(m_gaps, [&records](const LogicalDiskRecord& record) { records.push_back(record); });
        return records;
    }

    void AddFirmware(const std::string& table) const
    {
        m_tree.AddFile("/sys/firmware/dmi/tables/DMI", table);
        m_tree.AddFile(
            "/sys/firmware/dmi/tables/smbios_entry_point",
            TestSupport::MakeEntryPoint3(static_cast<std::uint32_t>(table.size())));
    }

    TestSupport::TemporaryFolder m_folder;
    TestSupport::MachineTree m_tree{m_folder.Path()};
    std::map<std::string, VolumeRoom> m_rooms;
    InventoryGaps m_gaps;
};

TEST_F(LinuxInventoryTest, ALaptopTellsOfItself)
{
    LayOutLaptop(m_tree);
    const auto computer = Source().QueryComputerSystem(m_gaps);
    ASSERT_TRUE(computer);
    EXPECT_EQ(computer->isHypervisorPresent, false);
    EXPECT_EQ(computer->name, L"fern");
    EXPECT_EQ(computer->domain, L"office.test");
    EXPECT_EQ(computer->manufacturer, L"TestMaker");
    EXPECT_EQ(computer->model, L"Notebook 14");
    ASSERT_TRUE(Source().QueryBios(m_gaps));
    EXPECT_EQ(Source().QueryBios(m_gaps)->serialNumber, L"NB-0042");
    EXPECT_EQ(Source().QueryOperatingSystem(m_gaps)->caption, L"Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(Source().QueryReleaseName(m_gaps), L"12");
    EXPECT_THAT(m_gaps, IsEmpty());
}

TEST_F(LinuxInventoryTest, ALaptopHasOneProcessorOfManyCores)
{
    LayOutLaptop(m_tree);
    const auto processors = Processors();
    ASSERT_THAT(processors, SizeIs(1));
    EXPECT_EQ(processors[0].name, L"TestMaker Swift 5 @ 2.40GHz");
    EXPECT_EQ(processors[0].maxClockSpeed, 4200);
    EXPECT_EQ(processors[0].coreCount, 4);
    EXPECT_EQ(processors[0].logicalProcessorCount, 8);
    EXPECT_THAT(m_gaps, IsEmpty());
}

TEST_F(LinuxInventoryTest, EmptySlotsOfALaptopAreNoModules)
{
    LayOutLaptop(m_tree);
    const auto modules = MemoryModules();
    ASSERT_THAT(modules, SizeIs(2));
    EXPECT_EQ(modules[0].capacity, 8 * Gigabyte);
    EXPECT_EQ(modules[0].bankLabel, L"BANK 0");
    EXPECT_EQ(modules[1].capacity, 32 * Gigabyte);
    EXPECT_EQ(modules[1].bankLabel, L"BANK 2");
    EXPECT_THAT(m_gaps, IsEmpty());
}

TEST_F(LinuxInventoryTest, ALaptopHasEachDeviceOnceAndNothingOfTheNetwork)
{
    LayOutLaptop(m_tree);
    m_rooms = {
        {"/", {100, 40}}, {"/home", {1, 1}}, {"/boot", {10, 5}}, {"/media/my stick", {8, 7}}, {"/mnt/share", {9, 9}}};
    const auto disks = LogicalDisks();
    ASSERT_THAT(disks, SizeIs(3));
    EXPECT_EQ(disks[0].name, L"/");
    EXPECT_EQ(disks[0].fileSystem, L"btrfs");
    EXPECT_EQ(disks[0].mediaType, MediaType::Fixed);
    EXPECT_EQ(disks[0].size, 100U);
    EXPECT_EQ(disks[0].freeSpace, 40U);
    EXPECT_EQ(disks[1].name, L"/boot");
    EXPECT_EQ(disks[1].mediaType, MediaType::Fixed);
    EXPECT_EQ(disks[2].name, L"/media/my stick");
    EXPECT_EQ(disks[2].mediaType, MediaType::Removable);
    EXPECT_THAT(m_gaps, IsEmpty());
}

TEST_F(LinuxInventoryTest, ALaptopOnBatterySaysSo)
{
    LayOutLaptop(m_tree);
    const auto status = Source().QueryPowerStatus(m_gaps);
    EXPECT_EQ(status.acLineStatus, PowerStatusRecord::AcOffline);
    EXPECT_EQ(status.batteryFlag, 0U);
    EXPECT_EQ(status.batteryLifePercent, 60U);
    EXPECT_EQ(status.batteryLifeTime, 3 * 3600);
    EXPECT_EQ(status.batteryFullLifeTime, 5 * 3600);
    EXPECT_THAT(m_gaps, IsEmpty());
}

TEST_F(LinuxInventoryTest, AServerWithTwoSocketsHasTwoProcessors)
{
    LayOutServer(m_tree);
    const auto processors = Processors();
    ASSERT_THAT(processors, SizeIs(2));
    for (const auto& processor : processors)
    {
        EXPECT_EQ(processor.name, L"TestMaker Big 2.90GHz");
        EXPECT_EQ(processor.maxClockSpeed, 2900) << "of the firmware, as there is no frequency scaling";
        EXPECT_EQ(processor.coreCount, 2);
        EXPECT_EQ(processor.logicalProcessorCount, 4);
    }
}

TEST_F(LinuxInventoryTest, AServerHasModulesPoolsAndNoBattery)
{
    LayOutServer(m_tree);
    const auto modules = MemoryModules();
    ASSERT_THAT(modules, SizeIs(4)) << "flash is no RAM";
    EXPECT_EQ(modules[3].capacity, 64 * Gigabyte);
    EXPECT_EQ(modules[3].bankLabel, L"P1_DIMM1");
    m_rooms = {{"/", {100, 40}}, {"/srv", {200, 50}}};
    const auto disks = LogicalDisks();
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[1].name, L"/srv");
    EXPECT_EQ(disks[1].mediaType, MediaType::Unknown);
    EXPECT_THAT(m_gaps, Contains(IsGap("system.logical_drives[/srv].drive_type", "whether it is removable")));
    EXPECT_EQ(Source().QueryPowerStatus(m_gaps).batteryFlag, PowerStatusRecord::NoBattery);
    EXPECT_EQ(Source().QueryPowerStatus(m_gaps).acLineStatus, PowerStatusRecord::AcOnline);
    EXPECT_EQ(Source().QueryOperatingSystem(m_gaps)->caption, L"Server OS");
    EXPECT_EQ(Source().QueryReleaseName(m_gaps), L"rolling");
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->domain, L"dc.test");
}

TEST_F(LinuxInventoryTest, AVirtualMachineTellsWhatItCanAndWhyNotTheRest)
{
    LayOutVirtualMachine(m_tree);
    const auto computer = Source().QueryComputerSystem(m_gaps);
    ASSERT_TRUE(computer);
    EXPECT_EQ(computer->isHypervisorPresent, true);
    EXPECT_EQ(computer->manufacturer, L"Virtual Maker");
    EXPECT_EQ(computer->domain, L"");
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.computer.domain", "neither the host name")));

    m_gaps.clear();
    const auto bios = Source().QueryBios(m_gaps);
    ASSERT_TRUE(bios) << "there is firmware, it only tells no serial number";
    EXPECT_EQ(bios->serialNumber, std::nullopt);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.bios.serial_number", "the firmware tells none")));

    m_gaps.clear();
    EXPECT_THAT(MemoryModules(), IsEmpty());
    EXPECT_THAT(
        m_gaps,
        ElementsAre(IsGap(
            "system.hardware.ram.modules",
            "/sys/firmware/dmi/tables/smbios_entry_point cannot be read: No such file or directory")));

    m_gaps.clear();
    const auto processors = Processors();
    ASSERT_THAT(processors, SizeIs(2));
    EXPECT_EQ(processors[0].maxClockSpeed, 2596);
    EXPECT_THAT(m_gaps, Contains(IsGap("system.hardware.cpu[1].max_clock_speed", "the speed of the moment")));
}

TEST_F(LinuxInventoryTest, ABoardIsDescribedByItsDeviceTree)
{
    LayOutBoard(m_tree);
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->model, L"Test Board 4");
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->manufacturer, L"");
    EXPECT_EQ(Source().QueryBios(m_gaps)->serialNumber, L"10000000abcdef");
    EXPECT_THAT(m_gaps, Contains(IsGap("system.computer.manufacturer", "/sys/class/dmi/id/sys_vendor cannot be read")));
    const auto processors = Processors();
    ASSERT_THAT(processors, SizeIs(1));
    EXPECT_EQ(processors[0].coreCount, 4);
    EXPECT_EQ(processors[0].maxClockSpeed, 1500);
    EXPECT_THAT(m_gaps, Contains(IsGap("system.hardware.cpu[0].name", "neither /proc/cpuinfo nor the firmware")));
    EXPECT_EQ(Source().QueryReleaseName(m_gaps), std::nullopt);
    EXPECT_THAT(m_gaps, Contains(IsGap("system.os.version", "Couldn't read ReleaseId")));
}

TEST_F(LinuxInventoryTest, AHypervisorShowsItselfInThreePlaces)
{
    LayOutLaptop(m_tree);
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->isHypervisorPresent, false);
    m_tree.AddFile("/sys/hypervisor/type", "xen\n");
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->isHypervisorPresent, true);
    m_tree.Remove("/sys/hypervisor");
    m_tree.AddFile("/sys/firmware/devicetree/base/hypervisor/compatible", "linux,kvm");
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->isHypervisorPresent, true);
}

TEST_F(LinuxInventoryTest, AContainerWithNothingHasNoRows)
{
    LayOutEmptyContainer(m_tree);
    EXPECT_FALSE(Source().QueryComputerSystem(m_gaps));
    EXPECT_FALSE(Source().QueryOperatingSystem(m_gaps));
    EXPECT_FALSE(Source().QueryBios(m_gaps));
    EXPECT_FALSE(Source().QueryReleaseName(m_gaps));
    EXPECT_THAT(MemoryModules(), IsEmpty());
    EXPECT_THAT(LogicalDisks(), IsEmpty());
    EXPECT_EQ(Source().QueryPowerStatus(m_gaps), PowerStatusRecord{}) << "all of it unknown";
    for (const auto* const field :
         {"system.computer.name", "system.computer.domain", "system.computer.manufacturer", "system.computer.model",
          "system.computer.is_hypervisor_present", "system.os.name", "system.os.version", "system.bios.serial_number",
          "system.hardware.ram.modules", "system.battery_status"})
    {
        EXPECT_THAT(m_gaps, Contains(Field(&InventoryGap::field, field)));
    }
}

TEST_F(LinuxInventoryTest, WithoutAnyProcessorTheQueryFails)
{
    EXPECT_THROW(Processors(), Win32Exception);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.cpu", "/sys/devices/system/cpu/online cannot be read")));
    m_gaps.clear();
    m_tree.AddFile("/sys/devices/system/cpu/online", "none\n");
    EXPECT_THROW(Processors(), Win32Exception);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.cpu", "names none")));
}

TEST_F(LinuxInventoryTest, WithoutTheListOfMountsTheQueryFails)
{
    EXPECT_THROW(LogicalDisks(), Win32Exception);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.logical_drives", "/proc/self/mountinfo cannot be read")));
}

TEST_F(LinuxInventoryTest, OlderKernelsNameTheCoresOtherwise)
{
    m_tree.AddFile("/sys/devices/system/cpu/online", "0-3\n");
    for (const auto* const cpu : {"cpu0", "cpu1", "cpu2", "cpu3"})
    {
        const auto number = cpu[3] - '0';
        m_tree.AddFile(
            "/sys/devices/system/cpu/" + std::string{cpu} + "/topology/thread_siblings_list",
            number < 2 ? "0-1\n" : "2-3\n");
    }
    const auto processors = Processors();
    ASSERT_THAT(processors, SizeIs(1));
    EXPECT_EQ(processors[0].coreCount, 2);
    EXPECT_EQ(processors[0].logicalProcessorCount, 4);
}

TEST_F(LinuxInventoryTest, DamagedTablesAreNotTakenForTheMachine)
{
    LayOutLaptop(m_tree);
    m_tree.AddFile("/sys/firmware/dmi/tables/smbios_entry_point", "_SM3_ and nothing of use behind it");
    m_tree.AddFile("/sys/class/dmi/id/product_name", "Copied Name\n");
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->model, L"Copied Name");
    EXPECT_THROW(MemoryModules(), Win32Exception);
    EXPECT_THAT(m_gaps, Contains(IsGap("system.hardware.ram.modules", "smbios_entry_point makes no sense")));
}

TEST_F(LinuxInventoryTest, DamagedTextsTellWhatTheyCan)
{
    m_tree.AddFile("/proc/sys/kernel/hostname", "fern\xFF\n");
    m_tree.AddFile("/proc/cpuinfo", std::string_view("\0\0processor", 11));
    m_tree.AddFile("/sys/devices/system/cpu/online", "0-99999999999,0\n");
    m_tree.AddFile("/sys/devices/system/cpu/cpu0/topology/physical_package_id", "twelve\n");
    m_tree.AddFile("/proc/self/mountinfo", "1 0 8:1 / / rw - ext4 /dev/sda1 rw\ngarbage\n2 1 8:2");
    m_tree.AddFile("/sys/class/power_supply/BAT0/type", "Battery");
    m_tree.AddFile("/etc/os-release", "PRETTY_NAME=\"Broken\n=\n");
    m_rooms = {{"/", {10, 5}}};
    EXPECT_EQ(Source().QueryComputerSystem(m_gaps)->name, L"fern");
    EXPECT_THAT(Processors(), SizeIs(1));
    EXPECT_THAT(LogicalDisks(), SizeIs(1));
    EXPECT_EQ(Source().QueryPowerStatus(m_gaps), PowerStatusRecord{});
    EXPECT_EQ(Source().QueryOperatingSystem(m_gaps)->caption, L"\"Broken");
}

TEST_F(LinuxInventoryTest, ATableThatIsCutTellsWhatStoodBeforeAndSaysSo)
{
    const auto table = TestSupport::DmiTableBuilder().AddBios().AddMemory("A", 1024).AddMemory("B", 1024).Bytes();
    AddFirmware(table.substr(0, table.size() - 1));
    EXPECT_THAT(MemoryModules(), SizeIs(1));
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.ram.modules", "ends within an entry")));
}

TEST_F(LinuxInventoryTest, ABiosThatDescribesNoMachineHasNoSerialNumber)
{
    AddFirmware(TestSupport::DmiTableBuilder().AddBios().AddEnd().Bytes());
    const auto bios = Source().QueryBios(m_gaps);
    ASSERT_TRUE(bios);
    EXPECT_EQ(bios->serialNumber, std::nullopt);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.bios.serial_number", "/sys/class/dmi/id/product_serial")));
}

TEST_F(LinuxInventoryTest, FirmwareWithoutModulesSaysSo)
{
    AddFirmware(TestSupport::DmiTableBuilder().AddBios().AddEnd().Bytes());
    EXPECT_THAT(MemoryModules(), IsEmpty());
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.ram.modules", "the firmware lists none")));
}

TEST_F(LinuxInventoryTest, AModuleOfUnknownSizeIsListedWithoutOne)
{
    AddFirmware(TestSupport::DmiTableBuilder().AddMemory("A", 0xFFFF).AddMemory("B", 1024).Bytes());
    const auto modules = MemoryModules();
    ASSERT_THAT(modules, SizeIs(2));
    EXPECT_EQ(modules[0].capacity, 0U);
    EXPECT_EQ(modules[1].capacity, Gigabyte);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.ram.modules[0].capacity", "the firmware does not know it")));
}

TEST_F(LinuxInventoryTest, WhatIsForRootAloneIsSaidToBe)
{
    LayOutLaptop(m_tree);
    m_tree.AddFile("/sys/class/dmi/id/product_serial", "NB-0042\n");
    for (const auto* const file : {"/sys/firmware/dmi/tables/smbios_entry_point", "/sys/class/dmi/id/product_serial"})
    {
        ASSERT_EQ(::chmod((m_tree.Root() + file).c_str(), 0), 0);
    }
    const OrdinaryUser user;
    EXPECT_EQ(Source().QueryBios(m_gaps)->serialNumber, std::nullopt);
    EXPECT_THAT(
        m_gaps,
        ElementsAre(
            IsGap("system.bios.serial_number", "/sys/class/dmi/id/product_serial cannot be read: Permission denied")));
    m_gaps.clear();
    EXPECT_THROW(MemoryModules(), Win32Exception);
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.hardware.ram.modules", "Permission denied")));
}

TEST_F(LinuxInventoryTest, AVolumeIsToldOfByTheFirstPlaceThatAnswers)
{
    m_tree.AddFile(
        "/proc/self/mountinfo",
        "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /locked rw - ext4 /dev/sda2 rw\n"
        "3 1 8:2 / /opened/elsewhere rw - ext4 /dev/sda2 rw\n4 1 8:3 / /silent rw - ext4 /dev/sda3 rw\n");
    m_rooms = {{"/", {10, 5}}, {"/opened/elsewhere", {20, 15}}};
    const auto disks = LogicalDisks();
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[1].name, L"/opened/elsewhere");
    EXPECT_THAT(m_gaps, Contains(IsGap("system.logical_drives[/silent]", "/silent cannot be read: Permission denied")));
    EXPECT_THAT(m_gaps, Not(Contains(Field(&InventoryGap::field, "system.logical_drives[/locked]"))));
}

TEST_F(LinuxInventoryTest, RoomIsCountedInBytesAsUsersHaveIt)
{
    m_tree.AddFile("/proc/self/mountinfo", "1 0 8:1 / /place rw - ext4 /dev/sda1 rw\n");
    m_tree.AddFolder("/place");
    std::vector<LogicalDiskRecord> disks;
    LinuxInventorySource(m_tree.Root())
        .QueryLogicalDisks(m_gaps, [&disks](const LogicalDiskRecord& record) { disks.push_back(record); });

    struct statvfs room
    {
    };

    ASSERT_EQ(::statvfs((m_tree.Root() + "/place").c_str(), &room), 0);
    ASSERT_THAT(disks, SizeIs(1));
    EXPECT_EQ(disks[0].size, std::uint64_t{room.f_blocks} * room.f_frsize);
    EXPECT_LE(disks[0].freeSpace, std::uint64_t{room.f_bfree} * room.f_frsize + Gigabyte) << "others write meanwhile";
}

TEST_F(LinuxInventoryTest, AFileThatIsMountedIsNoPlaceOfADisk)
{
    m_tree.AddFile(
        "/proc/self/mountinfo",
        "1 0 0:80 / / rw - overlay overlay rw\n2 1 8:1 /var/lib/hosts /etc/hosts rw - ext4 /dev/sda1 rw\n");
    m_tree.AddFile("/etc/hosts", "127.0.0.1 localhost\n");
    std::vector<LogicalDiskRecord> disks;
    LinuxInventorySource(m_tree.Root())
        .QueryLogicalDisks(m_gaps, [&disks](const LogicalDiskRecord& record) { disks.push_back(record); });
    EXPECT_THAT(disks, IsEmpty());
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.logical_drives[/etc/hosts]", "Not a directory")));
}

TEST_F(LinuxInventoryTest, PowerSuppliesThatCannotBeListedAreAFailure)
{
    m_tree.AddFile("/sys/class/power_supply", "no folder");
    try
    {
        (void)Source().QueryPowerStatus(m_gaps);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const Win32Exception& exception)
    {
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(ENOTDIR));
        EXPECT_THAT(exception.what(), HasSubstr("GetSystemPowerStatus() failed"));
    }
    EXPECT_THAT(m_gaps, ElementsAre(IsGap("system.battery_status", "/sys/class/power_supply cannot be read")));
}

} // namespace
