#include "agentcore.ops-functions.hpp"

#include "agentcore.messaging-responsehelper.hpp"
#include "agentcore.ops-exceptions.hpp"
#include "agentcore.ops-requests.hpp"
#include "agentcore.polling-temporalvalues.hpp"
#include "shared.appsettings-appsettingsloader.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.util-time.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include <agent_kinds.pb.h>
#include <fmt/format.h>
#include <msg_ids.pb.h>

namespace AgentCore::Ops
{

using Shared::AppSettings::AppSettings;
using Shared::AppSettings::RegistrationInfo;
using Shared::AppSettings::VpnConnectionInfo;
using Shared::Util::ConvertStringType;

namespace
{

/// The one redirect that is followed.
constexpr std::int32_t TemporaryRedirect = 307;
/// The server's words for a UUID that it does not believe.
constexpr const char* RefusedUuid = "Re-registration with different uuid not allowed";
/// The one control character above the blank that is no letter of anything.
constexpr wchar_t Delete = L'\x7F';

/// What the requests of one registration named, for when the server orders something in the end. Requests that named the
/// same are kept once: a server may send the agent on for as long as it likes.
class Attempts
{
public:
    struct Attempt
    {
        std::wstring subtenant;
        std::wstring agentUuid;
        std::size_t times;
    };

    void Add(const std::wstring& subtenant, const std::wstring& agentUuid)
    {
        if (!m_attempts.empty() && m_attempts.back().subtenant == subtenant && m_attempts.back().agentUuid == agentUuid)
        {
            ++m_attempts.back().times;
            return;
        }
        m_attempts.push_back({subtenant, agentUuid, 1});
    }

    /// Takes the latest request off; nothing when none is left.
    std::optional<Attempt> TakeLatest()
    {
        if (m_attempts.empty())
        {
            return std::nullopt;
        }
        Attempt latest = m_attempts.back();
        if (--m_attempts.back().times == 0)
        {
            m_attempts.pop_back();
        }
        return latest;
    }

private:
    std::vector<Attempt> m_attempts;
};

/// Sends one request and judges its answer; gives the server to try instead, or nothing when the registration is over in
/// some way.
std::optional<std::wstring> RegisterOnce(
    const RegistrationContext& context, const std::wstring& server, Attempts& attempts)
{
    const VpnConnectionInfo vpnInfo = context.identity.GetVpnConnectionInfo();
    const std::wstring& subtenant = vpnInfo.subTenantId;
    if (subtenant.empty())
    {
        Shared::Log::Warn("Tried to register, but no subtenant-id was found. This agent will remain in a "
                          "disconnected-disabled state.");
        context.appState.runtimeStates.Push(RuntimeState::Disconnected);
        return std::nullopt;
    }
    Shared::Log::Info("Attempting to register agent...");
    context.identity.DeleteRegistration();
    Shared::Log::Info("Register() is reconnecting");
    context.link.ReconnectConnector(server);
    const RegistrationInfo record = context.identity.FindRegistration(subtenant);
    attempts.Add(subtenant, record.agentUuid);
    SendRegister(context, subtenant, record, vpnInfo);
    const RegisterResponse response = Messaging::ResponseHelper(&context.appState.inboundMessages).HandleRegistration();
    return ProcessRegistrationResponse(context, subtenant, response);
}

/// Does what the server orders instead of a registration, once for each request that led to it; false when that is not
/// all that there is to do about it.
bool FollowInstruction(
    const RegistrationContext& context, const Exception::ActionRequiredException& instruction, Attempts& attempts)
{
    while (const auto attempt = attempts.TakeLatest())
    {
        Shared::Log::Warn("The agent received an instruction during registration: {}", instruction.what());
        if (instruction.Action == "stop")
        {
            Shared::Log::Warn("The agent was instructed to stop at the registration phase");
            context.appState.runtimeStates.Push(RuntimeState::StopRequested);
            return true;
        }
        if (instruction.Error == RefusedUuid)
        {
            Shared::Log::Warn(
                "The agent could not reregister subtenant {0} with existing UUID {1} as the server does not believe this "
                "is the correct UUID. Clearing the UUID...",
                ConvertStringType(attempt->subtenant), ConvertStringType(attempt->agentUuid));
            context.identity.RemoveRegistration(attempt->subtenant);
        }
    }
    return false;
}

/// Takes over the server that an answer names. Its host becomes a word of the connector's command line, and the agent waits
/// without limit for the connector that is started with it: what cannot be a host must not get that far.
void TakeOverServer(AppSettings& settings, const RegisterResponse& response)
{
    settings.serverRaw = ConvertStringType(response.server());
    Shared::AppSettings::SetServerAndPort(settings);
    const bool isWord = std::none_of(
        settings.server.begin(), settings.server.end(),
        [](wchar_t character) { return character <= L' ' || character == Delete; });
    if (settings.server.empty() || !isWord)
    {
        throw Shared::Exception::RuntimeException("The server named no host to register with: " + response.server());
    }
}

std::wstring Redirect(const RegisterResponse& response)
{
    AppSettings redirected;
    TakeOverServer(redirected, response);
    Shared::Log::Info(
        "The register request has been redirected. Retrying against: {}:{}", ConvertStringType(redirected.server),
        redirected.port);
    return redirected.server;
}

void TakeOverIdentity(AppSettings& settings, const RegisterResponse& response)
{
    AppSettings changed = settings;
    changed.accountId = response.account_id();
    changed.agentUuid = ConvertStringType(response.agent_uuid());
    changed.subtenantId = ConvertStringType(response.sub_tenant_id());
    TakeOverServer(changed, response);
    settings = std::move(changed);
}

} // namespace

void ReconcileRegistration(AppState& appState, Identity& identity)
{
    const std::wstring expected = identity.GetVpnConnectionInfo().subTenantId;
    RegistrationInfo record;
    (void)identity.GetCurrentRegistrationInfo(record);
    if (record.agentUuid.empty() || record.subtenantId.empty())
    {
        Shared::Log::Info("No AgentUuid or RegisteredId found; reregistering...");
        appState.runtimeStates.Push(RuntimeState::Register);
        return;
    }
    if (expected != record.subtenantId)
    {
        Shared::Log::Info("New user does not match RegisteredId; reregistering...");
        appState.runtimeStates.Push(RuntimeState::Register);
        return;
    }
    Shared::Log::Info("Existing uuid for user found");
    appState.settings.accountId = record.accountId;
    appState.settings.agentUuid = record.agentUuid;
    appState.settings.subtenantId = record.subtenantId;
    identity.SetRegisteredSubtenantId(record.subtenantId);
    identity.SaveRegistration(appState.settings);
    appState.settings = identity.LoadAppSettings();
    appState.runtimeStates.Push(RuntimeState::EstablishConnection);
}

bool HasIdentityChanged(const AppState& appState, Identity& identity)
{
    const std::wstring actual = identity.GetRegisteredSubtenantId();
    const VpnConnectionInfo vpnInfo = identity.GetVpnConnectionInfo();
    if (vpnInfo.subTenantId.empty())
    {
        Shared::Log::Info("No registered-id could be derived from the current VPN connection information");
        return false;
    }
    if (actual != vpnInfo.subTenantId)
    {
        Shared::Log::Info("The expected and actual registeredIds do not match; the agent will need to reregister");
        return true;
    }
    if (!Shared::Util::EqualsIgnoreCase(std::wstring_view(vpnInfo.fullUsername), std::wstring_view(appState.username)))
    {
        Shared::Log::Info("Detected a username change. The agent will need to re-initialise.");
        return true;
    }
    return false;
}

void Register(const RegistrationContext& context, const std::wstring& server)
{
    Attempts attempts;
    try
    {
        std::optional<std::wstring> next = server;
        while ((next = RegisterOnce(context, *next, attempts)))
        {
            if (context.isStopRequested())
            {
                context.appState.runtimeStates.Push(RuntimeState::Stopped);
                return;
            }
        }
    }
    catch (const Exception::ActionRequiredException& instruction)
    {
        if (!FollowInstruction(context, instruction, attempts))
        {
            throw;
        }
    }
}

void SendRegister(
    const RegistrationContext& context,
    const std::wstring& subtenant,
    const RegistrationInfo& record,
    const VpnConnectionInfo& vpnInfo)
{
    AppState& appState = context.appState;
    const DeviceIds ids = context.identity.GetDeviceIds();
    (void)Polling::RecordTemporal(
        "username", ConvertStringType(vpnInfo.fullUsername), vpnInfo.timestamp, appState.usernames);

    ::Register request;
    request.set_version(ConvertStringType(appState.settings.installedVersion));
    request.set_sub_tenant_id(ConvertStringType(subtenant));
    request.set_utc_time(Shared::Util::FormatTimeText(Shared::Time::UtcNow()));
    request.set_agent_uuid(ConvertStringType(record.agentUuid));
    request.set_device_uuid(ConvertStringType(ids.device));
    request.set_legacy_device_uuid(ConvertStringType(ids.legacyDevice));
    request.set_agent_class(MOBILE_USER);
    request.set_product(DESKTOP);
    for (const TemporalValue& username : appState.usernames)
    {
        *request.add_norvik_username() = username;
    }
    (void)SendToServer(appState, Messages::MSGIDS_AGENT_REGISTER_REQUEST, request);
}

std::optional<std::wstring> ProcessRegistrationResponse(
    const RegistrationContext& context, const std::wstring& subtenant, const RegisterResponse& response)
{
    if (response.status_code() == TemporaryRedirect)
    {
        return Redirect(response);
    }
    const std::string expected = ConvertStringType(subtenant);
    if (response.sub_tenant_id() != expected)
    {
        throw Shared::Exception::InvalidArgumentException(fmt::format(
            "Unexpected subTenantId returned from server registration, expected {}, got {}.", expected,
            response.sub_tenant_id()));
    }
    AppState& appState = context.appState;
    TakeOverIdentity(appState.settings, response);
    context.identity.SetRegisteredSubtenantId(appState.settings.subtenantId);
    context.identity.SaveRegistration(appState.settings);
    Shared::Log::Info("The agent registered successfully.");
    appState.runtimeStates.Push(RuntimeState::Initialise);
    // The server has them now.
    appState.usernames.clear();
    context.link.ReconnectConnector(appState.settings.server);
    return std::nullopt;
}

} // namespace AgentCore::Ops
