#include "agentcore.tests-icmpmessage.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace AgentCore::Tests::Icmp;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using Message = std::vector<std::uint8_t>;

constexpr std::string_view Text = "ICMP SEND DATA";

std::span<const std::uint8_t> Payload()
{
    return {reinterpret_cast<const std::uint8_t*>(Text.data()), Text.size()};
}

/// The reply that a host sends to the request with this key.
Message Reply(const EchoKey& key)
{
    auto message = BuildEchoRequest(key, Payload());
    message[0] = 0;
    return message;
}

TEST(IcmpMessageTest, ARequestIsAHeaderWithItsChecksumAndThePayload)
{
    const std::array<std::uint8_t, 3> payload = {1, 2, 3};
    // By hand: 0800 + 1234 + 0005 + 0102 + 0300 = 1E3B, complemented.
    EXPECT_THAT(BuildEchoRequest({0x1234, 5}, payload), ElementsAre(8, 0, 0xE1, 0xC4, 0x12, 0x34, 0, 5, 1, 2, 3));
}

TEST(IcmpMessageTest, TheChecksumOverAMessageWithItsOwnIsZero)
{
    EXPECT_EQ(ComputeChecksum(BuildEchoRequest({0xFFFF, 0xFFFF}, Payload())), 0);
    EXPECT_EQ(ComputeChecksum(Message(65535, 0xFF)), 0x00FF);
}

TEST(IcmpMessageTest, TheReplyTellsHowMuchPayloadCameBack)
{
    EXPECT_THAT(ReadEchoReply(Reply({7, 9}), {7, 9}, Payload()), Optional(14));
}

TEST(IcmpMessageTest, AReplyWithAnotherIdentifierOrSequenceIsSomebodyElses)
{
    EXPECT_EQ(ReadEchoReply(Reply({7, 9}), {8, 9}, Payload()), std::nullopt);
    EXPECT_EQ(ReadEchoReply(Reply({7, 9}), {7, 8}, Payload()), std::nullopt);
}

TEST(IcmpMessageTest, AReplyWithAnotherPayloadIsSomebodyElses)
{
    auto reply = Reply({7, 9});
    reply.back() ^= 1;
    EXPECT_EQ(ReadEchoReply(reply, {7, 9}, Payload()), std::nullopt);
}

TEST(IcmpMessageTest, AReplyThatWasCutTellsWhatIsLeft)
{
    auto reply = Reply({7, 9});
    reply.resize(10);
    EXPECT_THAT(ReadEchoReply(reply, {7, 9}, Payload()), Optional(2));
}

TEST(IcmpMessageTest, AReplyWithMoreThanTheRequestsPayloadTellsAllOfIt)
{
    auto reply = Reply({7, 9});
    reply.resize(reply.size() + 100);
    EXPECT_THAT(ReadEchoReply(reply, {7, 9}, Payload()), Optional(114));
    reply.resize(100'000);
    EXPECT_THAT(ReadEchoReply(reply, {7, 9}, Payload()), Optional(65535));
}

TEST(IcmpMessageTest, AHeaderThatWasCutIsNoMessage)
{
    auto reply = Reply({7, 9});
    reply.resize(7);
    EXPECT_EQ(ReadEchoReply(reply, {7, 9}, Payload()), std::nullopt);
    EXPECT_EQ(ReadEchoReply({}, {0, 0}, {}), std::nullopt);
    EXPECT_FALSE(IsEchoRequest({}, {0, 0}));
}

TEST(IcmpMessageTest, TheRequestItselfIsNoReply)
{
    EXPECT_EQ(ReadEchoReply(BuildEchoRequest({7, 9}, Payload()), {7, 9}, Payload()), std::nullopt);
}

TEST(IcmpMessageTest, TheRequestIsKnownByItsHeaderAlone)
{
    auto request = BuildEchoRequest({7, 9}, Payload());
    request.resize(8);
    EXPECT_TRUE(IsEchoRequest(request, {7, 9}));
    EXPECT_FALSE(IsEchoRequest(request, {7, 10}));
    EXPECT_FALSE(IsEchoRequest(Reply({7, 9}), {7, 9}));
}

TEST(IcmpMessageTest, TheIpHeaderIsSkippedByItsOwnLength)
{
    Message datagram(24 + 3);
    datagram[0] = 0x46;
    datagram[24] = 42;
    ASSERT_EQ(SkipIpHeader(datagram).size(), 3U);
    EXPECT_EQ(SkipIpHeader(datagram).front(), 42);
}

TEST(IcmpMessageTest, ADamagedIpHeaderHasNothingBehindIt)
{
    Message datagram(20);
    datagram[0] = 0x44; // too short to be a header
    EXPECT_THAT(SkipIpHeader(datagram), IsEmpty());
    datagram[0] = 0x4F; // longer than what is there
    EXPECT_THAT(SkipIpHeader(datagram), IsEmpty());
    datagram[0] = 0x65; // of another version
    EXPECT_THAT(SkipIpHeader(datagram), IsEmpty());
    datagram.resize(19);
    datagram[0] = 0x45;
    EXPECT_THAT(SkipIpHeader(datagram), IsEmpty());
}

TEST(IcmpMessageTest, ErrorsAreToldByTheNumbersOfWindows)
{
    EXPECT_EQ(ToIpStatus(3, 0), 11002U);
    EXPECT_EQ(ToIpStatus(3, 1), 11003U);
    EXPECT_EQ(ToIpStatus(3, 2), 11004U);
    EXPECT_EQ(ToIpStatus(3, 3), 11005U);
    EXPECT_EQ(ToIpStatus(3, 4), 11009U);
    EXPECT_EQ(ToIpStatus(3, 13), 11003U);
    EXPECT_EQ(ToIpStatus(11, 0), 11013U);
    EXPECT_EQ(ToIpStatus(11, 1), 11014U);
    EXPECT_EQ(ToIpStatus(12, 0), 11015U);
}

TEST(IcmpMessageTest, RemarksAreNoErrors)
{
    EXPECT_EQ(ToIpStatus(4, 0), std::nullopt);
    EXPECT_EQ(ToIpStatus(5, 1), std::nullopt);
}

TEST(IcmpMessageTest, NoErrorIsTakenForASuccess)
{
    for (unsigned type = 0; type < 256; ++type)
    {
        for (unsigned code = 0; code < 256; ++code)
        {
            const auto status = ToIpStatus(static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(code));
            EXPECT_GE(status.value_or(11002), 11002U) << type << ", " << code;
        }
    }
    EXPECT_EQ(ToIpStatus(3, 200), 11040U);
    EXPECT_EQ(ToIpStatus(11, 200), 11041U);
    EXPECT_EQ(ToIpStatus(200, 0), 11044U);
}

} // namespace
