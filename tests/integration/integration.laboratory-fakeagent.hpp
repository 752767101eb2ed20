#pragma once

#include "shared.concurrency-overlappedio.hpp"
#include "shared.concurrency-overlappedop.hpp"
#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace Integration
{

/// One pipe as the agent makes it, with its client at the other end.
class AgentPipe
{
public:
    /// Makes the pipe and begins to wait for the client.
    explicit AgentPipe(const std::wstring& name);

    /// False at the time-out.
    bool AwaitClient(std::uint32_t timeoutMs);
    /// The next message; nothing at the time-out. Throws PipeIoException when the client is gone.
    std::optional<std::string> Receive(std::uint32_t timeoutMs);
    /// True when the client has taken it.
    bool Send(const std::string& message, std::uint32_t timeoutMs);
    void Close();

private:
    Shared::Ipc::AsyncMessageBasedNamedPipeServer m_pipe;
    Shared::Concurrency::OverlappedOp m_connect;
    std::optional<Shared::Concurrency::OverlappedIo> m_read;
};

/// The agent's side of its connector: both pipes, under names of their own.
struct FakeAgent
{
    FakeAgent();

    std::wstring messageName;
    std::wstring logName;
    AgentPipe messages;
    AgentPipe lines;
};

} // namespace Integration
