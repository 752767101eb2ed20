#pragma once

#include "agentcore.system-systemquerier.hpp"
#include "shared.appsettings-appsettings.hpp"
#include "shared.time-clock.hpp"

#include <functional>
#include <memory>

#include "startup.pb.h"

namespace AgentCore::Ops
{

/// Makes the querier that a `Startup` is filled from, or hands out one that is there; never null. May throw.
using QuerierFactory = std::function<std::shared_ptr<System::SystemQuerier>()>;

/// Asks for the whole inventory, in this order, and puts each answer into `startup` as it comes, so that an exception in
/// between leaves those before it: wireless links, interfaces, battery, computer, operating system, BIOS, logical disks,
/// processors, memory modules. The total of the memory is the sum of the modules' capacities.
void FillStartupInventory(System::SystemQuerier& querier, Startup& startup);

/// The message that tells the server what machine this is: who posts and when, from `settings` and `now`, and the inventory.
/// A machine whose queries fail still posts: an exception is logged as "Exception occurred during Agent Startup data
/// retrieval", and what has been filled by then is told.
Startup BuildStartup(
    const Shared::AppSettings::AppSettings& settings, Shared::Time::UtcTime now, const QuerierFactory& makeQuerier);

} // namespace AgentCore::Ops
