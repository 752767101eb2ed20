#pragma once

#include "shared.time-clock.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace WireProtocol::Comms
{

/// A message that the connector has passed up.
struct InboundMessage
{
    /// For a response, the sequence number of its request.
    std::uint32_t SeqNum = 0;
    std::uint32_t MsgId = 0;
    /// Exactly as received.
    std::string Payload;
    std::uint32_t Flags = 0;
    /// 1 when the router reported that the message could not be delivered.
    std::uint32_t DeliveryFailed = 0;
    Shared::Time::MonotonicTime ReceivedAt;
};

/// A message that is ready for the pipe.
struct OutboundMessage
{
    // Zero in every message that the agent builds; only `Data` reaches the pipe.
    std::uint32_t reserved = 0;
    bool reservedFlag = false;
    bool secondReservedFlag = false;

    /// The bytes of one pipe message, as Serialise() made them.
    std::vector<std::uint8_t> Data;

    std::uint64_t secondReserved = 0;
    bool thirdReservedFlag = false;
};

} // namespace WireProtocol::Comms
