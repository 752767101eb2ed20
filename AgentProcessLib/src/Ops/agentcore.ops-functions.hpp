#pragma once

#include "agentcore.ops-appstate.hpp"
#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <functional>
#include <string>

#include <register.pb.h>

/// How the agent's identity and the user of the moment are kept together. All on the main thread, but for
/// HasIdentityChanged().
namespace AgentCore::Ops
{

/// The one thing that registration asks of the connector worker.
class ConnectorLink
{
public:
    ConnectorLink() = default;
    ConnectorLink(const ConnectorLink&) = delete;
    ConnectorLink& operator=(const ConnectorLink&) = delete;
    virtual ~ConnectorLink() = default;

    /// Connects to the given server anew. Blocks, with no limit of time and without looking at the stop event, until a
    /// connection stands.
    virtual void ReconnectConnector(const std::wstring& server) = 0;
};

/// What a registration works on; all of it outlives it.
struct RegistrationContext
{
    AppState& appState;
    Identity& identity;
    ConnectorLink& link;
    /// Asked between two redirects, so that servers that send the agent round in circles do not keep it from stopping.
    std::function<bool()> isStopRequested;
};

/// Decides whether the identity that is kept may be used: pushes `EstablishConnection`, with the settings read anew, or
/// `Register`.
void ReconcileRegistration(AppState& appState, Identity& identity);

/// Whether the agent must go through `Initialise` again, because its tenant or its user has become another. While no tenant
/// is known the agent keeps the identity that it has. Any thread, each with an identity of its own.
bool HasIdentityChanged(const AppState& appState, Identity& identity);

/// Registers the agent with the given server, or with the one that it is sent on to. Pushes `Initialise` after a success,
/// `Disconnected` without a tenant, `StopRequested` when the server says so, and `Stopped` when the stop event was seen
/// between two redirects. Blocks while a connection is made and for up to `ResponseTimeout` for the answer.
///
/// Throws ActionRequiredException for what the server orders besides; the runtime exceptions of ResponseHelper's
/// HandleRegistration(); and as ProcessRegistrationResponse().
void Register(const RegistrationContext& context, const std::wstring& server);

/// Queues the request.
/// @param record what is known of an earlier registration with this tenant
void SendRegister(
    const RegistrationContext& context,
    const std::wstring& subtenant,
    const Shared::AppSettings::RegistrationInfo& record,
    const Shared::AppSettings::VpnConnectionInfo& vpnInfo);

/// Takes over the identity that the server gave; returns an empty text then, and the server to try instead when the answer
/// is a redirect, in which case nothing was changed.
/// Throws the invalid-argument exception "Unexpected subTenantId returned from server registration, expected {}, got {}."
/// and that of SetServerAndPort().
std::wstring ProcessRegistrationResponse(
    const RegistrationContext& context, const std::wstring& subtenant, const RegisterResponse& response);

} // namespace AgentCore::Ops
