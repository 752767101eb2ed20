#include "shared.raii-nativehandle.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Raii::Native
{

bool CloseHandle(RawHandle handle) noexcept
{
    return ::CloseHandle(handle) != FALSE;
}

RawHandle DuplicateHandle(RawHandle handle) noexcept
{
    bool inheritable = false;
    if (!QueryInheritability(handle, inheritable))
    {
        return nullptr;
    }
    HANDLE duplicate = nullptr;
    const HANDLE self = ::GetCurrentProcess();
    if (::DuplicateHandle(self, handle, self, &duplicate, 0, inheritable ? TRUE : FALSE, DUPLICATE_SAME_ACCESS) ==
        FALSE)
    {
        return nullptr;
    }
    return duplicate;
}

bool IsSameObject(RawHandle first, RawHandle second) noexcept
{
    // In no import library of the tool chain, but in kernelbase of every Windows 10.
    using CompareFunction = BOOL(WINAPI*)(HANDLE, HANDLE);
    static const CompareFunction Compare = []() noexcept
    {
        const HMODULE module = ::GetModuleHandleW(L"kernelbase.dll");
        const FARPROC address = module == nullptr ? nullptr : ::GetProcAddress(module, "CompareObjectHandles");
        return reinterpret_cast<CompareFunction>(reinterpret_cast<void*>(address));
    }();
    return Compare != nullptr && Compare(first, second) != FALSE;
}

bool QueryInheritability(RawHandle handle, bool& inheritable) noexcept
{
    DWORD flags = 0;
    if (::GetHandleInformation(handle, &flags) == FALSE)
    {
        return false;
    }
    inheritable = (flags & HANDLE_FLAG_INHERIT) != 0;
    return true;
}

bool ChangeInheritability(RawHandle handle, bool inheritable) noexcept
{
    return ::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, inheritable ? HANDLE_FLAG_INHERIT : 0) != FALSE;
}

} // namespace Shared::Raii::Native
