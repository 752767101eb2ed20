#include "shared.winreg-path.linux.hpp"

#include "shared.util-functions.hpp"

#include <string_view>

namespace Shared::WinReg
{

std::string ToStoredName(const std::wstring& text)
{
    return Util::ConvertStringType(std::wstring_view(text.c_str()));
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
