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
};

std::uint32_t OwnProcessId()
{
    return ::GetCurrentProcessId();
}

ChildProcess::ChildProcess() : m_state(std::make_unique<State>())
{
    // Never resumed: which program it is does not matter.
    std::wstring command{L"cmd.exe"};
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (::CreateProcessW(
            nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr,
            &startup, &m_state->process) == FALSE)
    {
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
}

std::uint32_t ChildProcess::Id() const noexcept
{
    return m_state->process.dwProcessId;
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
