#pragma once

#include "shared.security-identity.linux.hpp"

#include <string>
#include <vector>

namespace Shared::Concurrency::Native
{

/// The environment of a child that is given none: of this process's own only what is listed here, as the rest may hold
/// secrets or change what a program does. "NAME=value" each.
///  - PATH (the system's usual one when there is none), LANG, LANGUAGE, LC_*, TZ, TERM, TMPDIR;
///  - http_proxy, https_proxy, all_proxy, no_proxy and the last three in capitals; SSL_CERT_FILE, SSL_CERT_DIR;
///  - STATE_DIRECTORY, and RUNTIME_DIRECTORY with the folder that this process uses, whether or not it had the
///    variable;
///  - HOME, USER, LOGNAME, XDG_RUNTIME_DIR, unless the child is another user.
/// Any thread, as long as none changes the environment.
std::vector<std::string> MakeChildEnvironment(const Security::Identity& identity);

/// The same of given entries. `runtimeDirectory` is the folder for RUNTIME_DIRECTORY. A pure function.
std::vector<std::string> FilterEnvironment(
    const char* const* environment, bool keepsUser, const std::string& runtimeDirectory);

} // namespace Shared::Concurrency::Native
