#include "agentcore.tests-icmpmessage.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace AgentCore::Tests::Icmp
{

namespace
{

constexpr std::uint8_t EchoReplyType = 0;
constexpr std::uint8_t EchoRequestType = 8;
constexpr std::uint8_t SourceQuenchType = 4;
constexpr std::uint8_t RedirectType = 5;
/// Type, code, checksum, identifier, sequence.
constexpr std::size_t HeaderSize = 8;
constexpr std::size_t ChecksumOffset = 2;
constexpr std::size_t SmallestIpHeader = 20;

struct StatusRow
{
    std::uint8_t type;
    std::uint8_t code;
    std::uint32_t status;
};

constexpr std::array<StatusRow, 19> Statuses = {{
    {3, 0, 11002},  // network unreachable
    {3, 1, 11003},  // host unreachable
    {3, 2, 11004},  // protocol unreachable
    {3, 3, 11005},  // port unreachable
    {3, 4, 11009},  // too big, and not to be taken apart
    {3, 5, 11012},  // source route failed
    {3, 6, 11002},  // network unknown
    {3, 7, 11003},  // host unknown
    {3, 8, 11003},  // host isolated
    {3, 9, 11002},  // network prohibited
    {3, 10, 11003}, // host prohibited
    {3, 11, 11002}, // network unreachable for this service
    {3, 12, 11003}, // host unreachable for this service
    {3, 13, 11003}, // prohibited by a filter
    {3, 14, 11003}, // precedence violated
    {3, 15, 11003}, // precedence too low
    {11, 0, 11013}, // time to live expired on the way
    {11, 1, 11014}, // time for reassembly expired
    {12, 0, 11015}, // parameter problem
}};

struct TypeRow
{
    std::uint8_t type;
    std::uint32_t status;
};

/// Codes without a row of their own.
constexpr std::array<TypeRow, 3> OtherCodes = {{{3, 11040}, {11, 11041}, {12, 11015}}};
constexpr std::uint32_t OtherError = 11044;

std::uint16_t ReadNumber(std::span<const std::uint8_t> bytes, std::size_t offset) noexcept
{
    return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

void WriteNumber(std::span<std::uint8_t> bytes, std::size_t offset, std::uint16_t number) noexcept
{
    bytes[offset] = static_cast<std::uint8_t>(number >> 8);
    bytes[offset + 1] = static_cast<std::uint8_t>(number);
}

bool IsEcho(std::span<const std::uint8_t> message, std::uint8_t type, const EchoKey& key) noexcept
{
    return message.size() >= HeaderSize && message[0] == type && message[1] == 0 &&
        ReadNumber(message, 4) == key.identifier && ReadNumber(message, 6) == key.sequence;
}

} // namespace

std::uint16_t ComputeChecksum(std::span<const std::uint8_t> message) noexcept
{
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i + 1 < message.size(); i += 2)
    {
        sum += ReadNumber(message, i);
    }
    if (message.size() % 2 != 0)
    {
        sum += static_cast<std::uint64_t>(message.back()) << 8;
    }
    while (sum > 0xFFFF)
    {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum);
}

std::vector<std::uint8_t> BuildEchoRequest(const EchoKey& key, std::span<const std::uint8_t> payload)
{
    std::vector<std::uint8_t> message(HeaderSize + payload.size());
    message[0] = EchoRequestType;
    WriteNumber(message, 4, key.identifier);
    WriteNumber(message, 6, key.sequence);
    std::copy(payload.begin(), payload.end(), message.begin() + HeaderSize);
    WriteNumber(message, ChecksumOffset, ComputeChecksum(message));
    return message;
}

std::span<const std::uint8_t> SkipIpHeader(std::span<const std::uint8_t> datagram) noexcept
{
    if (datagram.size() < SmallestIpHeader || datagram[0] >> 4 != 4)
    {
        return {};
    }
    const std::size_t size = (datagram[0] & 0x0FU) * std::size_t{4};
    if (size < SmallestIpHeader || size > datagram.size())
    {
        return {};
    }
    return datagram.subspan(size);
}

std::optional<std::uint16_t> ReadEchoReply(
    std::span<const std::uint8_t> message, const EchoKey& key, std::span<const std::uint8_t> payload) noexcept
{
    if (!IsEcho(message, EchoReplyType, key))
    {
        return std::nullopt;
    }
    const auto returned = message.subspan(HeaderSize);
    const auto compared = std::min(returned.size(), payload.size());
    if (!std::equal(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(compared), returned.begin()))
    {
        return std::nullopt;
    }
    constexpr std::size_t largest = std::numeric_limits<std::uint16_t>::max();
    return static_cast<std::uint16_t>(std::min(returned.size(), largest));
}

bool IsEchoRequest(std::span<const std::uint8_t> message, const EchoKey& key) noexcept
{
    return IsEcho(message, EchoRequestType, key);
}

std::optional<std::uint32_t> ToIpStatus(std::uint8_t type, std::uint8_t code) noexcept
{
    if (type == SourceQuenchType || type == RedirectType)
    {
        return std::nullopt;
    }
    const auto* const row = std::find_if(
        Statuses.begin(), Statuses.end(),
        [&](const StatusRow& candidate) { return candidate.type == type && candidate.code == code; });
    if (row != Statuses.end())
    {
        return row->status;
    }
    const auto* const other = std::find_if(
        OtherCodes.begin(), OtherCodes.end(), [&](const TypeRow& candidate) { return candidate.type == type; });
    return other == OtherCodes.end() ? OtherError : other->status;
}

} // namespace AgentCore::Tests::Icmp
