#pragma once

#include <optional>
#include <string>

namespace Shared::System
{

/// The whole content of a file whose size is not known beforehand, such as those of /proc and /sys, up to 1 MB; what is
/// longer is cut there. Nothing, with the reason in Platform::LastError(), when it cannot be opened or read. Any thread.
std::optional<std::string> ReadProcFile(const std::string& path);

} // namespace Shared::System
