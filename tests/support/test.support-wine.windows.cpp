#include "test.support-wine.hpp"

#include "shared.platform-windows.windows.hpp"

namespace TestSupport
{

bool IsWine() noexcept
{
    const HMODULE native = ::GetModuleHandleW(L"ntdll.dll");
    return native != nullptr && ::GetProcAddress(native, "wine_get_version") != nullptr;
}

} // namespace TestSupport
