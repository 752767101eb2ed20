#pragma once

#include "shared.appsettings-appsettings.hpp"

#include <string_view>

namespace Agent::Process
{

/// Sets up the process's logger from its settings; in debug mode what goes to a file or to the event log goes to the
/// console too. Throws the runtime exception "Unsupported LogTarget {}".
void ConfigureLogger(const Shared::AppSettings::AppSettings& settings, bool debug);

/// Whether some argument, the program's own name included, is exactly "-d". Nothing else on the command line means
/// anything.
bool IsDebugRequested(int argc, const char* const* argv) noexcept;

/// Whether a build number text is that of a Windows older than 10 version 1809 (build 17763). A text that is no number is
/// not.
bool IsUnsupportedBuild(std::wstring_view buildNumber) noexcept;

} // namespace Agent::Process
