#include "shared.winreg-administration.hpp"

#include <string_view>

#include "shared.util-functions.hpp"
#include "shared.winreg-native.hpp"
#include "shared.winreg-path.linux.hpp"
#include "shared.winreg-store.linux.hpp"

namespace Shared::WinReg::Native
{

std::uint32_t CreateKey(Root, const std::wstring& path)
{
    return SettingsStore::Instance().CreateKey(ToStoredPath(path));
}

std::uint32_t DeleteKeyTree(Root, const std::wstring& path, bool& existed)
{
    return SettingsStore::Instance().DeleteKeyTree(ToStoredPath(path), existed);
}

std::uint32_t ListValues(Root, const std::wstring& path, std::vector<RegistryValue>& out)
{
    return SettingsStore::Instance().ListValues(ToStoredPath(path), out);
}

std::uint32_t ListKeys(Root, const std::wstring& path, std::vector<std::wstring>& out)
{
    const auto above = ToStoredPath(path);
    std::vector<std::string> paths;
    const auto code = SettingsStore::Instance().ListPathsBelow(above, paths);
    for (const auto& below : paths)
    {
        const auto name = std::string_view(below).substr(above.empty() ? 0 : above.size() + 1);
        if (name.find('\\') == std::string_view::npos)
        {
            out.push_back(Util::ConvertStringType(name));
        }
    }
    return code;
}

} // namespace Shared::WinReg::Native
