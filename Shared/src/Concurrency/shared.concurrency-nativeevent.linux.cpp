#include "shared.concurrency-nativeevent.hpp"

#include "shared.concurrency-ordering.linux.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.system-runtimedirectory.linux.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include <fmt/format.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// An unnamed event is an eventfd. A named one is a FIFO in the runtime directory that every holder keeps open for
// reading and writing: signalled while it holds bytes. The kernel drops the bytes with the last holder, so a signal does
// not outlive those who could mean it, though the node stays. Its sticky bit says that the event is reset by hand.

namespace Shared::Concurrency::Native
{

namespace
{

namespace Raw = Raii::Native;

constexpr mode_t OwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t ManualResetMark = S_ISVTX;

/// The path of a name's FIFO. Names may hold any character; what a file name cannot bear is written as %XX.
std::string PathOf(const std::string& folder, const std::wstring& name)
{
    std::string path = folder + "/";
    for (const char character : Util::ConvertStringType(name))
    {
        const auto byte = static_cast<unsigned char>(character);
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
            (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '.';
        path += plain ? std::string(1, character) : fmt::format("%{:02X}", byte);
    }
    return path + ".event";
}

/// Whoever makes or opens a named event has the folder for itself: between a node's being there, its being held and
/// its kind's being written nobody else may look at it. Ends with the process at the latest.
class FolderLock
{
public:
    explicit FolderLock(const std::string& folder) noexcept
        : m_descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        while (::flock(m_descriptor, LOCK_EX) != 0 && errno == EINTR)
        {
        }
    }

    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    ~FolderLock()
    {
        const int error = errno;
        // By word and not by closing alone: a child that is being started may have the descriptor too for a moment.
        (void)::flock(m_descriptor, LOCK_UN);
        ::close(m_descriptor);
        errno = error;
    }

private:
    int m_descriptor;
};

int OpenFifo(const std::string& path, int flags) noexcept
{
    return ::open(path.c_str(), flags | O_NONBLOCK | O_NOFOLLOW);
}

/// Whether some process holds the event now.
bool IsHeld(const std::string& path) noexcept
{
    const int probe = OpenFifo(path, O_WRONLY | O_CLOEXEC);
    if (probe >= 0)
    {
        ::close(probe);
    }
    return probe >= 0;
}

struct Node
{
    bool isFifo;
    bool manualReset;
};

Node LookAt(int descriptor) noexcept
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
    {
        return {false, false};
    }
    return {S_ISFIFO(status.st_mode), (status.st_mode & ManualResetMark) != 0};
}

Raw::WaitMode ModeOf(bool manualReset) noexcept
{
    return manualReset ? Raw::WaitMode::LatchFifo : Raw::WaitMode::TakeFifo;
}

/// A descriptor of something that is no event must not be taken for one.
Raii::RawHandle RefuseNode(int descriptor) noexcept
{
    ::close(descriptor);
    errno = EEXIST;
    return nullptr;
}

Raii::RawHandle CreateNamed(const EventRequest& request)
{
    const std::string folder = System::GetRuntimeDirectory();
    const std::string path = PathOf(folder, request.name);
    const FolderLock hold(folder);
    if (::mkfifo(path.c_str(), OwnerOnly) != 0 && errno != EEXIST)
    {
        return nullptr;
    }
    const bool isNew = !IsHeld(path);
    const int descriptor = OpenFifo(path, O_RDWR | (request.inheritable ? 0 : O_CLOEXEC));
    if (descriptor < 0)
    {
        return nullptr;
    }
    if (!LookAt(descriptor).isFifo)
    {
        return RefuseNode(descriptor);
    }
    if (isNew)
    {
        (void)::fchmod(descriptor, OwnerOnly | (request.manualReset ? ManualResetMark : 0));
    }
    const Raii::RawHandle handle = Raw::FromDescriptor(descriptor, ModeOf(LookAt(descriptor).manualReset));
    if (isNew && request.initialState)
    {
        (void)SetEventObject(handle);
    }
    return handle;
}

Raii::RawHandle CreateUnnamed(const EventRequest& request) noexcept
{
    const int descriptor =
        ::eventfd(request.initialState ? 1 : 0, EFD_NONBLOCK | (request.inheritable ? 0 : EFD_CLOEXEC));
    return Raw::FromDescriptor(descriptor, request.manualReset ? Raw::WaitMode::Latch : Raw::WaitMode::TakeCounter);
}

/// The form of a descriptor: parts that begin with "O:", "G:", "D:" or "S:".
bool HasDescriptorForm(std::wstring_view text) noexcept
{
    constexpr std::wstring_view Parts = L"OGDS";
    return text.size() >= 2 && Parts.find(text.front()) != std::wstring_view::npos && text[1] == L':';
}

bool IsReadable(int descriptor) noexcept
{
    pollfd entry = {descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

bool IsFifo(Raii::RawHandle handle) noexcept
{
    const Raw::WaitMode mode = Raw::WaitModeOf(handle);
    return mode == Raw::WaitMode::TakeFifo || mode == Raw::WaitMode::LatchFifo;
}

bool Refuse(int error) noexcept
{
    errno = error;
    return false;
}

} // namespace

Raii::RawHandle CreateEventObject(const EventRequest& request)
{
    if (!request.securityDescriptor.empty() && !HasDescriptorForm(request.securityDescriptor))
    {
        throw Exception::Win32Exception("Failed to convert security descriptor", EINVAL);
    }
    const Raii::RawHandle handle = request.name.empty() ? CreateUnnamed(request) : CreateNamed(request);
    if (handle == nullptr)
    {
        throw Exception::Win32Exception("Failed to create or open event", Platform::LastError());
    }
    return handle;
}

Raii::RawHandle OpenEventObject(const std::wstring& name)
{
    const std::string folder = System::GetRuntimeDirectory();
    const std::string path = PathOf(folder, name);
    const FolderLock hold(folder);
    if (!IsHeld(path))
    {
        errno = errno == ENXIO ? ENOENT : errno;
        return nullptr;
    }
    // Open for both directions, although it is only waited on: so this process holds the event too, and a parent that
    // goes away leaves it unsignalled rather than hung up.
    const int descriptor = OpenFifo(path, O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
    {
        return nullptr;
    }
    const Node node = LookAt(descriptor);
    return node.isFifo ? Raw::FromDescriptor(descriptor, ModeOf(node.manualReset), Raw::Access::WaitOnly)
                       : RefuseNode(descriptor);
}

bool SetEventObject(Raii::RawHandle handle) noexcept
{
    if (Raw::AccessOf(handle) == Raw::Access::WaitOnly)
    {
        return Refuse(EACCES);
    }
    PublishSignal();
    // A FIFO must not fill up by being signalled again and again; an eventfd counts and needs no look first.
    if (IsFifo(handle) && IsReadable(Raw::DescriptorOf(handle)))
    {
        return true;
    }
    const std::uint64_t one = 1;
    const ssize_t written = ::write(Raw::DescriptorOf(handle), &one, sizeof one);
    // Full means signalled more often than anyone can count.
    return written > 0 || errno == EAGAIN;
}

bool ResetEventObject(Raii::RawHandle handle) noexcept
{
    if (Raw::AccessOf(handle) == Raw::Access::WaitOnly)
    {
        return Refuse(EACCES);
    }
    std::array<char, 4096> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): only read into, and often
    ssize_t got = 0;
    do
    {
        got = ::read(Raw::DescriptorOf(handle), buffer.data(), buffer.size());
    } while (got == static_cast<ssize_t>(buffer.size()) || (got < 0 && errno == EINTR));
    return got >= 0 || errno == EAGAIN;
}

} // namespace Shared::Concurrency::Native
