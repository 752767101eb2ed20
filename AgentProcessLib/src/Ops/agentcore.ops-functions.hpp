#pragma once

#include "agentcore.ops-appstate.hpp"
#include "agentcore.ops-identity.hpp"
#include "shared.appsettings-registrations.hpp"
#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <functional>
#include <optional>
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
    /// connection stands. What waited to be sent is dropped. Throws when the wait itself fails.
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
/// `Register`. Throws Win32Exception when the registry cannot be written, and what LoadAppSettings() throws; nothing was
/// pushed then.
void ReconcileRegistration(AppState& appState, Identity& identity);

/// Whether the agent must go through `Initialise` again, because its tenant or its user has become another. While no tenant
/// is known the agent keeps the identity that it has. Any thread, each with an identity of its own.
bool HasIdentityChanged(const AppState& appState, Identity& identity);

/// Registers the agent with the given server, or with the one that it is sent on to. Pushes `Initialise` after a success,
/// `Disconnected` without a tenant, `StopRequested` when the server says so, and `Stopped` when the stop event was seen
/// between two redirects. The identity that was kept is forgotten before each request. Redirects are followed without limit.
///
/// Blocks, for each request, until a connection stands, which may be never, and then for up to `ResponseTimeout` for the
/// answer; a stop is not seen meanwhile.
///
/// Throws ActionRequiredException for what the server orders besides, after a UUID that the server does not believe was
/// removed; the runtime exceptions of ResponseHelper's HandleRegistration(); what SendRegister() throws; and as
/// ProcessRegistrationResponse().
void Register(const RegistrationContext& context, const std::wstring& server);

/// Queues the request, with the next sequence number, and adds the user to `usernames`, which it carries whole.
/// @param record what is known of an earlier registration with this tenant; its UUID may be empty
/// Throws the runtime exception "Failed to get the machine guid from the registry" before anything is changed, and what
/// Serialise() throws.
void SendRegister(
    const RegistrationContext& context,
    const std::wstring& subtenant,
    const Shared::AppSettings::RegistrationInfo& record,
    const Shared::AppSettings::VpnConnectionInfo& vpnInfo);

/// Takes over the identity that the server gave, keeps it, pushes `Initialise` and connects to the server that it named;
/// returns nothing then. Returns the host to try instead, never an empty one, when the answer is the redirect 307; nothing
/// was changed then. Blocks while a connection is made.
///
/// Throws the invalid-argument exception "Unexpected subTenantId returned from server registration, expected {}, got {}."
/// for an answer for another tenant, the runtime exceptions of SetServerAndPort() and "The server named no host to register
/// with: " and the server for a server that the agent could not connect to, all with nothing changed; and Win32Exception
/// when the identity cannot be kept.
std::optional<std::wstring> ProcessRegistrationResponse(
    const RegistrationContext& context, const std::wstring& subtenant, const RegisterResponse& response);

} // namespace AgentCore::Ops
