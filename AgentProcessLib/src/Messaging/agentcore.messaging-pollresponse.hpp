#pragma once

#include <string>

namespace AgentCore::Messaging
{

/// Whether the answer to a poll, a `PollResponse` in JSON, tells the agent to fetch its configuration again; members that
/// are not known are ignored. Throws the runtime exception "Failed to parse PollResponse " and the payload for any other
/// text, after an error in the log that says why.
bool AsksForConfiguration(const std::string& payload);

} // namespace AgentCore::Messaging
