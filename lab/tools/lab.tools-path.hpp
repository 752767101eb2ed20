#pragma once

#include "lab.tools-statistics.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace Lab::Tools
{

/// What stands for a hop that never answered, in place of its name.
inline constexpr const char* SilentHop = "???";

/// One station on the way to a target. Times are in milliseconds, 0 without an answer.
struct Hop
{
    /// A name, or the address again; SilentHop without an answer.
    std::string host = SilentHop;
    /// In numbers; empty without an answer.
    std::string address;
    std::uint32_t sent = 0;
    double lossPercent = 0.0;
    double last = 0.0;
    double average = 0.0;
    double best = 0.0;
    double worst = 0.0;
    double deviation = 0.0;

    bool operator==(const Hop&) const = default;
};

/// A hop's figures out of its times.
Hop MakeHop(const std::string& address, std::uint32_t sent, const Statistics& times);

/// The way to a target and how it was measured, as the agent's message has it.
struct Path
{
    std::string source;
    std::string target;
    std::string targetAddress;
    std::uint32_t typeOfService = 0;
    /// Bytes of a probe, the IP header included.
    std::uint32_t probeSize = 0;
    std::string bitPattern = "0x00";
    std::uint32_t cycles = 0;
    /// Milliseconds of the first answer of the target itself; empty without one.
    std::string initialRoundTrip;
    /// What was asked for beyond the measurement itself.
    std::vector<std::string> options;
    std::vector<Hop> hops;
};

/// Whether the last hop is the target.
bool ReachesTarget(const Path& path) noexcept;

/// As JSON in one line, with the names and types of the agent's message. Text that is no UTF-8 is not in it.
std::string ToJson(const Path& path);

} // namespace Lab::Tools
