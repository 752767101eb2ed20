#include "shared.system-processes.hpp"

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.system-processstat.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.util-numbers.hpp"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Shared::System
{

namespace
{

/// The number behind `label` in lines of the form "label value".
std::optional<std::int64_t> FindLine(std::string_view text, std::string_view label)
{
    while (!text.empty())
    {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        if (line.starts_with(label))
        {
            line.remove_prefix(label.size());
            const auto start = line.find_first_not_of(" \t");
            return start == std::string_view::npos ? std::nullopt : Util::ParseNumber<std::int64_t>(line.substr(start));
        }
        if (end == std::string_view::npos)
        {
            break;
        }
        text.remove_prefix(end + 1);
    }
    return std::nullopt;
}

[[noreturn]] void FailTimes(std::uint32_t code)
{
    throw Exception::Win32Exception("GetProcessTimes() failed", code);
}

/// The id of the process that a pidfd means, which is negative once its parent has collected it.
std::int64_t ProcessIdOf(int descriptor)
{
    const auto information = ReadProcFile(fmt::format("/proc/self/fdinfo/{}", descriptor));
    if (!information)
    {
        FailTimes(Platform::LastError());
    }
    const auto id = FindLine(*information, "Pid:");
    if (!id)
    {
        FailTimes(EBADF);
    }
    return *id;
}

std::uint64_t TicksPerSecond()
{
    return static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
}

} // namespace

std::vector<std::uint32_t> EnumerateProcessIds()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder{::opendir("/proc"), &::closedir};
    if (!folder)
    {
        throw Exception::Win32Exception("EnumProcesses() failed", Platform::LastError());
    }
    std::vector<std::uint32_t> ids;
    while (true)
    {
        errno = 0;
        const dirent* const entry = ::readdir(folder.get());
        if (entry == nullptr)
        {
            break;
        }
        if (const auto id = Util::ParseNumber<std::uint32_t>(entry->d_name))
        {
            ids.push_back(*id);
        }
    }
    if (errno != 0)
    {
        throw Exception::Win32Exception("EnumProcesses() failed", Platform::LastError());
    }
    return ids;
}

Raii::Win32Handle OpenProcess(std::uint32_t processId)
{
    // Not yet in this C library's headers. The descriptor is closed on exec by itself.
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, processId, 0));
    if (descriptor < 0)
    {
        throw Exception::Win32Exception("OpenProcess() failed", Platform::LastError());
    }
    return Raii::Win32Handle{Raii::Native::FromDescriptor(descriptor)};
}

ProcessTime GetProcessTime(Raii::RawHandle processHandle)
{
    if (processHandle == nullptr)
    {
        throw Exception::InvalidArgumentException("processHandle cannot be null");
    }
    const int descriptor = Raii::Native::DescriptorOf(processHandle);
    if (descriptor < 0)
    {
        FailTimes(EBADF);
    }
    const auto id = ProcessIdOf(descriptor);
    if (id <= 0)
    {
        FailTimes(ESRCH);
    }
    const auto stat = ReadProcFile(fmt::format("/proc/{}/stat", id));
    if (!stat)
    {
        FailTimes(Platform::LastError());
    }
    const auto fields = ParseProcessStat(*stat);
    // Another process may have had the id by then; only if the handle still says the same was it ours that was read.
    if (!fields || ProcessIdOf(descriptor) != id)
    {
        FailTimes(ESRCH);
    }
    const auto system = ReadProcFile("/proc/stat");
    const auto bootSeconds = system ? FindLine(*system, "btime") : std::nullopt;
    if (!bootSeconds)
    {
        FailTimes(ENOENT);
    }

    ProcessTime times;
    times.kernel = FromTicks(fields->kernelTicks, TicksPerSecond());
    times.user = FromTicks(fields->userTicks, TicksPerSecond());
    times.created = Time::UtcTime{std::chrono::seconds{*bootSeconds} + FromTicks(fields->startTicks, TicksPerSecond())};
    return times;
}

} // namespace Shared::System
