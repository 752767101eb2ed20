#pragma once

#include "shared.concurrency-overlappedop.hpp"
#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include <cstdint>
#include <string>

namespace Shared::Ipc
{

/// The end of a pipe that is made first and waits for one client. The order is fixed: construct the server, which makes
/// the pipe; Connect(); start the client's process; wait on the operation that Connect() returned; then Read() and
/// Write(). For the next client Disconnect(), and Connect() again.
class AsyncMessageBasedNamedPipeServer : public AsyncMessageBasedNamedPipe
{
public:
    /// No pipe.
    AsyncMessageBasedNamedPipeServer() noexcept;
    /// Makes the pipe; a second one of the same name is refused for as long as this one lives. A client can open it from
    /// now on.
    /// @param name with the prefix "\\.\pipe\" or without; letters of either case mean the same.
    /// @param bufferSize bytes that Read() asks for; on Windows also what the system buffers in each direction.
    /// @param inherit whether children get the handle.
    /// @param securityDescriptor who may open the pipe, in SDDL form; empty means the default. On Linux the agent's own
    /// user and root may in any case, and the reduced account of services when the descriptor grants it to LS or NS.
    /// Throws Win32Exception "Failed to convert security descriptor", PipeIoException "Failed to create named pipe".
    AsyncMessageBasedNamedPipeServer(
        const std::wstring& name, std::uint32_t bufferSize, bool inherit, const std::wstring& securityDescriptor);
    AsyncMessageBasedNamedPipeServer(const AsyncMessageBasedNamedPipeServer&) = delete;
    AsyncMessageBasedNamedPipeServer(AsyncMessageBasedNamedPipeServer&& other) noexcept;
    AsyncMessageBasedNamedPipeServer& operator=(const AsyncMessageBasedNamedPipeServer&) = delete;
    AsyncMessageBasedNamedPipeServer& operator=(AsyncMessageBasedNamedPipeServer&& other) noexcept;
    ~AsyncMessageBasedNamedPipeServer() override;

    /// Disconnects first.
    void Close() noexcept override;
    /// Lets the client go: what it has not read may be lost to it, and what is pending here ends without success.
    virtual void Disconnect() noexcept;
    /// Starts to wait for the client. Throws the runtime exception "No valid pipe handle to connect", PipeIoException
    /// "ConnectNamedPipe() failed", with code 535 when a client was there before.
    virtual Concurrency::OverlappedOp Connect();

protected:
    virtual void CreatePipe();

private:
    /// Duplex, overlapped, first instance of its name.
    static constexpr std::uint32_t OpenMode = 0x40080003;
    /// Written and read as messages, closed to clients on other machines.
    static constexpr std::uint32_t PipeMode = 14;

    std::wstring m_securityDescriptor;
    std::uint32_t m_maximumInstances = 1;
    bool m_inherit = false;
    std::uint32_t m_openMode = OpenMode;
    std::uint32_t m_pipeMode = PipeMode;
};

} // namespace Shared::Ipc
