#include "shared.system-processes.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.system-procfile.linux.hpp"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Shared::System
{

namespace
{

template <typename Number>
std::optional<Number> ParseNumber(std::string_view text)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional{value} : std::nullopt;
}

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
            return start == std::string_view::npos ? std::nullopt : ParseNumber<std::int64_t>(line.substr(start));
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

struct StatFields
{
    std::uint64_t userTicks;
    std::uint64_t kernelTicks;
    std::uint64_t startTicks;
};

std::optional<StatFields> ParseStat(std::string_view stat)
{
    // The second field is the program's name in parentheses, which may itself hold blanks and parentheses.
    const auto nameEnd = stat.rfind(')');
    if (nameEnd == std::string_view::npos)
    {
        return std::nullopt;
    }
    stat.remove_prefix(nameEnd + 1);
    constexpr std::size_t userField = 14;
    constexpr std::size_t kernelField = 15;
    constexpr std::size_t startField = 22;
    std::array<std::optional<std::uint64_t>, startField + 1> fields{};
    for (std::size_t field = 3; field <= startField; ++field)
    {
        const auto start = stat.find_first_not_of(" \n");
        if (start == std::string_view::npos)
        {
            return std::nullopt;
        }
        stat.remove_prefix(start);
        const auto end = stat.find_first_of(" \n");
        fields[field] = ParseNumber<std::uint64_t>(stat.substr(0, end));
        stat.remove_prefix(end == std::string_view::npos ? stat.size() : end);
    }
    if (!fields[userField] || !fields[kernelField] || !fields[startField])
    {
        return std::nullopt;
    }
    return StatFields{*fields[userField], *fields[kernelField], *fields[startField]};
}

CpuTime FromTicks(std::uint64_t ticks)
{
    const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    return CpuTime{static_cast<std::int64_t>(ticks * (10'000'000U / ticksPerSecond))};
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
        if (const auto id = ParseNumber<std::uint32_t>(entry->d_name))
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
    const auto fields = ParseStat(*stat);
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
    times.kernel = FromTicks(fields->kernelTicks);
    times.user = FromTicks(fields->userTicks);
    times.created = Time::UtcTime{std::chrono::seconds{*bootSeconds} + FromTicks(fields->startTicks)};
    return times;
}

} // namespace Shared::System
