#include "agentcore.tests-tunnelrule.hpp"

#include "shared.appsettings-vpnvalues.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>
#include <exception>

namespace AgentCore::Tests
{

namespace
{

using Shared::AppSettings::VpnConnectionStatus;
using Shared::AppSettings::VpnStatus;

enum class Runs : std::uint8_t
{
    Always,
    WhenDisconnected,
    WhenInternal,
    Never
};

struct StateRule
{
    VpnConnectionStatus status;
    Runs runs;
};

constexpr std::array StateRules = {
    StateRule{VpnConnectionStatus::Connected, Runs::Always},
    StateRule{VpnConnectionStatus::Disconnected, Runs::WhenDisconnected},
    StateRule{VpnConnectionStatus::Disabled, Runs::WhenDisconnected},
    StateRule{VpnConnectionStatus::ConnectedInternal, Runs::WhenInternal},
    StateRule{VpnConnectionStatus::Internal, Runs::WhenInternal},
    StateRule{VpnConnectionStatus::ConnectedNonTv, Runs::Never}};

bool Holds(Runs runs, const TunnelRule& rule)
{
    switch (runs)
    {
    case Runs::Always:
        return true;
    case Runs::WhenDisconnected:
        return rule.runWhenDisconnected;
    case Runs::WhenInternal:
        return rule.runWhenInternal;
    case Runs::Never:
        break;
    }
    return false;
}

void LogRefusal(const std::optional<TunnelRuleTexts::Refusal>& text, const std::string& test, VpnStatus status)
{
    if (text)
    {
        const std::string state = Shared::Util::ConvertStringType(status.ToText());
        Shared::Log::Info(*text, test, state);
    }
}

} // namespace

bool RunsInTunnelState(
    VpnStatus status,
    const std::wstring& word,
    const TunnelRule& rule,
    const TunnelRuleTexts& texts,
    const std::string& test)
{
    const auto* const known =
        std::ranges::find_if(StateRules, [status](const StateRule& state) { return status == state.status; });
    if (known == StateRules.end())
    {
        const auto number = static_cast<std::uint32_t>(status.GetValue());
        const std::string narrowWord = Shared::Util::ConvertStringType(word);
        Shared::Log::Warn(texts.unknown, number, narrowWord);
        return false;
    }
    const bool runs = Holds(known->runs, rule);
    if (!runs)
    {
        LogRefusal(known->runs == Runs::Never ? texts.neverRuns : texts.notConfigured, test, status);
    }
    return runs;
}

bool RunsInCurrentTunnelState(const TunnelRule& rule, const TunnelRuleTexts& texts, const std::string& test) noexcept
{
    try
    {
        std::wstring word;
        const VpnStatus status = Shared::AppSettings::GetTunnelStatus(word);
        return RunsInTunnelState(status, word, rule, texts, test);
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("The state of the tunnel could not be asked for", exception);
        return false;
    }
}

} // namespace AgentCore::Tests
