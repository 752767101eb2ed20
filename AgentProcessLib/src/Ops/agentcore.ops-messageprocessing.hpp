#pragma once

#include "agentcore.messaging-messageresponse.hpp"
#include "agentcore.ops-appstate.hpp"
#include "shared.concurrency-threadsafequeue.hpp"

namespace AgentCore::Ops
{

using MessageResponses = Shared::Concurrency::ThreadSafeQueue<Messaging::MessageResponse>;

// How finished exchanges with the server move the main loop on. Main thread only.

/// Takes all that the connector has delivered by now, judges each message by its kind, and hands the answers over. Kinds
/// that the agent does not know are answered with Failure and a line in the log. What is delivered during the call waits
/// for the next one.
/// Throws as the judgements of ResponseHelper; the message is then gone, and those behind it wait for the next call.
void ProcessIncomingMessages(MessageResponses& messageResponses, AppState& appState);

/// Takes one response off the queue, if there is one, and acts on it; more are left for later passes. The response is
/// off the queue also when acting on it throws.
/// A notice of a changed configuration holds the caller for two seconds.
/// Throws the runtime exceptions "An inbound message had an error: " and what failed, "Failed to parse PollResponse " and
/// "Failed to parse UserGroups notification: ", each with the payload, "Nullable is null" for a configuration without a
/// boolean "success", and that of RapidJsonDocument for one that is not JSON; the current state is then as it was.
void ProcessMessageResponse(AppState& appState, MessageResponses& messageResponses);

/// Acts on an accepted exchange.
void ProcessSuccessfulMessage(AppState& appState, const Messaging::MessageResponse& message);

/// Goes back one step, so that a failed exchange is repeated, and throws so that the retry delay applies. Failed polls
/// are left alone.
void ProcessAndSetFailed(AppState& appState, const Messaging::MessageResponse& message);

/// Forgets that the router has announced its features, as at the start of a process.
void ResetRouterFeatures() noexcept;

} // namespace AgentCore::Ops
