#pragma once

#include "agentcore.system-inventorysource.hpp"
#include "agentcore.system-networkingquerier.hpp"
#include "agentcore.wlan-wlanquerier.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <source_location>
#include <string>
#include <vector>

#include "hardware.pb.h"
#include "network.pb.h"

namespace AgentCore::System
{

/// The static inventory of the machine. It is best effort: no getter throws. What goes wrong is logged as an error
/// ("Exception during GetSystemInfo()", each with its own name) and gives an empty result, which is a legitimate one.
/// Each getter asks anew; what is read is told as it is.
///
/// Belongs to the thread that made it. Windows: that thread has initialised COM before.
class SystemQuerier
{
public:
    /// Asks this machine: connects to its inventory, then opens the wireless service, whose absence means no wireless
    /// links. Throws what MakeInventorySource() throws.
    SystemQuerier();
    /// Asks these three, which are not null.
    SystemQuerier(
        std::unique_ptr<InventorySource> source,
        std::unique_ptr<NetworkingQuerier> networking,
        std::unique_ptr<Wlan::WlanQuerier> wlan) noexcept;
    SystemQuerier(const SystemQuerier&) = delete;
    SystemQuerier& operator=(const SystemQuerier&) = delete;
    virtual ~SystemQuerier() = default;

    virtual ComputerSystem GetSystemInfo();
    /// `version` is the release ("22H2" on Windows, "12" on Linux); where the system tells none, it stays empty, with a
    /// warning in the log.
    virtual OperatingSystem GetOsInfo();
    /// One for each processor (socket), however many cores it has. Speeds in megahertz.
    virtual std::vector<Cpu> GetCpuInfo();
    /// One for each module. Capacities in bytes.
    virtual std::vector<PhysicalRamDevice> GetRamInfo();
    virtual Bios GetBiosInfo();
    /// Sizes in bytes. After a failure, the disks before it.
    virtual std::vector<LogicalDisk> GetLogicalDisks();
    /// In the numbers of the Windows power status, see PowerStatusRecord.
    virtual BatteryStatus GetBatteryStatus();
    virtual std::vector<WirelessLan> GetWirelessLans();
    virtual std::vector<NetworkInterfaceRecord> GetNetworkInterfaces();
    /// Bytes that the operating system can use; 0 when it does not tell.
    virtual std::uint64_t GetTotalPhysicalRam() noexcept;

    /// What the latest call of each getter could not tell, and why, for people. Sorted by getters.
    InventoryGaps GetGaps() const;

private:
    /// What the getters have in common: each by the words of its failures, and where in `Startup` its result goes.
    struct Getter
    {
        const char* failure;
        const char* field;
    };

    /// Runs a getter's query, which gets the getter's list of gaps, emptied. Logs what it throws.
    template <typename Query>
    void Run(
        const Getter& getter, const Query& query, const std::source_location& where = std::source_location::current());

    std::unique_ptr<InventorySource> m_source;
    std::unique_ptr<NetworkingQuerier> m_networking;
    std::unique_ptr<Wlan::WlanQuerier> m_wlan;
    /// By the fields of the getters.
    std::map<std::string, InventoryGaps, std::less<>> m_gaps;
};

/// The name of a processor's architecture by its number in ProcessorRecord, such as "x64"; empty for one that is not known.
/// Any thread.
const std::string& GetArchitectureName(std::int32_t architecture);

} // namespace AgentCore::System
