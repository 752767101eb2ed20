#pragma once

#include "agentcore.ops-identity.hpp"
#include "shared.concurrency-waitabletimer.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace AgentCore::Ops
{

/// What the first of two versions is beside the second.
enum class VersionOrder : std::uint32_t
{
    Older,
    Equal,
    Newer
};

/// Compares the numbers between the dots one by one, the missing ones of the shorter text as 0: 3.10.0 is newer than 3.9.9,
/// and 3.2 equals 3.2.0. Nothing checks that a text holds digits only: whatever character comes counts by its distance from
/// "0", and numbers wrap at 2^32. Ends for all texts, in time proportional to their length. Any thread.
VersionOrder CompareVersions(std::wstring_view first, std::wstring_view second);

/// Asks the updater for `targetVersion` and sets the timer to fire in 15 minutes and every 15 minutes from then on, if that
/// version is newer than the installed one; true then. Otherwise nothing changes: the timer, if it is set, stays set.
/// Throws Win32Exception when the installed version cannot be read or the target cannot be written, with the timer
/// untouched, and what SetTimerInMillis() throws, with the request made.
bool CompareVersionsAndUpgrade(
    const std::wstring& targetVersion, Identity& identity, Shared::Concurrency::WaitableTimer& upgradeTimer);
/// The same with the server's text, in UTF-8.
bool CompareVersionsAndUpgrade(
    const std::string& targetVersion, Identity& identity, Shared::Concurrency::WaitableTimer& upgradeTimer);

} // namespace AgentCore::Ops
