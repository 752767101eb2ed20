#pragma once

#include <cstdint>
#include <string>

namespace Shared::System
{

/// The folder in which processes of one agent meet: FIFOs of named events, sockets of message pipes. Made with mode 0700
/// when it is missing. No separator at the end. Which one, decided anew at each call:
///  1. the first entry of the environment variable RUNTIME_DIRECTORY (separated by ":"), which a service manager sets,
///     and by which tests and a second instance have a folder of their own;
///  2. /run/tarvane-vel for root;
///  3. tarvane-vel inside of $XDG_RUNTIME_DIR;
///  4. /tmp/tarvane-vel-<user id>.
/// Values that are no absolute path are passed over.
///
/// Whoever could put files there could pose as the agent. So the folder is refused by the runtime exception "Runtime
/// directory {} ..." when it is a symbolic link, no folder, owned by another user than the process's effective one, or
/// writable for everybody. A folder that cannot be made gives Win32Exception "Failed to create runtime directory {}".
/// Any thread, as long as none changes the environment.
std::string GetRuntimeDirectory();

/// The choice alone, by the values of the two environment variables (null when not set) and the effective user's id. A
/// pure function.
std::string ChooseRuntimeDirectory(const char* givenDirectory, const char* sessionDirectory, std::uint32_t userId);

} // namespace Shared::System
