#include "contract.watchgaps.hpp"

#include "shared.platform-windows.windows.hpp"

const char* WhyChangesAreMissed()
{
    const bool isWine = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return isWine ? "Wine does not tell this change" : nullptr;
}
