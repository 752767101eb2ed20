#pragma once

#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Shared::Concurrency
{

namespace Native
{
class ProcessControl;
struct ProcessRequest;
} // namespace Native

/// "NAME=value" each.
using ProcessEnvironment = std::vector<std::wstring>;

/// What is to be started, and how. Paths that are not absolute mean the directory of the running executable, whatever
/// the current one is; backslashes separate on both platforms.
struct ProcessDescription
{
    /// Empty: the first word of the command line.
    std::wstring executablePath;
    /// Handed over as it is on Windows, and taken apart by the rules of Util::SplitCommandLine() on Linux. Its first
    /// word is what the program sees as its own name. Empty: the path.
    std::wstring commandLine;
    /// Empty: this process's own.
    std::wstring workingDirectory;
    /// The system's flags; Linux has a meaning for 512 (new process group) and 0x8000000 (no window: no output).
    std::uint32_t creationFlags = 0;
    /// Whether the child gets every handle that is inheritable at this moment.
    bool inheritHandles = false;
    /// Window station and desktop, for a child in another session; empty for the own. Windows only.
    std::wstring desktop;
};

/// One of the agent's helper processes: started, awaited by its handle, asked for its exit code. Destroying the object
/// closes the handles and leaves the process alone: what ends it is its job.
///
/// On Linux a child reads from nowhere and writes to the agent's standard streams; of the environment it gets what
/// docs/platform.md lists, and it ends with the agent at the latest, with all that it has started, in or out of a job.
///
/// Can be moved, not copied. One thread at a time, but the process handle may be waited on by several.
class Process
{
public:
    /// Nothing to start.
    Process() noexcept = default;
    explicit Process(ProcessDescription description) noexcept;
    Process(const Process&) = delete;
    Process(Process&& other) noexcept;
    Process& operator=(const Process&) = delete;
    /// Closes the handles that were held.
    Process& operator=(Process&& other) noexcept;
    virtual ~Process() = default;

    /// Starts the process with this process's own identity. Throws the runtime exception "No executable path or command
    /// line set", Win32Exception "CreateProcessW() failed".
    virtual void Start();
    /// Starts it with another identity. @param environment nothing for the agent's, as above. Throws the runtime
    /// exceptions "No executable path or command line set" and "Token cannot be null", Win32Exception
    /// "CreateProcessAsUserW() failed".
    virtual void StartAsUser(
        const Raii::Win32Handle& token, const std::optional<ProcessEnvironment>& environment = std::nullopt);
    /// Both leave the process alone; safe to repeat.
    virtual void CloseProcessHandle() noexcept;
    virtual void CloseThreadHandle() noexcept;

    virtual const std::wstring& GetExecutablePath() const noexcept;
    /// What was told, not what the path stands in for.
    virtual const std::wstring& GetCommandLineText() const noexcept;
    virtual const std::wstring& GetWorkingDirectory() const noexcept;
    virtual std::uint32_t GetCreationFlags() const noexcept;
    virtual bool GetInheritHandles() const noexcept;
    /// Signalled once the process has ended; still owned here. Null before Start().
    virtual Raii::RawHandle GetProcessHandle() const noexcept;
    /// Null before Start(), and on Linux.
    virtual Raii::RawHandle GetThreadHandle() const noexcept;
    /// 0 before Start(); they stay when the handles are closed.
    virtual std::uint32_t GetProcessId() const noexcept;
    virtual std::uint32_t GetThreadId() const noexcept;
    /// 259 while it runs. On Linux the lowest 8 bits of what the program returned, or 128 and the number of the signal
    /// that ended it. Throws Win32Exception "Failed to determine process exit code".
    virtual std::uint32_t GetProcessExitCode() const;

private:
    void StartBy(const Native::ProcessRequest& request, const char* failureText);
    Native::ProcessRequest MakeRequest() const;

    ProcessDescription m_description;
    Raii::Win32Handle m_processHandle;
    Raii::Win32Handle m_threadHandle;
    std::uint32_t m_processId = 0;
    std::uint32_t m_threadId = 0;
    std::shared_ptr<Native::ProcessControl> m_control;
};

/// Asks a child that was started in a process group of its own, and all that it has started in it, to break off: the
/// console's break event on Windows, SIGINT on Linux. @param processId of that child. False when there is no such child
/// any more, or it shares a group. Any thread.
bool SendBreak(std::uint32_t processId) noexcept;

/// Name under which programs know the device that swallows everything: "NUL", "/dev/null".
std::wstring GetNullDeviceName();

} // namespace Shared::Concurrency
