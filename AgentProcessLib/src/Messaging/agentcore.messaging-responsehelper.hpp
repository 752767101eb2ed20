#pragma once

#include "agentcore.messaging-messageresponse.hpp"
#include "shared.concurrency-threadsafequeue.hpp"
#include "wireprotocol.comms-messages.hpp"

#include <cstdint>
#include <string_view>

#include <msg_ids.pb.h>
#include <register.pb.h>

namespace AgentCore::Messaging
{

/// Turns what the connector delivers into answers. The Handle...() that take no message wait for one: they look through the
/// queue once a second, block their thread meanwhile, and see no stop. What they do not want stays in the queue. All on the
/// main thread.
///
/// Every operation but the judgements throws the runtime exception "msgQueue is null" without a queue.
class ResponseHelper
{
public:
    using Queue = Shared::Concurrency::ThreadSafeQueue<WireProtocol::Comms::InboundMessage>;

    /// @param msgQueue not owned; outlives the helper
    explicit ResponseHelper(Queue* msgQueue) noexcept;
    virtual ~ResponseHelper() = default;

    /// Waits for the answer to a registration, as many seconds as `ResponseTimeout` says, and judges its code.
    /// Throws the runtime exceptions "Register success message timed out", "Server responded with Registration response
    /// failure", "Failed to parse RegisterResponse " and the payload; and as HandleErrorResponses().
    virtual RegisterResponse HandleRegistration() const;

    /// Waits as long for the message with that sequence number, whatever its id, and judges it.
    /// @param msgId of the answer that is expected, for the text of the failure alone
    /// Throws the runtime exception "Message of SeqNum {} and AgentMessageId {} timed out"; and as HandleConfigResponse()
    /// and HandleServerResponse().
    virtual MessageResponse HandleMessage(std::uint32_t seqNum, Messages::MsgIds msgId) const;

    /// Waits up to 30 seconds for the user's groups; they are not read here. Throws the runtime exception "Message of type
    /// MSGIDS_AGENT_USER_GROUPS_NOTIFICATION timed out".
    virtual MessageResponse HandleUserGroupNotification() const;

    /// Returns for 200 and the redirects 301, 302, 303, 307 and 308. Throws ActionRequiredException for 400, and the runtime
    /// exceptions "Server encountered a 404", "Server encountered an internal error: " (500 to 599) and "Unknown response
    /// code encountered: " with the number.
    virtual void HandleErrorResponses(const RegisterResponse& response) const;

    /// Judges the answer to a request for configuration: Success exactly when its "success" is true. Throws the runtime
    /// exception "Nullable is null" for a "success" of null, and that of the parser for what is not JSON.
    virtual MessageResponse HandleConfigResponse(WireProtocol::Comms::InboundMessage message) const;

    /// Judges every other answer by its "statusCode", "action" and "error"; what the server orders or complains of is logged
    /// at level warning. Throws the runtime exception "Nullable is null" for a "statusCode" that is no integer and for an
    /// "action" that is needed and is no text, and that of the parser for what is not JSON.
    virtual MessageResponse HandleServerResponse(WireProtocol::Comms::InboundMessage message) const;

private:
    Queue& RequireQueue() const;

    Queue* e_msgQueue;
};

} // namespace AgentCore::Messaging
