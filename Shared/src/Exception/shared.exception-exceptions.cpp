#include "shared.exception-exceptions.hpp"

#include <utility>

#include <fmt/format.h>

#include "shared.exception-errortext.hpp"

namespace Shared::Exception
{

namespace Detail
{

std::string FormatBaseText(const char* text, const std::source_location& where)
{
    const SourceLocation location(where);
    return fmt::format(
        "Exception in {}() at {}:{}:{} --> {}", location.function, location.file, location.line, location.column,
        text == nullptr ? "Unknown exception" : text);
}

} // namespace Detail

namespace
{

std::string FormatWin32Text(const std::string& text, std::uint32_t code, const SourceLocation& location)
{
    if (code == 0)
    {
        return fmt::format(
            "Exception in function {}() in {}:{}:{}: {}", location.function, location.file, location.line,
            location.column, text);
    }
    return fmt::format(
        "Exception in function {}() in {}:{}:{}: {} --> {} (error code {:#X})", location.function, location.file,
        location.line, location.column, text, TranslateWin32Error(code), code);
}

std::string FormatComText(const std::string& text, std::uint32_t hresult, const SourceLocation& location)
{
    return fmt::format(
        "COM exception in function {}() in {}:{}:{}: {} --> {} (HRESULT {:#X})", location.function, location.file,
        location.line, location.column, text, TranslateWin32Error(hresult), hresult);
}

std::string FormatFatalText(std::string_view text, const SourceLocation& location)
{
    return fmt::format(
        "A fatal error occurred in function {}() of {}:{}:{}: {}", location.function, location.file, location.line,
        location.column, text);
}

} // namespace

Win32Exception::Win32Exception(const std::string& text, std::uint32_t code, const std::source_location& where)
    : m_code(code), m_message(FormatWin32Text(text, code, SourceLocation(where)))
{
}

Win32Exception::Win32Exception(Worded worded) noexcept : m_code(worded.code), m_message(std::move(worded.message))
{
}

const char* Win32Exception::what() const noexcept
{
    return m_message.c_str();
}

std::uint32_t Win32Exception::GetCode() const noexcept
{
    return m_code;
}

ComException::ComException(const std::string& text, std::uint32_t hresult, const std::source_location& where)
    : m_hresult(hresult), m_message(FormatComText(text, hresult, SourceLocation(where)))
{
}

const char* ComException::what() const noexcept
{
    return m_message.c_str();
}

std::uint32_t ComException::GetResult() const noexcept
{
    return m_hresult;
}

std::string FormatNtStatusText(const std::string& text, std::uint32_t status, const std::source_location& where)
{
    const SourceLocation location(where);
    return fmt::format(
        "Exception in function {}() in {}:{}:{}: {} --> {} (NTSTATUS code {:#X})", location.function, location.file,
        location.line, location.column, text, TranslateNtStatus(status), status);
}

NtStatusException::NtStatusException(const std::string& text, std::uint32_t status, const std::source_location& where)
    : m_status(status), m_message(FormatNtStatusText(text, status, where))
{
}

const char* NtStatusException::what() const noexcept
{
    return m_message.c_str();
}

std::uint32_t NtStatusException::GetStatus() const noexcept
{
    return m_status;
}

FatalException::FatalException(const std::source_location& where)
    : m_code(WorkerHangsCode),
      m_message(FormatFatalText("A PollWorker failed to exit in a timely fashion", SourceLocation(where)))
{
}

FatalException::FatalException(const std::string& text, const std::source_location& where)
    : m_code(GeneralCode), m_message(FormatFatalText(text, SourceLocation(where)))
{
}

const char* FatalException::what() const noexcept
{
    return m_message.c_str();
}

std::int32_t FatalException::GetCode() const noexcept
{
    return m_code;
}

} // namespace Shared::Exception
