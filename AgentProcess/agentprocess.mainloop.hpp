#pragma once

#include "agentprocess.loopcontext.hpp"

#include <cstdint>
#include <exception>
#include <functional>
#include <map>

namespace Agent::Process
{

/// One state of the main loop.
struct StateEntry
{
    /// Logged at level info on entering; null where the function logs its own line or there is none.
    const char* logLine = nullptr;
    std::function<void(LoopContext&)> function;
};

/// The states and what they do. `Stopped` has no entry: the loop ends there.
using StateTable = std::map<AgentCore::Ops::RuntimeState, StateEntry>;

/// The agent's states.
StateTable MakeStateTable();

/// The agent's state machine: runs the function of the current state, then lets at most one finished response move the
/// machine on. Main thread only.
class MainLoop
{
public:
    /// @param context must outlive the loop.
    explicit MainLoop(LoopContext& context, StateTable states = MakeStateTable());

    /// One pass; false, with nothing done, once the current state is `Stopped`. Whatever a state throws that derives from
    /// std::exception decides the next state; it never leaves this function.
    bool RunPass();

    /// Passes until the end. The result is the exit code of the process.
    std::int32_t Run();

private:
    void RunState(AgentCore::Ops::RuntimeState state);
    bool IsRetrying() const;
    /// @param hasStateRun whether the state's function came to its end, and what failed is the handling of a response
    void OnFailure(const std::exception& failure, bool hasStateRun);
    bool IsStopSeenWithin(std::uint32_t timeoutMs) const;

    LoopContext& e_context;
    StateTable m_states;
};

} // namespace Agent::Process
