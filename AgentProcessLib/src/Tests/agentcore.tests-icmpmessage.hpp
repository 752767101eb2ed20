#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// Messages of the Internet Control Message Protocol, version 4, as bytes. Pure; whatever the network sends is read within
/// its bounds.
namespace AgentCore::Tests::Icmp
{

/// An IPv4 address in the order in which it is written and sent.
using IpV4Address = std::array<std::uint8_t, 4>;

/// What tells an echo from the others on its way.
struct EchoKey
{
    std::uint16_t identifier = 0;
    std::uint16_t sequence = 0;

    bool operator==(const EchoKey&) const = default;
};

/// Bytes of an IP header with all options that it has room for.
inline constexpr std::size_t LargestIpHeader = 60;

/// Status of a reply that is one, with the number that it has everywhere.
inline constexpr std::uint32_t StatusSuccess = 0;

/// The whole message of an echo request, with its checksum.
std::vector<std::uint8_t> BuildEchoRequest(const EchoKey& key, std::span<const std::uint8_t> payload);

/// The checksum of a message. That of a message which holds its own is 0.
std::uint16_t ComputeChecksum(std::span<const std::uint8_t> message) noexcept;

/// What stands behind the IP header, which is looked at only for its length; empty when it is cut off or damaged.
std::span<const std::uint8_t> SkipIpHeader(std::span<const std::uint8_t> datagram) noexcept;

/// How many bytes of payload `message` brings, when it is the reply to the echo request with this key and payload; nothing
/// for any other message. A payload that is longer or shorter than the request's is still one as far as both agree.
std::optional<std::uint16_t> ReadEchoReply(
    std::span<const std::uint8_t> message, const EchoKey& key, std::span<const std::uint8_t> payload) noexcept;

/// Whether `message`, of which the end may be cut off, is the echo request with this key. That is how the message of an
/// error tells what it is about.
bool IsEchoRequest(std::span<const std::uint8_t> message, const EchoKey& key) noexcept;

/// The status by which an error message with this type and code is told, with the numbers of Windows (11000 and above).
/// Nothing for messages that only remark on a request which has gone on: source quench and redirect.
std::optional<std::uint32_t> ToIpStatus(std::uint8_t type, std::uint8_t code) noexcept;

} // namespace AgentCore::Tests::Icmp
