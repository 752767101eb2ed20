#include "shared.winreg-functions.hpp"

#include <memory>

#include "shared.util-functions.hpp"
#include "shared.winreg-native.hpp"
#include "shared.winreg-path.linux.hpp"
#include "shared.winreg-store.linux.hpp"
#include "shared.winreg-watch.linux.hpp"

namespace Shared::WinReg::Native
{

std::uint32_t ReadString(Root, const std::wstring& path, const std::wstring& name, std::wstring& out)
{
    std::string text;
    const auto code = SettingsStore::Instance().ReadText(ToStoredPath(path), ToStoredName(name), text);
    if (code == 0)
    {
        out = Util::ConvertStringType(text);
    }
    return code;
}

std::uint32_t ReadDword(Root, const std::wstring& path, const std::wstring& name, std::uint32_t& out)
{
    return SettingsStore::Instance().ReadNumber(ToStoredPath(path), ToStoredName(name), out);
}

WriteResult WriteString(Root, const std::wstring& path, const std::wstring& name, const std::wstring& value)
{
    const auto text = Util::ConvertStringType(value);
    return SettingsStore::Instance().Write(ToStoredPath(path), ToStoredName(name), {TypeString, text, 0});
}

WriteResult WriteDword(Root, const std::wstring& path, const std::wstring& name, std::uint32_t value)
{
    return SettingsStore::Instance().Write(ToStoredPath(path), ToStoredName(name), {TypeDword, {}, value});
}

std::uint32_t DeleteValue(Root, const std::wstring& path, const std::wstring& name)
{
    return SettingsStore::Instance().Delete(ToStoredPath(path), ToStoredName(name));
}

std::uint32_t OpenKey(Root, const std::wstring& path, RegKey& out)
{
    auto key = std::make_shared<WatchedKey>(ToStoredPath(path));
    SettingsStore::KeyState ignored;
    const auto code = SettingsStore::Instance().ReadKeyState(key->path, ignored);
    if (code == 0)
    {
        out = RegKey(std::move(key));
    }
    return code;
}

std::uint32_t WatchKey(const RegKey& key, const Concurrency::Event& eventToSignal)
{
    return KeyWatcher::Instance().Arm(std::static_pointer_cast<WatchedKey>(key.GetShared()), eventToSignal);
}

} // namespace Shared::WinReg::Native
