#pragma once

#include "lab.tools-path.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lab::Tools
{

/// The longest way that is looked at.
inline constexpr std::uint8_t MostHops = 30;
/// So that each probe has a number of its own.
inline constexpr std::uint32_t MostCycles = 1000;

/// What came back from somewhere on the way.
struct Answer
{
    /// Of the probe.
    std::uint16_t sequence = 0;
    /// Who answered, in numbers.
    std::string from;
    /// See ProbeReply.
    bool endsPath = false;
    /// In the prober's time.
    std::chrono::nanoseconds received{0};
};

/// Sends probes along a way and takes what comes back.
class Prober
{
public:
    Prober() = default;
    Prober(const Prober&) = delete;
    Prober& operator=(const Prober&) = delete;
    virtual ~Prober() = default;

    /// Its steady time.
    virtual std::chrono::nanoseconds Now() const = 0;

    /// Sends a probe that lives for `timeToLive` hops. One that the system does not send is lost.
    virtual void Send(std::uint16_t sequence, std::uint8_t timeToLive) = 0;

    /// Waits for the next answer. Nothing when none has come within `span`.
    virtual std::optional<Answer> Await(std::chrono::nanoseconds span) = 0;

    /// Whether the probing is to end before its time.
    virtual bool IsBrokenOff() const = 0;
};

struct TraceSettings
{
    /// At most MostCycles.
    std::uint32_t cycles = 1;
    std::chrono::nanoseconds interval = std::chrono::seconds(1);
    /// What takes longer is lost.
    std::chrono::nanoseconds timeout = std::chrono::seconds(5);
    /// Whether the probes of a cycle are spread over its interval, or are sent at once. Those of the first cycle, which
    /// looks how far the target is, are always spread.
    bool isSpread = true;
};

struct Trace
{
    /// Up to the first one that ends the path; without such a one, up to the first silent one behind the last that answered.
    std::vector<Hop> hops;
    /// Of the last hop's first answer, if it ends the path.
    std::optional<std::chrono::nanoseconds> initialRoundTrip;
};

/// Sends a probe for each hop in each cycle. Takes until the last one is answered or lost, or breaks off as soon as the
/// prober says so; then probes that are still under way count as not sent.
Trace TracePath(Prober& prober, const TraceSettings& settings);

} // namespace Lab::Tools
