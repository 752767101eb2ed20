#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>

namespace Shared::Raii
{

/// What the system gives for a process that was started: handles and ids of the process and of its first thread. Owns
/// both handles and closes them; the process itself lives on. Can be moved, not copied. One thread at a time, but the
/// raw handles may be waited on by several.
///
/// On Linux the process handle is a pidfd (signalled once the process has ended), there is no handle of a thread, and
/// the thread's id is that of the process, as the kernel numbers them.
class ProcessInfo
{
public:
    /// No process.
    ProcessInfo() noexcept = default;
    /// Takes ownership of both handles; either may be null.
    ProcessInfo(RawHandle process, RawHandle thread, std::uint32_t processId, std::uint32_t threadId) noexcept;
    ProcessInfo(const ProcessInfo&) = delete;
    ProcessInfo(ProcessInfo&& other) noexcept;
    ProcessInfo& operator=(const ProcessInfo&) = delete;
    ProcessInfo& operator=(ProcessInfo&& other) noexcept;
    virtual ~ProcessInfo() = default;

    /// Closes both handles and forgets the ids. Safe to repeat.
    virtual void Close() noexcept;
    /// Closes the thread's handle alone, which nobody needs once the thread runs. Safe to repeat.
    virtual void CloseThread() noexcept;

    /// The handles, still owned here; null when there is none.
    virtual RawHandle GetProcessHandle() const noexcept;
    virtual RawHandle GetThreadHandle() const noexcept;
    /// The ids; 0 when there is no process.
    virtual std::uint32_t GetProcessId() const noexcept;
    virtual std::uint32_t GetThreadId() const noexcept;
    /// Whether there is a process handle.
    virtual bool IsValid() const noexcept;

private:
    Win32Handle m_process;
    Win32Handle m_thread;
    std::uint32_t m_processId = 0;
    std::uint32_t m_threadId = 0;
};

} // namespace Shared::Raii
