#include "shared.security-identity.linux.hpp"

#include "shared.raii-nativehandle.linux.hpp"

#include <cerrno>

#include <linux/capability.h>
#include <linux/securebits.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Shared::Security
{

namespace
{

/// What a token's memory file holds: by its first word it is told from any other file.
struct Content
{
    std::uint64_t mark = Mark;
    Identity identity;

    static constexpr std::uint64_t Mark = 0x31'4E'4B'54'4C'45'56'54;
};

constexpr std::uint32_t RawSocketsBit = 1U << CAP_NET_RAW;

/// Capabilities of the calling thread. The low half holds CAP_NET_RAW; none of the high half is ever kept.
struct Capabilities
{
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};

    bool Read() noexcept
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        return ::syscall(SYS_capget, &header, sets.data()) == 0;
    }

    bool Write() noexcept
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        return ::syscall(SYS_capset, &header, sets.data()) == 0;
    }
};

bool WriteContent(int descriptor, const Identity& identity) noexcept
{
    Content content;
    content.identity = identity;
    const auto written = ::pwrite(descriptor, &content, sizeof content, 0);
    if (written >= 0 && written != static_cast<ssize_t>(sizeof content))
    {
        errno = ENOSPC;
    }
    return written == static_cast<ssize_t>(sizeof content);
}

int MakeMemoryFile() noexcept
{
    // Newer kernels want to be told that the file is no program; older ones do not know the word.
    constexpr unsigned NoExecution = 0x8U;
    const int descriptor = ::memfd_create("tarvane-vel-token", MFD_CLOEXEC | NoExecution);
    return descriptor < 0 && errno == EINVAL ? ::memfd_create("tarvane-vel-token", MFD_CLOEXEC) : descriptor;
}

// By the raw calls: those of the C library would ask all threads of the process from which this one was split off.

bool ChangeUser(const Identity& identity) noexcept
{
    return ::syscall(SYS_setgroups, static_cast<unsigned long>(identity.groupCount), identity.groups.data()) == 0 &&
        ::syscall(SYS_setresgid, identity.groupId, identity.groupId, identity.groupId) == 0 &&
        ::syscall(SYS_setresuid, identity.userId, identity.userId, identity.userId) == 0;
}

/// Leaves no capability but that for raw sockets, which then also goes to the programs that are started.
bool DropCapabilities(bool keepRawSockets) noexcept
{
    Capabilities capabilities;
    if (!capabilities.Read())
    {
        return false;
    }
    const std::uint32_t kept = keepRawSockets ? capabilities.sets[0].permitted & RawSocketsBit : 0;
    capabilities.sets = {};
    capabilities.sets[0] = {kept, kept, kept};
    return capabilities.Write() && (kept == 0 || ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_NET_RAW, 0, 0) == 0);
}

/// So that no program could give them back. Who may not do this has to do without: no-new-privileges alone is enough.
void ForbidRawSockets() noexcept
{
    (void)::prctl(PR_CAPBSET_DROP, CAP_NET_RAW, 0, 0, 0);
}

/// 0 when it could be done or is not ours to do.
int ForbidCapabilities() noexcept
{
    Capabilities capabilities;
    if (!capabilities.Read())
    {
        return errno;
    }
    // Who may not do this has to do without: no-new-privileges alone keeps a program from gaining any.
    if ((capabilities.sets[0].effective & (1U << CAP_SETPCAP)) == 0)
    {
        return 0;
    }
    for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability)
    {
        if (capability != CAP_NET_RAW && ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0)
        {
            return errno;
        }
    }
    // From now on the kernel takes root for a user like others when it starts a program.
    const int bits = ::prctl(PR_GET_SECUREBITS, 0, 0, 0, 0);
    return ::prctl(PR_SET_SECUREBITS, bits | SECBIT_NOROOT | SECBIT_NOROOT_LOCKED, 0, 0, 0) == 0 ? 0 : errno;
}

} // namespace

Raii::RawHandle MakeToken(const Identity& identity) noexcept
{
    const int descriptor = MakeMemoryFile();
    if (descriptor < 0)
    {
        return nullptr;
    }
    if (!WriteContent(descriptor, identity))
    {
        const int error = errno;
        ::close(descriptor);
        errno = error;
        return nullptr;
    }
    return Raii::Native::FromDescriptor(descriptor);
}

bool ReadToken(Raii::RawHandle token, Identity& identity) noexcept
{
    Content content;
    const auto count = ::pread(Raii::Native::DescriptorOf(token), &content, sizeof content, 0);
    if (count != static_cast<ssize_t>(sizeof content) || content.mark != Content::Mark ||
        content.identity.groupCount > Identity::MostGroups)
    {
        errno = count < 0 ? errno : EINVAL;
        return false;
    }
    identity = content.identity;
    return true;
}

bool RewriteToken(Raii::RawHandle token, const Identity& identity) noexcept
{
    Identity before;
    return ReadToken(token, before) && WriteContent(Raii::Native::DescriptorOf(token), identity);
}

bool HasRawSockets() noexcept
{
    Capabilities capabilities;
    return capabilities.Read() && (capabilities.sets[0].permitted & RawSocketsBit) != 0;
}

int TakeOn(const Identity& identity, int ruleset) noexcept
{
    if (identity.isRestricted != 0 && identity.keepsRawSockets == 0)
    {
        ForbidRawSockets();
    }
    // Otherwise the change of user takes all capabilities at once. Exec takes the mark back.
    if (identity.keepsRawSockets != 0 && ::prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0)
    {
        return errno;
    }
    if (identity.changesUser != 0 && !ChangeUser(identity))
    {
        return errno;
    }
    if (identity.isRestricted != 0 &&
        (!DropCapabilities(identity.keepsRawSockets != 0) || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0))
    {
        return errno;
    }
    if (ruleset >= 0 &&
        (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::syscall(SYS_landlock_restrict_self, ruleset, 0) != 0))
    {
        return errno;
    }
    return 0;
}

int RestrictDescendants() noexcept
{
    const int error = ForbidCapabilities();
    if (error != 0)
    {
        return error;
    }
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? 0 : errno;
}

} // namespace Shared::Security
