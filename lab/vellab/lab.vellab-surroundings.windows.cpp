#include "lab.vellab-surroundings.hpp"

#include <atomic>

#include "shared.platform-windows.windows.hpp"

namespace Lab
{

namespace
{

std::atomic<Shared::Concurrency::Event*> s_interrupted{nullptr};

BOOL WINAPI OnConsoleEvent(DWORD) noexcept
{
    Shared::Concurrency::Event* const event = s_interrupted.load();
    if (event == nullptr)
    {
        return FALSE;
    }
    event->SignalNoThrow();
    return TRUE;
}

} // namespace

void UseOwnSurroundings(const std::filesystem::path&)
{
}

std::filesystem::path FindClosedFolder(const std::filesystem::path&)
{
    return {};
}

bool HasServiceAccounts() noexcept
{
    const HMODULE native = ::GetModuleHandleW(L"ntdll.dll");
    return native == nullptr || ::GetProcAddress(native, "wine_get_version") == nullptr;
}

void SignalOnInterrupt(Shared::Concurrency::Event& interrupted)
{
    s_interrupted = &interrupted;
    ::SetConsoleCtrlHandler(&OnConsoleEvent, TRUE);
}

void StopSignalling() noexcept
{
    s_interrupted = nullptr;
}

std::string ProgramName(const std::string& name)
{
    return name + ".exe";
}

} // namespace Lab
