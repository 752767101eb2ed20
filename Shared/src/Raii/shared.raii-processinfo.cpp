#include "shared.raii-processinfo.hpp"

#include <utility>

namespace Shared::Raii
{

ProcessInfo::ProcessInfo(RawHandle process, RawHandle thread, std::uint32_t processId, std::uint32_t threadId) noexcept
    : m_process(process), m_thread(thread), m_processId(processId), m_threadId(threadId)
{
}

ProcessInfo::ProcessInfo(ProcessInfo&& other) noexcept
    : m_process(std::move(other.m_process)),
      m_thread(std::move(other.m_thread)),
      m_processId(std::exchange(other.m_processId, 0)),
      m_threadId(std::exchange(other.m_threadId, 0))
{
}

ProcessInfo& ProcessInfo::operator=(ProcessInfo&& other) noexcept
{
    if (this != &other)
    {
        m_process = std::move(other.m_process);
        m_thread = std::move(other.m_thread);
        m_processId = std::exchange(other.m_processId, 0);
        m_threadId = std::exchange(other.m_threadId, 0);
    }
    return *this;
}

void ProcessInfo::Close() noexcept
{
    m_process.Close();
    m_thread.Close();
    m_processId = 0;
    m_threadId = 0;
}

void ProcessInfo::CloseThread() noexcept
{
    m_thread.Close();
}

RawHandle ProcessInfo::GetProcessHandle() const noexcept
{
    return m_process.GetRawHandle();
}

RawHandle ProcessInfo::GetThreadHandle() const noexcept
{
    return m_thread.GetRawHandle();
}

std::uint32_t ProcessInfo::GetProcessId() const noexcept
{
    return m_processId;
}

std::uint32_t ProcessInfo::GetThreadId() const noexcept
{
    return m_threadId;
}

bool ProcessInfo::IsValid() const noexcept
{
    return m_process.IsValid();
}

} // namespace Shared::Raii
