#include "shared.concurrency-nativethread.hpp"

#include "shared.util-functions.hpp"

#include "shared.platform-windows.windows.hpp"

#include <process.h>

namespace Shared::Concurrency::Native
{

class ThreadControl
{
};

namespace
{

struct Start
{
    ThreadBody body;
    void* argument;
};

unsigned __stdcall Enter(void* parameter)
{
    const std::unique_ptr<Start> start(static_cast<Start*>(parameter));
    start->body(start->argument);
    return 0;
}

/// Present on every Windows 10 that the agent supports, but in no import library of the tool chain.
void NameThread(HANDLE handle, const std::string& name)
{
    using NameFunction = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const HMODULE module = ::GetModuleHandleW(L"kernelbase.dll");
    const FARPROC address = module == nullptr ? nullptr : ::GetProcAddress(module, "SetThreadDescription");
    const auto setDescription = reinterpret_cast<NameFunction>(reinterpret_cast<void*>(address));
    if (setDescription != nullptr && !name.empty())
    {
        (void)setDescription(handle, Util::ConvertStringType(name).c_str());
    }
}

} // namespace

StartedThread StartThread(ThreadBody body, void* argument, const std::string& name) noexcept
{
    try
    {
        auto start = std::make_unique<Start>(Start{body, argument});
        unsigned id = 0;
        const std::uintptr_t raw = ::_beginthreadex(nullptr, 0, &Enter, start.get(), 0, &id);
        if (raw == 0)
        {
            return {};
        }
        (void)start.release();
        const auto handle = reinterpret_cast<HANDLE>(raw);
        NameThread(handle, name);
        return {handle, id, nullptr};
    }
    catch (...)
    {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

std::uint32_t SuspendThread(Raii::RawHandle handle, ThreadControl*) noexcept
{
    // A count of zero counts as failure without being one, so no code of an earlier call may stand there.
    ::SetLastError(ERROR_SUCCESS);
    return ::SuspendThread(handle);
}

std::uint32_t ResumeThread(Raii::RawHandle handle, ThreadControl*) noexcept
{
    ::SetLastError(ERROR_SUCCESS);
    return ::ResumeThread(handle);
}

bool TerminateThread(Raii::RawHandle handle, ThreadControl*, std::uint32_t exitCode) noexcept
{
    // Windows lets an ended thread be ended again; here, as on the other platform, that is a failure.
    if (::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0)
    {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return ::TerminateThread(handle, exitCode) != FALSE;
}

} // namespace Shared::Concurrency::Native
