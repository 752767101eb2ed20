#pragma once

#include <cstdint>
#include <string>

namespace Shared::System
{

/// The version of the operating system, as it names itself.
struct OsVersion
{
    /// Windows: the number as text, "17763". Linux: the kernel's name and release, "Linux 6.1.0-28-amd64": deliberately no
    /// number, so that no comparison with a build of Windows can hold.
    std::wstring buildNumber;
    /// Windows: 10 and 0. Linux: of the kernel.
    std::uint32_t majorVersion = 0;
    std::uint32_t minorVersion = 0;
    /// Windows: "1809". Linux: the distribution's version, "12", or what it has instead of one, "rolling" among others.
    std::wstring releaseId;
};

/// All of the version. What cannot be read is told by a runtime exception of its own: "Couldn't read CurrentBuildNumber",
/// "Couldn't read MajorVersionNumber", "Couldn't read MinorVersionNumber", "Couldn't read ReleaseId", in this order.
/// Any thread.
OsVersion GetOsVersion();

/// The build number alone, for where a missing release must not hide it (newer systems have none). Throws the runtime
/// exception "Couldn't read CurrentBuildNumber".
std::wstring GetOsBuildNumber();

} // namespace Shared::System
