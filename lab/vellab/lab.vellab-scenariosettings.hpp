#pragma once

#include "lab.scenario-scenario.hpp"
#include "lab.vellab-settings.hpp"

#include <map>
#include <optional>
#include <string>

namespace Lab
{

/// Lays out the registry as LayOutSettings() does, and puts what the scenario says in the place of it. Throws what the
/// registry operations throw.
void LayOutScenario(const Scenario& scenario);

/// Writes the user into the registry as the VPN client does, or takes the value away when nobody is signed in.
void ChangeUser(const ScenarioUser& user);

/// Writes values that the VPN client leaves, by the names that scenarios have for them.
void ChangeVpnValues(const std::map<std::string, std::string>& values);

/// Nothing when nobody is signed in.
std::optional<VpnUser> ToVpnUser(const ScenarioUser& user);

} // namespace Lab
