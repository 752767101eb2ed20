#include "agentcore.system-processsource.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.system-processstat.hpp"
#include "shared.util-functions.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace AgentCore::System
{

namespace
{

using Shared::Exception::Win32Exception;
using Shared::System::CpuTime;
using Shared::System::ProcessStat;

/// The path of a process's file inside /proc.
using Path = std::array<char, 32>;

Path MakePath(std::uint32_t processId, std::string_view file)
{
    Path path{};
    fmt::format_to_n(path.data(), path.size() - 1, "{}/{}", processId, file);
    return path;
}

/// Whether a program's path cannot be told because the process is gone, has no program, or is none of this user's
/// business.
bool IsClosedToUs(int code)
{
    return code == ENOENT || code == ESRCH || code == EACCES || code == EPERM;
}

[[noreturn]] void Fail(const char* text, int code)
{
    throw Win32Exception(text, static_cast<std::uint32_t>(code));
}

} // namespace

std::string_view WithoutDeletedMark(std::string_view imagePath) noexcept
{
    constexpr std::string_view mark = " (deleted)";
    if (imagePath.ends_with(mark))
    {
        imagePath.remove_suffix(mark.size());
    }
    return imagePath;
}

/// The folder /proc, held open, so that no path to it is walked for each process. Every operation leaves the reason of a
/// failure in errno.
class LinuxProcessSource::Folder
{
public:
    explicit Folder(const std::string& path)
        : m_handle(Shared::Raii::Native::FromDescriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC))),
          m_descriptor(m_handle.IsValid() ? Shared::Raii::Native::DescriptorOf(m_handle.GetRawHandle()) : -1)
    {
    }

    std::optional<std::string> ReadImagePath(std::uint32_t processId) const
    {
        std::array<char, PATH_MAX + 1> buffer{};
        const auto path = MakePath(processId, "exe");
        const auto length = ::readlinkat(m_descriptor, path.data(), buffer.data(), buffer.size());
        if (length < 0)
        {
            return std::nullopt;
        }
        return std::string{buffer.data(), static_cast<std::size_t>(length)};
    }

    std::optional<ProcessStat> ReadStat(std::uint32_t processId) const
    {
        // Holds the line, which the kernel hands out at once, many times.
        std::array<char, 4096> buffer{};
        const auto path = MakePath(processId, "stat");
        const int file = ::openat(m_descriptor, path.data(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (file < 0)
        {
            return std::nullopt;
        }
        const auto length = ::read(file, buffer.data(), buffer.size());
        const int code = errno;
        ::close(file);
        if (length < 0)
        {
            errno = code;
            return std::nullopt;
        }
        const auto stat = Shared::System::ParseProcessStat({buffer.data(), static_cast<std::size_t>(length)});
        if (!stat)
        {
            errno = ENODATA;
        }
        return stat;
    }

    CpuTime CpuTimeOf(const ProcessStat& stat) const
    {
        return Shared::System::FromTicks(stat.userTicks + stat.kernelTicks, m_ticksPerSecond);
    }

    std::uint64_t WorkingSetOf(const ProcessStat& stat) const
    {
        return stat.residentPages * m_pageSize;
    }

private:
    Shared::Raii::Win32Handle m_handle;
    int m_descriptor;
    std::uint64_t m_ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    std::uint64_t m_pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
};

class LinuxProcessSource::LinuxProcess final : public KeptProcess
{
public:
    LinuxProcess(std::shared_ptr<const Folder> folder, std::uint32_t id, std::uint64_t startTicks)
        : m_folder(std::move(folder)), m_id(id), m_startTicks(startTicks)
    {
    }

    CpuTime ReadCpuTime() const override
    {
        const auto stat = m_folder->ReadStat(m_id);
        if (!stat)
        {
            // A process that ends while it is looked for has not been found either.
            Fail("GetProcessTimes() failed", errno == ENOENT ? ESRCH : errno);
        }
        if (stat->startTicks != m_startTicks)
        {
            Fail("GetProcessTimes() failed", ESRCH);
        }
        return m_folder->CpuTimeOf(*stat);
    }

private:
    std::shared_ptr<const Folder> m_folder;
    std::uint32_t m_id;
    std::uint64_t m_startTicks;
};

LinuxProcessSource::LinuxProcessSource(std::string root, Enumerate enumerate)
    : m_folder(std::make_shared<Folder>(std::move(root) + "/proc")), m_enumerate(std::move(enumerate))
{
}

std::vector<std::uint32_t> LinuxProcessSource::EnumerateProcessIds()
{
    return m_enumerate();
}

std::optional<ProcessCapture> LinuxProcessSource::Capture(std::uint32_t processId)
{
    const auto imagePath = m_folder->ReadImagePath(processId);
    if (!imagePath)
    {
        if (IsClosedToUs(errno))
        {
            return std::nullopt;
        }
        Fail("GetModuleFileNameExW() failed", errno);
    }
    const auto stat = m_folder->ReadStat(processId);
    if (!stat)
    {
        Fail("K32GetProcessMemoryInfo() failed", errno);
    }
    ProcessCapture capture;
    capture.process = std::make_unique<LinuxProcess>(m_folder, processId, stat->startTicks);
    capture.imagePath = Shared::Util::ConvertStringType(WithoutDeletedMark(*imagePath));
    capture.workingSet = m_folder->WorkingSetOf(*stat);
    capture.cpuTime = m_folder->CpuTimeOf(*stat);
    return capture;
}

std::unique_ptr<ProcessSource> MakeProcessSource()
{
    return std::make_unique<LinuxProcessSource>();
}

} // namespace AgentCore::System
