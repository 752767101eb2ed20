#pragma once

#include "wireprotocol.comms-messages.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <wire_protocol_v4.pb.h>

/// How messages travel between the agent and its connector: one `VelRouter.V4.Message` in protobuf encoding is exactly one
/// message of the pipe, whose boundary is the only framing. What goes out carries its payload as one LZ4 frame; what comes
/// in is plain. Free functions without state, on any thread.
namespace WireProtocol::Comms
{

/// Turns a request into the bytes of one pipe message, from the agent's address to that of a component. Every message says
/// that its payload is compressed, an empty one too, which stays empty; a payload that cannot be compressed goes out as an
/// empty one, unreported. The payload is logged at level info.
/// @param msgId of the enum `Messages::MsgIds`
/// @param dstComp of the enum `Component`
/// @param payload text before compression
/// @param flags bits of the enum `Flags` to set besides that of the compression
/// Throws the runtime exception "SerializeToArray() failed", as for a payload of more than 2 GiB.
std::vector<std::uint8_t> Serialise(
    std::uint32_t msgId, std::uint32_t dstComp, std::string_view payload, std::uint32_t seqNum, std::uint32_t flags);

/// Serialises a request for one tree of the configuration, or for single keys when `tree` is empty. Throws as Serialise()
/// and GenerateJSONFrom().
std::vector<std::uint8_t> SerialiseConfigGet2Request(
    std::uint32_t seqNum, const std::string& tree, const std::vector<std::string>& keys, std::uint32_t account);

/// The message of one pipe message. Nothing is decompressed, whatever its flags say. Throws the runtime exception "Failed
/// to decode VelRouter::V4_Message.".
VelRouter::V4_Message DecodeRouterMessage(const std::vector<std::uint8_t>& bytes);

/// What the agent keeps of a message, with the present time. A delivery failure is logged at level error and marked.
/// @param message given up: the payload is moved
InboundMessage RouterMessageToInboundMessage(VelRouter::V4_Message message);

/// Whether a message only tells that another has arrived: flags of exactly `FLAGS_ACK`, delivered.
bool IsAcknowledgement(const VelRouter::V4_Message& message);

/// "{} ({})" of a message id's name and its number, for log lines. The ids of the agent's ordinary exchanges have names, all
/// others are "unknown".
std::string FormatMessageId(std::uint32_t msgId);

} // namespace WireProtocol::Comms
