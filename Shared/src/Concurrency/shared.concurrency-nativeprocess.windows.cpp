#include "shared.concurrency-nativeprocess.hpp"

#include "shared.concurrency-nativejob.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <utility>

#include "shared.platform-windows.windows.hpp"

namespace Shared::Concurrency::Native
{

class ProcessControl
{
};

namespace
{

using Raii::RawHandle;
using Raii::Win32Handle;

/// Handles are inherited by whichever process is started while they are inheritable. So that a tool's pipes go to no
/// other child, they are inheritable only under this lock, and every start of this process holds it.
std::mutex& InheritanceLock()
{
    static auto& s_lock = *new std::mutex;
    return s_lock;
}

void RequireNoNull(std::wstring_view text)
{
    if (text.find(L'\0') != std::wstring_view::npos)
    {
        throw Exception::InvalidArgumentException("Text with a null character for a child process");
    }
}

void RequireNoNulls(const ProcessRequest& request)
{
    RequireNoNull(request.program);
    RequireNoNull(request.commandLine);
    RequireNoNull(request.workingDirectory);
    if (request.environment)
    {
        for (const std::wstring& entry : *request.environment)
        {
            RequireNoNull(entry);
        }
    }
}

std::filesystem::path Resolve(const std::wstring& path)
{
    return std::filesystem::path(Util::GetCurrentExecutableDirectory()) / path;
}

/// The file of the program; empty where the system is to find it by the command line alone.
std::wstring ProgramOf(const ProcessRequest& request)
{
    const std::wstring& named =
        request.program.empty() && !request.arguments.empty() ? request.arguments.front() : request.program;
    if (named.empty())
    {
        return {};
    }
    std::filesystem::path path = Resolve(named);
    if (!path.has_extension())
    {
        path += L".exe";
    }
    return path.lexically_normal().wstring();
}

std::wstring WorkingDirectoryOf(const ProcessRequest& request)
{
    return request.workingDirectory.empty() ? std::wstring()
                                            : Resolve(request.workingDirectory).lexically_normal().wstring();
}

/// Entries one behind the other, each ended by a null, and one more null.
std::wstring BlockOf(const std::vector<std::wstring>& environment)
{
    std::wstring block;
    for (const std::wstring& entry : environment)
    {
        block.append(entry).push_back(L'\0');
    }
    if (environment.empty())
    {
        block.push_back(L'\0');
    }
    return block;
}

/// The start-up record that names just two handles to be inherited.
class ExtendedStartup
{
public:
    explicit ExtendedStartup(const ChildStreams& streams) : m_handles{streams.output, streams.input}
    {
        static_assert(sizeof(STARTUPINFOEXW) == 112);
        m_record.StartupInfo.cb = sizeof m_record;
        m_record.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        m_record.StartupInfo.hStdInput = streams.input;
        m_record.StartupInfo.hStdOutput = streams.output;
        m_record.StartupInfo.hStdError = streams.output;
        MakeAttributeList();
    }

    ExtendedStartup(const ExtendedStartup&) = delete;
    ExtendedStartup& operator=(const ExtendedStartup&) = delete;

    ~ExtendedStartup()
    {
        ::DeleteProcThreadAttributeList(m_record.lpAttributeList);
    }

    STARTUPINFOW* Get() noexcept
    {
        return &m_record.StartupInfo;
    }

private:
    void MakeAttributeList()
    {
        SIZE_T size = 0;
        if (::InitializeProcThreadAttributeList(nullptr, 1, 0, &size) != FALSE)
        {
            throw Exception::RuntimeException("InitializeProcThreadAttributeList() succeeded, expected to fail");
        }
        m_attributes.resize(size);
        auto* const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_attributes.data());
        if (::InitializeProcThreadAttributeList(list, 1, 0, &size) == FALSE)
        {
            throw Exception::Win32Exception("InitializeProcThreadAttributeList() failed", Platform::LastError());
        }
        if (::UpdateProcThreadAttribute(
                list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, m_handles.data(), sizeof m_handles, nullptr, nullptr) ==
            FALSE)
        {
            const std::uint32_t code = Platform::LastError();
            ::DeleteProcThreadAttributeList(list);
            throw Exception::Win32Exception("UpdateProcThreadAttribute() failed", code);
        }
        m_record.lpAttributeList = list;
    }

    std::array<HANDLE, 2> m_handles;
    std::vector<std::byte> m_attributes;
    STARTUPINFOEXW m_record = {};
};

ExtendedStartup ConfigureProcess(const ChildStreams& streams, DWORD& creationFlags)
{
    creationFlags |= EXTENDED_STARTUPINFO_PRESENT;
    // Made in its final place, as the list points into it.
    return ExtendedStartup(streams);
}

/// Makes the streams inheritable for the moment of the start.
class Inheritance
{
public:
    explicit Inheritance(const ChildStreams& streams) noexcept : m_streams(streams)
    {
        Set(true);
    }

    Inheritance(const Inheritance&) = delete;
    Inheritance& operator=(const Inheritance&) = delete;

    ~Inheritance()
    {
        Set(false);
    }

private:
    void Set(bool inheritable) const noexcept
    {
        // What fails here fails the start.
        (void)Raii::Native::ChangeInheritability(m_streams.input, inheritable);
        (void)Raii::Native::ChangeInheritability(m_streams.output, inheritable);
    }

    ChildStreams m_streams;
};

/// The system's call, with all that it needs in its own form.
struct Call
{
    std::wstring program;
    std::wstring commandLine;
    std::wstring workingDirectory;
    std::wstring environment;
    bool hasEnvironment = false;
    DWORD flags = 0;
    RawHandle token = nullptr;
};

Call MakeCall(const ProcessRequest& request)
{
    Call call;
    call.program = ProgramOf(request);
    call.commandLine = request.commandLine;
    call.workingDirectory = WorkingDirectoryOf(request);
    call.hasEnvironment = request.environment.has_value();
    call.environment = request.environment ? BlockOf(*request.environment) : std::wstring();
    // Held back until it is in its job, so that nothing it starts can be outside.
    call.flags = request.creationFlags | (call.hasEnvironment ? CREATE_UNICODE_ENVIRONMENT : 0) |
        (request.job != nullptr ? CREATE_SUSPENDED : 0);
    call.token = request.token;
    return call;
}

/// 0, or the system's code of the failure.
DWORD Create(Call& call, bool inherits, STARTUPINFOW* startup, PROCESS_INFORMATION& information) noexcept
{
    const PCWSTR program = call.program.empty() ? nullptr : call.program.c_str();
    const PWSTR commandLine = call.commandLine.empty() ? nullptr : call.commandLine.data();
    const PCWSTR folder = call.workingDirectory.empty() ? nullptr : call.workingDirectory.c_str();
    void* const environment = call.hasEnvironment ? call.environment.data() : nullptr;
    const BOOL inheritance = inherits ? TRUE : FALSE;
    const BOOL created = call.token == nullptr ? ::CreateProcessW(
                                                     program, commandLine, nullptr, nullptr, inheritance, call.flags,
                                                     environment, folder, startup, &information)
                                               : ::CreateProcessAsUserW(
                                                     call.token, program, commandLine, nullptr, nullptr, inheritance,
                                                     call.flags, environment, folder, startup, &information);
    return created != FALSE ? ERROR_SUCCESS : ::GetLastError();
}

DWORD CreateUnderLock(const ProcessRequest& request, Call& call, PROCESS_INFORMATION& information)
{
    if (request.streams)
    {
        ExtendedStartup startup = ConfigureProcess(*request.streams, call.flags);
        const std::scoped_lock hold(InheritanceLock());
        const Inheritance inheritance(*request.streams);
        return Create(call, true, startup.Get(), information);
    }
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    std::wstring desktop = request.desktop;
    startup.lpDesktop = desktop.empty() ? nullptr : desktop.data();
    const std::scoped_lock hold(InheritanceLock());
    return Create(call, request.inheritHandles, &startup, information);
}

/// Puts the process that is held back into its job, and lets it go. 0, or the system's code of why it cannot run.
DWORD PutInJob(RawHandle job, const PROCESS_INFORMATION& information)
{
    if (!AssignToJob(job, information.hProcess))
    {
        const std::uint32_t code = Platform::LastError();
        (void)EndProcess(information.hProcess);
        throw Exception::Win32Exception("AssignProcessToJobObject() failed.", code);
    }
    constexpr auto Failed = static_cast<DWORD>(-1);
    if (::ResumeThread(information.hThread) == Failed)
    {
        const DWORD code = ::GetLastError();
        (void)EndProcess(information.hProcess);
        return code;
    }
    return ERROR_SUCCESS;
}

} // namespace

StartedProcess StartProcess(const ProcessRequest& request)
{
    RequireNoNulls(request);
    Call call = MakeCall(request);
    PROCESS_INFORMATION information = {};
    StartedProcess result;
    result.error = CreateUnderLock(request, call, information);
    if (result.error != ERROR_SUCCESS)
    {
        return result;
    }
    Win32Handle process(information.hProcess);
    Win32Handle thread(information.hThread);
    result.error = request.job == nullptr ? ERROR_SUCCESS : PutInJob(request.job, information);
    if (result.error == ERROR_SUCCESS)
    {
        result.process = std::move(process);
        result.thread = std::move(thread);
        result.processId = information.dwProcessId;
        result.threadId = information.dwThreadId;
    }
    return result;
}

std::uint32_t QueryExitCode(RawHandle process, ProcessControl*, std::uint32_t& code) noexcept
{
    DWORD answer = 0;
    if (::GetExitCodeProcess(process, &answer) == FALSE)
    {
        return Platform::LastError();
    }
    code = answer;
    return 0;
}

bool EndProcess(RawHandle process) noexcept
{
    constexpr UINT ExitCode = 1;
    return ::TerminateProcess(process, ExitCode) != FALSE;
}

bool BreakGroup(std::uint32_t processId) noexcept
{
    return ::GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, processId) != FALSE;
}

std::wstring NullDeviceName()
{
    return L"NUL";
}

bool MakePipe(PipeEnds& ends) noexcept
{
    constexpr DWORD DefaultSize = 0;
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (::CreatePipe(&read, &write, nullptr, DefaultSize) == FALSE)
    {
        return false;
    }
    ends.read.Attach(read);
    ends.write.Attach(write);
    return true;
}

PipeResult PeekPipe(RawHandle pipe) noexcept
{
    DWORD available = 0;
    if (::PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == FALSE)
    {
        return {0, Platform::LastError()};
    }
    return {available, 0};
}

PipeResult ReadPipe(RawHandle pipe, std::span<char> buffer) noexcept
{
    DWORD count = 0;
    if (::ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) == FALSE)
    {
        return {0, Platform::LastError()};
    }
    return {count, 0};
}

} // namespace Shared::Concurrency::Native
