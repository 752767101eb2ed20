#include "agentprocess.states-registration.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"

#include <string>

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;

namespace
{

void ReconcileRegistration(LoopContext& context)
{
    AppState& appState = context.appState;
    const std::wstring registered = context.identity.GetRegisteredId();
    if (appState.settings.agentUuid.empty() || registered.empty())
    {
        Shared::Log::Info("No AgentUuid or RegisteredId found; reregistering...");
        appState.runtimeStates.Push(RuntimeState::Register);
        return;
    }
    if (context.identity.GetSubTenantId() != registered)
    {
        Shared::Log::Info("New user does not match RegisteredId; reregistering...");
        appState.runtimeStates.Push(RuntimeState::Register);
        return;
    }
    Shared::Log::Info("Existing uuid for user found");
    appState.settings.subtenantId = registered;
    appState.runtimeStates.Push(RuntimeState::EstablishConnection);
}

} // namespace

void Initialise(LoopContext& context)
{
    context.appState.inboundMessages.Clear();
    context.appState.instanceAgentConfig.enabled = true;
    context.messageResponses.Clear();
    ReconcileRegistration(context);
    (void)context.identity.UpdateEnablement(context.appState);
}

void Register(LoopContext& context)
{
    context.appState.inboundMessages.Clear();
    context.messageResponses.Clear();
    if (context.identity.GetSubTenantId().empty())
    {
        Shared::Log::Warn("Tried to register, but no subtenant-id was found. This agent will remain in a "
                          "disconnected-disabled state.");
        context.appState.runtimeStates.Push(RuntimeState::Disconnected);
        return;
    }
    Shared::Log::Info("Attempting to register agent...");
    throw Shared::Exception::RuntimeException("This build has no link to the server yet: nothing was registered");
}

void EstablishConnection(LoopContext& context)
{
    context.appState.runtimeStates.Push(RuntimeState::Startup);
}

} // namespace Agent::Process::StateFunctions
