#include "agentprocess.states-ending.hpp"

#include "agentcore.ops-upgrade.hpp"

namespace Agent::Process::StateFunctions
{

using AgentCore::Ops::RuntimeState;

void RunUpdateTask(LoopContext& context)
{
    (void)AgentCore::Ops::CompareVersionsAndUpgrade(
        context.appState.accountAgentConfig.target_version(), context.identity, context.upgradeTimer);
    auto& states = context.appState.runtimeStates;
    const std::size_t below = states.Size() - 2;
    // After a failure and its retry, the entry below is the retry itself, and going back to it would go round for ever.
    const bool isRetryBelow = states.Size() >= 2 && states[below] == RuntimeState::RetryPrevious;
    if (isRetryBelow)
    {
        states.Push(RuntimeState::Initialise);
        return;
    }
    states.PushAt(below, RuntimeState::Initialise);
}

void StopRequested(LoopContext& context)
{
    context.appState.runtimeStates.Push(RuntimeState::Stopped);
    context.exitCode = StoppedByServerExitCode;
}

} // namespace Agent::Process::StateFunctions
