#include "agentcore.ops-startup.hpp"

#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-time.hpp"

#include <cstdint>
#include <exception>
#include <utility>

namespace AgentCore::Ops
{

namespace
{

template <typename Message, typename Field>
void MoveInto(Field& field, std::vector<Message>&& messages)
{
    for (auto& message : messages)
    {
        *field.Add() = std::move(message);
    }
}

void FillNetwork(System::SystemQuerier& querier, Startup::Network& network)
{
    MoveInto(*network.mutable_wlans(), querier.GetWirelessLans());
    for (auto& record : querier.GetNetworkInterfaces())
    {
        *network.add_interfaces() = std::move(record.message);
    }
}

void FillHardware(System::SystemQuerier& querier, Startup::Hardware& hardware)
{
    MoveInto(*hardware.mutable_cpu(), querier.GetCpuInfo());
    auto& ram = *hardware.mutable_ram();
    MoveInto(*ram.mutable_modules(), querier.GetRamInfo());
    std::uint64_t total = 0;
    for (const auto& module : ram.modules())
    {
        total += module.capacity();
    }
    ram.set_total_physical(total);
}

} // namespace

void FillStartupInventory(System::SystemQuerier& querier, Startup& startup)
{
    FillNetwork(querier, *startup.mutable_network());
    auto& system = *startup.mutable_system();
    *system.mutable_battery_status() = querier.GetBatteryStatus();
    *system.mutable_computer() = querier.GetSystemInfo();
    *system.mutable_os() = querier.GetOsInfo();
    *system.mutable_bios() = querier.GetBiosInfo();
    MoveInto(*system.mutable_logical_drives(), querier.GetLogicalDisks());
    FillHardware(querier, *system.mutable_hardware());
}

Startup BuildStartup(
    const Shared::AppSettings::AppSettings& settings, Shared::Time::UtcTime now, const QuerierFactory& makeQuerier)
{
    Startup startup;
    startup.set_account_id(static_cast<std::int32_t>(settings.accountId));
    startup.set_uuid(Shared::Util::ConvertStringType(settings.agentUuid));
    startup.set_version(Shared::Util::ConvertStringType(settings.installedVersion));
    startup.set_utc_time(Shared::Util::FormatTimeText(now));
    try
    {
        FillStartupInventory(*makeQuerier(), startup);
        Shared::Log::Debug("Startup Post data retrieval OK");
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("Exception occurred during Agent Startup data retrieval", exception);
    }
    return startup;
}

} // namespace AgentCore::Ops
