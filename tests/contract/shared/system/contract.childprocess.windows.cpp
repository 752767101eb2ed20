#include "contract.childprocess.hpp"

#include <stdexcept>
#include <string>
#include <utility>

#include "shared.platform-windows.windows.hpp"

namespace Contract
{

struct ChildProcess::State
{
    PROCESS_INFORMATION process{};
    /// What its standard input is the other end of: nothing is ever written.
    HANDLE input = nullptr;
};

std::uint32_t OwnProcessId()
{
    return ::GetCurrentProcessId();
}

ChildProcess::ChildProcess() : m_state(std::make_unique<State>())
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE childInput = nullptr;
    if (::CreatePipe(&childInput, &m_state->input, &inheritable, 0) == FALSE)
    {
        throw std::runtime_error("CreatePipe() failed");
    }
    ::SetHandleInformation(m_state->input, HANDLE_FLAG_INHERIT, 0);
    // Which program it is does not matter, but that it waits for input.
    std::wstring command{L"cmd.exe"};
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = childInput;
    const BOOL isStarted = ::CreateProcessW(
        nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr,
        &startup, &m_state->process);
    ::CloseHandle(childInput);
    if (isStarted == FALSE)
    {
        ::CloseHandle(m_state->input);
        throw std::runtime_error("CreateProcessW() failed");
    }
}

ChildProcess::~ChildProcess()
{
    End();
    Collect();
    if (m_state->process.hThread != nullptr)
    {
        ::CloseHandle(m_state->process.hThread);
    }
    ::CloseHandle(m_state->input);
}

std::uint32_t ChildProcess::Id() const noexcept
{
    return m_state->process.dwProcessId;
}

void ChildProcess::Resume()
{
    ::ResumeThread(m_state->process.hThread);
}

void ChildProcess::End()
{
    if (m_state->process.hProcess != nullptr)
    {
        ::TerminateProcess(m_state->process.hProcess, 1);
        ::WaitForSingleObject(m_state->process.hProcess, INFINITE);
    }
}

void ChildProcess::Collect()
{
    if (const HANDLE handle = std::exchange(m_state->process.hProcess, nullptr))
    {
        ::CloseHandle(handle);
    }
}

void* ChildProcess::ReleaseThreadHandle() noexcept
{
    return std::exchange(m_state->process.hThread, nullptr);
}

} // namespace Contract
