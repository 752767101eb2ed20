#include "contract.concurrencychild.hpp"

#include "shared.raii-win32handle.hpp"

#include <array>
#include <filesystem>
#include <system_error>

#include "shared.platform-windows.windows.hpp"

namespace Contract
{

namespace
{

std::filesystem::path OwnProgram()
{
    std::array<wchar_t, 4096> path{};
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::wstring(path.data(), length);
}

} // namespace

struct ConcurrencyChild::State
{
    Shared::Raii::Win32Handle process;
    std::uint32_t id = 0;
};

ConcurrencyChild::ConcurrencyChild(const std::vector<std::wstring>& arguments) : m_state(std::make_unique<State>())
{
    const std::wstring program = (OwnProgram().parent_path() / ProgramName()).wstring();
    std::wstring command = L"\"" + program + L"\"";
    for (const std::wstring& argument : arguments)
    {
        command += L" \"" + argument + L"\"";
    }
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (::CreateProcessW(
            program.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
            &information) == FALSE)
    {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "CreateProcessW() failed");
    }
    ::CloseHandle(information.hThread);
    m_state->process.Attach(information.hProcess);
    m_state->id = information.dwProcessId;
}

ConcurrencyChild::~ConcurrencyChild()
{
    Kill();
}

std::uint32_t ConcurrencyChild::Id() const noexcept
{
    return m_state->id;
}

Shared::Raii::RawHandle ConcurrencyChild::Handle() const noexcept
{
    return m_state->process.GetRawHandle();
}

void ConcurrencyChild::Kill()
{
    ::TerminateProcess(Handle(), 9);
    ::WaitForSingleObject(Handle(), INFINITE);
}

std::uint32_t ConcurrencyChild::Wait()
{
    ::WaitForSingleObject(Handle(), INFINITE);
    DWORD code = 0;
    ::GetExitCodeProcess(Handle(), &code);
    return code;
}

std::wstring ConcurrencyChild::ProgramName()
{
    return L"shared-concurrency-child.exe";
}

std::uint32_t OwnId()
{
    return ::GetCurrentProcessId();
}

std::wstring OwnProgramName()
{
    return OwnProgram().filename().wstring();
}

} // namespace Contract
