#include "shared.winreg-path.linux.hpp"

#include <string_view>

#include "shared.util-functions.hpp"

namespace Shared::WinReg
{

std::string ToStoredName(const std::wstring& text)
{
    const auto end = std::wstring_view(text).find(L'\0');
    return Util::ConvertStringType(std::wstring_view(text).substr(0, end));
}

std::string ToStoredPath(const std::wstring& text)
{
    auto path = ToStoredName(text);
    while (path.ends_with('\\'))
    {
        path.pop_back();
    }
    return path;
}

} // namespace Shared::WinReg
