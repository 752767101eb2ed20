// Any bytes as the firmware's entry point and table.
//   The first byte tells how many bytes behind it are the entry point; what follows is the table, which is read once as the
//   entry point says (where it is one), and once without limits but its own.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "agentcore.system-dmitable.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System::Dmi;

void CheckEntryPoint(std::string_view bytes)
{
    if (const auto entryPoint = ParseEntryPoint(bytes))
    {
        Require(bytes.starts_with("_SM3_") || bytes.starts_with("_SM_") || bytes.starts_with("_DMI_"));
        // What stands behind an entry point changes nothing.
        Require(ParseEntryPoint(std::string{bytes}.append(1, '\x7F')) == entryPoint);
    }
}

void CheckContent(const Table& table, std::size_t size)
{
    constexpr std::size_t shortestStructure = 6;
    constexpr std::uint64_t largestModule = std::uint64_t{0x7FFFFFFF} << 20U;
    Require(table.memoryDevices.size() + table.processors.size() <= size / shortestStructure);
    for (const auto& device : table.memoryDevices)
    {
        Require(!device.capacity || (*device.capacity > 0 && *device.capacity <= largestModule));
        Require(device.bankLabel.size() < size && device.bankLabel.find('\0') == std::string::npos);
    }
    for (const auto& processor : table.processors)
    {
        Require(std::max({processor.maxSpeedMegahertz, processor.coreCount, processor.threadCount}) <= 0xFFFF);
        Require(processor.version.find('\0') == std::string::npos);
    }
}

template <typename Record>
bool IsStartOf(const std::vector<Record>& part, const std::vector<Record>& whole)
{
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

void CheckTable(std::string_view bytes)
{
    const EntryPoint unlimited{3, 2, std::numeric_limits<std::uint32_t>::max(), std::nullopt};
    const auto whole = ParseTable(bytes, unlimited);
    CheckContent(whole, bytes.size());
    // A table that is cut tells the beginning of what the whole one tells.
    const auto cut = ParseTable(bytes.substr(0, bytes.size() / 2), unlimited);
    Require(IsStartOf(cut.memoryDevices, whole.memoryDevices) && IsStartOf(cut.processors, whole.processors));
    Require(!cut.system || cut.system == whole.system);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    const auto entryPointBytes = bytes.substr(0, data[0]);
    const auto table = bytes.substr(entryPointBytes.size());
    CheckEntryPoint(entryPointBytes);
    CheckTable(table);
    if (const auto entryPoint = ParseEntryPoint(entryPointBytes))
    {
        CheckContent(ParseTable(table, *entryPoint), table.size());
    }
    return 0;
}
