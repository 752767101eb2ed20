#include "shared.concurrency-processenvironment.linux.hpp"

#include "shared.system-runtimedirectory.linux.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace Shared::Concurrency::Native
{

namespace
{

constexpr std::array<std::string_view, 16> ForAll = {"PATH",      "LANG",          "LANGUAGE",     "TZ",
                                                     "TERM",      "TMPDIR",        "http_proxy",   "https_proxy",
                                                     "all_proxy", "no_proxy",      "HTTPS_PROXY",  "ALL_PROXY",
                                                     "NO_PROXY",  "SSL_CERT_FILE", "SSL_CERT_DIR", "STATE_DIRECTORY"};

/// About the user and not about the machine.
constexpr std::array<std::string_view, 4> ForTheSameUser = {"HOME", "USER", "LOGNAME", "XDG_RUNTIME_DIR"};

constexpr std::string_view LocalePrefix = "LC_";
constexpr const char* UsualPath = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

bool IsHandedOn(std::string_view name, bool keepsUser) noexcept
{
    return std::find(ForAll.begin(), ForAll.end(), name) != ForAll.end() || name.starts_with(LocalePrefix) ||
        (keepsUser && std::find(ForTheSameUser.begin(), ForTheSameUser.end(), name) != ForTheSameUser.end());
}

} // namespace

std::vector<std::string> FilterEnvironment(
    const char* const* environment, bool keepsUser, const std::string& runtimeDirectory)
{
    std::vector<std::string> entries;
    bool hasPath = false;
    for (; environment != nullptr && *environment != nullptr; ++environment)
    {
        const std::string_view entry = *environment;
        const std::string_view name = entry.substr(0, entry.find('='));
        if (name.size() < entry.size() && IsHandedOn(name, keepsUser))
        {
            hasPath = hasPath || name == "PATH";
            entries.emplace_back(entry);
        }
    }
    if (!hasPath)
    {
        entries.emplace_back(UsualPath);
    }
    entries.push_back("RUNTIME_DIRECTORY=" + runtimeDirectory);
    return entries;
}

std::vector<std::string> MakeChildEnvironment(const Security::Identity& identity)
{
    const bool keepsUser = identity.changesUser == 0 || identity.userId == ::geteuid();
    return FilterEnvironment(
        ::environ, keepsUser,
        System::ChooseRuntimeDirectory(std::getenv("RUNTIME_DIRECTORY"), std::getenv("XDG_RUNTIME_DIR"), ::geteuid()));
}

} // namespace Shared::Concurrency::Native
