#pragma once

#include <string>

namespace AgentCore::Messaging
{

/// Whether the answer to a poll tells the agent to fetch its configuration again; unknown members are ignored.
/// Throws the runtime exception "Failed to parse PollResponse " and the payload for a text that is no JSON object, or in
/// which `fetchConfig` is no boolean.
bool AsksForConfiguration(const std::string& payload);

} // namespace AgentCore::Messaging
