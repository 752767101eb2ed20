#include "shared.ipc-pipesocket.linux.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.ipc-nativepipe.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.system-runtimedirectory.linux.hpp"
#include "shared.system-runtimefile.linux.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Shared::Ipc::Native
{

namespace
{

using Raii::Native::DescriptorOf;
using Raii::Native::FromDescriptor;

constexpr std::string_view Suffix = ".pipe";
constexpr mode_t OwnerOnly = S_IRUSR | S_IWUSR;
/// Clients that may queue up to be told that there is one already.
constexpr int Backlog = 16;

/// Names that differ in case are the same pipe, as on Windows.
std::string FileNameOf(const std::wstring& pipeName)
{
    std::wstring_view bare = pipeName;
    bare.remove_prefix(std::wstring_view(PipePrefix).size());
    return System::EncodeFileName(Util::ToLower(bare)).append(Suffix);
}

/// The address of a file in an open folder. A path that is too long for an address is told by way of the descriptor.
std::optional<sockaddr_un> AddressOf(const std::string& folder, int folderDescriptor, const std::string& file)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string path = folder + "/" + file;
    if (path.size() >= sizeof address.sun_path)
    {
        path = fmt::format("/proc/self/fd/{}/{}", folderDescriptor, file);
    }
    if (path.size() >= sizeof address.sun_path)
    {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Null with errno when there is none to be had.
Raii::Win32Handle MakeSocket(int type) noexcept
{
    return Raii::Win32Handle(FromDescriptor(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)));
}

bool Connect(const Raii::Win32Handle& socket, const sockaddr_un& address) noexcept
{
    const auto* const general = reinterpret_cast<const sockaddr*>(&address);
    return ::connect(DescriptorOf(socket.GetRawHandle()), general, sizeof address) == 0;
}

/// Whether nobody listens on a socket's node any more. Asked by a socket of another type, which a living server refuses
/// without noticing.
bool IsDead(const sockaddr_un& address) noexcept
{
    const Raii::Win32Handle probe = MakeSocket(SOCK_DGRAM);
    return probe.IsValid() && !Connect(probe, address) && errno == ECONNREFUSED;
}

bool IsSocket(int folder, const char* file) noexcept
{
    struct stat status = {};
    return ::fstatat(folder, file, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISSOCK(status.st_mode);
}

/// Removes what servers that died without a word have left. Under the folder's lock, as a node is there a moment before
/// its server is.
void RemoveDeadNodes(const std::string& folder, int descriptor)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), &::closedir);
    while (const dirent* const entry = listing == nullptr ? nullptr : ::readdir(listing.get()))
    {
        if (!std::string_view(entry->d_name).ends_with(Suffix) || !IsSocket(descriptor, entry->d_name))
        {
            continue;
        }
        const std::optional<sockaddr_un> address = AddressOf(folder, descriptor, entry->d_name);
        if (address && IsDead(*address))
        {
            (void)::unlinkat(descriptor, entry->d_name, 0);
        }
    }
}

/// Lets other users through to the node, and to nothing else: whoever knows no name finds none.
void OpenWay(int folder, const std::string& file, const PipeAccess& access) noexcept
{
    for (const uid_t user : access.GetOthers())
    {
        struct stat status = {};
        if (::fchownat(folder, file.c_str(), user, static_cast<gid_t>(-1), AT_SYMLINK_NOFOLLOW) == 0 &&
            ::fstat(folder, &status) == 0)
        {
            (void)::fchmod(folder, (status.st_mode & 07777) | S_IXGRP | S_IXOTH);
        }
    }
}

std::uint32_t Bind(const Raii::Win32Handle& socket, const sockaddr_un& address) noexcept
{
    const int descriptor = DescriptorOf(socket.GetRawHandle());
    // Before the node is there, so that it is never open to others.
    if (::fchmod(descriptor, OwnerOnly) != 0 ||
        ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        return errno == EADDRINUSE ? EACCES : Platform::LastError();
    }
    return Platform::ErrorCode::Success;
}

/// Folders where the agent's pipes may be: the one where this process would make its own, and root's, when the agent is
/// root and this process its child of less rights.
std::array<std::string, 2> FoldersToLookIn()
{
    const char* const given = std::getenv("RUNTIME_DIRECTORY");
    const char* const session = std::getenv("XDG_RUNTIME_DIR");
    return {
        System::ChooseRuntimeDirectory(given, session, ::geteuid()), System::ChooseRuntimeDirectory(given, session, 0)};
}

bool IsTrusted(uid_t user) noexcept
{
    return user == 0 || user == ::geteuid();
}

/// A folder in which somebody else could pose as the agent is passed over.
Raii::Win32Handle OpenTrustedFolder(const std::string& folder) noexcept
{
    Raii::Win32Handle opened(FromDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    struct stat status = {};
    const bool isTrusted = opened.IsValid() && ::fstat(DescriptorOf(opened.GetRawHandle()), &status) == 0 &&
        IsTrusted(status.st_uid) && (status.st_mode & S_IWOTH) == 0;
    return isTrusted ? std::move(opened) : Raii::Win32Handle();
}

std::uint32_t ConnectIn(const std::string& folder, const std::string& file, Raii::Win32Handle& connected)
{
    const Raii::Win32Handle opened = OpenTrustedFolder(folder);
    if (!opened.IsValid())
    {
        return ENOENT;
    }
    const std::optional<sockaddr_un> address = AddressOf(folder, DescriptorOf(opened.GetRawHandle()), file);
    if (!address)
    {
        return ENAMETOOLONG;
    }
    Raii::Win32Handle socket = MakeSocket(SOCK_SEQPACKET);
    if (!socket.IsValid() || !Connect(socket, *address))
    {
        switch (errno)
        {
        case ECONNREFUSED:
            return ENOENT;
        case EAGAIN:
            return Platform::ErrorCode::PipeBusy;
        default:
            return Platform::LastError();
        }
    }
    connected = std::move(socket);
    return Platform::ErrorCode::Success;
}

std::uint32_t AwaitGreeting(const Raii::Win32Handle& socket, std::uint32_t timeoutMs)
{
    const int descriptor = DescriptorOf(socket.GetRawHandle());
    uid_t server = 0;
    if (!ReadPeer(descriptor, server) || !IsTrusted(server))
    {
        return EACCES;
    }
    if (!Concurrency::WaitFor(socket.GetRawHandle(), timeoutMs))
    {
        return Platform::ErrorCode::WaitTimeout;
    }
    std::array<std::uint8_t, sizeof(Greeting)> bytes{};
    if (::recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT) != static_cast<ssize_t>(bytes.size()))
    {
        // It has gone between our coming and its greeting.
        return ENOENT;
    }
    switch (static_cast<Greeting>(bytes[0]))
    {
    case Greeting::Welcome:
        return Platform::ErrorCode::Success;
    case Greeting::Busy:
        return Platform::ErrorCode::PipeBusy;
    case Greeting::Denied:
        break;
    }
    return EACCES;
}

} // namespace

std::uint32_t ListenForPipe(const std::wstring& name, const PipeAccess& access, ListeningSocket& made)
{
    const std::string folder = System::GetRuntimeDirectory();
    const std::string file = FileNameOf(name);
    const System::FolderLock hold(folder);
    RemoveDeadNodes(folder, hold.GetDescriptor());
    const std::optional<sockaddr_un> address = AddressOf(folder, hold.GetDescriptor(), file);
    if (!address)
    {
        return ENAMETOOLONG;
    }
    Raii::Win32Handle socket = MakeSocket(SOCK_SEQPACKET);
    if (!socket.IsValid())
    {
        return Platform::LastError();
    }
    if (const std::uint32_t code = Bind(socket, *address); code != Platform::ErrorCode::Success)
    {
        return code;
    }
    OpenWay(hold.GetDescriptor(), file, access);
    if (::listen(DescriptorOf(socket.GetRawHandle()), Backlog) != 0)
    {
        const std::uint32_t code = Platform::LastError();
        (void)::unlinkat(hold.GetDescriptor(), file.c_str(), 0);
        return code;
    }
    made.handle = std::move(socket);
    made.path = folder + "/" + file;
    return Platform::ErrorCode::Success;
}

bool ReadPeer(int descriptor, uid_t& user) noexcept
{
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
    {
        return false;
    }
    user = credentials.uid;
    return true;
}

void SendGreeting(int descriptor, Greeting greeting) noexcept
{
    const std::array<std::uint8_t, sizeof(Greeting)> bytes = {static_cast<std::uint8_t>(greeting)};
    (void)::send(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

std::uint32_t ConnectToPipe(const std::wstring& name, std::uint32_t timeoutMs, Raii::Win32Handle& connected)
{
    const std::string file = FileNameOf(name);
    std::uint32_t code = ENOENT;
    Raii::Win32Handle socket;
    for (const std::string& folder : FoldersToLookIn())
    {
        code = ConnectIn(folder, file, socket);
        if (code != ENOENT)
        {
            break;
        }
    }
    if (code == Platform::ErrorCode::Success)
    {
        code = AwaitGreeting(socket, timeoutMs);
    }
    if (code == Platform::ErrorCode::Success)
    {
        connected = std::move(socket);
    }
    return code;
}

} // namespace Shared::Ipc::Native
