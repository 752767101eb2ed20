#include "agentprocess.mainloop.hpp"

#include "agentcore.ops-exceptions.hpp"
#include "agentprocess.states-configuration.hpp"
#include "agentprocess.states-ending.hpp"
#include "agentprocess.states-registration.hpp"
#include "agentprocess.states-waiting.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"

#include <chrono>
#include <source_location>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace Agent::Process
{

using AgentCore::Ops::RuntimeState;

namespace
{

/// A waiting state whose wait itself fails would come back at once, and again; this is held between two such passes.
constexpr std::uint32_t FailingWaitPauseMs = 1000;

bool IsWaitingState(RuntimeState state)
{
    return state == RuntimeState::InPolling || state == RuntimeState::RetryPrevious ||
        state == RuntimeState::Disconnected;
}

/// What it says may be as long as what the server sent, so that there may be no memory to say it with the text before it.
void LogFailure(
    fmt::format_string<const char*> text,
    const std::exception& failure,
    const std::source_location& where = std::source_location::current()) noexcept
{
    try
    {
        Shared::Log::LogException(fmt::format(text, failure.what()), failure, where);
    }
    catch (const std::exception&)
    {
        Shared::Log::LogException("A failure that is too long to be told", failure, where);
    }
}

} // namespace

StateTable MakeStateTable()
{
    using namespace StateFunctions;
    StateTable states = {
        {RuntimeState::Initialise, {"Main loop state: Initialise", &Initialise}},
        {RuntimeState::Register, {"Main loop state: Register", &Register}},
        {RuntimeState::EstablishConnection, {"Main loop state: EstablishConnection", &EstablishConnection}},
        {RuntimeState::Startup, {"Main loop state: Startup", &PostStartup}},
        {RuntimeState::GetUserGroups, {"Main loop state: GetUserGroups", &GetUserGroups}},
        {RuntimeState::ConfigCompleted, {"Main loop state: ConfigCompleted", &ConfigCompleted}},
        // Logs its line itself, as the tunnel's status belongs to it.
        {RuntimeState::InPolling, {nullptr, &InPolling}},
        {RuntimeState::RetryPrevious, {"Main loop state: RetryPrevious", &RetryPrevious}},
        {RuntimeState::Disconnected, {"Main loop state: Disconnected", &Disconnected}},
        {RuntimeState::RunUpdateTask, {"Main loop state: RunUpdateTask", &RunUpdateTask}},
        {RuntimeState::StopRequested,
         {"The agent received a stop command from the server and will now exit.", &StopRequested}},
    };
    for (const ConfigRequest& request : GetConfigRequests())
    {
        states[request.state] = {
            request.logLine,
            [&request](LoopContext& context)
            {
                RequestConfiguration(context, request);
            }};
    }
    return states;
}

MainLoop::MainLoop(LoopContext& context, StateTable states) : e_context(context), m_states(std::move(states))
{
}

bool MainLoop::RunPass()
{
    auto& states = e_context.appState.runtimeStates;
    if (states.IsCurrent(RuntimeState::Stopped))
    {
        return false;
    }
    bool hasStateRun = false;
    try
    {
        RunState(states.GetCurrent());
        hasStateRun = true;
        const RuntimeState next = states.GetCurrent();
        if (next != RuntimeState::Stopped)
        {
            if (next != RuntimeState::StopRequested)
            {
                AgentCore::Ops::ProcessMessageResponse(e_context.appState, e_context.messageResponses);
            }
            if (IsRetrying())
            {
                return true;
            }
        }
        e_context.retryAttempts = 0;
        e_context.retryDelayMs = 0;
    }
    catch (const AgentCore::Exception::ConnectionException& failure)
    {
        states.Push(RuntimeState::Disconnected);
        LogFailure("A network error occurred: {}", failure);
    }
    catch (const Shared::Exception::FatalException& failure)
    {
        e_context.exitCode = failure.GetCode();
        states.Push(RuntimeState::Stopped);
        LogFailure("A FatalException was encountered in AgentProcess' main loop: {}", failure);
    }
    catch (const std::exception& failure)
    {
        OnFailure(failure, hasStateRun);
    }
    return true;
}

std::int32_t MainLoop::Run()
{
    while (RunPass())
    {
    }
    return e_context.exitCode;
}

void MainLoop::RunState(RuntimeState state)
{
    const auto found = m_states.find(state);
    if (found == m_states.end())
    {
        Shared::Log::Debug("Nothing to action on runtime state: {}", AgentCore::Ops::ToNumber(state));
        return;
    }
    const StateEntry& entry = found->second;
    if (entry.logLine != nullptr)
    {
        Shared::Log::Info("{}", entry.logLine);
    }
    entry.function(e_context);
}

bool MainLoop::IsRetrying() const
{
    const auto& states = e_context.appState.runtimeStates;
    if (states.Size() < 2)
    {
        return false;
    }
    return states.IsCurrent(RuntimeState::RetryPrevious) || states.IsCurrent(RuntimeState::Disconnected) ||
        states[states.Size() - 2] == RuntimeState::RetryPrevious;
}

void MainLoop::OnFailure(const std::exception& failure, bool hasStateRun)
{
    auto& states = e_context.appState.runtimeStates;
    LogFailure("Encountered an exception in main loop: {}", failure);
    const bool hasWaitFailed = !hasStateRun && !states.Empty() && IsWaitingState(states.GetCurrent());
    if (!states.IsCurrent(RuntimeState::InPolling))
    {
        states.Push(RuntimeState::RetryPrevious);
    }
    if (hasWaitFailed && IsStopSeenWithin(FailingWaitPauseMs))
    {
        states.Push(RuntimeState::Stopped);
    }
}

bool MainLoop::IsStopSeenWithin(std::uint32_t timeoutMs) const
{
    try
    {
        return e_context.stopEvent.WaitOnEvent(timeoutMs);
    }
    catch (const std::exception& failure)
    {
        Shared::Log::LogException("The stop event cannot be waited on", failure);
        Shared::Time::SleepFor(std::chrono::milliseconds(timeoutMs));
        return false;
    }
}

} // namespace Agent::Process
