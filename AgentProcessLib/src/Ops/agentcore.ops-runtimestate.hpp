#pragma once

#include <cstdint>

namespace AgentCore::Ops
{

/// What the main loop is doing. The numbers appear in log lines.
enum class RuntimeState : std::uint32_t
{
    Initialise = 1,
    Register = 2,
    EstablishConnection = 3,
    Startup = 4,
    GetNetworkConfig = 5,
    GetTestsConfig = 6,
    GetTagConfig = 7,
    GetUserGroups = 8,
    GetMtrConfig = 9,
    GetCurlConfig = 10,
    GetEteConfig = 11,
    GetInstanceAgentConfig = 12,
    GetAccountAgentConfig = 13,
    ConfigCompleted = 14,
    InPolling = 15,
    Stopped = 16,
    RetryPrevious = 17,
    Disconnected = 18,
    RunUpdateTask = 19,
    StopRequested = 20
};

constexpr std::uint32_t ToNumber(RuntimeState state) noexcept
{
    return static_cast<std::uint32_t>(state);
}

} // namespace AgentCore::Ops
