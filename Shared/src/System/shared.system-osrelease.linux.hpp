#pragma once

#include "shared.system-osversion.hpp"

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace Shared::System
{

/// What an os-release file tells, by name.
using OsRelease = std::map<std::string, std::string, std::less<>>;

/// Reads the text of an os-release file: lines NAME=value, the value bare or in quotes of either kind, with the shell's
/// escapes undone. Comments and lines of another form are passed over; of equal names the last counts.
OsRelease ParseOsRelease(std::string_view text);

/// The file of this machine, /etc/os-release or else /usr/lib/os-release; empty when there is none. Any thread.
OsRelease ReadOsRelease();

/// The version of a machine whose kernel calls itself `kernelName` with the release `kernelRelease`. Throws as
/// GetOsVersion(). A pure function.
OsVersion MakeOsVersion(std::string_view kernelName, std::string_view kernelRelease, const OsRelease& distribution);

} // namespace Shared::System
