#include "lab.vellab-settings.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

#include <array>

namespace Lab
{

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

constexpr const wchar_t* Vpn = L"SOFTWARE\\Tarvane\\Norvik";
constexpr const wchar_t* VpnSetup = L"SOFTWARE\\Tarvane\\Norvik\\TvnSetup";
constexpr const wchar_t* VpnVel = L"SOFTWARE\\Tarvane\\Norvik\\VEL";

struct TextValue
{
    const wchar_t* key;
    const wchar_t* name;
    const wchar_t* text;
};

constexpr std::array<TextValue, 12> TextValues = {
    {{Paths::Agent, L"installed-version", L"1.0.0"},
     {Paths::Config, L"LogTarget", L"filesystem"},
     {Paths::Config, L"MinimumLogLevel", L"debug"},
     {Paths::Config, L"DisabledUsernames", L""},
     {Vpn, L"Version", L"5.0.0"},
     {VpnSetup, L"CurrentVersion", L"5.0.0"},
     {VpnVel, L"gateway-address", L"gateway=lab,ipv4=127.0.0.1"},
     {VpnVel, L"gateway-location", L"laboratory"},
     {VpnVel, L"source-region", L"laboratory"},
     {VpnVel, L"tunnel-ip", L"ipv4=127.0.0.2"},
     {VpnVel, L"tunnel-status", L"connected"},
     {VpnVel, L"user-selection", L"enable"}}};

} // namespace

void LayOutSettings(const std::string& server)
{
    RemoveSettings();
    for (const wchar_t* key : {Paths::Agent, Paths::Config, Vpn, VpnSetup, VpnVel})
    {
        WinReg::CreateKey(Root::LocalMachine, key);
    }
    for (const TextValue& value : TextValues)
    {
        WinReg::SetStringValue(Root::LocalMachine, value.key, value.name, value.text);
    }
    if (!server.empty())
    {
        WinReg::SetStringValue(
            Root::LocalMachine, Paths::Config, L"Server", Shared::Util::ConvertStringType(std::string_view(server)));
    }
}

void RemoveSettings()
{
    // The store itself must be there to be looked into.
    WinReg::CreateKey(Root::LocalMachine, Paths::Vendor);
    (void)WinReg::DeleteKeyTree(Root::LocalMachine, Paths::Vendor);
}

} // namespace Lab
