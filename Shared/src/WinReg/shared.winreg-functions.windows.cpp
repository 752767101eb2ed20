#include "shared.winreg-functions.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>

#include "shared.winreg-native.hpp"
#include "shared.winreg-native.windows.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::WinReg::Native
{

namespace
{

constexpr DWORD MaximumBytes = static_cast<DWORD>(MaximumValueBytes);

std::uint32_t ToCode(LSTATUS status) noexcept
{
    return static_cast<std::uint32_t>(status);
}

WriteResult Write(
    Root root, const std::wstring& path, const std::wstring& name, DWORD type, const void* data, std::size_t bytes)
{
    OwnedKey key;
    if (const auto status = Open(root, path, WriteAccess, key); status != ERROR_SUCCESS)
    {
        return {ToCode(status), true};
    }
    if (bytes > MaximumBytes)
    {
        return {ERROR_FILE_TOO_LARGE, false};
    }
    const auto status =
        ::RegSetValueExW(key.get(), name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
    return {ToCode(status), false};
}

} // namespace

bool IsAbsence(LSTATUS status) noexcept
{
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND || status == ERROR_KEY_DELETED;
}

LSTATUS Open(Root root, const std::wstring& path, REGSAM access, OwnedKey& out) noexcept
{
    HKEY key = nullptr;
    const auto status = ::RegOpenKeyExW(RootKey(root), path.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS)
    {
        out.reset(key);
    }
    return status;
}

std::uint32_t ReadString(Root root, const std::wstring& path, const std::wstring& name, std::wstring& out)
{
    DWORD bytes = 0;
    auto status = ::RegGetValueW(RootKey(root), path.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &bytes);
    if (status != ERROR_SUCCESS)
    {
        return ToCode(status);
    }

    // The value can grow between the two calls, so the buffer follows it. It is one character larger than asked: with
    // text that was stored without its terminator the system adds one.
    std::wstring text;
    DWORD capacity = 0;
    do
    {
        if (bytes > MaximumBytes)
        {
            return ERROR_FILE_TOO_LARGE;
        }
        capacity = std::max(bytes, capacity) + static_cast<DWORD>(2 * sizeof(wchar_t));
        text.resize(capacity / sizeof(wchar_t));
        bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        status = ::RegGetValueW(RootKey(root), path.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
    } while (status == ERROR_MORE_DATA);
    if (status != ERROR_SUCCESS)
    {
        return ToCode(status);
    }

    const auto characters = bytes / sizeof(wchar_t);
    text.resize(characters == 0 ? 0 : characters - 1);
    out = std::move(text);
    return ERROR_SUCCESS;
}

std::uint32_t ReadDword(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t& out)
{
    DWORD value = 0;
    DWORD bytes = sizeof(value);
    const auto status =
        ::RegGetValueW(RootKey(root), path.c_str(), name.c_str(), RRF_RT_REG_DWORD, nullptr, &value, &bytes);
    if (status != ERROR_SUCCESS)
    {
        return ToCode(status);
    }
    // The type is a label: nothing keeps a writer from storing another length under it.
    if (bytes != sizeof(value))
    {
        return ERROR_INVALID_DATA;
    }
    out = value;
    return ERROR_SUCCESS;
}

WriteResult WriteString(Root root, const std::wstring& path, const std::wstring& name, const std::wstring& value)
{
    return Write(root, path, name, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
}

WriteResult WriteDword(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t value)
{
    return Write(root, path, name, REG_DWORD, &value, sizeof(value));
}

std::uint32_t DeleteValue(Root root, const std::wstring& path, const std::wstring& name)
{
    OwnedKey key;
    auto status = Open(root, path, WriteAccess, key);
    if (status == ERROR_SUCCESS)
    {
        status = ::RegDeleteValueW(key.get(), name.c_str());
    }
    return IsAbsence(status) ? ERROR_SUCCESS : ToCode(status);
}

std::uint32_t OpenKey(Root root, const std::wstring& path, RegKey& out)
{
    OwnedKey key;
    const auto status = Open(root, path, KEY_READ, key);
    if (status == ERROR_SUCCESS)
    {
        out = RegKey(std::shared_ptr<void>(key.release(), [](void* raw) { ::RegCloseKey(static_cast<HKEY>(raw)); }));
    }
    return ToCode(status);
}

std::uint32_t WatchKey(const RegKey& key, const Concurrency::Event& eventToSignal)
{
    return ToCode(::RegNotifyChangeKeyValue(
        static_cast<HKEY>(key.GetRawKey()), FALSE, REG_NOTIFY_CHANGE_LAST_SET, eventToSignal.GetHandle(), TRUE));
}

} // namespace Shared::WinReg::Native
