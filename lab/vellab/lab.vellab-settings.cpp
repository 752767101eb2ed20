#include "lab.vellab-settings.hpp"

#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.crypto-registrationkey.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"

#include <array>
#include <cstdint>

#include <fmt/format.h>

namespace Lab
{

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using WinReg::Root;

constexpr const wchar_t* Vpn = Paths::Norvik;
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

/// The key that the agent makes itself, without the line that it logs.
std::string MachineKey()
{
    Shared::COM::ComInitialiser com;
    com.Initialise();
    return Shared::Crypto::MakeRegistrationKey(AgentCore::Ops::GetBiosSerialNumber());
}

void SetEnciphered(const wchar_t* key, const wchar_t* name, const std::string& plain)
{
    const std::string enciphered = Shared::Crypto::Encrypt(plain, MachineKey());
    WinReg::SetStringValue(
        Root::LocalMachine, key, name, Shared::Util::ConvertStringType(std::string_view(enciphered)));
}

} // namespace

void LayOutSettings(const std::string& server, const std::optional<VpnUser>& user)
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
    if (user)
    {
        SetVpnUser(*user);
    }
}

void SetVpnUser(const VpnUser& user)
{
    using Shared::Util::ConvertStringType;
    const std::string plain = fmt::format(
        "username={},domain={},tenant-id={},sub-tenant-id={}", ConvertStringType(user.username),
        ConvertStringType(user.domain), ConvertStringType(user.tenantId), ConvertStringType(user.subTenantId));
    SetEnciphered(VpnVel, L"user-id", plain);
}

void SetKnownIdentity(const std::wstring& subTenantId, const std::wstring& agentUuid)
{
    using Shared::Util::ConvertStringType;
    constexpr std::uint32_t AccountId = 1000;
    SetEnciphered(
        Paths::Config, L"Registrations",
        fmt::format(
            "subtenant-id={},account-id={},agent-uuid={};", ConvertStringType(subTenantId), AccountId,
            ConvertStringType(agentUuid)));
}

UpgradeHandOff ReadUpgradeHandOff()
{
    UpgradeHandOff handOff;
    std::wstring version;
    if (WinReg::TryGetStringValue(Root::LocalMachine, Paths::Agent, L"target-version", version))
    {
        handOff.targetVersion = Shared::Util::ConvertStringType(std::wstring_view(version));
    }
    std::uint32_t autoUpdate = 0;
    if (WinReg::TryGetDwordValue(Root::LocalMachine, Paths::Config, L"AutoUpdate", autoUpdate))
    {
        handOff.autoUpdate = autoUpdate;
    }
    return handOff;
}

std::string DescribeUpgradeHandOff(const UpgradeHandOff& handOff)
{
    return fmt::format(
        "for the updater the agent left {}, and {}",
        handOff.targetVersion ? fmt::format("target-version {}", *handOff.targetVersion)
                              : std::string("no target-version"),
        handOff.autoUpdate ? fmt::format("AutoUpdate {}", *handOff.autoUpdate) : std::string("no AutoUpdate"));
}

void RemoveSettings()
{
    // The store itself must be there to be looked into.
    WinReg::CreateKey(Root::LocalMachine, Paths::Vendor);
    (void)WinReg::DeleteKeyTree(Root::LocalMachine, Paths::Vendor);
}

} // namespace Lab
