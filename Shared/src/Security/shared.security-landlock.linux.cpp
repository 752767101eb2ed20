#include "shared.security-landlock.linux.hpp"

#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Shared::Security
{

namespace
{

// What the kernel's header of this machine may not know yet. All of it has been in the kernel since the version named.
constexpr std::uint64_t AccessRefer = 1ULL << 13;        // 2
constexpr std::uint64_t AccessTruncate = 1ULL << 14;     // 3
constexpr std::uint64_t AccessIoctlDevice = 1ULL << 15;  // 5
constexpr std::uint64_t ScopeAbstractSocket = 1ULL << 0; // 6
constexpr std::uint64_t ScopeSignal = 1ULL << 1;         // 6

struct RulesetAttributes
{
    std::uint64_t fileAccess;
    std::uint64_t networkAccess;
    std::uint64_t scope;
};

constexpr std::uint64_t Run = LANDLOCK_ACCESS_FS_EXECUTE;
constexpr std::uint64_t ReadFile = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr std::uint64_t Read = ReadFile | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t WriteFile = LANDLOCK_ACCESS_FS_WRITE_FILE | AccessTruncate;
/// All that the first version knows.
constexpr std::uint64_t FirstVersion = LANDLOCK_ACCESS_FS_MAKE_SYM * 2 - 1;
/// What a rule about a file, and not a folder, may hold.
constexpr std::uint64_t OfFiles = Run | ReadFile | WriteFile | AccessIoctlDevice;

struct Rule
{
    const char* path;
    std::uint64_t access;
};

constexpr std::array Rules = {
    // The system's programs and libraries.
    Rule{"/usr", Read | Run},
    Rule{"/bin", Read | Run},
    Rule{"/sbin", Read | Run},
    Rule{"/lib", Read | Run},
    Rule{"/lib32", Read | Run},
    Rule{"/lib64", Read | Run},
    // Their settings: certificates, resolver, time zone.
    Rule{"/etc", Read},
    Rule{"/var/lib/ca-certificates", Read},
    Rule{"/run/systemd/resolve", Read},
    Rule{"/run/resolvconf", Read},
    Rule{"/run/NetworkManager", Read},
    Rule{"/proc", Read},
    Rule{"/sys", Read},
    // Devices that hold nothing.
    Rule{"/dev/null", ReadFile | WriteFile},
    Rule{"/dev/zero", ReadFile | WriteFile},
    Rule{"/dev/full", ReadFile | WriteFile},
    Rule{"/dev/random", ReadFile},
    Rule{"/dev/urandom", ReadFile},
};

std::uint64_t AccessOfVersion(int version) noexcept
{
    return FirstVersion | (version >= 2 ? AccessRefer : 0) | (version >= 3 ? AccessTruncate : 0) |
        (version >= 5 ? AccessIoctlDevice : 0);
}

int MakeRuleset(int version) noexcept
{
    constexpr int VersionWithNetwork = 4;
    constexpr int VersionWithScope = 6;
    const RulesetAttributes attributes = {
        AccessOfVersion(version), 0, version >= VersionWithScope ? ScopeAbstractSocket | ScopeSignal : 0};
    // A kernel refuses fields that it does not know.
    std::size_t size = offsetof(RulesetAttributes, networkAccess);
    if (version >= VersionWithScope)
    {
        size = sizeof attributes;
    }
    else if (version >= VersionWithNetwork)
    {
        size = offsetof(RulesetAttributes, scope);
    }
    return static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, size, 0));
}

/// True when it was added or there is nothing of that path.
bool AddRule(int ruleset, const char* path, std::uint64_t access) noexcept
{
    const int descriptor = ::open(path, O_PATH | O_CLOEXEC);
    if (descriptor < 0)
    {
        return errno == ENOENT || errno == ENOTDIR || errno == EACCES;
    }
    struct stat status = {};
    const bool isFolder = ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
    landlock_path_beneath_attr rule = {};
    rule.allowed_access = isFolder ? access : access & OfFiles;
    rule.parent_fd = descriptor;
    const bool added = ::syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return added;
}

bool AddRules(int ruleset, int version, const std::string& binFolder) noexcept
{
    const std::uint64_t known = AccessOfVersion(version);
    for (const Rule& rule : Rules)
    {
        if (!AddRule(ruleset, rule.path, rule.access & known))
        {
            return false;
        }
    }
    return AddRule(ruleset, binFolder.c_str(), (Read | Run) & known);
}

} // namespace

int GetLandlockVersion() noexcept
{
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return version < 0 ? 0 : static_cast<int>(version);
}

int MakeLowIntegrityRuleset(const std::string& binFolder)
{
    const int version = GetLandlockVersion();
    if (version == 0)
    {
        errno = EOPNOTSUPP;
        return -1;
    }
    const int ruleset = MakeRuleset(version);
    if (ruleset >= 0 && !AddRules(ruleset, version, binFolder))
    {
        const int error = errno;
        ::close(ruleset);
        errno = error;
        return -1;
    }
    return ruleset;
}

int GetLowIntegrityRuleset()
{
    static const int s_ruleset = []
    {
        const int made =
            MakeLowIntegrityRuleset(Util::ConvertStringType(Util::GetCurrentExecutableDirectory()) + "/bin");
        if (made < 0)
        {
            Log::Warn(
                "Low integrity cannot be given to child processes (Landlock, error code {}): they run without it",
                Platform::LastError());
        }
        return made;
    }();
    return s_ruleset;
}

} // namespace Shared::Security
