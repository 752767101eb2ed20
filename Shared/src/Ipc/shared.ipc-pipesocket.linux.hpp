#pragma once

#include "shared.ipc-pipeaccess.linux.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <string>

/// The sockets behind pipes: files of the runtime directory, "<name>.pipe" in lower case.
namespace Shared::Ipc::Native
{

/// What a server says first to a client that has connected, 4 bytes, low byte first. Only after Welcome do messages
/// follow; otherwise it closes the connection.
enum class Greeting : std::uint32_t
{
    Welcome = 0,
    /// Another client has the pipe, or the server is not ready for the next one.
    Busy = 1,
    /// The pipe is not for this user.
    Denied = 2
};

/// A socket that listens under a pipe's name.
struct ListeningSocket
{
    /// Non-blocking.
    Raii::Win32Handle handle;
    /// To be removed before the handle is closed.
    std::string path;
};

/// Makes the socket, for the own user and whom `access` names. Nodes that dead servers have left in the runtime directory
/// are removed on the way. 0, or an error code: EACCES when somebody else listens under the name. Throws what
/// System::GetRuntimeDirectory() throws.
std::uint32_t ListenForPipe(const std::wstring& name, const PipeAccess& access, ListeningSocket& made);

/// The user at the other end of a connected socket; false when the system does not say.
bool ReadPeer(int descriptor, uid_t& user) noexcept;

/// Sends the greeting, the first thing on a new connection, which it always has room for.
void SendGreeting(int descriptor, Greeting greeting) noexcept;

/// Connects to the socket of a pipe and awaits the greeting, up to `timeoutMs` milliseconds. 0, or an error code: ENOENT
/// when nobody listens under the name, Platform::ErrorCode::PipeBusy, EACCES, Platform::ErrorCode::WaitTimeout.
std::uint32_t ConnectToPipe(const std::wstring& name, std::uint32_t timeoutMs, Raii::Win32Handle& connected);

} // namespace Shared::Ipc::Native
