#include "lab.process-functions.hpp"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lab::Process
{

namespace
{

namespace fs = std::filesystem;

std::optional<std::uint32_t> ParseId(std::string_view text) noexcept
{
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(id) : std::nullopt;
}

/// The fourth word of "id (name) state parent ..."; the name may hold blanks and brackets itself.
std::optional<std::uint32_t> ReadParent(std::uint32_t id)
{
    std::ifstream stream("/proc/" + std::to_string(id) + "/stat");
    std::string text;
    // A process that has just ended reads as an error, which this takes for the end of the text; a name may hold line ends.
    std::getline(stream, text, '\0');
    const std::size_t bracket = text.rfind(") ");
    if (bracket == std::string::npos)
    {
        return std::nullopt;
    }
    const std::size_t begin = text.find(' ', bracket + 2);
    const std::size_t end = text.find(' ', begin + 1);
    return begin == std::string::npos || end == std::string::npos
        ? std::nullopt
        : ParseId(std::string_view(text).substr(begin + 1, end - begin - 1));
}

fs::path ReadProgram(std::uint32_t id)
{
    std::error_code ignored;
    return fs::read_symlink("/proc/" + std::to_string(id) + "/exe", ignored);
}

} // namespace

std::uint32_t OwnId() noexcept
{
    return static_cast<std::uint32_t>(::getpid());
}

std::vector<Entry> List()
{
    std::vector<Entry> entries;
    std::error_code error;
    for (const fs::directory_entry& folder : fs::directory_iterator("/proc", error))
    {
        const std::optional<std::uint32_t> id = ParseId(folder.path().filename().string());
        const std::optional<std::uint32_t> parent = id ? ReadParent(*id) : std::nullopt;
        if (parent)
        {
            entries.push_back({*id, *parent, ReadProgram(*id)});
        }
    }
    return entries;
}

bool Kill(const Entry& entry) noexcept
{
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(entry.id), 0));
    if (process < 0)
    {
        return false;
    }
    // Now that the descriptor holds on to it, it is either the same process or was another one from the start.
    const bool isSame = ReadParent(entry.id) == entry.parentId && ReadProgram(entry.id) == entry.program;
    const bool isKilled = isSame && ::syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0) == 0;
    ::close(process);
    return isKilled;
}

void AdoptOrphans() noexcept
{
    (void)::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void ReleaseEnded(const std::vector<Entry>& entries) noexcept
{
    for (const Entry& entry : entries)
    {
        (void)::waitpid(static_cast<pid_t>(entry.id), nullptr, WNOHANG);
    }
}

} // namespace Lab::Process
