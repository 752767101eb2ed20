#pragma once

#include "shared.concurrency-overlappedblock.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace Shared::Ipc::Native
{

using BlockPointer = std::shared_ptr<Concurrency::OverlappedBlock>;

/// What the system keeps of one end of a pipe beyond its handle, and the operations on it: a duplex channel that keeps
/// messages whole and of any size, for one client. One body for each platform. For the callers, see
/// shared.ipc-asyncmessagebasednamedpipe.hpp.
///
/// Operations are started by one thread. Each Start function returns at once, with 0 when the operation has ended
/// successfully, Platform::ErrorCode::IoPending when it has not ended yet, or an error code; a read that has filled its
/// buffer with a part of a message gives MoreData. In these four cases but the error the block tells how it ended, and
/// its event is signalled then; a block that was refused is left to its owner. This object keeps every block that runs.
class PipeEnd : public Concurrency::OverlappedSource
{
public:
    /// Waits for the client of a server. PipeConnected when there is one already, NoData when there was one that has
    /// gone and was not disconnected.
    virtual std::uint32_t StartConnect(const BlockPointer& block) = 0;
    /// Reads at most the size of the block's target from the next message, or from what is left of the current one.
    virtual std::uint32_t StartRead(const BlockPointer& block) = 0;
    /// Writes the block's buffer as one message.
    virtual std::uint32_t StartWrite(const BlockPointer& block) = 0;
    /// Reads into `unread` how many bytes are left of the message that is being read, or that waits first; 0 when none
    /// waits. 0, or an error code.
    virtual std::uint32_t CountUnread(std::uint32_t& unread) = 0;
    /// Cancels everything that is pending.
    virtual void CancelAll() noexcept = 0;
    /// Of a server: lets the client go, so that Connect may be called again. What is pending ends.
    virtual void Disconnect() noexcept = 0;
    /// Cancels everything and returns once the system has done with it; afterwards the handle may be closed. Safe to
    /// repeat. Nothing else is called after it.
    virtual void Close() noexcept = 0;
};

/// A pipe that has just been made or opened. `end` must be closed before `handle` is.
struct NewPipe
{
    Raii::Win32Handle handle;
    std::shared_ptr<PipeEnd> end;
};

/// How a server makes its pipe.
struct ServerRequest
{
    /// Begins with PipePrefix.
    std::wstring name;
    /// Bytes; a hint to the system.
    std::uint32_t bufferSize = 0;
    bool inheritable = false;
    /// SDDL, revision 1; empty for the default.
    std::wstring securityDescriptor;
    std::uint32_t maximumInstances = 0;
    std::uint32_t openMode = 0;
    std::uint32_t pipeMode = 0;
};

/// What the name of every pipe begins with, on Linux too.
inline constexpr const wchar_t* PipePrefix = LR"(\\.\pipe\)";

/// Makes the pipe; nobody else has one of that name then. Throws Win32Exception "Failed to convert security descriptor",
/// PipeIoException "Failed to create named pipe".
NewPipe CreateServerPipe(const ServerRequest& request);

/// Opens the other end of the pipe of that name, which begins with PipePrefix. One that has a client already is tried
/// again until `timeoutMs` milliseconds are over. Throws PipeIoException "Failed to open named pipe".
NewPipe OpenClientPipe(const std::wstring& name, std::uint32_t timeoutMs);

} // namespace Shared::Ipc::Native
