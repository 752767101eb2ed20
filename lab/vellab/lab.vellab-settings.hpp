#pragma once

#include <string>

namespace Lab
{

/// Lays out the registry as an installer and a VPN client leave it: the keys that the agent looks for, with the values of
/// an agent that was installed and never registered. What an earlier run left is deleted first.
/// @param server what the config key names as the server; empty leaves the value out.
/// Throws what the registry operations throw.
void LayOutSettings(const std::string& server);

/// Deletes those keys, where the registry is shared with what comes later.
void RemoveSettings();

} // namespace Lab
