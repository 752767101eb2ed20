#include "shared.appsettings-paths.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.winreg-functions.hpp"

namespace Shared::AppSettings
{

namespace
{

bool CanBeOpened(const std::wstring& path)
{
    try
    {
        return !WinReg::OpenKey(WinReg::Root::LocalMachine, path).IsNull();
    }
    catch (const Exception::Win32Exception&)
    {
        return false;
    }
}

} // namespace

const std::wstring& PathOf(SettingsKey key)
{
    // Those of the VPN client only when they are asked for: its key is chosen at the first use.
    static const std::wstring s_agent = Paths::Agent;
    static const std::wstring s_config = Paths::Config;
    static const std::wstring s_machine = Paths::Machine;
    switch (key)
    {
    case SettingsKey::Agent:
        return s_agent;
    case SettingsKey::Config:
        return s_config;
    case SettingsKey::Vpn:
        return GetVpnKeyPath();
    case SettingsKey::VpnVel:
        return GetVpnVelKeyPath();
    case SettingsKey::VpnSetup:
        return GetVpnSetupKeyPath();
    case SettingsKey::Machine:
        break;
    }
    return s_machine;
}

const std::wstring& GetVpnKeyPath()
{
    static const std::wstring s_path = CanBeOpened(Paths::OstraAccess) ? Paths::OstraAccess : Paths::Norvik;
    return s_path;
}

const std::wstring& GetVpnVelKeyPath()
{
    static const std::wstring s_path = GetVpnKeyPath() + L"\\VEL";
    return s_path;
}

const std::wstring& GetVpnSetupKeyPath()
{
    static const std::wstring s_path = GetVpnKeyPath() + L"\\TvnSetup";
    return s_path;
}

} // namespace Shared::AppSettings
