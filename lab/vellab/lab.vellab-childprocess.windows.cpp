#include "lab.vellab-childprocess.hpp"

#include "shared.util-functions.hpp"

#include <system_error>

#include "shared.platform-windows.windows.hpp"

namespace Lab
{

namespace
{

[[noreturn]] void ThrowLast(const std::string& what)
{
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), what);
}

/// A file that the child inherits as one of its standard handles.
Shared::Raii::Win32Handle OpenForChild(const std::filesystem::path& path)
{
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = TRUE;
    Shared::Raii::Win32Handle file(::CreateFileW(
        path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes, OPEN_ALWAYS,
        FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsValid())
    {
        ThrowLast("cannot open " + path.string());
    }
    return file;
}

Shared::Raii::Win32Handle MakeJob()
{
    Shared::Raii::Win32Handle job(::CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job.IsValid() ||
        ::SetInformationJobObject(job.GetRawHandle(), JobObjectExtendedLimitInformation, &limits, sizeof limits) ==
            FALSE)
    {
        ThrowLast("cannot make a job");
    }
    return job;
}

/// The laboratory's own arguments hold no quotation marks.
std::wstring CommandLineOf(const ChildRequest& request)
{
    std::wstring line = request.namesProgram ? L"\"" + request.program.wstring() + L"\"" : L"";
    for (const std::string& argument : request.arguments)
    {
        line += (line.empty() ? L"\"" : L" \"") + Shared::Util::ConvertStringType(std::string_view(argument)) + L"\"";
    }
    return line;
}

} // namespace

ChildProcess::ChildProcess(const ChildRequest& request) : m_job(MakeJob())
{
    const Shared::Raii::Win32Handle output = OpenForChild(request.output);
    const Shared::Raii::Win32Handle errors = OpenForChild(request.errors);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.GetRawHandle();
    startup.hStdError = errors.GetRawHandle();
    PROCESS_INFORMATION information = {};
    std::wstring commandLine = CommandLineOf(request);
    if (::CreateProcessW(
            request.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
            CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED, nullptr, request.workingFolder.c_str(), &startup,
            &information) == FALSE)
    {
        ThrowLast("cannot start " + request.program.string());
    }
    m_id = information.dwProcessId;
    m_process.Attach(information.hProcess);
    const Shared::Raii::Win32Handle thread(information.hThread);
    const bool isInJob = ::AssignProcessToJobObject(m_job.GetRawHandle(), m_process.GetRawHandle()) != FALSE;
    if (!isInJob || ::ResumeThread(thread.GetRawHandle()) == static_cast<DWORD>(-1))
    {
        const auto error = static_cast<int>(::GetLastError());
        Kill();
        throw std::system_error(error, std::system_category(), "cannot start " + request.program.string());
    }
}

ChildProcess::~ChildProcess()
{
    Kill();
}

std::uint32_t ChildProcess::GetId() const noexcept
{
    return m_id;
}

Shared::Raii::RawHandle ChildProcess::GetHandle() const noexcept
{
    return m_process.GetRawHandle();
}

std::optional<std::int32_t> ChildProcess::GetExitStatus()
{
    DWORD code = 0;
    if (!m_exitStatus && ::WaitForSingleObject(m_process.GetRawHandle(), 0) == WAIT_OBJECT_0 &&
        ::GetExitCodeProcess(m_process.GetRawHandle(), &code) != FALSE)
    {
        m_exitStatus = static_cast<std::int32_t>(code);
    }
    return m_exitStatus;
}

void ChildProcess::Kill() noexcept
{
    if (m_process.IsValid() && !GetExitStatus())
    {
        constexpr UINT KilledExitCode = 137;
        constexpr DWORD LongestEndMs = 5000;
        ::TerminateProcess(m_process.GetRawHandle(), KilledExitCode);
        ::WaitForSingleObject(m_process.GetRawHandle(), LongestEndMs);
    }
}

} // namespace Lab
