#include "shared.concurrency-nativejob.hpp"

#include "shared.concurrency-processlink.linux.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.system-runtimedirectory.linux.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

// A job is a pipe, or a FIFO of the runtime directory if it has a name. A handle is open for reading and writing;
// whoever keeps the job's processes has it open for reading alone, and so learns from the kernel when the last handle
// is closed, in whatever process it was. The one byte that the pipe may hold is the limit: kill on close.

namespace Shared::Concurrency::Native
{

namespace
{

namespace Raw = Raii::Native;
using Raii::RawHandle;

int FlagsOf(bool inheritable) noexcept
{
    return O_NONBLOCK | (inheritable ? 0 : O_CLOEXEC);
}

RawHandle MakeUnnamed(bool inheritable)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        return nullptr;
    }
    const Raii::Win32Handle reading(Raw::FromDescriptor(ends[0]));
    const Raii::Win32Handle writing(Raw::FromDescriptor(ends[1]));
    // The same pipe once more, for both directions.
    return Raw::FromDescriptor(::open(fmt::format("/proc/self/fd/{}", ends[1]).c_str(), O_RDWR | FlagsOf(inheritable)));
}

/// Names may hold any character, so the file has their bytes as digits.
std::string PathOf(const std::wstring& name)
{
    std::string path = System::GetRuntimeDirectory() + "/";
    for (const char byte : Util::ConvertStringType(name))
    {
        path += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
    return path + ".job";
}

/// The FIFO open for reading and writing; what else bears the name is no job.
RawHandle OpenFifo(const std::string& path, bool inheritable)
{
    Raii::Win32Handle job(Raw::FromDescriptor(::open(path.c_str(), O_RDWR | O_NOFOLLOW | FlagsOf(inheritable))));
    if (!job.IsValid())
    {
        return nullptr;
    }
    struct stat status = {};
    if (::fstat(Raw::DescriptorOf(job.GetRawHandle()), &status) != 0 || !S_ISFIFO(status.st_mode))
    {
        job.Close();
        errno = EEXIST;
        return nullptr;
    }
    return job.Release();
}

int CountBytes(int descriptor) noexcept
{
    int count = 0;
    return ::ioctl(descriptor, FIONREAD, &count) == 0 ? count : -1;
}

} // namespace

RawHandle MakeJob(const std::wstring& name, bool inheritable)
{
    if (name.empty())
    {
        return MakeUnnamed(inheritable);
    }
    const std::string path = PathOf(name);
    if (::mkfifo(path.c_str(), S_IRUSR | S_IWUSR) != 0 && errno != EEXIST)
    {
        return nullptr;
    }
    return OpenFifo(path, inheritable);
}

RawHandle OpenJob(const std::wstring& name, bool inheritable)
{
    if (name.empty())
    {
        errno = EINVAL;
        return nullptr;
    }
    // Opening for writing alone needs somebody who reads, which is everybody who holds the job.
    const std::string path = PathOf(name);
    const Raii::Win32Handle held(
        Raw::FromDescriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC)));
    if (!held.IsValid())
    {
        errno = errno == ENXIO ? ENOENT : errno;
        return nullptr;
    }
    return OpenFifo(path, inheritable);
}

bool LimitJob(RawHandle job, const JobLimits& limits) noexcept
{
    if (limits.limitFlags != 0 && limits.limitFlags != JobLimits::KillOnJobClose)
    {
        errno = EINVAL;
        return false;
    }
    const int descriptor = Raw::DescriptorOf(job);
    const int before = CountBytes(descriptor);
    const bool isWanted = limits.limitFlags != 0;
    char mark = 'k';
    if (before < 0 || isWanted == (before > 0))
    {
        return before >= 0;
    }
    return (isWanted ? ::write(descriptor, &mark, 1) : ::read(descriptor, &mark, 1)) == 1;
}

bool AssignToJob(RawHandle job, RawHandle process)
{
    const std::shared_ptr<ProcessControl> control = FindProcess(process);
    if (control == nullptr)
    {
        errno = ECHILD;
        return false;
    }
    return AddToJob(*control, job);
}

} // namespace Shared::Concurrency::Native
