#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Lab::Tools
{

enum class ConnectOutcome
{
    Open,
    /// The other side answered that nobody listens.
    Closed,
    TimedOut,
    /// The system, or somebody on the way, refused.
    Failed,
    /// The break signal came before anything was known.
    BrokenOff
};

struct ConnectResult
{
    ConnectOutcome outcome = ConnectOutcome::Failed;
    /// From the request until the outcome was known, in real time. What the system asks again by itself, because a first
    /// request or its answer was lost, is in it.
    std::chrono::nanoseconds time{0};
    /// The system's number of a failure.
    int error = 0;
};

/// Connects to a port of an IPv4 address (in numbers), and lets go at once. Ends early at the break signal. Throws
/// std::runtime_error for what is no such address, and when the system gives no socket.
ConnectResult TimeConnect(const std::string& address, std::uint16_t port, std::chrono::nanoseconds timeout);

} // namespace Lab::Tools
