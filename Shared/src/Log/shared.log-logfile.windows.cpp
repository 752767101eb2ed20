#include "shared.log-logfile.hpp"

#include <cstddef>
#include <optional>

#include "shared.exception-exceptions.hpp"
#include "shared.util-utf8.hpp"

#include "shared.platform-windows.windows.hpp"

#include <io.h>

namespace Shared::Log
{

namespace
{

/// Nothing if a character would have to be replaced. Where the code page is UTF-8 the system knows no such question.
std::optional<std::string> InCodePage(const std::wstring& text)
{
    if (text.empty())
    {
        return std::string();
    }
    const bool isUtf8 = ::GetACP() == CP_UTF8;
    const DWORD flags = isUtf8 ? 0 : WC_NO_BEST_FIT_CHARS;
    BOOL replaced = FALSE;
    BOOL* const replacedOrNone = isUtf8 ? nullptr : &replaced;
    const int wide = static_cast<int>(text.size());
    const int length = ::WideCharToMultiByte(CP_ACP, flags, text.data(), wide, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(length), '\0');
    const int written =
        ::WideCharToMultiByte(CP_ACP, flags, text.data(), wide, result.data(), length, nullptr, replacedOrNone);
    if (written == 0 || replaced != FALSE)
    {
        return std::nullopt;
    }
    return result;
}

/// The same folder by the names that each part of it has for old programs, or as it stands where it has none.
std::wstring ShortName(const std::wstring& folder)
{
    const DWORD length = ::GetShortPathNameW(folder.c_str(), nullptr, 0);
    std::wstring result(length, L'\0');
    const DWORD written = ::GetShortPathNameW(folder.c_str(), result.data(), length);
    if (written == 0 || written >= length)
    {
        return folder;
    }
    result.resize(written);
    return result;
}

} // namespace

std::string LogFile::NativeName(const std::filesystem::path& file)
{
    if (auto name = InCodePage(file.native()))
    {
        return *name;
    }
    const std::filesystem::path shortened = ShortName(file.parent_path().native()) / file.filename();
    if (auto name = InCodePage(shortened.native()))
    {
        return *name;
    }
    throw Exception::RuntimeException("The name of the log file cannot be written in the system's code page");
}

std::string LogFile::DisplayName(const std::filesystem::path& file)
{
    return Util::Utf8::Encode(file.native());
}

void LogFile::KeepFromChildren(std::FILE* stream) noexcept
{
    const auto handle = reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
    ::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
}

} // namespace Shared::Log
