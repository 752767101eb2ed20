#include "agentprocess.states-registration.hpp"

#include "agentcore.ops-functions.hpp"

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::RuntimeState;

namespace
{

/// Older versions kept an identity without the tenant that it belongs to: that of the present user, as they knew no other.
void CompleteOlderRegistration(LoopContext& context)
{
    if (context.identity.GetRegisteredSubtenantId().empty() && !context.appState.settings.agentUuid.empty())
    {
        context.identity.SetRegisteredSubtenantId(context.identity.GetVpnConnectionInfo().subTenantId);
    }
}

} // namespace

void Initialise(LoopContext& context)
{
    context.appState.inboundMessages.Clear();
    context.appState.instanceAgentConfig.set_enabled(true);
    context.messageResponses.Clear();
    CompleteOlderRegistration(context);
    AgentCore::Ops::ReconcileRegistration(context.appState, context.identity);
    (void)context.identity.UpdateEnablement(context.appState.instanceAgentConfig.enabled());
}

void Register(LoopContext& context)
{
    context.appState.inboundMessages.Clear();
    context.messageResponses.Clear();
    const AgentCore::Ops::RegistrationContext registration{
        context.appState, context.identity, context.link,
        [&]
        {
            return context.stopEvent.WaitOnEvent(0);
        }};
    AgentCore::Ops::Register(registration, context.appState.settings.server);
}

void EstablishConnection(LoopContext& context)
{
    context.appState.runtimeStates.Push(RuntimeState::Startup);
}

} // namespace Agent::Process::StateFunctions
