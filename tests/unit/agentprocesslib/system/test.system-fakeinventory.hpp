#pragma once

#include "agentcore.system-inventorysource.hpp"
#include "agentcore.system-networkingquerier.hpp"
#include "agentcore.system-systemquerier.hpp"
#include "agentcore.wlan-wlanquerier.hpp"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TestSupport
{

/// What a fake machine tells. Each answer is written down in `asked` when it is asked for.
struct FakeMachine
{
    std::optional<AgentCore::System::ComputerSystemRecord> computer =
        AgentCore::System::ComputerSystemRecord{false, L"corp.test", L"fern", L"TestMaker", L"Notebook"};
    std::optional<AgentCore::System::OperatingSystemRecord> operatingSystem =
        AgentCore::System::OperatingSystemRecord{L"Test OS"};
    std::optional<std::wstring> release = L"22H2";
    std::optional<AgentCore::System::BiosRecord> bios = AgentCore::System::BiosRecord{L"SN-1"};
    std::vector<AgentCore::System::ProcessorRecord> processors{{9, L"Swift", 2400, 4, 8}};
    std::vector<AgentCore::System::MemoryModuleRecord> modules{{8192, L"BANK 0"}, {4096, L"BANK 1"}};
    std::vector<AgentCore::System::LogicalDiskRecord> disks{{L"C:", L"NTFS", 12, 1000, 400}};
    AgentCore::System::PowerStatusRecord power{1, 9, 80, 1, -1, -1};
    std::vector<WirelessLan> wirelessLans = std::vector<WirelessLan>(1);
    std::vector<AgentCore::System::NetworkInterfaceRecord> interfaces =
        std::vector<AgentCore::System::NetworkInterfaceRecord>(2);

    /// Thrown by the operation of that name, behind the rows of one that has rows.
    std::string failing;
    std::exception_ptr failure;
    /// Told by every operation.
    std::optional<AgentCore::System::InventoryGap> gap;
    std::vector<std::string> asked;

    void Ask(const std::string& operation)
    {
        asked.push_back(operation);
    }

    void FailIf(const std::string& operation) const
    {
        if (operation == failing)
        {
            std::rethrow_exception(failure);
        }
    }
};

/// The inventory alone of that machine, which must outlive it.
std::unique_ptr<AgentCore::System::InventorySource> MakeFakeSource(FakeMachine& machine);

/// A querier of that machine, which must outlive it.
std::unique_ptr<AgentCore::System::SystemQuerier> MakeFakeQuerier(FakeMachine& machine);

} // namespace TestSupport
