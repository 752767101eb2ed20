#pragma once

#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"
#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"
#include "shared.ipc-util.hpp"
#include "test.support-time.hpp"

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

namespace Contract
{

using Bytes = std::vector<std::uint8_t>;
using Client = Shared::Ipc::AsyncMessageBasedNamedPipeClient;
using Server = Shared::Ipc::AsyncMessageBasedNamedPipeServer;
using Pipe = Shared::Ipc::AsyncMessageBasedNamedPipe;

/// What Read() asks for on the agent's pipes to the connector.
inline constexpr std::uint32_t BufferSize = 5120;

/// Bytes of which no part looks like another; `seed` tells messages apart.
inline Bytes MakeMessage(std::size_t size, std::uint32_t seed = 0)
{
    Bytes bytes(size);
    std::uint32_t state = seed * 2654435761U + 12345U;
    for (std::uint8_t& byte : bytes)
    {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

inline Bytes ToBytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

/// Waits for a started read and reads what is left of its message; throws what the pipe throws, and std::runtime_error
/// when nothing has come in time.
inline Bytes Finish(Pipe& pipe, Shared::Concurrency::OverlappedIo& read)
{
    if (!read.WaitForCompletion(TestSupport::LimitMs))
    {
        throw std::runtime_error("nothing came in time");
    }
    return Shared::Ipc::CompleteRead(pipe, read);
}

/// The next message.
inline Bytes Receive(Pipe& pipe)
{
    Shared::Concurrency::OverlappedIo read = pipe.Read();
    return Finish(pipe, read);
}

/// Writes one message and waits until the system has all of it; whether it has.
inline bool Send(Pipe& pipe, const Bytes& message)
{
    Shared::Concurrency::OverlappedIo write = pipe.Write(message);
    return write.WaitForCompletion(TestSupport::LimitMs) && write.IsSuccessful();
}

} // namespace Contract
