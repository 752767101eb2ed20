#pragma once

#include "shared.raii-nativehandle.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Shared::Security
{

/// Who a child is to be. A plain record without pointers, so that processes can hand it over byte by byte. As
/// initialised: what its parent is.
struct Identity
{
    static constexpr std::size_t MostGroups = 256;

    /// Whether the child gets the user, the group and the supplementary groups below, or keeps those of its parent. A
    /// parent that may not give them away cannot start it.
    std::uint32_t changesUser = 0;
    std::uint32_t userId = 0;
    std::uint32_t groupId = 0;
    std::uint32_t groupCount = 0;
    std::array<std::uint32_t, MostGroups> groups{};
    /// No capability, and no program that could give one back (no-new-privileges).
    std::uint32_t isRestricted = 0;
    /// Of a restricted child: it may open raw sockets all the same, and hand that on to programs that it starts. Only
    /// if the parent may do it itself.
    std::uint32_t keepsRawSockets = 0;
    /// It sees and changes only what the ruleset of shared.security-landlock.linux.hpp names, and no program gives it
    /// more.
    std::uint32_t hasLowIntegrity = 0;
};

static_assert(std::is_trivially_copyable_v<Identity>);

/// Puts the identity into a token: a handle that can be owned, duplicated and compared like any other; what it holds is
/// shared by its duplicates. Null on failure, with the code in LastError(). Any thread; never throws.
Raii::RawHandle MakeToken(const Identity& identity) noexcept;

/// What a token holds. False, with the code in LastError(), for a handle that is no token.
bool ReadToken(Raii::RawHandle token, Identity& identity) noexcept;

/// Changes what a token and all its duplicates hold. False on failure.
bool RewriteToken(Raii::RawHandle token, const Identity& identity) noexcept;

/// Whether this thread may open raw sockets itself, and so let a child do it.
bool HasRawSockets() noexcept;

// The following two are for a process that is about to run another program: they change the calling process for good.
// They use nothing but system calls, so that they are safe between vfork() and exec. 0, or the errno of what failed, in
// which case the process must end: it may be half of what it was.

/// Takes the identity on. @param ruleset the descriptor of a Landlock ruleset, or -1 for none.
int TakeOn(const Identity& identity, int ruleset) noexcept;

/// What every restricted child has in common, for a process that starts nothing else: no new privileges, and
/// capabilities beyond raw sockets can be had from no program, not even by root. The process itself keeps what it has.
int RestrictDescendants() noexcept;

} // namespace Shared::Security
