#include "shared.concurrency-processrunner.hpp"

#include "shared.concurrency-nativeprocess.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-commandline.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-time.hpp"

#include <chrono>
#include <utility>

namespace Shared::Concurrency
{

namespace
{

constexpr std::chrono::milliseconds ExitCodePause{500};
constexpr int MostExitCodeRounds = 4;

Native::PipeEnds MakePipeOrThrow(const char* failureText)
{
    Native::PipeEnds ends;
    if (!Native::MakePipe(ends))
    {
        throw Exception::Win32Exception(failureText, Platform::LastError());
    }
    return ends;
}

/// False for the end of the pipe, which is no failure. @param failureText for what is one.
bool IsReadable(const Native::PipeResult& result, const char* failureText)
{
    if (result.error == Platform::ErrorCode::BrokenPipe)
    {
        Log::Info("The pipe was closed by the child process");
        return false;
    }
    if (result.error != Platform::ErrorCode::Success)
    {
        throw Exception::Win32Exception(failureText, result.error);
    }
    return true;
}

} // namespace

ProcessRunner::ProcessRunner(Raii::Win32Handle logonToken, std::uint32_t creationFlags)
    : m_logonToken(std::move(logonToken)), m_creationFlags(creationFlags)
{
    m_job.Create(false);
    m_job.SetInformation({JobLimits::KillOnJobClose});
}

ProcessRunner::ProcessRunner(ProcessRunner&& other) noexcept = default;

ProcessRunner& ProcessRunner::operator=(ProcessRunner&& other) noexcept = default;

ProcessRunner::~ProcessRunner()
{
    ProcessRunner::Close();
}

bool ProcessRunner::Start()
{
    if (!ShouldRun())
    {
        return false;
    }
    CreatePipes();
    const Time::UtcTime now = Time::UtcNow();
    m_startTime = std::chrono::floor<std::chrono::seconds>(now).time_since_epoch().count();
    m_startTimeUtc = Util::FormatTimeText(now);
    if (m_logonToken.IsValid())
    {
        CreateChildProcessWithToken();
    }
    else
    {
        CreateChildProcessAsCurrentUser();
    }
    // While we have them too, the pipe would never be seen to end.
    m_childStdOutWr.Close();
    m_childStdInRd.Close();
    m_state = State::Started;
    OnStarted();
    return true;
}

ProcessRunner::State ProcessRunner::GetState() const noexcept
{
    return m_state;
}

void ProcessRunner::Close() noexcept
{
    m_logonToken.Close();
    ClosePipesAndProcess();
    m_job.Close();
}

void ProcessRunner::CreateChildProcessAsCurrentUser()
{
    CreateChildProcess(nullptr);
}

void ProcessRunner::CreateChildProcessWithToken()
{
    if (!m_logonToken.IsValid())
    {
        throw Exception::RuntimeException("Cannot invoke this function without a logon token");
    }
    CreateChildProcess(m_logonToken.GetRawHandle());
}

void ProcessRunner::ReadFromPipe(std::string& out)
{
    RequireReadablePipe();
    out.clear();
    const std::uint32_t available = GetCharactersInPipe();
    if (available == 0)
    {
        return;
    }
    std::string bytes(available, '\0');
    const Native::PipeResult result = Native::ReadPipe(m_childStdOutRd.GetRawHandle(), bytes);
    if (IsReadable(result, "Failed to read test results -- ReadFile() failed."))
    {
        bytes.resize(result.count);
        out = std::move(bytes);
    }
}

std::uint32_t ProcessRunner::GetFinalExitCode(std::string& out)
{
    if (m_state != State::Started)
    {
        throw Exception::RuntimeException("Test has not been initiated.");
    }
    std::string bytes;
    for (int rounds = 0; rounds <= MostExitCodeRounds; ++rounds)
    {
        // The code first: what a tool that has ended has printed is then all there.
        const std::uint32_t code = QueryExitCode();
        ReadFromPipe(bytes);
        out += bytes;
        if (code != StillActive)
        {
            return code;
        }
        Time::SleepFor(ExitCodePause);
    }
    throw Exception::RuntimeException("Read results timed out");
}

std::uint32_t ProcessRunner::GetCharactersInPipe()
{
    RequireReadablePipe();
    const Native::PipeResult result = Native::PeekPipe(m_childStdOutRd.GetRawHandle());
    return IsReadable(result, "Failed to read test results -- PeekNamedPipe() failed.") ? result.count : 0;
}

void ProcessRunner::OnStarted()
{
}

void ProcessRunner::CreatePipes()
{
    // None of the four is inheritable: the start hands the child's two ends over, and to this child alone.
    Native::PipeEnds output = MakePipeOrThrow("Failed to create child OUT pipes");
    Native::PipeEnds input = MakePipeOrThrow("Failed to create child IN pipes");
    m_childStdOutRd = std::move(output.read);
    m_childStdOutWr = std::move(output.write);
    m_childStdInRd = std::move(input.read);
    m_childStdInWr = std::move(input.write);
}

std::int64_t ProcessRunner::GetStartTime() const noexcept
{
    return m_startTime;
}

const std::string& ProcessRunner::GetStartTimeUtc() const noexcept
{
    return m_startTimeUtc;
}

std::uint32_t ProcessRunner::GetProcessId() const noexcept
{
    return m_processInfo.GetProcessId();
}

Raii::RawHandle ProcessRunner::GetProcessHandle() const noexcept
{
    return m_processInfo.GetProcessHandle();
}

std::uint32_t ProcessRunner::QueryExitCode() const
{
    std::uint32_t code = 0;
    if (const std::uint32_t error = Native::QueryExitCode(GetProcessHandle(), m_control.get(), code); error != 0)
    {
        throw Exception::Win32Exception("GetExitCodeProcess() failed", error);
    }
    return code;
}

void ProcessRunner::ClosePipesAndProcess() noexcept
{
    m_childStdInRd.Close();
    m_childStdInWr.Close();
    m_childStdOutRd.Close();
    m_childStdOutWr.Close();
    m_processInfo.Close();
    m_control.reset();
}

void ProcessRunner::SetRedirectIo(bool redirectIo) noexcept
{
    m_redirectIo = redirectIo;
}

void ProcessRunner::RequireReadablePipe() const
{
    if (!m_redirectIo)
    {
        throw Exception::RuntimeException("I/O was not redirected for this process");
    }
    if (!m_childStdOutRd.IsValid())
    {
        throw Exception::RuntimeException("m_hChildStdOutRd is unexpectedly null");
    }
}

void ProcessRunner::CreateChildProcess(Raii::RawHandle token)
{
    Native::ProcessRequest request;
    request.arguments = BuildArgumentList();
    request.commandLine = Util::Paste(request.arguments);
    Log::Debug("ProcessTestRunner using argument string: {}", Util::ConvertStringType(request.commandLine));
    request.workingDirectory = L"bin";
    request.creationFlags = m_creationFlags;
    request.streams = Native::ChildStreams{m_childStdInRd.GetRawHandle(), m_childStdOutWr.GetRawHandle()};
    request.token = token;
    request.job = m_job.GetHandle();
    Native::StartedProcess started = Native::StartProcess(request);
    if (!started.process.IsValid())
    {
        throw Exception::Win32Exception("CreateProcess() failed", started.error);
    }
    m_processInfo =
        Raii::ProcessInfo(started.process.Release(), started.thread.Release(), started.processId, started.threadId);
    m_control = std::move(started.control);
}

} // namespace Shared::Concurrency
