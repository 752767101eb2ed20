#include "shared.system-runtimedirectory.linux.hpp"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace Shared::System
{

namespace
{

constexpr mode_t OnlyOwner = 0700;

/// An absolute path, without separators at its end.
std::optional<std::string> ReadPath(std::string_view value)
{
    if (!value.starts_with('/'))
    {
        return std::nullopt;
    }
    while (value.size() > 1 && value.back() == '/')
    {
        value.remove_suffix(1);
    }
    return std::string{value};
}

std::string_view ToView(const char* text)
{
    return text == nullptr ? std::string_view{} : std::string_view{text};
}

void Refuse(const std::string& path, const char* reason)
{
    throw Exception::RuntimeException(fmt::format("Runtime directory {} {}", path, reason));
}

} // namespace

std::string ChooseRuntimeDirectory(const char* givenDirectory, const char* sessionDirectory, std::uint32_t userId)
{
    const auto given = ToView(givenDirectory);
    if (auto first = ReadPath(given.substr(0, given.find(':'))))
    {
        return *std::move(first);
    }
    if (userId == 0)
    {
        return "/run/tarvane-vel";
    }
    if (const auto ofSession = ReadPath(ToView(sessionDirectory)))
    {
        return *ofSession + "/tarvane-vel";
    }
    return fmt::format("/tmp/tarvane-vel-{}", userId);
}

std::string GetRuntimeDirectory()
{
    auto path = ChooseRuntimeDirectory(std::getenv("RUNTIME_DIRECTORY"), std::getenv("XDG_RUNTIME_DIR"), ::geteuid());
    if (::mkdir(path.c_str(), OnlyOwner) != 0 && Platform::LastError() != EEXIST)
    {
        const auto code = Platform::LastError();
        throw Exception::Win32Exception(fmt::format("Failed to create runtime directory {}", path), code);
    }

    struct stat status
    {
    };

    if (::lstat(path.c_str(), &status) != 0)
    {
        const auto code = Platform::LastError();
        throw Exception::Win32Exception(fmt::format("Failed to create runtime directory {}", path), code);
    }
    if (!S_ISDIR(status.st_mode))
    {
        Refuse(path, S_ISLNK(status.st_mode) ? "is a symbolic link" : "is no directory");
    }
    if (status.st_uid != ::geteuid())
    {
        Refuse(path, "belongs to another user");
    }
    if ((status.st_mode & S_IWOTH) != 0)
    {
        Refuse(path, "is writable for everybody");
    }
    return path;
}

} // namespace Shared::System
