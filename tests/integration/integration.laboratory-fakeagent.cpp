#include "integration.laboratory-fakeagent.hpp"

#include "shared.ipc-util.hpp"
#include "shared.util-functions.hpp"

#include <utility>
#include <vector>

namespace Integration
{

namespace
{

constexpr std::uint32_t BufferSize = 5120;

/// A pipe's name as the agent makes it: a GUID without its braces.
std::wstring NewName()
{
    const std::wstring guid = Shared::Util::GenerateGuid();
    return guid.substr(1, guid.size() - 2);
}

} // namespace

AgentPipe::AgentPipe(const std::wstring& name) : m_pipe(name, BufferSize, false, L""), m_connect(m_pipe.Connect())
{
}

bool AgentPipe::AwaitClient(std::uint32_t timeoutMs)
{
    return m_connect.WaitForCompletion(timeoutMs) && m_connect.IsSuccessful();
}

std::optional<std::string> AgentPipe::Receive(std::uint32_t timeoutMs)
{
    if (!m_read)
    {
        m_read = m_pipe.Read();
    }
    if (!m_read->WaitForCompletion(timeoutMs))
    {
        return std::nullopt;
    }
    const std::vector<std::uint8_t> bytes = Shared::Ipc::CompleteRead(m_pipe, *m_read);
    m_read.reset();
    return std::string(bytes.begin(), bytes.end());
}

bool AgentPipe::Send(const std::string& message, std::uint32_t timeoutMs)
{
    Shared::Concurrency::OverlappedIo write = m_pipe.Write(message);
    return write.WaitForCompletion(timeoutMs) && write.IsSuccessful();
}

void AgentPipe::Close()
{
    m_pipe.Close();
}

FakeAgent::FakeAgent() : messageName(NewName()), logName(NewName()), messages(messageName), lines(logName)
{
}

} // namespace Integration
