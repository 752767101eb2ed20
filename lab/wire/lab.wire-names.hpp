#pragma once

#include <cstdint>
#include <string_view>

namespace Lab::Wire
{

/// Ids of the messages that the laboratory's cloud understands or sends.
namespace MsgId
{
inline constexpr std::uint32_t RouterOnlineStatusChange = 19;
inline constexpr std::uint32_t RouterFeatures = 22;
inline constexpr std::uint32_t RouterRemoteSubscriptions = 89;
inline constexpr std::uint32_t ConfigGet2Request = 6005;
inline constexpr std::uint32_t ConfigGet2Response = 6006;
inline constexpr std::uint32_t ConfigAttachResult = 6054;
inline constexpr std::uint32_t ConfigChanges = 6056;
inline constexpr std::uint32_t RegisterRequest = 24000;
inline constexpr std::uint32_t StartupRequest = 24001;
inline constexpr std::uint32_t PollRequest = 24002;
inline constexpr std::uint32_t HistoricPollRequest = 24003;
inline constexpr std::uint32_t RegisterResponse = 24100;
inline constexpr std::uint32_t StartupResponse = 24101;
inline constexpr std::uint32_t PollResponse = 24102;
inline constexpr std::uint32_t CheckForUpdatesRequest = 24104;
inline constexpr std::uint32_t UserGroupsRequest = 24200;
inline constexpr std::uint32_t UserGroupsNotification = 24201;
} // namespace MsgId

/// What people call a message: "register"; "message" for one that the laboratory has no name for.
std::string_view NameOf(std::uint32_t msgId) noexcept;

} // namespace Lab::Wire
