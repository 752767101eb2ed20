#include "test.system-machinetree.hpp"

#include <fstream>
#include <ios>
#include <numeric>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

namespace TestSupport
{

namespace fs = std::filesystem;

namespace
{

constexpr const char* NotebookFlags = "fpu vme de pse tsc msr pae mce sse sse2 ht lm";

template <typename Number>
void Put(std::string& bytes, std::size_t offset, Number number)
{
    if (bytes.size() < offset + sizeof(number))
    {
        bytes.resize(offset + sizeof(number), '\0');
    }
    for (std::size_t i = 0; i < sizeof(number); ++i)
    {
        bytes[offset + i] = static_cast<char>(number >> (8 * i));
    }
}

/// One block of /proc/cpuinfo.
std::string CpuBlock(int number, int socket, int core, std::string_view name, double megahertz, std::string_view flags)
{
    return fmt::format(
        "processor\t: {}\nvendor_id\t: TestMaker\nmodel name\t: {}\ncpu MHz\t\t: {:.3f}\nphysical id\t: {}\ncore id\t\t: {}\n"
        "flags\t\t: {}\npower management:\n\n",
        number, name, megahertz, socket, core, flags);
}

void AddCpu(const MachineTree& tree, int number, int socket, std::string_view siblings, int maxKilohertz)
{
    const auto folder = fmt::format("/sys/devices/system/cpu/cpu{}", number);
    tree.AddFile(folder + "/topology/physical_package_id", fmt::format("{}\n", socket));
    tree.AddFile(folder + "/topology/core_cpus_list", fmt::format("{}\n", siblings));
    if (maxKilohertz > 0)
    {
        tree.AddFile(folder + "/cpufreq/cpuinfo_max_freq", fmt::format("{}\n", maxKilohertz));
    }
}

/// A disk with one partition, as /sys shows both.
void AddDisk(
    const MachineTree& tree,
    const std::string& disk,
    const std::string& partition,
    const std::string& numbers,
    bool removable)
{
    const auto device = "/sys/devices/pci0/" + disk;
    tree.AddFile(device + "/removable", removable ? "1\n" : "0\n");
    tree.AddFile(device + "/" + partition + "/partition", "1\n");
    tree.AddLink("/sys/dev/block/" + numbers, "../../devices/pci0/" + disk + "/" + partition);
    tree.AddLink("/sys/class/block/" + partition, "../../devices/pci0/" + disk + "/" + partition);
}

void AddMappedDevice(
    const MachineTree& tree, const std::string& name, const std::string& device, const std::string& numbers)
{
    tree.AddFile("/sys/devices/virtual/block/" + device + "/removable", "0\n");
    tree.AddLink("/sys/dev/block/" + numbers, "../../devices/virtual/block/" + device);
    tree.AddLink("/sys/class/block/" + device, "../../devices/virtual/block/" + device);
    tree.AddLink("/dev/mapper/" + name, "../" + device);
}

void AddFirmware(const MachineTree& tree, const DmiTableBuilder& table)
{
    tree.AddFile("/sys/firmware/dmi/tables/DMI", table.Bytes());
    tree.AddFile(
        "/sys/firmware/dmi/tables/smbios_entry_point",
        MakeEntryPoint3(static_cast<std::uint32_t>(table.Bytes().size())));
}

void AddKernel(const MachineTree& tree, std::string_view hostName, std::string_view domain = "(none)")
{
    tree.AddFile("/proc/sys/kernel/hostname", fmt::format("{}\n", hostName));
    tree.AddFile("/proc/sys/kernel/domainname", fmt::format("{}\n", domain));
    tree.AddFile("/proc/sys/kernel/ostype", "Linux\n");
    tree.AddFile("/proc/sys/kernel/osrelease", "6.1.0-28-amd64\n");
}

} // namespace

MachineTree::MachineTree(fs::path root) : m_root(std::move(root))
{
    fs::create_directories(m_root);
}

void MachineTree::AddFile(std::string_view path, std::string_view bytes) const
{
    const auto file = PathOf(path);
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
    {
        throw std::runtime_error("cannot write " + file.string());
    }
}

void MachineTree::AddFolder(std::string_view path) const
{
    fs::create_directories(PathOf(path));
}

void MachineTree::AddLink(std::string_view path, std::string_view target) const
{
    const auto link = PathOf(path);
    fs::create_directories(link.parent_path());
    fs::create_symlink(target, link);
}

void MachineTree::Remove(std::string_view path) const
{
    fs::remove_all(PathOf(path));
}

std::string MachineTree::Root() const
{
    return m_root.string();
}

fs::path MachineTree::PathOf(std::string_view path) const
{
    return m_root / path.substr(1);
}

DmiTableBuilder& DmiTableBuilder::Add(
    std::uint8_t type, std::string_view formatted, const std::vector<std::string>& texts)
{
    constexpr std::size_t headerLength = 4;
    std::string header;
    Put(header, 0, type);
    Put(header, 1, static_cast<std::uint8_t>(headerLength + formatted.size()));
    Put(header, 2, static_cast<std::uint16_t>(m_count++));
    m_bytes.append(header).append(formatted);
    for (const auto& text : texts)
    {
        m_bytes.append(text).push_back('\0');
    }
    m_bytes.append(texts.empty() ? 2 : 1, '\0');
    return *this;
}

DmiTableBuilder& DmiTableBuilder::AddBios()
{
    return Add(0, std::string("\x01\x02\0\xF0\x03", 5), {"TestMaker", "1.0", "01/02/2021"});
}

DmiTableBuilder& DmiTableBuilder::AddSystem(
    const std::string& maker, const std::string& product, const std::string& serialNumber)
{
    return Add(1, std::string("\x01\x02\x03\x04", 4) + std::string(19, '\0'), {maker, product, "v1", serialNumber});
}

DmiTableBuilder& DmiTableBuilder::AddProcessor(
    const std::string& version, std::uint16_t megahertz, std::uint8_t cores, std::uint8_t threads)
{
    // Offsets count from the header.
    constexpr std::size_t headerLength = 4;
    std::string formatted(0x30 - headerLength, '\0');
    const auto put = [&formatted](std::size_t offset, auto number)
    {
        Put(formatted, offset - headerLength, number);
    };
    put(0x04, std::uint8_t{1});
    put(0x05, std::uint8_t{3});
    put(0x10, std::uint8_t{2});
    put(0x14, megahertz);
    put(0x18, std::uint8_t{0x41});
    put(0x23, cores);
    put(0x25, threads);
    return Add(4, formatted, {"Socket", version});
}

DmiTableBuilder& DmiTableBuilder::AddMemory(
    const std::string& bank, std::uint16_t size, std::uint32_t extendedSize, std::uint8_t type)
{
    constexpr std::size_t headerLength = 4;
    std::string formatted(0x28 - headerLength, '\0');
    const auto put = [&formatted](std::size_t offset, auto number)
    {
        Put(formatted, offset - headerLength, number);
    };
    put(0x0C, size);
    put(0x10, std::uint8_t{1});
    put(0x11, std::uint8_t{2});
    put(0x12, type);
    put(0x1C, extendedSize);
    return Add(17, formatted, {"Locator", bank});
}

DmiTableBuilder& DmiTableBuilder::AddEnd()
{
    return Add(127, {});
}

std::string DmiTableBuilder::Bytes() const
{
    return m_bytes;
}

std::size_t DmiTableBuilder::Count() const
{
    return m_count;
}

void FixChecksum(std::string& bytes, std::size_t start, std::size_t length, std::size_t position)
{
    bytes[position] = '\0';
    const auto part = std::string_view{bytes}.substr(start, length);
    const auto sum = std::accumulate(
        part.begin(), part.end(), 0U,
        [](unsigned int before, char byte) { return before + static_cast<std::uint8_t>(byte); });
    bytes[position] = static_cast<char>(0U - sum);
}

std::string MakeEntryPoint3(std::uint32_t tableLength)
{
    std::string bytes("_SM3_");
    bytes.resize(24, '\0');
    Put(bytes, 6, std::uint8_t{24});
    Put(bytes, 7, std::uint8_t{3});
    Put(bytes, 8, std::uint8_t{2});
    Put(bytes, 12, tableLength);
    Put(bytes, 16, std::uint64_t{0x000E0000});
    FixChecksum(bytes, 0, bytes.size(), 5);
    return bytes;
}

std::string MakeLegacyEntryPoint(std::uint16_t tableLength, std::uint16_t structureCount)
{
    std::string bytes("_DMI_");
    bytes.resize(15, '\0');
    Put(bytes, 6, tableLength);
    Put(bytes, 12, structureCount);
    Put(bytes, 14, std::uint8_t{0x21});
    FixChecksum(bytes, 0, bytes.size(), 5);
    return bytes;
}

std::string MakeEntryPoint2(std::uint16_t tableLength, std::uint16_t structureCount)
{
    std::string bytes("_SM_");
    bytes.resize(16, '\0');
    bytes += MakeLegacyEntryPoint(tableLength, structureCount);
    Put(bytes, 5, std::uint8_t{31});
    Put(bytes, 6, std::uint8_t{2});
    Put(bytes, 7, std::uint8_t{8});
    FixChecksum(bytes, 0, bytes.size(), 4);
    return bytes;
}

void LayOutLaptop(const MachineTree& tree)
{
    AddKernel(tree, "fern", "corp.test");
    tree.AddFile("/etc/hosts", "127.0.0.1\tlocalhost\n127.0.1.1\tfern.office.test\tfern\n");
    tree.AddFile(
        "/usr/lib/os-release",
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
    tree.AddLink("/etc/os-release", "../usr/lib/os-release");
    AddFirmware(
        tree,
        DmiTableBuilder()
            .AddBios()
            .AddSystem("TestMaker", "Notebook 14", "NB-0042")
            .AddProcessor("TestMaker Swift 5", 2400, 4, 8)
            .AddMemory("BANK 0", 8192)
            .AddMemory("BANK 1", 0)
            .AddMemory("BANK 2", 0x7FFF, 32768)
            .AddEnd());

    std::string info;
    tree.AddFile("/sys/devices/system/cpu/online", "0-7\n");
    for (int number = 0; number < 8; ++number)
    {
        const int core = number % 4;
        info += CpuBlock(number, 0, core, "TestMaker Swift 5 @ 2.40GHz", 799.998, NotebookFlags);
        AddCpu(tree, number, 0, fmt::format("{},{}", core, core + 4), 4200000);
    }
    tree.AddFile("/proc/cpuinfo", info);

    AddDisk(tree, "nvme0n1", "nvme0n1p2", "259:2", false);
    AddDisk(tree, "sda", "sda1", "8:1", true);
    AddMappedDevice(tree, "home-crypt", "dm-0", "253:0");
    tree.AddFile(
        "/proc/self/mountinfo",
        "22 1 0:29 /@ / rw,relatime shared:1 - btrfs /dev/mapper/home-crypt rw,subvol=/@\n"
        "23 22 0:21 / /proc rw shared:12 - proc proc rw\n"
        "24 22 0:22 / /sys rw shared:7 - sysfs sysfs rw\n"
        "25 22 0:6 / /dev rw shared:2 - devtmpfs udev rw,size=8000k\n"
        "30 22 0:29 /@home /home rw,relatime shared:30 - btrfs /dev/mapper/home-crypt rw,subvol=/@home\n"
        "31 22 259:2 / /boot rw shared:31 - ext4 /dev/nvme0n1p2 rw\n"
        "40 22 0:50 / /mnt/share rw shared:40 - nfs4 files.office.test:/share rw\n"
        "41 22 8:1 / /media/my\\040stick rw shared:41 - vfat /dev/sda1 rw\n"
        "42 22 0:60 / /run/user/1000 rw shared:42 - tmpfs tmpfs rw\n"
        "43 42 0:61 / /run/user/1000/doc rw shared:43 - fuse.portal portal rw\n");
    tree.AddFolder("/media/my stick");

    tree.AddFile("/sys/class/power_supply/AC/type", "Mains\n");
    tree.AddFile("/sys/class/power_supply/AC/uevent", "POWER_SUPPLY_NAME=AC\nPOWER_SUPPLY_ONLINE=0\n");
    tree.AddFile("/sys/class/power_supply/BAT0/type", "Battery\n");
    tree.AddFile(
        "/sys/class/power_supply/BAT0/uevent",
        "POWER_SUPPLY_NAME=BAT0\nPOWER_SUPPLY_STATUS=Discharging\nPOWER_SUPPLY_PRESENT=1\nPOWER_SUPPLY_ENERGY_NOW=30000000\n"
        "POWER_SUPPLY_ENERGY_FULL=50000000\nPOWER_SUPPLY_POWER_NOW=10000000\nPOWER_SUPPLY_CAPACITY=60\n");
    tree.AddFile("/sys/class/power_supply/hid-mouse/type", "Battery\n");
    tree.AddFile("/sys/class/power_supply/hid-mouse/scope", "Device\n");
    tree.AddFile("/sys/class/power_supply/hid-mouse/uevent", "POWER_SUPPLY_STATUS=Charging\nPOWER_SUPPLY_CAPACITY=3\n");
    tree.AddFile("/proc/meminfo", "MemTotal:       40000000 kB\nMemFree: 100 kB\nMemAvailable:   10000000 kB\n");
}

void LayOutServer(const MachineTree& tree)
{
    AddKernel(tree, "rack7.dc.test");
    tree.AddFile("/etc/os-release", "NAME='Server OS'\nBUILD_ID=rolling\n");
    DmiTableBuilder table;
    table.AddBios().AddSystem("TestMaker", "Rack 2U", "SRV-7");
    table.AddProcessor("TestMaker Big 0", 2900, 2, 4).AddProcessor("TestMaker Big 1", 2900, 2, 4);
    for (int i = 0; i < 4; ++i)
    {
        table.AddMemory(fmt::format("P{}_DIMM{}", i / 2, i % 2), 0x7FFF, 65536);
    }
    // The firmware's own flash, which is no RAM.
    table.AddMemory("SYSTEM ROM", 16, 0, 0x09).AddEnd();
    AddFirmware(tree, table);

    std::string info;
    tree.AddFile("/sys/devices/system/cpu/online", "0-7\n");
    for (int number = 0; number < 8; ++number)
    {
        const int socket = number / 4;
        const int core = number / 2;
        info += CpuBlock(number, socket, core % 2, "TestMaker Big 2.90GHz", 1200.0, NotebookFlags);
        AddCpu(tree, number, socket, fmt::format("{}-{}", 2 * core, 2 * core + 1), 0);
    }
    tree.AddFile("/proc/cpuinfo", info);
    tree.AddFile(
        "/proc/self/mountinfo",
        "22 1 0:29 / / rw shared:1 - zfs rpool/ROOT/debian rw,xattr\n"
        "30 22 0:30 / /home rw shared:30 - zfs rpool/home rw\n"
        "31 22 0:31 / /srv rw shared:31 - zfs tank/srv rw\n");
    tree.AddFolder("/sys/class/power_supply");
}

void LayOutVirtualMachine(const MachineTree& tree)
{
    AddKernel(tree, "guest");
    tree.AddFile("/etc/hosts", "127.0.0.1 localhost\n");
    tree.AddFile("/etc/os-release", "PRETTY_NAME=\"Guest OS 9\"\nVERSION_ID=9\n");
    tree.AddFile("/sys/class/dmi/id/sys_vendor", "Virtual Maker\n");
    tree.AddFile("/sys/class/dmi/id/product_name", "Virtual Machine\n");
    tree.AddFile("/sys/class/dmi/id/product_serial", "\n");
    tree.AddFile("/sys/devices/system/cpu/online", "0-1\n");
    AddCpu(tree, 0, 0, "0", 0);
    AddCpu(tree, 1, 1, "1", 0);
    tree.AddFile(
        "/proc/cpuinfo",
        CpuBlock(0, 0, 0, "Virtual CPU", 2596.122, "fpu hypervisor lm") +
            CpuBlock(1, 1, 0, "Virtual CPU", 2596.122, "fpu lm"));
    tree.AddFile("/proc/self/mountinfo", "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw,discard\n");
    tree.AddFolder("/sys/class/power_supply");
}

void LayOutBoard(const MachineTree& tree)
{
    AddKernel(tree, "board");
    tree.AddFile("/etc/os-release", "PRETTY_NAME=\"Board OS\"\n");
    tree.AddFile("/sys/firmware/devicetree/base/model", std::string_view("Test Board 4\0", 13));
    tree.AddFile("/sys/firmware/devicetree/base/serial-number", std::string_view("10000000abcdef\0", 15));
    tree.AddFile("/sys/devices/system/cpu/online", "0-3\n");
    for (int number = 0; number < 4; ++number)
    {
        AddCpu(tree, number, 0, fmt::format("{}", number), 1500000);
    }
    tree.AddFile(
        "/proc/cpuinfo",
        "processor\t: 0\nBogoMIPS\t: 108.00\n\nprocessor\t: 1\nBogoMIPS\t: 108.00\n\nHardware\t: Test\n");
    tree.AddFile("/proc/self/mountinfo", "22 1 179:2 / / rw - ext4 /dev/root rw\n");
}

void LayOutEmptyContainer(const MachineTree& tree)
{
    tree.AddFile("/proc/self/mountinfo", "500 400 0:80 / / rw - overlay overlay rw,lowerdir=/a\n");
}

std::string MakeMountInfo(std::size_t count)
{
    std::string text = "1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n";
    for (std::size_t i = 1; i < count; ++i)
    {
        text += fmt::format(
            "{} 1 8:{} / /srv/volume-{} rw,relatime shared:{} - xfs /dev/sdb{} rw\n", 2 * i, i + 1, i, i, i);
        text +=
            fmt::format("{} 1 0:{} / /run/scope-{} rw,nosuid shared:{} - tmpfs tmpfs rw,size=4k\n", 2 * i + 1, i, i, i);
    }
    return text;
}

} // namespace TestSupport
