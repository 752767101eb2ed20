#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace TestSupport
{

/// What a link does to packets. There and back are alike, but for the loss.
struct LinkSettings
{
    /// Of each packet, one way.
    std::chrono::microseconds delay{0};
    /// By how much at most the delay of a packet is longer or shorter, evenly spread. Packets do not overtake each other.
    std::chrono::microseconds jitter{0};
    /// How many of 100 packets that go forth are lost; none are that come back, so that what is counted on one side is the
    /// other's loss.
    double lossPercent = 0.0;
};

/// What went over a link forth: only IPv4 counts, and only that is carried.
struct LinkCounts
{
    std::uint64_t seen = 0;
    std::uint64_t lost = 0;
};

/// Carries packets between pairs of TUN devices, late, unevenly, and not all of them, in a thread of its own. The kernel's
/// own delays are a module that not every kernel has.
class LinkEmulator
{
public:
    struct Link
    {
        /// Two TUN devices without packet information that do not block; owned by the caller, and open as long as the
        /// emulator lives. Forth is from near to far.
        int near = -1;
        int far = -1;
        LinkSettings settings;
    };

    explicit LinkEmulator(const std::vector<Link>& links);
    LinkEmulator(const LinkEmulator&) = delete;
    LinkEmulator& operator=(const LinkEmulator&) = delete;
    ~LinkEmulator();

    /// What the link does to packets from now on; those on their way keep their delay. Any thread.
    void Change(std::size_t link, const LinkSettings& settings);

    /// Since the beginning. Any thread.
    LinkCounts Counts(std::size_t link) const;

private:
    class Carrier;
    std::unique_ptr<Carrier> m_carrier;
};

} // namespace TestSupport
