#include "lab.tools-console.hpp"

#include "lab.tools-console.windows.hpp"

#include <algorithm>
#include <system_error>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

namespace Lab::Tools
{

namespace
{

BOOL WINAPI OnConsoleEvent(DWORD event) noexcept
{
    if (event != CTRL_BREAK_EVENT && event != CTRL_C_EVENT)
    {
        return FALSE;
    }
    ::SetEvent(BreakEvent());
    return TRUE;
}

} // namespace

HANDLE BreakEvent()
{
    static const HANDLE s_event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return s_event;
}

BreakSignal::BreakSignal()
{
    if (BreakEvent() == nullptr || ::SetConsoleCtrlHandler(&OnConsoleEvent, TRUE) == FALSE)
    {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "the break signal");
    }
}

bool BreakSignal::IsGiven() const
{
    return Await(std::chrono::nanoseconds(0));
}

bool BreakSignal::Await(std::chrono::nanoseconds span) const
{
    const auto spanMs = std::chrono::ceil<std::chrono::milliseconds>(span).count();
    return ::WaitForSingleObject(BreakEvent(), static_cast<DWORD>(std::clamp<long long>(spanMs, 0, INFINITE - 1LL))) ==
        WAIT_OBJECT_0;
}

void KeepLineEnds() noexcept
{
    (void)::_setmode(::_fileno(stdout), _O_BINARY);
}

} // namespace Lab::Tools
