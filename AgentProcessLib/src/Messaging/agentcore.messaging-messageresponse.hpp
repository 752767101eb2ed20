#pragma once

#include "wireprotocol.comms-messages.hpp"

#include <cstdint>
#include <utility>

namespace AgentCore::Messaging
{

/// How an exchange with the server was judged.
enum class MessageResponseStatus : std::uint32_t
{
    /// The server accepted, or the message needs no judgement.
    Success = 1,
    /// The server orders a new registration.
    Reregister = 2,
    /// The server orders the agent to shut down.
    Stop = 3,
    /// Anything else; the body says why, or nothing does.
    Failure = 4
};

/// The finished result of an exchange: the message as received, and the judgement.
struct MessageResponse : WireProtocol::Comms::InboundMessage
{
    MessageResponse() = default;

    MessageResponse(WireProtocol::Comms::InboundMessage message, MessageResponseStatus status)
        : InboundMessage(std::move(message)), Status(status)
    {
    }

    MessageResponseStatus Status = MessageResponseStatus::Failure;
};

} // namespace AgentCore::Messaging
