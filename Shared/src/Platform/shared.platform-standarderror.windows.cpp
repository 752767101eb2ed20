#include "shared.platform-standarderror.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>

#include "shared.util-utf8.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Platform
{

namespace
{

constexpr std::size_t LongestWrite = 0x7FFFFFFF;

/// A console shows bytes in its own code page, so it gets characters.
bool WriteToConsole(HANDLE stream, std::wstring_view text)
{
    DWORD mode = 0;
    if (::GetConsoleMode(stream, &mode) == FALSE)
    {
        return false;
    }
    DWORD written = 0;
    return ::WriteConsoleW(
               stream, text.data(), static_cast<DWORD>(std::min(text.size(), LongestWrite)), &written, nullptr) !=
        FALSE;
}

void WriteBytes(HANDLE stream, std::string_view bytes)
{
    while (!bytes.empty())
    {
        DWORD written = 0;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), LongestWrite));
        if (::WriteFile(stream, bytes.data(), wanted, &written, nullptr) == FALSE || written == 0)
        {
            return;
        }
        bytes.remove_prefix(written);
    }
}

void Print(std::string_view narrow, std::wstring_view wide)
{
    const HANDLE stream = ::GetStdHandle(STD_ERROR_HANDLE);
    if (stream == nullptr || stream == INVALID_HANDLE_VALUE || WriteToConsole(stream, wide))
    {
        return;
    }
    WriteBytes(stream, narrow);
}

} // namespace

void PrintToStandardError(std::string_view text) noexcept
{
    const DWORD error = ::GetLastError();
    try
    {
        Print(text, Util::Utf8::Decode(text));
    }
    catch (const std::exception&)
    {
        // No memory for a line about something that went wrong: there is nowhere left to say so.
    }
    ::SetLastError(error);
}

void PrintToStandardError(std::wstring_view text) noexcept
{
    const DWORD error = ::GetLastError();
    try
    {
        Print(Util::Utf8::Encode(text), text);
    }
    catch (const std::exception&)
    {
        // As above.
    }
    ::SetLastError(error);
}

} // namespace Shared::Platform
