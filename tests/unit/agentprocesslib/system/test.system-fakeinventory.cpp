#include "test.system-fakeinventory.hpp"

namespace TestSupport
{

using namespace AgentCore::System;

namespace
{

class FakeSource final : public InventorySource
{
public:
    explicit FakeSource(FakeMachine& machine) : e_machine(machine)
    {
    }

    std::optional<ComputerSystemRecord> QueryComputerSystem(InventoryGaps& gaps) override
    {
        return Answer("computer", e_machine.computer, gaps);
    }

    std::optional<OperatingSystemRecord> QueryOperatingSystem(InventoryGaps& gaps) override
    {
        return Answer("operating system", e_machine.operatingSystem, gaps);
    }

    std::optional<BiosRecord> QueryBios(InventoryGaps& gaps) override
    {
        return Answer("bios", e_machine.bios, gaps);
    }

    std::optional<std::wstring> QueryReleaseName(InventoryGaps& gaps) override
    {
        return Answer("release", e_machine.release, gaps);
    }

    void QueryProcessors(InventoryGaps& gaps, const Visitor<ProcessorRecord>& visit) override
    {
        AnswerRows("processors", e_machine.processors, visit, gaps);
    }

    void QueryMemoryModules(InventoryGaps& gaps, const Visitor<MemoryModuleRecord>& visit) override
    {
        AnswerRows("modules", e_machine.modules, visit, gaps);
    }

    void QueryLogicalDisks(InventoryGaps& gaps, const Visitor<LogicalDiskRecord>& visit) override
    {
        AnswerRows("disks", e_machine.disks, visit, gaps);
    }

    PowerStatusRecord QueryPowerStatus(InventoryGaps& gaps) override
    {
        return Answer("power", e_machine.power, gaps);
    }

private:
    void Tell(InventoryGaps& gaps) const
    {
        if (e_machine.gap)
        {
            gaps.push_back(*e_machine.gap);
        }
    }

    template <typename Value>
    Value Answer(const std::string& operation, const Value& value, InventoryGaps& gaps)
    {
        e_machine.Ask(operation);
        Tell(gaps);
        e_machine.FailIf(operation);
        return value;
    }

    template <typename Record>
    void AnswerRows(
        const std::string& operation,
        const std::vector<Record>& rows,
        const Visitor<Record>& visit,
        InventoryGaps& gaps)
    {
        e_machine.Ask(operation);
        Tell(gaps);
        for (const auto& row : rows)
        {
            visit(row);
        }
        e_machine.FailIf(operation);
    }

    FakeMachine& e_machine;
};

class FakeNetworking final : public NetworkingQuerier
{
public:
    explicit FakeNetworking(FakeMachine& machine) : e_machine(machine)
    {
    }

    std::vector<NetworkInterfaceRecord> GetNetworkInterfaces() override
    {
        e_machine.Ask("interfaces");
        e_machine.FailIf("interfaces");
        return e_machine.interfaces;
    }

private:
    FakeMachine& e_machine;
};

class FakeWlan final : public AgentCore::Wlan::WlanQuerier
{
public:
    explicit FakeWlan(FakeMachine& machine) : WlanQuerier(nullptr), e_machine(machine)
    {
    }

    std::vector<WirelessLan> GetWlanStats() override
    {
        e_machine.Ask("wireless lans");
        e_machine.FailIf("wireless lans");
        return e_machine.wirelessLans;
    }

private:
    FakeMachine& e_machine;
};

} // namespace

std::unique_ptr<InventorySource> MakeFakeSource(FakeMachine& machine)
{
    return std::make_unique<FakeSource>(machine);
}

std::unique_ptr<SystemQuerier> MakeFakeQuerier(FakeMachine& machine)
{
    return std::make_unique<SystemQuerier>(
        MakeFakeSource(machine), std::make_unique<FakeNetworking>(machine), std::make_unique<FakeWlan>(machine));
}

} // namespace TestSupport
