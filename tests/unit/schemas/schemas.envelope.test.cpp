// The one message that travels as binary, against bytes that were written by hand.

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "wire_protocol_v4.pb.h"

namespace
{

constexpr int Varint = 0;
constexpr int Bytes = 2;

std::string Number(std::uint64_t value)
{
    std::string bytes;
    for (; value > 0x7F; value >>= 7)
    {
        bytes.push_back(static_cast<char>((value & 0x7F) | 0x80));
    }
    bytes.push_back(static_cast<char>(value));
    return bytes;
}

std::string Field(std::uint32_t number, std::uint64_t value)
{
    return Number(number << 3 | Varint) + Number(value);
}

std::string Field(std::uint32_t number, const std::string& value)
{
    return Number(number << 3 | Bytes) + Number(value.size()) + value;
}

const std::string Payload("\0\xFF{}\x04\x22\x4D\x18", 8);

/// All fields, each with a value of its own.
VelRouter::V4::Message FullMessage()
{
    VelRouter::V4::Message message;
    message.set_seq_num(20001);
    message.set_src_comp(55);
    message.set_dst_comp(103);
    message.set_flags(1032);
    message.set_status(255);
    message.set_src_ep("from");
    message.set_dst_ep("to");
    message.set_payload(Payload);
    message.set_cache_src_ep(9);
    message.set_cache_dst_ep(10);
    message.set_src_comp_uuid("from-uuid");
    message.set_dst_comp_uuid("to-uuid");
    message.set_cache_src_comp_uuid(13);
    message.set_cache_dst_comp_uuid(14);
    message.set_msg_id(24002);
    auto& signature = *message.mutable_signature();
    signature.set_timestamp(1700000000000);
    signature.set_fingerprint("print");
    signature.set_signature("signed");
    signature.set_version(4294967295);
    message.set_has_separate_payload(true);
    message.set_broadcast_name("all");
    return message;
}

std::string FullBytes()
{
    const auto signature =
        Field(1, 1700000000000) + Field(2, "print") + Field(3, "signed") + Field(4, std::uint64_t{4294967295});
    return Field(1, 20001) + Field(2, 55) + Field(3, 103) + Field(4, 1032) + Field(5, 255) + Field(6, "from") +
        Field(7, "to") + Field(8, Payload) + Field(9, 9) + Field(10, 10) + Field(11, "from-uuid") +
        Field(12, "to-uuid") + Field(13, 13) + Field(14, 14) + Field(15, 24002) + Field(16, signature) + Field(17, 1) +
        Field(18, "all");
}

} // namespace

TEST(SchemaEnvelopeTest, AFullMessageHasTheBytesOfTheProtocol)
{
    EXPECT_EQ(FullMessage().SerializeAsString(), FullBytes());
}

TEST(SchemaEnvelopeTest, TheBytesOfTheProtocolAreReadInFull)
{
    VelRouter::V4::Message message;
    const auto bytes = FullBytes();
    ASSERT_TRUE(message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    EXPECT_EQ(message.payload(), Payload);
    EXPECT_EQ(message.signature().timestamp(), 1700000000000);
    EXPECT_EQ(message.SerializeAsString(), FullMessage().SerializeAsString());
}

TEST(SchemaEnvelopeTest, TheFirstBytesStandAsTheyAreWritten)
{
    VelRouter::V4::Message message;
    message.set_seq_num(20001);
    message.set_payload("{}");
    message.set_msg_id(24002);
    EXPECT_EQ(message.SerializeAsString(), "\x08\xA1\x9C\x01\x42\x02{}\x78\xC2\xBB\x01");
}

TEST(SchemaEnvelopeTest, AnEmptyMessageHasNoBytes)
{
    EXPECT_EQ(VelRouter::V4::Message().SerializeAsString(), "");
    EXPECT_TRUE(VelRouter::V4::Message().ParseFromString(""));
}

TEST(SchemaEnvelopeTest, CutBytesAreRefused)
{
    const auto bytes = FullBytes();
    VelRouter::V4::Message message;
    EXPECT_FALSE(message.ParseFromString(bytes.substr(0, bytes.size() - 1)));
    EXPECT_FALSE(message.ParseFromString(bytes.substr(0, 1)));
}

TEST(SchemaEnvelopeTest, AFieldOfALaterVersionPassesThrough)
{
    const auto bytes = FullBytes() + Field(99, "later");
    VelRouter::V4::Message message;
    ASSERT_TRUE(message.ParseFromString(bytes));
    EXPECT_EQ(message.msg_id(), 24002U);
    EXPECT_EQ(message.SerializeAsString(), bytes);
}
