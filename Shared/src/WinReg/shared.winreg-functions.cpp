#include "shared.winreg-functions.hpp"

#include <fmt/format.h>

#include "shared.exception-errortext.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-native.hpp"

namespace Shared::WinReg
{

namespace
{

using Platform::ErrorCode::Success;

void ThrowUnlessWritten(
    const Native::WriteResult& result,
    Root root,
    const std::wstring& path,
    const std::wstring& name,
    const std::source_location& where = std::source_location::current())
{
    if (result.code != Success)
    {
        const auto* const message =
            result.isOfKey ? "Failed to open registry key" : "Failed to write registry key value";
        ThrowRegError(message, root, path, name, result.code, where);
    }
}

} // namespace

std::wstring GetStringValue(Root root, const std::wstring& path, const std::wstring& name)
{
    std::wstring value;
    if (const auto code = Native::ReadString(root, path, name, value); code != Success)
    {
        ThrowRegError("Cannot read string from registry", root, path, name, code);
    }
    return value;
}

bool TryGetStringValue(Root root, const std::wstring& path, const std::wstring& name, std::wstring& out)
{
    out.clear();
    return Native::ReadString(root, path, name, out) == Success;
}

std::uint32_t GetDwordValue(Root root, const std::wstring& path, const std::wstring& name)
{
    std::uint32_t value = 0;
    if (const auto code = Native::ReadDword(root, path, name, value); code != Success)
    {
        ThrowRegError("Cannot read DWORD from registry", root, path, name, code);
    }
    return value;
}

bool TryGetDwordValue(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t& out)
{
    return Native::ReadDword(root, path, name, out) == Success;
}

void SetStringValue(Root root, const std::wstring& path, const std::wstring& name, const std::wstring& value)
{
    ThrowUnlessWritten(Native::WriteString(root, path, name, value), root, path, name);
}

void SetDwordValue(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t value)
{
    ThrowUnlessWritten(Native::WriteDword(root, path, name, value), root, path, name);
}

void DeleteValue(Root root, const std::wstring& path, const std::wstring& name)
{
    if (const auto code = Native::DeleteValue(root, path, name); code != Success)
    {
        Log::Warn(
            "Failed to delete registry value; subkey: {}; value name: {}: {}", Util::ConvertStringType(path),
            Util::ConvertStringType(name), Exception::TranslateWin32Error(code));
    }
}

RegKey OpenKey(Root root, const std::wstring& path)
{
    RegKey key;
    if (const auto code = Native::OpenKey(root, path, key); code != Success)
    {
        throw Exception::Win32Exception(
            fmt::format("Failed to open key {:#X}\\{}", Native::RootNumber(root), Util::ConvertStringType(path)), code);
    }
    return key;
}

void WatchKey(const RegKey& key, const Concurrency::Event& eventToSignal)
{
    if (key.IsNull())
    {
        throw Exception::InvalidArgumentException("key cannot be nullptr");
    }
    if (!eventToSignal.HasHandle())
    {
        throw Exception::InvalidArgumentException("eventToSignal is not an initialised Event");
    }
    if (const auto code = Native::WatchKey(key, eventToSignal); code != Success)
    {
        throw Exception::Win32Exception("Failed to watch registry key for changes", code);
    }
}

void ThrowRegError(
    const std::string& message,
    Root root,
    const std::wstring& path,
    const std::wstring& name,
    std::uint32_t code,
    const std::source_location& where)
{
    throw Exception::Win32Exception(
        fmt::format(
            "{}; key: {:#X}; subkey: {}; value name: {}", message, Native::RootNumber(root),
            Util::ConvertStringType(path), Util::ConvertStringType(name)),
        code, where);
}

} // namespace Shared::WinReg
