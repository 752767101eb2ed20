#include "shared.platform-standarderror.hpp"

#include <cerrno>
#include <cstddef>
#include <exception>

#include "shared.util-utf8.hpp"

#include <unistd.h>

namespace Shared::Platform
{

void PrintToStandardError(std::string_view text) noexcept
{
    const int error = errno;
    while (!text.empty())
    {
        const auto written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0)
        {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        else if (written == 0 || errno != EINTR)
        {
            break;
        }
    }
    errno = error;
}

void PrintToStandardError(std::wstring_view text) noexcept
{
    const int error = errno;
    try
    {
        PrintToStandardError(std::string_view{Util::Utf8::Encode(text)});
    }
    catch (const std::exception&)
    {
        // No memory for a line about something that went wrong: there is nowhere left to say so.
    }
    errno = error;
}

} // namespace Shared::Platform
