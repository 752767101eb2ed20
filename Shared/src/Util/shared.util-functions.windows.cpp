#include "shared.util-functions.hpp"

#include <cstddef>
#include <limits>
#include <source_location>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-utf8.hpp"

#include "shared.platform-windows.windows.hpp"

#include <combaseapi.h>

namespace Shared::Util
{

namespace
{

constexpr std::size_t LongestText = std::numeric_limits<int>::max();

std::wstring ReadModulePath(const char* failureText, const std::source_location& where)
{
    // Paths end at this length, in the longest form that the system knows.
    constexpr std::size_t longestPath = 32768;
    std::wstring path(MAX_PATH, L'\0');
    while (true)
    {
        const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0)
        {
            throw Exception::Win32Exception(failureText, Platform::LastError(), where);
        }
        if (length < path.size())
        {
            path.resize(length);
            return path;
        }
        if (path.size() >= longestPath)
        {
            throw Exception::Win32Exception(failureText, ERROR_INSUFFICIENT_BUFFER, where);
        }
        path.resize(path.size() * 2);
    }
}

} // namespace

// The flag that would drop invalid characters is refused by the system together with code page 65001, and without it the
// system puts U+FFFD in. So they are dropped here before, and the system only ever sees valid text.

std::string ConvertStringType(std::wstring_view text)
{
    const std::wstring valid = Utf8::DropInvalid(text);
    if (valid.empty())
    {
        return {};
    }
    if (valid.size() > LongestText)
    {
        throw Exception::Win32Exception(
            "ConvertWStringToString(): WideCharToMultiByte() [1] failed", ERROR_INVALID_PARAMETER);
    }
    const int wideLength = static_cast<int>(valid.size());
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, valid.data(), wideLength, nullptr, 0, nullptr, nullptr);
    if (length <= 0)
    {
        throw Exception::Win32Exception(
            "ConvertWStringToString(): WideCharToMultiByte() [1] failed", Platform::LastError());
    }
    std::string result(static_cast<std::size_t>(length), '\0');
    if (::WideCharToMultiByte(CP_UTF8, 0, valid.data(), wideLength, result.data(), length, nullptr, nullptr) != length)
    {
        throw Exception::Win32Exception(
            "ConvertWStringToString(): WideCharToMultiByte() [2] failed", Platform::LastError());
    }
    return result;
}

std::wstring ConvertStringType(std::string_view text)
{
    const std::string valid = Utf8::DropInvalid(text);
    if (valid.empty())
    {
        return {};
    }
    if (valid.size() > LongestText)
    {
        throw Exception::Win32Exception("MultiByteToWideChar() [1] failed", ERROR_INVALID_PARAMETER);
    }
    const int narrowLength = static_cast<int>(valid.size());
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, valid.data(), narrowLength, nullptr, 0);
    if (length <= 0)
    {
        throw Exception::Win32Exception("MultiByteToWideChar() [1] failed", Platform::LastError());
    }
    std::wstring result(static_cast<std::size_t>(length), L'\0');
    if (::MultiByteToWideChar(CP_UTF8, 0, valid.data(), narrowLength, result.data(), length) != length)
    {
        throw Exception::Win32Exception("MultiByteToWideChar() [2] failed", Platform::LastError());
    }
    return result;
}

std::wstring ConvertRawGuid(const RawGuid& guid)
{
    GUID native{};
    native.Data1 = guid.data1;
    native.Data2 = guid.data2;
    native.Data3 = guid.data3;
    for (std::size_t i = 0; i < guid.data4.size(); ++i)
    {
        native.Data4[i] = guid.data4[i];
    }
    // 38 characters and the terminator, which the returned length counts.
    std::wstring text(39, L'\0');
    const int length = ::StringFromGUID2(native, text.data(), static_cast<int>(text.size()));
    if (length <= 1)
    {
        throw Exception::RuntimeException("StringFromGUID2() failed");
    }
    text.resize(static_cast<std::size_t>(length) - 1);
    return text;
}

std::wstring GenerateGuid()
{
    GUID native{};
    const HRESULT result = ::CoCreateGuid(&native);
    if (FAILED(result))
    {
        throw Exception::ComException("CoCreateGuid() failed", static_cast<std::uint32_t>(result));
    }
    RawGuid guid;
    guid.data1 = native.Data1;
    guid.data2 = native.Data2;
    guid.data3 = native.Data3;
    for (std::size_t i = 0; i < guid.data4.size(); ++i)
    {
        guid.data4[i] = native.Data4[i];
    }
    return ConvertRawGuid(guid);
}

std::wstring GetCurrentExecutablePath()
{
    return ReadModulePath("GetCurrentExecutablePath() failed", std::source_location::current());
}

std::wstring GetCurrentExecutableDirectory()
{
    const auto path = ReadModulePath("GetCurrentExecutableDirectory() failed", std::source_location::current());
    const auto separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos)
    {
        throw Exception::Win32Exception("GetCurrentExecutableDirectory() failed", ERROR_PATH_NOT_FOUND);
    }
    // "C:" alone would mean the current folder of that drive.
    const bool isRoot = separator == 2 && path[1] == L':';
    return path.substr(0, isRoot ? separator + 1 : separator);
}

} // namespace Shared::Util
