#pragma once

#include "agentcore.ops-runtimestate.hpp"
#include "agentcore.polling-temporalvalues.hpp"
#include "shared.appsettings-appsettings.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "shared.util-cappedstack.hpp"
#include "wireprotocol.comms-messages.hpp"

#include <cstdint>
#include <string>

namespace AgentCore::Ops
{

/// What the server says of this instance of the agent.
struct InstanceAgentConfig
{
    /// The server's switch for network tests.
    bool enabled = true;
};

/// The state bag of the main loop. Only the main thread touches it, but for the two message queues, which the connector
/// worker shares. It is copied by value for every poll worker; a copy has queues of its own with the same content.
struct AppState
{
    /// Draws the first sequence number and pushes `Initialise`.
    AppState();

    /// The current state and the one to go back to.
    Shared::Util::CappedStack<RuntimeState> runtimeStates;
    Shared::AppSettings::AppSettings settings;
    /// Filled by the connector worker.
    Shared::Concurrency::ThreadSafeQueue<WireProtocol::Comms::InboundMessage> inboundMessages;
    /// Read by the connector worker.
    Shared::Concurrency::ThreadSafeQueue<WireProtocol::Comms::OutboundMessage> outboundMessages;

    // Sequence numbers of the latest request for each part of the configuration.
    std::uint32_t mtrConfigSeqNum = 0;
    std::uint32_t networkConfigSeqNum = 0;
    std::uint32_t testsConfigSeqNum = 0;
    std::uint32_t eteConfigSeqNum = 0;
    std::uint32_t curlConfigSeqNum = 0;
    std::uint32_t tagConfigSeqNum = 0;
    std::uint32_t accountAgentSeqNum = 0;
    std::uint32_t instanceAgentSeqNum = 0;
    InstanceAgentConfig instanceAgentConfig;

    /// The user that the last user-groups request named.
    std::wstring username;
    bool debugMode = false;
    /// The last sequence number used; every request increments it first. Starts from 1 to 20000, nothing resets it.
    std::uint32_t nextSeqNum = 0;
    /// Seconds since 1970 of the last answer of the server; 0 for none.
    std::int64_t lastConnectedTime = 0;
    /// The users since the last registration, for the next one.
    Polling::TemporalStore usernames;
};

} // namespace AgentCore::Ops
