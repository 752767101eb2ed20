#pragma once

#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include <cstdint>
#include <string>

namespace Shared::Ipc
{

/// The end of a pipe that opens what a server has made: what a child process of the agent uses.
class AsyncMessageBasedNamedPipeClient : public AsyncMessageBasedNamedPipe
{
public:
    /// No pipe.
    AsyncMessageBasedNamedPipeClient() noexcept;
    /// Opens the pipe; this blocks for `timeoutMs` milliseconds of the agent's clock at most.
    /// @param name with the prefix "\\.\pipe\" or without.
    /// @param bufferSize bytes that Read() asks for.
    /// @param timeoutMs how long a pipe that has a client already, or whose server has let it go, is tried again; 0 tries
    /// once.
    /// Throws PipeIoException "Failed to open named pipe": with code 231 when somebody else had the pipe all the time, at
    /// once when there is no such pipe or this user may not open it.
    AsyncMessageBasedNamedPipeClient(const std::wstring& name, std::uint32_t bufferSize, std::uint32_t timeoutMs);
};

} // namespace Shared::Ipc
