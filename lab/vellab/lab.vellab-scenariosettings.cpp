#include "lab.vellab-scenariosettings.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-functions.hpp"

#include <cstdint>
#include <variant>

namespace Lab
{

namespace
{

namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;
using Shared::Util::ConvertStringType;
using WinReg::Root;

constexpr std::wstring_view VpnVel = L"SOFTWARE\\Tarvane\\Norvik\\VEL";
/// The one value of the VPN client that stands in its own key, and not in the one for the agent.
constexpr std::string_view VersionName = "Version";

std::wstring Widen(std::string_view text)
{
    return ConvertStringType(text);
}

} // namespace

std::optional<VpnUser> ToVpnUser(const ScenarioUser& user)
{
    if (!user.isSignedIn)
    {
        return std::nullopt;
    }
    return VpnUser{Widen(user.username), Widen(user.domain), Widen(user.tenantId), Widen(user.subTenantId)};
}

void LayOutScenario(const Scenario& scenario)
{
    LayOutSettings(scenario.server, ToVpnUser(scenario.user));
    if (!scenario.user.agentUuid.empty())
    {
        SetKnownIdentity(Widen(scenario.user.subTenantId), Widen(scenario.user.agentUuid));
    }
    ChangeVpnValues(scenario.vpn);
    for (const auto& [name, value] : scenario.settings)
    {
        if (const auto* const text = std::get_if<std::string>(&value))
        {
            WinReg::SetStringValue(Root::LocalMachine, Paths::Config, Widen(name), Widen(*text));
        }
        else
        {
            WinReg::SetDwordValue(Root::LocalMachine, Paths::Config, Widen(name), std::get<std::uint32_t>(value));
        }
    }
}

void ChangeUser(const ScenarioUser& user)
{
    if (const std::optional<VpnUser> signedIn = ToVpnUser(user))
    {
        SetVpnUser(*signedIn);
    }
    else
    {
        WinReg::DeleteValue(Root::LocalMachine, std::wstring(VpnVel), L"user-id");
    }
}

void ChangeVpnValues(const std::map<std::string, std::string>& values)
{
    for (const auto& [name, text] : values)
    {
        const std::wstring key = name == VersionName ? std::wstring(Paths::Norvik) : std::wstring(VpnVel);
        WinReg::SetStringValue(Root::LocalMachine, key, Widen(name), Widen(text));
    }
}

} // namespace Lab
