#include "lab.wire-envelope.hpp"

#include "lab.wire-utf8.hpp"

#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include <google/protobuf/stubs/logging.h>

#include <wire_protocol_v4.pb.h>

#include <gtest/gtest.h>

// The other reading of the schema is that of the generated classes: both must say the same of every byte.

namespace
{

using Lab::Wire::Decode;
using Lab::Wire::Encode;
using Lab::Wire::Envelope;
using Lab::Wire::EnvelopeError;
using Generated = VelRouter::V4_Message;

Generated ToGenerated(const Envelope& envelope)
{
    Generated message;
    message.set_seq_num(envelope.seqNum);
    message.set_src_comp(envelope.srcComp);
    message.set_dst_comp(envelope.dstComp);
    message.set_flags(envelope.flags);
    message.set_status(envelope.status);
    message.set_src_ep(envelope.srcEp);
    message.set_dst_ep(envelope.dstEp);
    message.set_payload(envelope.payload);
    message.set_cache_src_ep(envelope.cacheSrcEp);
    message.set_cache_dst_ep(envelope.cacheDstEp);
    message.set_src_comp_uuid(envelope.srcCompUuid);
    message.set_dst_comp_uuid(envelope.dstCompUuid);
    message.set_cache_src_comp_uuid(envelope.cacheSrcCompUuid);
    message.set_cache_dst_comp_uuid(envelope.cacheDstCompUuid);
    message.set_msg_id(envelope.msgId);
    message.set_has_separate_payload(envelope.hasSeparatePayload);
    message.set_broadcast_name(envelope.broadcastName);
    if (envelope.signature)
    {
        message.mutable_signature()->set_timestamp(envelope.signature->timestamp);
        message.mutable_signature()->set_fingerprint(envelope.signature->fingerprint);
        message.mutable_signature()->set_signature(envelope.signature->signature);
        message.mutable_signature()->set_version(envelope.signature->version);
    }
    return message;
}

class RandomEnvelope
{
public:
    Envelope Make()
    {
        Envelope envelope;
        for (std::uint32_t Envelope::*number :
             {&Envelope::seqNum, &Envelope::srcComp, &Envelope::dstComp, &Envelope::flags, &Envelope::status,
              &Envelope::cacheSrcEp, &Envelope::cacheDstEp, &Envelope::cacheSrcCompUuid, &Envelope::cacheDstCompUuid,
              &Envelope::msgId})
        {
            envelope.*number = Number();
        }
        for (std::string Envelope::*text :
             {&Envelope::srcEp, &Envelope::dstEp, &Envelope::srcCompUuid, &Envelope::dstCompUuid,
              &Envelope::broadcastName})
        {
            envelope.*text = Text();
        }
        envelope.payload = Text() + "\xFF\x00\x80";
        envelope.hasSeparatePayload = Chance();
        if (Chance())
        {
            envelope.signature = {(static_cast<std::uint64_t>(Number()) << 32U) | Number(), Text(), Text(), Number()};
        }
        return envelope;
    }

private:
    bool Chance()
    {
        return m_engine() % 2 == 0;
    }

    std::uint32_t Number()
    {
        return Chance() ? 0 : static_cast<std::uint32_t>(m_engine() >> (m_engine() % 32));
    }

    std::string Text()
    {
        return Chance() ? std::string() : std::string(m_engine() % 300, static_cast<char>('a' + m_engine() % 26));
    }

    std::mt19937 m_engine{20'261'121};
};

TEST(EnvelopeTest, IsEncodedByteForByteAsByTheGeneratedClass)
{
    RandomEnvelope random;
    for (int i = 0; i < 500; ++i)
    {
        const Envelope envelope = random.Make();
        ASSERT_EQ(Encode(envelope), ToGenerated(envelope).SerializeAsString());
    }
}

TEST(EnvelopeTest, ComesBackFromItsBytes)
{
    RandomEnvelope random;
    for (int i = 0; i < 500; ++i)
    {
        const Envelope envelope = random.Make();
        ASSERT_EQ(Decode(Encode(envelope)), envelope);
    }
}

TEST(EnvelopeTest, ExtremeNumbersAreKept)
{
    Envelope envelope;
    envelope.seqNum = std::numeric_limits<std::uint32_t>::max();
    envelope.signature = {std::numeric_limits<std::uint64_t>::max(), "", "", 1};
    EXPECT_EQ(Decode(Encode(envelope)), envelope);
    EXPECT_EQ(Encode(envelope), ToGenerated(envelope).SerializeAsString());
}

TEST(EnvelopeTest, NothingIsAnEnvelopeWithDefaults)
{
    EXPECT_EQ(Decode(""), Envelope());
    EXPECT_EQ(Encode(Envelope()), "");
}

TEST(EnvelopeTest, ASignatureOfDefaultsIsThereAllTheSame)
{
    Envelope envelope;
    envelope.signature.emplace();
    EXPECT_EQ(Encode(envelope), std::string("\x82\x01\x00", 3));
    EXPECT_TRUE(Decode(Encode(envelope)).signature.has_value());
}

/// What both readers say of the same bytes: nothing when it is no envelope.
void ExpectAgreement(const std::string& bytes)
{
    // A text that is no UTF-8 would be reported by a line.
    const google::protobuf::LogSilencer silence;
    Generated message;
    const bool isGood = message.ParseFromString(bytes);
    try
    {
        const Envelope envelope = Decode(bytes);
        EXPECT_TRUE(isGood) << "the generated class refuses what is taken here";
        message.DiscardUnknownFields();
        EXPECT_EQ(Encode(envelope), message.SerializeAsString());
    }
    catch (const EnvelopeError& problem)
    {
        EXPECT_FALSE(isGood) << problem.what();
    }
}

TEST(EnvelopeTest, TheOddAndTheBrokenAreReadAsByTheGeneratedClass)
{
    const std::string group = "\xCB\x3E\x08\x05\x12\x01x\xCC\x3E";
    const std::vector<std::string> inputs = {
        "\x08",                                             // a number that is missing
        "\x08\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01",     // ten bytes
        "\x08\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01", // eleven
        "\x08\xFF\xFF\xFF\xFF\xFF\x01",                     // more than 32 bits
        "\x08\x01\x08\x02",                                 // twice
        "\x88\x00\x07",                                     // a tag that is longer than it needs to be
        "\x88\x80\x80\x80\x80\x00\x07",                     // too long
        "\x0A\x01x",                                        // another wire type than the schema's
        "\x0D\x01\x02\x03\x04",
        "\x09\x01\x02\x03\x04\x05\x06\x07\x08",
        "\x0D\x01\x02\x03",
        "\x42\x05"
        "abc", // a payload that is cut off
        "\x42\xFF\xFF\xFF\xFF\x07",
        "\x42\xFF\xFF\xFF\xFF\xFF\x01",
        "\x32\x02\xC0\xAF",
        "\x32\x03\xED\xA0\x80",
        "\x42\x02\xC0\xAF", // texts that are no UTF-8, and bytes
        std::string("\x00", 1),
        std::string("\x00\x00", 2),
        "\x07\x00",
        "\x06", // no field, no wire type
        "\x0C",
        "\x0B\x0C",
        "\x0B",
        "\x0B\x14",
        group,
        group + group,
        group.substr(0, 8),
        std::string("\x82\x01\x02\x08\x07\x82\x01\x02\x20\x09", 10), // a signature in two halves
        "\x82\x01\x03\x0A\x01\xFF",
        "\x82\x01\x02\x0B\x0C",
        "\x82\x01\x01\x0C",
        std::string("\x88\x01\x80\x80\x80\x80\x10", 7), // true by its highest bits
        std::string(99, '\x0B') + std::string(99, '\x0C'),
        std::string(100, '\x0B') + std::string(100, '\x0C'),
        std::string(101, '\x0B') + std::string(101, '\x0C')};
    for (const std::string& bytes : inputs)
    {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        ExpectAgreement(bytes);
    }
}

TEST(EnvelopeTest, EveryCutAndEveryFlippedByteIsReadAsByTheGeneratedClass)
{
    RandomEnvelope random;
    const std::string bytes = Encode(random.Make());
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        SCOPED_TRACE(i);
        ExpectAgreement(bytes.substr(0, i));
        for (const unsigned bit : {1U, 4U, 128U})
        {
            std::string flipped = bytes;
            flipped[i] = static_cast<char>(static_cast<unsigned char>(flipped[i]) ^ bit);
            ExpectAgreement(flipped);
        }
    }
}

TEST(EnvelopeTest, AFailureNamesItsPlace)
{
    try
    {
        (void)Decode("\x08\x01\x42\x05x");
        FAIL() << "it was taken";
    }
    catch (const EnvelopeError& problem)
    {
        EXPECT_STREQ(problem.what(), "a block that is cut off at byte 4 of 5");
    }
}

TEST(Utf8Test, OnlyShortestFormsOfCharactersAreTaken)
{
    using Lab::Wire::IsUtf8;
    for (const char* text :
         {"", "a", "\xC3\xA9", "\xE2\x82\xAC", "\xED\x9F\xBF", "\xEE\x80\x80", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"})
    {
        EXPECT_TRUE(IsUtf8(text)) << text;
    }
    for (const char* text :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3\x28", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "a\xFF"})
    {
        EXPECT_FALSE(IsUtf8(text)) << text;
    }
}

} // namespace
