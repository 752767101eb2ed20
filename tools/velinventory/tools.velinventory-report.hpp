#pragma once

#include "agentcore.system-inventorysource.hpp"
#include "tools.velinventory-options.hpp"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "startup.pb.h"

namespace Tools::VelInventory
{

/// What stands in the place of a secret that is not to be shown.
inline constexpr const char* HiddenText = "(hidden; --show-secrets shows it)";

/// Texts are UTF-8.
using SettingValue = std::variant<std::string, std::int64_t, bool>;

struct SettingRow
{
    std::string name;
    SettingValue value;
    /// Whether the value is stored enciphered, or comes from what is.
    bool isSecret = false;
};

struct SettingSection
{
    std::string title;
    std::vector<SettingRow> rows;
};

/// All that is shown.
struct Report
{
    Startup startup;
    std::vector<SettingSection> settings;
    /// What could not be had, and why; the fields of the inventory by their path in `startup`, those of the settings below
    /// "settings".
    AgentCore::System::InventoryGaps missing;
};

/// The value as it may be shown: HiddenText for a secret that is there and is not to be.
SettingValue ToShown(const SettingRow& row, Secrets secrets);

} // namespace Tools::VelInventory
