#include "shared.concurrency-process.hpp"

#include "shared.concurrency-nativeprocess.hpp"
#include "shared.exception-exceptions.hpp"

#include <utility>

namespace Shared::Concurrency
{

Process::Process(ProcessDescription description) noexcept : m_description(std::move(description))
{
}

Process::Process(Process&& other) noexcept
    : m_description(std::exchange(other.m_description, {})),
      m_processHandle(std::move(other.m_processHandle)),
      m_threadHandle(std::move(other.m_threadHandle)),
      m_processId(std::exchange(other.m_processId, 0)),
      m_threadId(std::exchange(other.m_threadId, 0)),
      m_control(std::move(other.m_control))
{
}

Process& Process::operator=(Process&& other) noexcept
{
    if (this != &other)
    {
        m_description = std::exchange(other.m_description, {});
        m_processHandle = std::move(other.m_processHandle);
        m_threadHandle = std::move(other.m_threadHandle);
        m_processId = std::exchange(other.m_processId, 0);
        m_threadId = std::exchange(other.m_threadId, 0);
        m_control = std::move(other.m_control);
    }
    return *this;
}

void Process::Start()
{
    StartBy(MakeRequest(), "CreateProcessW() failed");
}

void Process::StartAsUser(const Raii::Win32Handle& token, const std::optional<ProcessEnvironment>& environment)
{
    Native::ProcessRequest request = MakeRequest();
    if (!token.IsValid())
    {
        throw Exception::RuntimeException("Token cannot be null");
    }
    request.token = token.GetRawHandle();
    request.environment = environment;
    StartBy(request, "CreateProcessAsUserW() failed");
}

void Process::CloseProcessHandle() noexcept
{
    m_processHandle.Close();
}

void Process::CloseThreadHandle() noexcept
{
    m_threadHandle.Close();
}

const std::wstring& Process::GetExecutablePath() const noexcept
{
    return m_description.executablePath;
}

const std::wstring& Process::GetCommandLineText() const noexcept
{
    return m_description.commandLine;
}

const std::wstring& Process::GetWorkingDirectory() const noexcept
{
    return m_description.workingDirectory;
}

std::uint32_t Process::GetCreationFlags() const noexcept
{
    return m_description.creationFlags;
}

bool Process::GetInheritHandles() const noexcept
{
    return m_description.inheritHandles;
}

Raii::RawHandle Process::GetProcessHandle() const noexcept
{
    return m_processHandle.GetRawHandle();
}

Raii::RawHandle Process::GetThreadHandle() const noexcept
{
    return m_threadHandle.GetRawHandle();
}

std::uint32_t Process::GetProcessId() const noexcept
{
    return m_processId;
}

std::uint32_t Process::GetThreadId() const noexcept
{
    return m_threadId;
}

std::uint32_t Process::GetProcessExitCode() const
{
    std::uint32_t code = 0;
    if (const std::uint32_t error = Native::QueryExitCode(GetProcessHandle(), m_control.get(), code); error != 0)
    {
        throw Exception::Win32Exception("Failed to determine process exit code", error);
    }
    return code;
}

Native::ProcessRequest Process::MakeRequest() const
{
    if (m_description.executablePath.empty() && m_description.commandLine.empty())
    {
        throw Exception::RuntimeException("No executable path or command line set");
    }
    Native::ProcessRequest request;
    request.program = m_description.executablePath;
    request.commandLine = m_description.commandLine;
    request.workingDirectory = m_description.workingDirectory;
    request.creationFlags = m_description.creationFlags;
    request.inheritHandles = m_description.inheritHandles;
    request.desktop = m_description.desktop;
    return request;
}

void Process::StartBy(const Native::ProcessRequest& request, const char* failureText)
{
    Native::StartedProcess started = Native::StartProcess(request);
    if (!started.process.IsValid())
    {
        throw Exception::Win32Exception(failureText, started.error);
    }
    m_processHandle = std::move(started.process);
    m_threadHandle = std::move(started.thread);
    m_processId = started.processId;
    m_threadId = started.threadId;
    m_control = std::move(started.control);
}

bool SendBreak(std::uint32_t processId) noexcept
{
    return processId != 0 && Native::BreakGroup(processId);
}

std::wstring GetNullDeviceName()
{
    return Native::NullDeviceName();
}

} // namespace Shared::Concurrency
