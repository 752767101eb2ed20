#include "contract.processprobe.hpp"

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cstddef>
#include <stdexcept>

#include "shared.platform-windows.windows.hpp"

#include <sddl.h>

namespace Contract::Probe
{

namespace
{

HANDLE s_break = nullptr;

std::string Narrow(std::wstring_view text)
{
    if (text.empty())
    {
        return {};
    }
    const int wide = static_cast<int>(text.size());
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), wide, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), wide, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::wstring Widen(std::string_view text)
{
    if (text.empty())
    {
        return {};
    }
    const int narrow = static_cast<int>(text.size());
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), narrow, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), narrow, wide.data(), size);
    return wide;
}

std::wstring OwnProgram()
{
    std::array<wchar_t, 4096> path{};
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return {path.data(), length};
}

/// What the token of this process says of one kind.
std::vector<std::byte> TokenFact(TOKEN_INFORMATION_CLASS kind)
{
    HANDLE token = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token);
    DWORD size = 0;
    ::GetTokenInformation(token, kind, nullptr, 0, &size);
    std::vector<std::byte> fact(size);
    if (::GetTokenInformation(token, kind, fact.data(), size, &size) == FALSE)
    {
        fact.clear();
    }
    ::CloseHandle(token);
    return fact;
}

/// Both records begin with a SID_AND_ATTRIBUTES.
std::string SidFact(TOKEN_INFORMATION_CLASS kind)
{
    const std::vector<std::byte> fact = TokenFact(kind);
    PWSTR text = nullptr;
    if (fact.empty() ||
        ::ConvertSidToStringSidW(reinterpret_cast<const SID_AND_ATTRIBUTES*>(fact.data())->Sid, &text) == FALSE)
    {
        return "?";
    }
    const std::string sid = Narrow(text);
    ::LocalFree(text);
    return sid;
}

std::string PrivilegeCount()
{
    const std::vector<std::byte> fact = TokenFact(TokenPrivileges);
    return fact.empty() ? "?" : std::to_string(reinterpret_cast<const TOKEN_PRIVILEGES*>(fact.data())->PrivilegeCount);
}

BOOL WINAPI NoteBreak(DWORD)
{
    ::SetEvent(s_break);
    return TRUE;
}

BOOL WINAPI PassOver(DWORD)
{
    return TRUE;
}

bool TryOpen(const std::string& file, DWORD access, DWORD creation)
{
    const HANDLE handle =
        ::CreateFileW(Widen(file).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, creation, 0, nullptr);
    if (handle != INVALID_HANDLE_VALUE)
    {
        ::CloseHandle(handle);
    }
    return handle != INVALID_HANDLE_VALUE;
}

bool TryRun(const std::string& program)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    if (::CreateProcessW(
            Widen(program).c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &information) ==
        FALSE)
    {
        return false;
    }
    ::WaitForSingleObject(information.hProcess, INFINITE);
    ::CloseHandle(information.hThread);
    ::CloseHandle(information.hProcess);
    return true;
}

bool TryRawSocket()
{
    WSADATA data = {};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
    {
        return false;
    }
    const SOCKET socket = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    const bool isOpen = socket != INVALID_SOCKET;
    if (isOpen)
    {
        ::closesocket(socket);
    }
    ::WSACleanup();
    return isOpen;
}

} // namespace

std::vector<std::string> Environment()
{
    std::vector<std::string> entries;
    const PWSTR block = ::GetEnvironmentStringsW();
    for (const wchar_t* entry = block; *entry != L'\0'; entry += std::wstring_view(entry).size() + 1)
    {
        entries.push_back(Narrow(entry));
    }
    ::FreeEnvironmentStringsW(block);
    return entries;
}

std::string WorkingFolder()
{
    std::array<wchar_t, 4096> path{};
    const DWORD length = ::GetCurrentDirectoryW(static_cast<DWORD>(path.size()), path.data());
    return Narrow({path.data(), length});
}

std::string DescribeSelf()
{
    return "user=" + SidFact(TokenUser) + "\nintegrity=" + SidFact(TokenIntegrityLevel) +
        "\nprivileges=" + PrivilegeCount() + "\n";
}

void WaitToBeEnded()
{
    while (true)
    {
        ::Sleep(INFINITE);
    }
}

std::uint32_t StartSelf(Descendant descendant)
{
    std::wstring command = L"grandchild --hang";
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    const DWORD flags =
        descendant == Descendant::Child ? CREATE_NO_WINDOW : DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP;
    if (::CreateProcessW(
            OwnProgram().c_str(), command.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &startup,
            &information) == FALSE)
    {
        throw std::runtime_error("the grandchild did not start");
    }
    ::CloseHandle(information.hThread);
    ::CloseHandle(information.hProcess);
    return information.dwProcessId;
}

void MakeOutputBinary()
{
    (void)::_setmode(::_fileno(stdout), _O_BINARY);
}

void HandleBreak(bool isHeeded)
{
    s_break = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::SetConsoleCtrlHandler(isHeeded ? &NoteBreak : &PassOver, TRUE);
}

void AwaitBreak()
{
    ::WaitForSingleObject(s_break, INFINITE);
}

void Crash()
{
    // Without a debugger or a dialogue: the process ends with the fault's code.
    ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { return EXCEPTION_EXECUTE_HANDLER; });
    ::RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

bool Try(std::string_view what, const std::string& with)
{
    if (what == "--is-handle")
    {
        DWORD flags = 0;
        return ::GetHandleInformation(reinterpret_cast<HANDLE>(std::stoull(with)), &flags) != FALSE;
    }
    if (what == "--try-write")
    {
        return TryOpen(with, GENERIC_WRITE, OPEN_ALWAYS);
    }
    if (what == "--try-read")
    {
        return TryOpen(with, GENERIC_READ, OPEN_EXISTING);
    }
    if (what == "--try-run")
    {
        return TryRun(with);
    }
    if (what == "--try-signal")
    {
        const HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(std::stoul(with)));
        if (process != nullptr)
        {
            ::CloseHandle(process);
        }
        return process != nullptr;
    }
    return TryRawSocket();
}

} // namespace Contract::Probe

// Arguments are to come as they are, and not as the files that they could mean.
extern "C"
{
    int _dowildcard = 0; // NOLINT(bugprone-reserved-identifier): the name is the C runtime's
}

int wmain(int count, wchar_t** arguments)
{
    std::vector<std::string> narrow;
    for (int i = 0; i < count; ++i)
    {
        narrow.push_back(Contract::Probe::Narrow(arguments[i]));
    }
    return Contract::Probe::Run(narrow);
}
