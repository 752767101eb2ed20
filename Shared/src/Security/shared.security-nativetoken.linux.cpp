#include "shared.security-nativetoken.hpp"

#include "shared.log-functions.hpp"
#include "shared.security-identity.linux.hpp"
#include "shared.security-landlock.linux.hpp"

#include <array>
#include <cerrno>
#include <exception>

#include <pwd.h>
#include <unistd.h>

namespace Shared::Security::Native
{

namespace
{

struct Account
{
    uid_t userId;
    gid_t groupId;
};

/// In the order in which they are looked for.
constexpr std::array ServiceAccounts = {"tarvane-vel", "nobody"};
/// What the kernel itself gives where there is nobody.
constexpr Account Nobody = {65534, 65534};

bool IsRoot() noexcept
{
    return ::geteuid() == 0;
}

Account FindServiceAccount() noexcept
{
    for (const char* const name : ServiceAccounts)
    {
        std::array<char, 4096> texts{};
        passwd entry = {};
        passwd* found = nullptr;
        // An account without a user of its own would be root again, or us.
        if (::getpwnam_r(name, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr &&
            entry.pw_uid != 0 && entry.pw_gid != 0)
        {
            return {entry.pw_uid, entry.pw_gid};
        }
    }
    return Nobody;
}

void SayOnceThatRawSocketsAreMissing() noexcept
{
    static const bool s_has = []() noexcept
    {
        const bool has = HasRawSockets();
        if (!has)
        {
            Log::Write(
                Log::Level::Warning,
                "This process may not open raw sockets and cannot let path tests do it: they run without");
        }
        return has;
    }();
    (void)s_has;
}

} // namespace

Raii::RawHandle OpenOwnToken() noexcept
{
    return MakeToken({});
}

Raii::RawHandle RestrictToken(Raii::RawHandle token) noexcept
{
    Identity identity;
    if (!ReadToken(token, identity))
    {
        return nullptr;
    }
    identity.isRestricted = 1;
    if (IsRoot() && identity.changesUser == 0)
    {
        // The same user, but of the groups it is in only the first.
        identity.changesUser = 1;
        identity.userId = ::geteuid();
        identity.groupId = ::getegid();
    }
    return MakeToken(identity);
}

Raii::RawHandle LogonService(WellKnownAccount account) noexcept
{
    if (account == WellKnownAccount::LocalSystem)
    {
        errno = EINVAL;
        return nullptr;
    }
    Identity identity;
    identity.isRestricted = 1;
    if (IsRoot())
    {
        const Account user = FindServiceAccount();
        identity.changesUser = 1;
        identity.userId = user.userId;
        identity.groupId = user.groupId;
    }
    return MakeToken(identity);
}

bool AllowRawSockets(Raii::RawHandle token) noexcept
{
    Identity identity;
    if (!ReadToken(token, identity))
    {
        return false;
    }
    SayOnceThatRawSocketsAreMissing();
    identity.keepsRawSockets = 1;
    return RewriteToken(token, identity);
}

Raii::RawHandle DuplicateForPlainTools(Raii::RawHandle token) noexcept
{
    Identity identity;
    if (!ReadToken(token, identity))
    {
        return nullptr;
    }
    identity.keepsRawSockets = 0;
    return MakeToken(identity);
}

LabelResult LowerIntegrity(Raii::RawHandle token) noexcept
{
    Identity identity;
    if (!ReadToken(token, identity))
    {
        return LabelResult::Refused;
    }
    identity.hasLowIntegrity = 1;
    return RewriteToken(token, identity) ? LabelResult::Done : LabelResult::Refused;
}

std::optional<bool> IsCurrentUser(WellKnownAccount account) noexcept
{
    return account == WellKnownAccount::LocalSystem ? IsRoot() : ::geteuid() == FindServiceAccount().userId;
}

} // namespace Shared::Security::Native
