#include "test.appsettings-fixture.hpp"

#include "shared.crypto-functions.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

#include <string_view>

namespace AppSettingsTests
{

using Shared::AppSettings::PathOf;
using Shared::AppSettings::SettingsKey;
using Shared::WinReg::Root;
namespace WinReg = Shared::WinReg;

SettingsTest::SettingsTest() : m_key(L"the key of this machine")
{
}

void SettingsTest::LayOut()
{
    for (const SettingsKey key : {SettingsKey::Agent, SettingsKey::Config, SettingsKey::VpnVel, SettingsKey::VpnSetup})
    {
        WinReg::CreateKey(Root::LocalMachine, PathOf(key));
    }
    SetConfig(L"Server", L"cloud.example");
    Set(SettingsKey::Agent, L"installed-version", L"3.2.1");
}

void SettingsTest::Set(SettingsKey key, const wchar_t* name, const std::wstring& text)
{
    WinReg::SetStringValue(Root::LocalMachine, PathOf(key), name, text);
}

void SettingsTest::Set(SettingsKey key, const wchar_t* name, std::uint32_t number)
{
    WinReg::SetDwordValue(Root::LocalMachine, PathOf(key), name, number);
}

void SettingsTest::SetConfig(const wchar_t* name, const std::wstring& text)
{
    Set(SettingsKey::Config, name, text);
}

void SettingsTest::SetConfig(const wchar_t* name, std::uint32_t number)
{
    Set(SettingsKey::Config, name, number);
}

void SettingsTest::SetVpn(const wchar_t* name, const std::wstring& text)
{
    Set(SettingsKey::VpnVel, name, text);
}

void SettingsTest::Delete(SettingsKey key, const wchar_t* name)
{
    WinReg::DeleteValue(Root::LocalMachine, PathOf(key), name);
}

void SettingsTest::SetUser(const std::string& list) const
{
    SetVpn(L"user-id", Encipher(list));
}

void SettingsTest::SetUser(const std::string& list, const std::string& key) const
{
    SetVpn(L"user-id", Encipher(list, key));
}

std::wstring SettingsTest::Encipher(const std::string& text) const
{
    return Encipher(text, std::string(Shared::Crypto::ToUtf8(m_key).GetView()));
}

std::wstring SettingsTest::Encipher(const std::string& text, const std::string& key) const
{
    return Shared::Util::ConvertStringType(std::string_view(Shared::Crypto::Encrypt(text, key)));
}

std::wstring SettingsTest::Status()
{
    return WinReg::GetStringValue(Root::LocalMachine, Shared::AppSettings::Paths::Agent, L"status");
}

} // namespace AppSettingsTests
