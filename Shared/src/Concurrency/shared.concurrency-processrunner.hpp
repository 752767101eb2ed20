#pragma once

#include "shared.concurrency-job.hpp"
#include "shared.raii-processinfo.hpp"
#include "shared.raii-win32handle.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Shared::Concurrency
{

namespace Native
{
class ProcessControl;
} // namespace Native

/// One run of an external tool: started under a lesser identity, inside of a job that ends it with this object, with
/// its output captured through a pipe. A subclass says whether it runs and with which arguments, and reads what it has
/// printed.
///
/// The order of use: Start(); GetCharactersInPipe() and ReadFromPipe() while it runs, neither of which ever waits for
/// the tool; GetFinalExitCode() once it has ended or is about to; Close(). A runner is used once.
///
/// The tool gets nothing of the agent's but its three standard handles: an input into which nothing is written, and one
/// pipe for output and errors. A tool that prints more than the pipe holds (4 KB on Windows, 64 KB on Linux) stands
/// still until it is read. Whatever it starts ends with the job too, at the latest when the agent ends, in whatever
/// way.
///
/// Can be moved, not copied. One thread at a time.
class ProcessRunner
{
public:
    enum class State : std::uint32_t
    {
        NotStarted = 0,
        Started = 1
    };

    /// Exit code while the tool runs.
    static constexpr std::uint32_t StillActive = 259;

    /// Makes the job. @param logonToken the identity of the tool, owned from now on; empty for that of this process.
    /// @param creationFlags the system's; 512 makes a process group of its own, which can be sent a break. Throws
    /// Win32Exception "CreateJobObjectW() failed", "SetInformationJobObject() failed".
    ProcessRunner(Raii::Win32Handle logonToken, std::uint32_t creationFlags);
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner(ProcessRunner&& other) noexcept;
    ProcessRunner& operator=(const ProcessRunner&) = delete;
    /// Closes what this one held. What was moved from can be assigned to and destroyed.
    ProcessRunner& operator=(ProcessRunner&& other) noexcept;

    /// Closes everything.
    virtual ~ProcessRunner();
    /// Starts the tool unless ShouldRun() is false. @return whether it was started. Throws what BuildArgumentList()
    /// throws; Win32Exception "Failed to create child OUT pipes", "Failed to create child IN pipes", "CreateProcess()
    /// failed"; the runtime exception "The argv[0] argument cannot include a double quote."; the invalid-argument
    /// exception "Text with a null character for a child process"; on Windows also what the preparation of the start-up
    /// record and the job meet with. The state is then what it was.
    virtual bool Start();
    virtual State GetState() const noexcept;
    /// Closes token, pipes, process and job, which ends the tool and all that it has started if they still run. Safe to
    /// repeat.
    virtual void Close() noexcept;
    /// Whether the tool is to run, which is the state of the VPN's matter.
    virtual bool ShouldRun() = 0;
    /// Both start the tool in the folder `bin` beside the executable. A tool whose path is not absolute is looked
    /// for from the executable's own. Throws as Start(); without a token the second throws the runtime exception "Cannot
    /// invoke this function without a logon token".
    virtual void CreateChildProcessAsCurrentUser();
    virtual void CreateChildProcessWithToken();
    /// Gives `out` just the bytes that the pipe holds, none if it holds none. Throws as GetCharactersInPipe();
    /// Win32Exception "Failed to read test results -- ReadFile() failed.".
    virtual void ReadFromPipe(std::string& out);
    /// Waits up to 2.5 seconds until the tool has ended, and appends to `out` what it prints until then. @return its
    /// exit code (on Linux 128 and the number of the signal that ended it, if one did). Throws the runtime exceptions
    /// "Test has not been initiated." and, when it still runs, "Read results timed out": `out` keeps what was read.
    /// Win32Exception "GetExitCodeProcess() failed"; and as ReadFromPipe().
    virtual std::uint32_t GetFinalExitCode(std::string& out);
    /// The arguments, the program first.
    virtual std::vector<std::wstring> BuildArgumentList() = 0;
    /// How many bytes can be read now. A pipe that the tool has closed, and that is empty, gives 0 and the line "The
    /// pipe was closed by the child process" at level info. Throws the runtime exceptions "I/O was not redirected for
    /// this process" and "m_hChildStdOutRd is unexpectedly null", Win32Exception "Failed to read test results --
    /// PeekNamedPipe() failed.".
    virtual std::uint32_t GetCharactersInPipe();
    /// Called at the end of Start(). Does nothing here.
    virtual void OnStarted();
    /// Throws as Start().
    virtual void CreatePipes();

    /// Seconds since 1970, taken just before the start; 0 before it.
    std::int64_t GetStartTime() const noexcept;
    /// The same as the time text of messages; empty before.
    const std::string& GetStartTimeUtc() const noexcept;
    /// 0 without a process.
    std::uint32_t GetProcessId() const noexcept;
    /// Signalled once the tool has ended; still owned here. Null without a process.
    Raii::RawHandle GetProcessHandle() const noexcept;

protected:
    /// 259 while the tool runs. Throws Win32Exception "GetExitCodeProcess() failed".
    std::uint32_t QueryExitCode() const;
    /// Closes the pipes and the handles of the process, and leaves the job.
    void ClosePipesAndProcess() noexcept;
    void SetRedirectIo(bool redirectIo) noexcept;

private:
    void RequireReadablePipe() const;
    void CreateChildProcess(Raii::RawHandle token);

    State m_state = State::NotStarted;
    std::int64_t m_startTime = 0;
    std::string m_startTimeUtc;
    Raii::Win32Handle m_logonToken;
    Raii::Win32Handle m_childStdInRd;
    Raii::Win32Handle m_childStdInWr;
    Raii::Win32Handle m_childStdOutRd;
    Raii::Win32Handle m_childStdOutWr;
    Raii::ProcessInfo m_processInfo;
    Job m_job;
    std::uint32_t m_creationFlags;
    bool m_redirectIo = true;
    std::shared_ptr<Native::ProcessControl> m_control;
};

} // namespace Shared::Concurrency
