#include "shared.winreg-administration.hpp"

#include <algorithm>

#include "shared.platform-errors.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-native.hpp"

namespace Shared::WinReg
{

namespace
{

void ThrowOnFailure(
    std::uint32_t code,
    const char* message,
    Root root,
    const std::wstring& path,
    const std::source_location& where = std::source_location::current())
{
    if (code != Platform::ErrorCode::Success)
    {
        ThrowRegError(message, root, path, {}, code, where);
    }
}

} // namespace

void CreateKey(Root root, const std::wstring& path)
{
    ThrowOnFailure(Native::CreateKey(root, path), "Failed to create registry key", root, path);
}

bool DeleteKeyTree(Root root, const std::wstring& path)
{
    bool existed = false;
    ThrowOnFailure(Native::DeleteKeyTree(root, path, existed), "Failed to delete registry key", root, path);
    return existed;
}

std::vector<RegistryValue> EnumerateValues(Root root, const std::wstring& path)
{
    std::vector<RegistryValue> values;
    ThrowOnFailure(Native::ListValues(root, path, values), "Failed to enumerate registry values", root, path);
    for (auto& value : values)
    {
        if (value.type == TypeString)
        {
            TryGetStringValue(root, path, value.name, value.text);
        }
        else if (value.type == TypeDword)
        {
            TryGetDwordValue(root, path, value.name, value.number);
        }
    }
    std::ranges::sort(values, {}, [](const RegistryValue& value) { return Util::ToLower(value.name); });
    return values;
}

std::vector<std::wstring> EnumerateKeys(Root root, const std::wstring& path)
{
    std::vector<std::wstring> names;
    ThrowOnFailure(Native::ListKeys(root, path, names), "Failed to enumerate registry keys", root, path);
    std::ranges::sort(names, {}, [](const std::wstring& name) { return Util::ToLower(name); });
    return names;
}

} // namespace Shared::WinReg
