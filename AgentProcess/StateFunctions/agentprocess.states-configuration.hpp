#pragma once

#include "agentprocess.loopcontext.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Agent::Process::StateFunctions
{

/// One state that asks for a part of the configuration.
struct ConfigRequest
{
    AgentCore::Ops::RuntimeState state;
    /// Logged on entering the state.
    const char* logLine;
    /// Where the request's sequence number is kept.
    std::uint32_t AgentCore::Ops::AppState::*seqNumField;
    /// The tree that is asked for; empty when single keys are.
    const char* tree;
    /// As many as there are, then null.
    std::array<const char*, 3> keys;
};

/// All of them, in the order of the chain.
const std::array<ConfigRequest, 8>& GetConfigRequests() noexcept;

// The states that send one request, block until its answer is there, and leave it as one finished response, which moves the
// machine on in the same pass. What they throw when there is no answer lets the main loop repeat them.

void PostStartup(LoopContext& context);
void GetUserGroups(LoopContext& context);
/// @param request one of GetConfigRequests()
void RequestConfiguration(LoopContext& context, const ConfigRequest& request);

/// What follows once the configuration is whole: the analytics are told of it, change notices that came meanwhile are
/// dropped, the updater is allowed, an upgrade is requested if the account wants a newer version, the status is written,
/// and `InPolling` is pushed. Throws Win32Exception when the registry cannot be used; nothing was pushed then.
void ConfigCompleted(LoopContext& context);

} // namespace Agent::Process::StateFunctions
