#pragma once

#include <cstdint>

namespace Shared::Platform
{

/// Error numbers on which the agent's logic decides. They have these values on both platforms and are never an errno;
/// a Linux body that means one of them says it by name. Every other code is the platform's own: GetLastError() on
/// Windows, errno on Linux.
namespace ErrorCode
{
inline constexpr std::uint32_t Success = 0;
inline constexpr std::uint32_t BrokenPipe = 109;
inline constexpr std::uint32_t PipeBusy = 231;
inline constexpr std::uint32_t NoData = 232;
inline constexpr std::uint32_t PipeNotConnected = 233;
inline constexpr std::uint32_t MoreData = 234;
inline constexpr std::uint32_t WaitTimeout = 258;
inline constexpr std::uint32_t StillActive = 259;
inline constexpr std::uint32_t PipeConnected = 535;
inline constexpr std::uint32_t PipeListening = 536;
inline constexpr std::uint32_t IoPending = 997;
inline constexpr std::uint32_t NotFound = 1168;
inline constexpr std::uint32_t NoSystemResources = 1450;
inline constexpr std::uint32_t ResolutionCancelled = 10111;
inline constexpr std::uint32_t HostNotFound = 11001;
inline constexpr std::uint32_t HostTryAgain = 11002;
inline constexpr std::uint32_t HostNoRecovery = 11003;
inline constexpr std::uint32_t HostNoData = 11004;
} // namespace ErrorCode

/// Code of this thread's last failed system call: GetLastError() on Windows, errno on Linux. Read it at once, before
/// anything else can fail.
std::uint32_t LastError() noexcept;

} // namespace Shared::Platform
