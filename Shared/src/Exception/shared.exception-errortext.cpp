#include "shared.exception-errortext.hpp"

#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "shared.exception-nativeerrortext.hpp"

namespace Shared::Exception
{

namespace
{

std::string FailureText(std::uint32_t code)
{
    return fmt::format("Failed to translate Win32 error code: {}", code);
}

std::string WithoutLineEnd(std::string text)
{
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

bool IsWinHttpCode(std::uint32_t code) noexcept
{
    return code >= 12000 && code <= 12192;
}

} // namespace

std::string TranslateWin32Error(std::uint32_t code)
{
    std::string text = IsWinHttpCode(code) ? Native::WinHttpErrorText(code) : Native::SystemErrorText(code);
    text = WithoutLineEnd(std::move(text));
    return text.empty() ? FailureText(code) : text;
}

std::string TranslateNtStatus(std::uint32_t status)
{
    std::optional<std::string> text = Native::NtStatusText(status);
    if (!text)
    {
        return FailureText(status) + ": could not load ntdll.dll";
    }
    *text = WithoutLineEnd(std::move(*text));
    return text->empty() ? FailureText(status) : *text;
}

} // namespace Shared::Exception
