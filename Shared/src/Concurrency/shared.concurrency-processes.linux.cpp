#include "shared.concurrency-functions.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <string_view>

#include <dirent.h>
#include <unistd.h>

#include <fmt/format.h>

namespace Shared::Concurrency
{

namespace
{

std::optional<std::uint32_t> ParseId(std::string_view text) noexcept
{
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(id) : std::nullopt;
}

/// Name of the file that a process runs. The kernel's short name of a process is no substitute, as it holds 15
/// characters; it is taken where the file is none of our business (another user's process, a kernel thread).
std::string ExecutableName(std::uint32_t processId)
{
    std::array<char, 4096> target{};
    const std::string folder = fmt::format("/proc/{}", processId);
    const ssize_t length = ::readlink((folder + "/exe").c_str(), target.data(), target.size());
    if (length > 0)
    {
        std::string_view path(target.data(), static_cast<std::size_t>(length));
        constexpr std::string_view Replaced = " (deleted)";
        if (path.ends_with(Replaced))
        {
            path.remove_suffix(Replaced.size());
        }
        return std::string(path.substr(path.rfind('/') + 1));
    }
    std::string name;
    std::ifstream file(folder + "/comm");
    std::getline(file, name);
    return name;
}

/// The login session that the kernel's audit knows; throws when it cannot be read, as the process may have gone.
bool IsInSession(std::uint32_t processId, std::int32_t sessionId)
{
    if (sessionId < 0)
    {
        return true;
    }
    std::string text;
    std::ifstream file(fmt::format("/proc/{}/sessionid", processId));
    std::getline(file, text);
    const std::optional<std::uint32_t> session = ParseId(text);
    if (!session)
    {
        throw Exception::Win32Exception("ProcessIdToSessionId() failed", ESRCH);
    }
    return *session == static_cast<std::uint32_t>(sessionId);
}

} // namespace

std::vector<std::uint32_t> GetProcessIDByName(const std::wstring& name, std::int32_t sessionId)
{
    if (name.empty())
    {
        throw Exception::RuntimeException("ProcessName cannot be empty.");
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc"), &::closedir);
    if (folder == nullptr)
    {
        throw Exception::Win32Exception("CreateToolhelp32Snapshot() failed", Platform::LastError());
    }
    const std::string wanted = Util::ConvertStringType(name);
    std::vector<std::uint32_t> ids;
    while (const dirent* entry = ::readdir(folder.get()))
    {
        const std::optional<std::uint32_t> id = ParseId(entry->d_name);
        if (id && Util::EqualsIgnoreCase(wanted, ExecutableName(*id)) && IsInSession(*id, sessionId))
        {
            ids.push_back(*id);
        }
    }
    return ids;
}

} // namespace Shared::Concurrency
