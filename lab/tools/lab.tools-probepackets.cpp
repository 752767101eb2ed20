#include "lab.tools-probepackets.hpp"

#include "lab.net-endpoint.hpp"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

namespace Lab::Tools
{

namespace
{

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr std::size_t IpHeader = 20;
constexpr std::size_t IcmpHeader = 8;
constexpr std::size_t UdpHeader = 8;
constexpr std::size_t TcpHeader = 20;
/// What an ICMP message quotes at least of the packet behind its IP header.
constexpr std::size_t Quoted = 8;

constexpr std::uint8_t Icmp = 1;
constexpr std::uint8_t Tcp = 6;
constexpr std::uint8_t Udp = 17;

constexpr std::uint8_t EchoReply = 0;
constexpr std::uint8_t Unreachable = 3;
constexpr std::uint8_t EchoRequest = 8;
constexpr std::uint8_t TimeExceeded = 11;

constexpr std::uint8_t TcpSyn = 0x02;
constexpr std::uint8_t TcpReset = 0x04;
constexpr std::uint8_t TcpAck = 0x10;

std::uint8_t ProtocolOf(ProbeKind kind) noexcept
{
    switch (kind)
    {
    case ProbeKind::Echo:
        return Icmp;
    case ProbeKind::Datagram:
        return Udp;
    case ProbeKind::ConnectionRequest:
        break;
    }
    return Tcp;
}

void Put16(Bytes& bytes, std::uint32_t number)
{
    bytes.push_back(static_cast<std::uint8_t>(number >> 8U));
    bytes.push_back(static_cast<std::uint8_t>(number));
}

void Put32(Bytes& bytes, std::uint32_t number)
{
    Put16(bytes, number >> 16U);
    Put16(bytes, number & 0xFFFFU);
}

void Put(Bytes& bytes, const Address& address)
{
    bytes.insert(bytes.end(), address.begin(), address.end());
}

std::uint16_t Get16(View bytes, std::size_t at) noexcept
{
    return static_cast<std::uint16_t>((bytes[at] << 8U) | bytes[at + 1]);
}

std::uint32_t Get32(View bytes, std::size_t at) noexcept
{
    return (static_cast<std::uint32_t>(Get16(bytes, at)) << 16U) | Get16(bytes, at + 2);
}

Address GetAddress(View bytes, std::size_t at) noexcept
{
    return {bytes[at], bytes[at + 1], bytes[at + 2], bytes[at + 3]};
}

std::uint16_t Checksum(View bytes) noexcept
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        sum += static_cast<std::uint32_t>(bytes[i]) << (i % 2 == 0 ? 8U : 0U);
    }
    while (sum > 0xFFFFU)
    {
        sum = (sum & 0xFFFFU) + (sum >> 16U);
    }
    return static_cast<std::uint16_t>(~sum);
}

void Set16(Bytes& bytes, std::size_t at, std::uint16_t number)
{
    bytes[at] = static_cast<std::uint8_t>(number >> 8U);
    bytes[at + 1] = static_cast<std::uint8_t>(number);
}

/// Of what comes behind the IP header, together with the addresses.
std::uint16_t TransportChecksum(const Flow& flow, const Bytes& content)
{
    Bytes whole;
    Put(whole, flow.source);
    Put(whole, flow.target);
    Put16(whole, ProtocolOf(flow.kind));
    Put16(whole, static_cast<std::uint32_t>(content.size()));
    whole.insert(whole.end(), content.begin(), content.end());
    return Checksum(whole);
}

Bytes MakeEcho(const Flow& flow, std::uint16_t sequence)
{
    Bytes content = {EchoRequest, 0, 0, 0};
    Put16(content, flow.sourcePort);
    Put16(content, sequence);
    content.resize(IcmpHeader + ProbePayload);
    Set16(content, 2, Checksum(content));
    return content;
}

Bytes MakeDatagram(const Flow& flow)
{
    constexpr std::uint16_t NoChecksum = 0;
    constexpr std::size_t ChecksumAt = 6;
    Bytes content;
    Put16(content, flow.sourcePort);
    Put16(content, flow.targetPort);
    Put16(content, UdpHeader + ProbePayload);
    Put16(content, NoChecksum);
    content.resize(UdpHeader + ProbePayload);
    // A sum of 0 is sent as its other form, because 0 stands for none.
    const std::uint16_t sum = TransportChecksum(flow, content);
    Set16(content, ChecksumAt, sum == NoChecksum ? 0xFFFFU : sum);
    return content;
}

Bytes MakeConnectionRequest(const Flow& flow, std::uint16_t sequence)
{
    constexpr std::uint8_t HeaderWords = TcpHeader / 4;
    constexpr std::uint16_t Window = 1024;
    constexpr std::size_t ChecksumAt = 16;
    Bytes content;
    Put16(content, flow.sourcePort);
    Put16(content, flow.targetPort);
    Put32(content, sequence);
    Put32(content, 0);
    content.push_back(static_cast<std::uint8_t>(HeaderWords << 4U));
    content.push_back(TcpSyn);
    Put16(content, Window);
    Put32(content, 0);
    Set16(content, ChecksumAt, TransportChecksum(flow, content));
    return content;
}

Bytes MakeContent(const Flow& flow, std::uint16_t sequence)
{
    switch (flow.kind)
    {
    case ProbeKind::Echo:
        return MakeEcho(flow, sequence);
    case ProbeKind::Datagram:
        return MakeDatagram(flow);
    case ProbeKind::ConnectionRequest:
        break;
    }
    return MakeConnectionRequest(flow, sequence);
}

/// An IPv4 packet taken apart; `content` may be cut off.
struct IpPacket
{
    std::uint16_t id = 0;
    std::uint8_t protocol = 0;
    Address source = {};
    Address target = {};
    View content;
};

std::optional<IpPacket> ReadIp(View bytes) noexcept
{
    constexpr std::size_t IdAt = 4;
    constexpr std::size_t ProtocolAt = 9;
    constexpr std::size_t SourceAt = 12;
    constexpr std::size_t TargetAt = 16;
    constexpr std::uint8_t Version = 4;
    if (bytes.size() < IpHeader || bytes[0] >> 4U != Version)
    {
        return std::nullopt;
    }
    const std::size_t header = (bytes[0] & 0x0FU) * std::size_t{4};
    if (header < IpHeader || header > bytes.size())
    {
        return std::nullopt;
    }
    return IpPacket{
        Get16(bytes, IdAt), bytes[ProtocolAt], GetAddress(bytes, SourceAt), GetAddress(bytes, TargetAt),
        bytes.subspan(header)};
}

/// Which probe a quoted packet was; nothing for a packet of somebody else.
std::optional<std::uint16_t> RecogniseProbe(const IpPacket& quoted, const Flow& flow) noexcept
{
    if (quoted.protocol != ProtocolOf(flow.kind) || quoted.target != flow.target || quoted.content.size() < Quoted)
    {
        return std::nullopt;
    }
    if (flow.kind == ProbeKind::Echo)
    {
        const bool isOurs = quoted.content[0] == EchoRequest && Get16(quoted.content, 4) == flow.sourcePort;
        return isOurs ? std::optional(Get16(quoted.content, 6)) : std::nullopt;
    }
    if (Get16(quoted.content, 0) != flow.sourcePort || Get16(quoted.content, 2) != flow.targetPort)
    {
        return std::nullopt;
    }
    if (flow.kind == ProbeKind::Datagram)
    {
        return quoted.id;
    }
    const std::uint32_t sequence = Get32(quoted.content, 4);
    return sequence <= 0xFFFFU ? std::optional(static_cast<std::uint16_t>(sequence)) : std::nullopt;
}

std::optional<ProbeReply> ReadIcmp(const IpPacket& packet, const Flow& flow) noexcept
{
    if (packet.content.size() < IcmpHeader)
    {
        return std::nullopt;
    }
    const std::uint8_t type = packet.content[0];
    if (type == EchoReply)
    {
        const bool isOurs =
            flow.kind == ProbeKind::Echo && packet.source == flow.target && Get16(packet.content, 4) == flow.sourcePort;
        return isOurs ? std::optional(ProbeReply{Get16(packet.content, 6), packet.source, true}) : std::nullopt;
    }
    if (type != Unreachable && type != TimeExceeded)
    {
        return std::nullopt;
    }
    const std::optional<IpPacket> quoted = ReadIp(packet.content.subspan(IcmpHeader));
    const std::optional<std::uint16_t> sequence = quoted ? RecogniseProbe(*quoted, flow) : std::nullopt;
    return sequence ? std::optional(ProbeReply{*sequence, packet.source, type == Unreachable}) : std::nullopt;
}

std::optional<ProbeReply> ReadTcp(const IpPacket& packet, const Flow& flow) noexcept
{
    constexpr std::size_t AcknowledgedAt = 8;
    constexpr std::size_t FlagsAt = 13;
    if (flow.kind != ProbeKind::ConnectionRequest || packet.source != flow.target ||
        packet.content.size() < TcpHeader || Get16(packet.content, 0) != flow.targetPort ||
        Get16(packet.content, 2) != flow.sourcePort)
    {
        return std::nullopt;
    }
    const std::uint8_t flags = packet.content[FlagsAt];
    const std::uint32_t sequence = Get32(packet.content, AcknowledgedAt) - 1;
    if ((flags & TcpAck) == 0 || (flags & (TcpSyn | TcpReset)) == 0 || sequence > 0xFFFFU)
    {
        return std::nullopt;
    }
    return ProbeReply{static_cast<std::uint16_t>(sequence), packet.source, true};
}

} // namespace

Address ParseAddress(const std::string& text)
{
    // The address of an endpoint is as strictly read.
    const std::string address = Net::ParseEndpoint(text + ":1").address;
    Address result = {};
    std::size_t at = 0;
    for (std::uint8_t& number : result)
    {
        number = static_cast<std::uint8_t>(std::stoul(address.substr(at)));
        at = address.find('.', at) + 1;
    }
    return result;
}

std::string ToText(const Address& address)
{
    return fmt::format("{}.{}.{}.{}", address[0], address[1], address[2], address[3]);
}

std::size_t ProbeSize(ProbeKind kind) noexcept
{
    switch (kind)
    {
    case ProbeKind::Echo:
        return IpHeader + IcmpHeader + ProbePayload;
    case ProbeKind::Datagram:
        return IpHeader + UdpHeader + ProbePayload;
    case ProbeKind::ConnectionRequest:
        break;
    }
    return IpHeader + TcpHeader;
}

std::vector<std::uint8_t> MakeProbe(const Flow& flow, std::uint16_t sequence, std::uint8_t timeToLive)
{
    constexpr std::uint8_t VersionAndLength = 0x45;
    constexpr std::uint16_t MayNotBeTakenApart = 0x4000;
    constexpr std::size_t ChecksumAt = 10;
    const Bytes content = MakeContent(flow, sequence);
    Bytes packet = {VersionAndLength, 0};
    Put16(packet, static_cast<std::uint32_t>(IpHeader + content.size()));
    Put16(packet, sequence);
    Put16(packet, MayNotBeTakenApart);
    packet.push_back(timeToLive);
    packet.push_back(ProtocolOf(flow.kind));
    Put16(packet, 0);
    Put(packet, flow.source);
    Put(packet, flow.target);
    Set16(packet, ChecksumAt, Checksum(packet));
    packet.insert(packet.end(), content.begin(), content.end());
    return packet;
}

std::optional<ProbeReply> ReadReply(std::span<const std::uint8_t> packet, const Flow& flow) noexcept
{
    const std::optional<IpPacket> read = ReadIp(packet);
    if (!read)
    {
        return std::nullopt;
    }
    switch (read->protocol)
    {
    case Icmp:
        return ReadIcmp(*read, flow);
    case Tcp:
        return ReadTcp(*read, flow);
    default:
        return std::nullopt;
    }
}

} // namespace Lab::Tools
