#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// The packets of path probes. None of this is taken from the agent, which reads and writes some of the same: its figures
/// are held against those of these tools, and a mistake that both shared would not show.
namespace Lab::Tools
{

/// An IPv4 address in numbers, in the order in which it is written.
using Address = std::array<std::uint8_t, 4>;

/// Reads "192.0.2.1". Throws std::invalid_argument for anything else.
Address ParseAddress(const std::string& text);

std::string ToText(const Address& address);

enum class ProbeKind
{
    /// An ICMP echo request.
    Echo,
    /// A datagram to a port where it is not expected.
    Datagram,
    /// A TCP connection request, of which no connection comes.
    ConnectionRequest
};

/// What all probes of a run have in common: to whoever shares load between ways they are one flow.
struct Flow
{
    ProbeKind kind = ProbeKind::Echo;
    Address source = {};
    Address target = {};
    /// Of an echo, its identifier.
    std::uint16_t sourcePort = 0;
    /// Of an echo, nothing.
    std::uint16_t targetPort = 0;
};

/// Bytes of the payload of an echo and of a datagram.
inline constexpr std::size_t ProbePayload = 36;

/// Bytes of a probe, with its IP header.
std::size_t ProbeSize(ProbeKind kind) noexcept;

/// A whole IPv4 packet. `sequence` tells one probe of a flow from the others and is never 0.
std::vector<std::uint8_t> MakeProbe(const Flow& flow, std::uint16_t sequence, std::uint8_t timeToLive);

/// What an answer to a probe says.
struct ProbeReply
{
    std::uint16_t sequence = 0;
    /// Who answered.
    Address from = {};
    /// The target has it, or somebody says that there is no way further: not merely that its time to live was over.
    bool endsPath = false;

    bool operator==(const ProbeReply&) const = default;
};

/// Reads any IPv4 packet: the answer to one of the flow's probes, an ICMP message about one, or neither. What does not
/// belong to the flow, is cut off, or says something else, is nothing. A pure function.
std::optional<ProbeReply> ReadReply(std::span<const std::uint8_t> packet, const Flow& flow) noexcept;

} // namespace Lab::Tools
