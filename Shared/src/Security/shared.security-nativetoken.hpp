#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <optional>

namespace Shared::Security
{

/// Accounts that every machine has for its services. On Linux the system account is root; the two lesser ones are the
/// account `tarvane-vel` where the administrator has made it, else `nobody`.
enum class WellKnownAccount : std::uint32_t
{
    LocalSystem,
    LocalService,
    NetworkService
};

/// The token operations of the platforms. What fails gives null, false or nothing, with the code in
/// Shared::Platform::LastError(). None throws. Any thread. For the callers, see shared.security-functions.hpp.
namespace Native
{

/// The token of this process, for making others from it. On Linux: the description of a child that is what we are.
Raii::RawHandle OpenOwnToken() noexcept;

/// A token of the same user without privileges. On Linux: no capability, and no way to get one.
Raii::RawHandle RestrictToken(Raii::RawHandle token) noexcept;

/// A token of a service account. On Linux without capabilities too, and a process that is not root has its own user to
/// give.
Raii::RawHandle LogonService(WellKnownAccount account) noexcept;

/// Lets the holder of `token` open raw sockets, if this process may. On Windows the account decides, and nothing is
/// done.
bool AllowRawSockets(Raii::RawHandle token) noexcept;

/// A new primary token like `token`, to be changed without changing that one. On Linux without raw sockets, which on
/// Windows the integrity label takes away.
Raii::RawHandle DuplicateForPlainTools(Raii::RawHandle token) noexcept;

enum class LabelResult : std::uint32_t
{
    Done,
    /// The label's text was refused.
    BadLabel,
    /// The token was not changed.
    Refused
};

/// Gives `token` itself, and so every handle to it, the low integrity label. On Linux: a child sees and changes only
/// what shared.security-landlock.linux.hpp lists.
LabelResult LowerIntegrity(Raii::RawHandle token) noexcept;

/// Whether this process runs as the account; nothing when the system does not tell.
std::optional<bool> IsCurrentUser(WellKnownAccount account) noexcept;

} // namespace Native

} // namespace Shared::Security
