#include "lab.tools-probepackets.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using Lab::Tools::Address;
using Lab::Tools::Flow;
using Lab::Tools::MakeProbe;
using Lab::Tools::ProbeKind;
using Lab::Tools::ProbeReply;
using Lab::Tools::ReadReply;
using Bytes = std::vector<std::uint8_t>;

constexpr Address Source = {192, 0, 2, 1};
constexpr Address Target = {198, 51, 100, 7};
constexpr Address Router = {203, 0, 113, 5};
constexpr std::uint8_t Icmp = 1;
constexpr std::uint8_t Tcp = 6;

Flow FlowOf(ProbeKind kind)
{
    return {kind, Source, Target, 40'000, 80};
}

constexpr ProbeKind Kinds[] = {ProbeKind::Echo, ProbeKind::Datagram, ProbeKind::ConnectionRequest};

/// A packet from somebody to the source, with this behind its header.
Bytes Packet(const Address& from, std::uint8_t protocol, const Bytes& content, std::size_t optionWords = 0)
{
    Bytes packet(20 + 4 * optionWords);
    packet[0] = static_cast<std::uint8_t>(0x45 + optionWords);
    packet[9] = protocol;
    for (std::size_t i = 0; i < from.size(); ++i)
    {
        packet[12 + i] = from[i];
        packet[16 + i] = Source[i];
    }
    packet.insert(packet.end(), content.begin(), content.end());
    return packet;
}

Bytes Message(std::uint8_t type, const Bytes& quoted)
{
    Bytes content = {type, 0, 0, 0, 0, 0, 0, 0};
    content.insert(content.end(), quoted.begin(), quoted.end());
    return content;
}

std::uint32_t SumOf(const Bytes& bytes)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        sum += static_cast<std::uint32_t>(bytes[i]) << (i % 2 == 0 ? 8U : 0U);
    }
    while (sum > 0xFFFF)
    {
        sum = (sum & 0xFFFF) + (sum >> 16U);
    }
    return sum;
}

TEST(ProbePacketsTest, AddressesAreReadAndWritten)
{
    EXPECT_EQ(Lab::Tools::ParseAddress("192.0.2.1"), Source);
    EXPECT_EQ(Lab::Tools::ToText(Target), "198.51.100.7");
    for (const char* const text : {"", "1.2.3", "1.2.3.4.5", "256.0.0.1", "1.2.3.4:5", "host", "1.2.3.-4"})
    {
        EXPECT_THROW((void)Lab::Tools::ParseAddress(text), std::invalid_argument) << text;
    }
}

TEST(ProbePacketsTest, AProbeIsAWholePacketWithGoodSums)
{
    for (const ProbeKind kind : Kinds)
    {
        const Bytes packet = MakeProbe(FlowOf(kind), 0x1234, 7);
        ASSERT_EQ(packet.size(), Lab::Tools::ProbeSize(kind));
        EXPECT_EQ((packet[2] << 8U) | packet[3], static_cast<int>(packet.size()));
        EXPECT_EQ(packet[8], 7);
        EXPECT_EQ(SumOf({packet.begin(), packet.begin() + 20}), 0xFFFFU);
        Bytes summed(packet.begin() + 20, packet.end());
        if (kind != ProbeKind::Echo)
        {
            const auto size = static_cast<std::uint8_t>(summed.size());
            const Bytes pseudo = {192, 0, 2, 1, 198, 51, 100, 7, 0, packet[9], 0, size};
            summed.insert(summed.begin(), pseudo.begin(), pseudo.end());
        }
        EXPECT_EQ(SumOf(summed), 0xFFFFU);
    }
}

TEST(ProbePacketsTest, AQuotedProbeIsRecognised)
{
    for (const ProbeKind kind : Kinds)
    {
        const Bytes probe = MakeProbe(FlowOf(kind), 77, 3);
        const Bytes quoted(probe.begin(), probe.begin() + 28);
        EXPECT_EQ(ReadReply(Packet(Router, Icmp, Message(11, quoted)), FlowOf(kind)), (ProbeReply{77, Router, false}));
        EXPECT_EQ(ReadReply(Packet(Target, Icmp, Message(3, probe)), FlowOf(kind)), (ProbeReply{77, Target, true}));
        EXPECT_EQ(
            ReadReply(Packet(Router, Icmp, Message(11, quoted), 3), FlowOf(kind)), (ProbeReply{77, Router, false}));
    }
}

TEST(ProbePacketsTest, AProbeOfAnotherFlowIsNot)
{
    for (const ProbeKind kind : Kinds)
    {
        const Bytes answer = Packet(Router, Icmp, Message(11, MakeProbe(FlowOf(kind), 77, 3)));
        for (const ProbeKind other : Kinds)
        {
            EXPECT_EQ(ReadReply(answer, FlowOf(other)).has_value(), other == kind);
        }
        Flow port = FlowOf(kind);
        port.sourcePort = 40'001;
        EXPECT_FALSE(ReadReply(answer, port).has_value());
        Flow target = FlowOf(kind);
        target.target = Router;
        EXPECT_FALSE(ReadReply(answer, target).has_value());
    }
}

TEST(ProbePacketsTest, WhatIsCutOffIsNothing)
{
    for (const ProbeKind kind : Kinds)
    {
        const Bytes probe = MakeProbe(FlowOf(kind), 77, 3);
        const Bytes whole = Packet(Router, Icmp, Message(11, {probe.begin(), probe.begin() + 28}));
        for (std::size_t size = 0; size < whole.size(); ++size)
        {
            EXPECT_FALSE(ReadReply({whole.data(), size}, FlowOf(kind)).has_value()) << size;
        }
    }
}

TEST(ProbePacketsTest, OtherMessagesAboutAProbeAreNothing)
{
    const Bytes probe = MakeProbe(FlowOf(ProbeKind::Echo), 77, 3);
    for (const std::uint8_t type : Bytes{4, 5, 8, 12, 13})
    {
        EXPECT_FALSE(ReadReply(Packet(Router, Icmp, Message(type, probe)), FlowOf(ProbeKind::Echo)).has_value());
    }
}

TEST(ProbePacketsTest, AnEchoReplyIsTheTargetsOwn)
{
    const Bytes reply = {0, 0, 0, 0, 0x9C, 0x40, 0, 77};
    EXPECT_EQ(ReadReply(Packet(Target, Icmp, reply), FlowOf(ProbeKind::Echo)), (ProbeReply{77, Target, true}));
    EXPECT_FALSE(ReadReply(Packet(Router, Icmp, reply), FlowOf(ProbeKind::Echo)).has_value());
    EXPECT_FALSE(ReadReply(Packet(Target, Icmp, reply), FlowOf(ProbeKind::Datagram)).has_value());
}

TEST(ProbePacketsTest, ASegmentOfTheTargetAnswersAConnectionRequest)
{
    Bytes segment(20);
    segment[1] = 80;
    segment[2] = 0x9C;
    segment[3] = 0x40;
    segment[11] = 78;
    const Flow flow = FlowOf(ProbeKind::ConnectionRequest);
    const auto read = [&](std::uint8_t flags)
    {
        segment[13] = flags;
        return ReadReply(Packet(Target, Tcp, segment), flow);
    };
    constexpr std::uint8_t SynAck = 0x12;
    constexpr std::uint8_t ResetAck = 0x14;
    constexpr std::uint8_t Ack = 0x10;
    constexpr std::uint8_t Reset = 0x04;
    EXPECT_EQ(read(SynAck), (ProbeReply{77, Target, true}));
    EXPECT_EQ(read(ResetAck), (ProbeReply{77, Target, true}));
    EXPECT_FALSE(read(Ack).has_value());
    EXPECT_FALSE(read(Reset).has_value());
    segment[8] = 1;
    EXPECT_FALSE(read(SynAck).has_value());
}

} // namespace
