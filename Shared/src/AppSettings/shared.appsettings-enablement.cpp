#include "shared.appsettings-enablement.hpp"

#include "shared.appsettings-values.hpp"
#include "shared.appsettings-vpnvalues.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <array>
#include <optional>
#include <string_view>

namespace Shared::AppSettings
{

namespace
{

std::wstring TextOf(AgentStatus status)
{
    static constexpr std::array<std::wstring_view, 4> Texts = {L"disabled", L"enabled", L"upgrade", L"admin-disabled"};
    const auto number = static_cast<std::uint32_t>(status);
    if (number >= Texts.size())
    {
        throw Exception::RuntimeException("Unknown newStatus value " + std::to_string(number));
    }
    return std::wstring(Texts[number]);
}

} // namespace

void SetStatus(AgentStatus newStatus, bool keepUpgrade)
{
    const std::wstring text = TextOf(newStatus);
    const std::optional<std::wstring> present = keepUpgrade ? RequireText(Value::Status) : TryReadText(Value::Status);
    const bool mustStay = keepUpgrade && present == TextOf(AgentStatus::Upgrade);
    if (!mustStay && present != text)
    {
        Write(Value::Status, text);
    }
}

std::vector<std::wstring> GetDisabledUserNames()
{
    const std::optional<std::wstring> names = TryReadText(Value::DisabledUsernames);
    if (!names)
    {
        Log::Warn("GetDisabledUsername() failed to retrieve and process the disabled usernames");
        return {};
    }
    return Util::Split(*names, std::wstring_view(L","));
}

bool CheckUsername(const std::wstring& name)
{
    for (const std::wstring& disabled : GetDisabledUserNames())
    {
        if (Util::EqualsIgnoreCase(std::wstring_view(name), std::wstring_view(disabled)))
        {
            Log::Info("The current username {} is a disabled username.", Util::ConvertStringType(name));
            return false;
        }
    }
    return true;
}

bool EvaluateNetworkTests(bool remoteEnabled, const Crypto::SensitiveString& key)
{
    const bool local = GetUserSelectionEnabled();
    const std::wstring username = GetVpnConnectionInfo(key).fullUsername;
    const bool overall = remoteEnabled && local && CheckUsername(username);
    Log::Info(
        "Evaluating whether network tests should be run...\n\tlocal setting: {:d}\n\tremote setting: {:d}\n\tusername: "
        "{}\n\toverall network test setting: {:d}",
        local, remoteEnabled, Util::ConvertStringType(username), overall);
    return overall;
}

bool UpdateEnablement(bool remoteEnabled, const Crypto::SensitiveString& key)
{
    if (!CheckUsername(GetVpnConnectionInfo(key).fullUsername))
    {
        Log::Info("This agent's network tests are locally disabled (disabled username).");
        SetStatus(AgentStatus::Disabled, true);
        return false;
    }
    if (!remoteEnabled)
    {
        Log::Info("This agent's network tests are remotely disabled (remote instance config).");
        SetStatus(AgentStatus::AdminDisabled, true);
        return false;
    }
    if (!GetUserSelectionEnabled())
    {
        Log::Info("This agent's network tests are locally disabled (registry user selection).");
        SetStatus(AgentStatus::Disabled, true);
        return false;
    }
    SetStatus(AgentStatus::Enabled, true);
    return true;
}

} // namespace Shared::AppSettings
