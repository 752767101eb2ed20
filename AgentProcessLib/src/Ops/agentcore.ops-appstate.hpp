#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.ops-runtimestate.hpp"
#include "agentcore.polling-temporalvalues.hpp"
#include "shared.appsettings-appsettings.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "shared.util-cappedstack.hpp"
#include "wireprotocol.comms-messages.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <config.pb.h>
#include <hardware.pb.h>
#include <self_service.pb.h>
#include <user_groups.pb.h>

namespace AgentCore::Ops
{

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

    /// As the start-up post told them.
    std::vector<LogicalDisk> logicalDrives;

    // The configuration. Each answer of the server replaces its part whole, but for the agent's own objects, which stay
    // while the server has none. The sequence number of the latest request for a part says which answer is its.
    std::uint32_t mtrConfigSeqNum = 0;
    std::vector<Messaging::MtrTest> mtrTests;
    std::uint32_t networkConfigSeqNum = 0;
    std::vector<Messaging::NetworkObject> networkObjects;
    std::uint32_t testsConfigSeqNum = 0;
    Messaging::TestMap tests;
    std::uint32_t eteConfigSeqNum = 0;
    std::vector<Messaging::MtrTest> eteTests;
    std::uint32_t curlConfigSeqNum = 0;
    std::vector<Messaging::CurlTest> curlTests;
    std::uint32_t tagConfigSeqNum = 0;
    std::vector<Messaging::Tag> tags;
    std::uint32_t accountAgentSeqNum = 0;
    Config::Account::Agent accountAgentConfig;
    std::uint64_t accountConfigVersion = 0;
    std::uint32_t instanceAgentSeqNum = 0;
    /// Its `enabled` is the server's switch for network tests.
    Config::Agent instanceAgentConfig;
    std::uint64_t instanceConfigVersion = 0;

    /// The user that the last user-groups request named.
    std::wstring username;
    /// What the server says of that user.
    UserGroups userGroups;
    SelfServiceConfiguration selfServiceConfig;
    /// The addresses of all end-to-end tests.
    std::vector<Messaging::TestConfiguration> testConfigurations;
    bool debugMode = false;
    /// The last sequence number used; every request increments it first. Starts from 1 to 20000, nothing resets it.
    std::uint32_t nextSeqNum = 0;
    /// Seconds since 1970 of the last answer of the server; 0 for none.
    std::int64_t lastConnectedTime = 0;
    /// The users since the last registration, for the next one.
    Polling::TemporalStore usernames;
};

} // namespace AgentCore::Ops
