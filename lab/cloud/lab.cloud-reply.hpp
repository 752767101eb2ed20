#pragma once

#include "lab.scenario-scenario.hpp"
#include "lab.wire-envelope.hpp"

#include <cstdint>
#include <string>

namespace Lab::Cloud
{

/// What comes from something that is no server of the agent's.
inline constexpr const char* NoJson = "<html>502 Bad Gateway</html>";

/// What the cloud answers to one message.
struct Reply
{
    std::uint32_t msgId = 0;
    std::string payload{};
    std::uint32_t flags = Wire::FlagResponse;
    std::uint32_t status = Wire::StatusSuccess;
    AgentSeconds delay{0};
    /// How far its sequence number is from the one of the request.
    std::uint32_t seqNumDistance = 0;

    bool operator==(const Reply&) const = default;
};

/// The envelope of a reply, addressed to who sent `request`.
Wire::Envelope Address(const Reply& reply, const Wire::Envelope& request);

} // namespace Lab::Cloud
