#pragma once

#include "shared.concurrency-event.hpp"

#include <filesystem>
#include <string>

namespace Lab
{

/// Gives this process and its children a settings store and a meeting place of their own inside of `results`: on Linux by
/// the two folders that a service manager would name, on Windows (where the registry is one for the whole machine) by
/// nothing, as the laboratory's machine is Wine's prefix. Call once, before any thread is started.
void UseOwnSurroundings(const std::filesystem::path& results);

/// The outermost folder on the way to `folder`, or that one itself, which other accounts may not enter, and so perhaps not
/// the one under which the agent starts its children; empty when there is none, and when the agent cannot change accounts
/// (Linux without root, Wine).
std::filesystem::path FindClosedFolder(const std::filesystem::path& folder);

/// Whether the agent can start its connector under the account of network services: not under Wine, which has none. In debug
/// mode the agent needs no such account.
bool HasServiceAccounts() noexcept;

/// Lets an interrupt at the terminal signal `interrupted` instead of ending the process, until StopSignalling().
void SignalOnInterrupt(Shared::Concurrency::Event& interrupted);

/// From now on an interrupt signals nothing, and (Linux) is ignored.
void StopSignalling() noexcept;

/// The name that a program's file has here: "X" or "X.exe".
std::string ProgramName(const std::string& name);

} // namespace Lab
