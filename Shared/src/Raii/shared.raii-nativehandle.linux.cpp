#include "shared.raii-nativehandle.hpp"

#include "shared.raii-nativehandle.linux.hpp"

#include <fcntl.h>
#include <linux/kcmp.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Shared::Raii::Native
{

namespace
{

constexpr unsigned ModeShift = 32;
constexpr unsigned AccessShift = 40;

std::uint64_t BitsOf(RawHandle handle) noexcept
{
    return reinterpret_cast<std::uint64_t>(handle);
}

/// Two openings of one named event are two open files but one event: the FIFO behind them. Events hold it open for
/// reading and writing, which tells it from the two ends of a pipe.
bool IsSameNamedEvent(int first, int second) noexcept
{
    struct stat a = {};
    struct stat b = {};
    if (::fstat(first, &a) != 0 || ::fstat(second, &b) != 0 || !S_ISFIFO(a.st_mode) || !S_ISFIFO(b.st_mode))
    {
        return false;
    }
    const auto isReadWrite = [](int descriptor) noexcept
    {
        return (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR;
    };
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && isReadWrite(first) && isReadWrite(second);
}

} // namespace

RawHandle FromDescriptor(int descriptor, WaitMode mode, Access access) noexcept
{
    if (descriptor < 0)
    {
        return nullptr;
    }
    const std::uint64_t bits = (static_cast<std::uint64_t>(descriptor) + 1) |
        (static_cast<std::uint64_t>(mode) << ModeShift) | (static_cast<std::uint64_t>(access) << AccessShift);
    return reinterpret_cast<RawHandle>(bits);
}

int DescriptorOf(RawHandle handle) noexcept
{
    constexpr std::uint64_t DescriptorBits = 0xFFFFFFFF;
    return static_cast<int>(BitsOf(handle) & DescriptorBits) - 1;
}

WaitMode WaitModeOf(RawHandle handle) noexcept
{
    return static_cast<WaitMode>((BitsOf(handle) >> ModeShift) & 0xFF);
}

Access AccessOf(RawHandle handle) noexcept
{
    return static_cast<Access>((BitsOf(handle) >> AccessShift) & 0xFF);
}

bool CloseHandle(RawHandle handle) noexcept
{
    return ::close(DescriptorOf(handle)) == 0;
}

RawHandle DuplicateHandle(RawHandle handle) noexcept
{
    const int descriptor = DescriptorOf(handle);
    const int flags = ::fcntl(descriptor, F_GETFD);
    if (flags < 0)
    {
        return nullptr;
    }
    const int command = (flags & FD_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD;
    return FromDescriptor(::fcntl(descriptor, command, 0), WaitModeOf(handle), AccessOf(handle));
}

bool IsSameObject(RawHandle first, RawHandle second) noexcept
{
    const int a = DescriptorOf(first);
    const int b = DescriptorOf(second);
    if (a == b)
    {
        return true;
    }
    const auto self = static_cast<long>(::getpid());
    const long order =
        ::syscall(SYS_kcmp, self, self, static_cast<long>(KCMP_FILE), static_cast<long>(a), static_cast<long>(b));
    return order == 0 || IsSameNamedEvent(a, b);
}

bool QueryInheritability(RawHandle handle, bool& inheritable) noexcept
{
    const int flags = ::fcntl(DescriptorOf(handle), F_GETFD);
    if (flags < 0)
    {
        return false;
    }
    inheritable = (flags & FD_CLOEXEC) == 0;
    return true;
}

bool ChangeInheritability(RawHandle handle, bool inheritable) noexcept
{
    const int descriptor = DescriptorOf(handle);
    const int flags = ::fcntl(descriptor, F_GETFD);
    if (flags < 0)
    {
        return false;
    }
    const int changed = inheritable ? flags & ~FD_CLOEXEC : flags | FD_CLOEXEC;
    return ::fcntl(descriptor, F_SETFD, changed) == 0;
}

} // namespace Shared::Raii::Native
