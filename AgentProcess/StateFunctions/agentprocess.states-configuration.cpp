#include "agentprocess.states-configuration.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"

#include <msg_ids.pb.h>

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::RuntimeState;
using WireProtocol::Comms::InboundMessage;

void RequestFromServer(LoopContext&)
{
    throw Shared::Exception::RuntimeException("This build asks the server for nothing yet");
}

void ConfigCompleted(LoopContext& context)
{
    Shared::Log::Warn("This build starts no analytics and compares no versions yet");
    context.appState.inboundMessages.RemoveAll([](const InboundMessage& message)
                                               { return message.MsgId == Messages::MSGIDS_CONFIG_CHANGES; });
    (void)context.identity.UpdateEnablement(context.appState.instanceAgentConfig.enabled);
    context.appState.runtimeStates.Push(RuntimeState::InPolling);
}

} // namespace Agent::Process::StateFunctions
