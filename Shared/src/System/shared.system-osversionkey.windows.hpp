#pragma once

#include "shared.system-osversion.hpp"

#include <string>

namespace Shared::System
{

/// The version as a key of the registry (under the local machine) tells it: values `CurrentBuildNumber` and `ReleaseId`,
/// strings, and `CurrentMajorVersionNumber` and `CurrentMinorVersionNumber`, numbers. Throws as GetOsVersion().
OsVersion ReadOsVersion(const std::wstring& keyPath);

} // namespace Shared::System
