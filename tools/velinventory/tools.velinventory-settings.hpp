#pragma once

#include "shared.appsettings-appsettings.hpp"
#include "tools.velinventory-report.hpp"

#include <vector>

namespace Tools::VelInventory
{

/// The settings of this machine as the agent has them.
struct EvaluatedSettings
{
    /// Of a machine whose settings cannot be loaded, the defaults.
    Shared::AppSettings::AppSettings settings;
    std::vector<SettingSection> sections;
    /// What could not be had, below "settings".
    AgentCore::System::InventoryGaps missing;
};

/// Reads them all; writes nothing. Enciphered ones are opened with the key that the agent has here. Throws nothing but for
/// lack of memory.
EvaluatedSettings EvaluateSettings();

} // namespace Tools::VelInventory
