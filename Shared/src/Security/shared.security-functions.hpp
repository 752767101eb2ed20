#pragma once

#include "shared.raii-win32handle.hpp"
#include "shared.security-nativetoken.hpp"

/// The identities under which the agent starts its children: always lesser ones than its own. An identity is a primary
/// token; on Linux the description of one, which the start of a child applies. What each kind of child is on each
/// platform stands in docs/platform.md. All functions may be called from any thread.
namespace Shared::Security
{

/// Identity of path tests, which need raw sockets. Made once and kept for the life of the process; each call gives a
/// handle of its own to the same token.
/// @param adminRestricted the process's own user without privileges, instead of the network service account. Throws as
/// CreateAdminRestrictedToken() and LogonService(), and Win32Exception "SetTokenInformation() failed" and
/// "DuplicateHandle() failed"; a failure is not kept, so the next call tries again.
Raii::Win32Handle GetMtrChildProcessIdentity(bool adminRestricted);

/// Identity of HTTP and TCP tests: a token of its own, made from that of path tests with the same flag, and kept
/// likewise.
/// @param lowIntegrity with a low integrity label on top. Throws as above, Win32Exception "DuplicateTokenEx() failed",
/// and as SetTokenToLowIntegrity().
Raii::Win32Handle GetCurlTcPingChildProcessIdentity(bool lowIntegrity);

/// A token of a service account. `failureText` is the text of the Win32Exception when the system refuses the logon, as
/// callers word it differently. The system's own account cannot be logged on.
Raii::Win32Handle LogonService(WellKnownAccount account, const char* failureText = "LogonUserW() failed");

/// A token of the process's own user with all privileges disabled that can be. Throws Win32Exception
/// "OpenProcessToken() failed", "CreateRestrictedToken() failed".
Raii::Win32Handle CreateAdminRestrictedToken();

/// Gives the token, and so every handle to it, the integrity label S-1-16-4096 (low). Throws the invalid-argument
/// exception "Token cannot be null"; Win32Exception "ConvertStringSidToSidW() failed", "SetTokenInformation() failed".
/// On Linux a kernel without the means starts the child all the same, and says so once in the log, at level warning.
void SetTokenToLowIntegrity(const Raii::Win32Handle& token);

/// Whether this process runs as the account. Throws Win32Exception "OpenProcessToken() failed" when the system does not
/// tell.
bool IsRunningAs(WellKnownAccount account);

} // namespace Shared::Security
