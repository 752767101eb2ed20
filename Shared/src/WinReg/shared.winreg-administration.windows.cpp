#include "shared.winreg-administration.hpp"

#include <utility>

#include "shared.winreg-native.hpp"
#include "shared.winreg-native.windows.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::WinReg::Native
{

namespace
{

/// Longest name of a value or a key, with the terminator.
constexpr DWORD MaximumNameCharacters = 16384;

/// Opens a key and calls `next` with it, an index, a buffer and the buffer's length until the system has no more items.
template <typename Next>
std::uint32_t ForEachName(Root root, const std::wstring& path, Next next)
{
    OwnedKey key;
    auto status = Open(root, path, KEY_READ, key);
    std::wstring buffer(MaximumNameCharacters, L'\0');
    for (DWORD index = 0; status == ERROR_SUCCESS; ++index)
    {
        DWORD length = MaximumNameCharacters;
        status = next(key.get(), index, buffer.data(), length);
    }
    return status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : static_cast<std::uint32_t>(status);
}

} // namespace

std::uint32_t CreateKey(Root root, const std::wstring& path)
{
    HKEY key = nullptr;
    const auto status = ::RegCreateKeyExW(
        RootKey(root), path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | WriteAccess, nullptr, &key,
        nullptr);
    const OwnedKey owned(key);
    return static_cast<std::uint32_t>(status);
}

std::uint32_t DeleteKeyTree(Root root, const std::wstring& path, bool& existed)
{
    existed = false;
    if (*path.c_str() == L'\0')
    {
        return ERROR_INVALID_PARAMETER;
    }
    const auto status = ::RegDeleteTreeW(RootKey(root), path.c_str());
    existed = status == ERROR_SUCCESS;
    return IsAbsence(status) ? ERROR_SUCCESS : static_cast<std::uint32_t>(status);
}

std::uint32_t ListValues(Root root, const std::wstring& path, std::vector<RegistryValue>& out)
{
    return ForEachName(
        root, path,
        [&out](HKEY key, DWORD index, wchar_t* name, DWORD& length)
        {
            DWORD type = 0;
            const auto status = ::RegEnumValueW(key, index, name, &length, nullptr, &type, nullptr, nullptr);
            if (status == ERROR_SUCCESS)
            {
                out.push_back({std::wstring(name, length), type, {}, 0});
            }
            return status;
        });
}

std::uint32_t ListKeys(Root root, const std::wstring& path, std::vector<std::wstring>& out)
{
    return ForEachName(
        root, path,
        [&out](HKEY key, DWORD index, wchar_t* name, DWORD& length)
        {
            const auto status = ::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status == ERROR_SUCCESS)
            {
                out.emplace_back(name, length);
            }
            return status;
        });
}

} // namespace Shared::WinReg::Native
