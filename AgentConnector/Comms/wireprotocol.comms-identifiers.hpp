#pragma once

#include <cstdint>

namespace WireProtocol::Comms
{

/// Ids of the messages between agent and server.
namespace MsgIds
{
inline constexpr std::uint32_t MSGIDS_ROUTER_FEATURES = 22;
inline constexpr std::uint32_t MSGIDS_CONFIG_GET2_RESPONSE = 6006;
inline constexpr std::uint32_t MSGIDS_CONFIG_ATTACH_RESULT = 6054;
inline constexpr std::uint32_t MSGIDS_CONFIG_CHANGES = 6056;
inline constexpr std::uint32_t MSGIDS_AGENT_REGISTER_REQUEST = 24000;
inline constexpr std::uint32_t MSGIDS_AGENT_STARTUP_REQUEST = 24001;
inline constexpr std::uint32_t MSGIDS_AGENT_POLL_REQUEST = 24002;
inline constexpr std::uint32_t MSGIDS_AGENT_HISTORIC_POLL_REQUEST = 24003;
inline constexpr std::uint32_t MSGIDS_AGENT_REGISTER_RESPONSE = 24100;
inline constexpr std::uint32_t MSGIDS_AGENT_STARTUP_RESPONSE = 24101;
inline constexpr std::uint32_t MSGIDS_AGENT_POLL_RESPONSE = 24102;
inline constexpr std::uint32_t MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST = 24104;
inline constexpr std::uint32_t MSGIDS_AGENT_USER_GROUPS_REQUEST = 24200;
inline constexpr std::uint32_t MSGIDS_AGENT_USER_GROUPS_NOTIFICATION = 24201;
} // namespace MsgIds

/// Bits of a message's flags.
namespace Flags
{
inline constexpr std::uint32_t FLAGS_ACK = 1;
} // namespace Flags

} // namespace WireProtocol::Comms
