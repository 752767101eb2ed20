#include "wireprotocol.comms-functions.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.time-clock.hpp"
#include "test.comms-frames.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <comms_protocol.pb.h>
#include <component.pb.h>
#include <config_mgr.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <msg_ids.pb.h>

namespace
{

using namespace WireProtocol::Comms;
using Shared::Log::Level;
using TestComms::Decompress;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

VelRouter::V4_Message Parsed(const std::vector<std::uint8_t>& bytes)
{
    VelRouter::V4_Message message;
    EXPECT_TRUE(message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    return message;
}

/// Whether it is no message; told in the one way.
bool IsRefused(const std::vector<std::uint8_t>& frame)
{
    try
    {
        (void)DecodeRouterMessage(frame);
        return false;
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        EXPECT_TRUE(std::string_view(exception.what()).ends_with("Failed to decode VelRouter::V4_Message."));
        return true;
    }
}

std::vector<std::uint8_t> BytesOf(const VelRouter::V4_Message& message)
{
    const std::string text = message.SerializeAsString();
    return {text.begin(), text.end()};
}

TEST(SerialiseTest, FillsTheEnvelopeAndNothingElse)
{
    const VelRouter::V4_Message message = Parsed(Serialise(24002, 103, "{}", 77, 1024));
    VelRouter::V4_Message expected;
    expected.set_seq_num(77);
    expected.set_msg_id(24002);
    expected.set_src_comp(55);
    expected.set_dst_comp(103);
    expected.set_src_comp_uuid("00000000-0000-f000-f000-000000000055");
    expected.set_flags(1024 | 8);
    expected.set_payload(message.payload());
    EXPECT_EQ(message.SerializeAsString(), expected.SerializeAsString());
    EXPECT_EQ(Decompress(message.payload()), "{}");
}

TEST(SerialiseTest, TheBitOfTheCompressionIsSetWhateverTheCallerPasses)
{
    EXPECT_EQ(Parsed(Serialise(1, 2, "x", 3, 0)).flags(), 8U);
    EXPECT_EQ(Parsed(Serialise(1, 2, "x", 3, 8)).flags(), 8U);
    EXPECT_EQ(Parsed(Serialise(1, 2, "x", 3, 0xFFFFFFFF)).flags(), 0xFFFFFFFFU);
}

TEST(SerialiseTest, AnEmptyPayloadStaysEmptyAndIsFlaggedAllTheSame)
{
    const VelRouter::V4_Message message = Parsed(Serialise(24001, 103, {}, 5, 0));
    EXPECT_EQ(message.payload(), "");
    EXPECT_EQ(message.flags(), 8U);
}

TEST(SerialiseTest, LogsThePayloadBeforeItsCompression)
{
    const TestSupport::CapturedLog log;
    (void)Serialise(24000, 103, "{ \"version\": \"1\" }", 12, 0);
    EXPECT_EQ(
        log.Count(
            Level::Info,
            "Serialised message:\n  MsgId: MSGIDS_AGENT_REGISTER_REQUEST (24000)\n  SeqNum: 12\n  Payload: { \"version\": "
            "\"1\" }"),
        1U);
}

TEST(SerialiseTest, APayloadOfManyBlocksArrivesWhole)
{
    const std::string payload = TestComms::TextOf(200'000);
    EXPECT_TRUE(Decompress(Parsed(Serialise(24002, 103, payload, 1, 0)).payload()) == payload);
}

TEST(SerialiseConfigGet2RequestTest, AsksForOneTree)
{
    const VelRouter::V4_Message message = Parsed(SerialiseConfigGet2Request(9, "/config/tests", {}, 4));
    EXPECT_EQ(message.msg_id(), 6005U);
    EXPECT_EQ(message.dst_comp(), 6U);
    EXPECT_EQ(message.seq_num(), 9U);
    EXPECT_EQ(message.flags(), 8U);
    ConfigGet2Request request;
    Shared::Protobuf::ParseJSON(Decompress(message.payload()), request);
    EXPECT_EQ(request.uuid(), "ffffffff-ffff-ffff-ffff-ffffffffffff");
    EXPECT_THAT(request.trees(), ElementsAre("/config/tests"));
    EXPECT_THAT(request.keys(), IsEmpty());
    EXPECT_TRUE(request.include_hashes());
    EXPECT_FALSE(request.include_kv_pairs());
    EXPECT_EQ(request.account(), 4U);
}

TEST(SerialiseConfigGet2RequestTest, AnEmptyTreeNameAsksForNoTreeAndStillForItsKeys)
{
    const VelRouter::V4_Message message = Parsed(SerialiseConfigGet2Request(9, "", {"a", "b"}, 0));
    ConfigGet2Request request;
    Shared::Protobuf::ParseJSON(Decompress(message.payload()), request);
    EXPECT_THAT(request.trees(), IsEmpty());
    EXPECT_THAT(request.keys(), ElementsAre("a", "b"));
}

TEST(DecodeRouterMessageTest, ReadsWhatTheRouterWrote)
{
    VelRouter::V4_Message message;
    message.set_seq_num(3);
    message.set_payload(std::string("{\0}", 3));
    EXPECT_EQ(DecodeRouterMessage(BytesOf(message)).SerializeAsString(), message.SerializeAsString());
}

TEST(DecodeRouterMessageTest, AnEmptyMessageIsAMessageOfDefaults)
{
    EXPECT_EQ(DecodeRouterMessage({}).ByteSizeLong(), 0U);
}

TEST(DecodeRouterMessageTest, RefusesWhatIsNone)
{
    VelRouter::V4_Message message;
    message.set_payload("something");
    std::vector<std::uint8_t> cut = BytesOf(message);
    cut.pop_back();
    for (const std::vector<std::uint8_t>& bytes : {cut, std::vector<std::uint8_t>(20, std::uint8_t{0xFF})})
    {
        EXPECT_EQ(
            TestSupport::RuntimeText([&] { (void)DecodeRouterMessage(bytes); }),
            "Failed to decode VelRouter::V4_Message.");
    }
}

TEST(DecodeRouterMessageTest, RefusesAFrameThatIsCutAnywhere)
{
    VelRouter::V4_Message message;
    message.set_payload(std::string(300, 'x'));
    const std::vector<std::uint8_t> whole = BytesOf(message);
    for (std::size_t size = 1; size < whole.size(); ++size)
    {
        EXPECT_TRUE(IsRefused({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
    }
    EXPECT_FALSE(IsRefused(whole));
}

TEST(DecodeRouterMessageTest, RefusesAFrameThatPromisesMoreThanItHas)
{
    // Of the payload: 2 GiB less one, 4 GiB less one, and more than 64 bits; and a few bytes.
    constexpr std::string_view PayloadTag = "\x42";
    for (const std::string_view length :
         {std::string_view("\xFF\xFF\xFF\xFF\x07"), std::string_view("\xFF\xFF\xFF\xFF\x0F"),
          std::string_view("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF")})
    {
        const std::string frame = std::string(PayloadTag).append(length).append(100, 'x');
        EXPECT_TRUE(IsRefused({frame.begin(), frame.end()}));
    }
}

TEST(DecodeRouterMessageTest, ReadsAPayloadOfManyMegabytes)
{
    VelRouter::V4_Message message;
    message.set_payload(std::string(std::size_t{64} * 1024 * 1024, 'x'));
    EXPECT_EQ(DecodeRouterMessage(BytesOf(message)).payload().size(), message.payload().size());
}

TEST(DecodeRouterMessageTest, RandomBytesAreRefusedOrMeanTheSameWhenTheyAreWrittenAgain)
{
    const google::protobuf::LogSilencer silence;
    std::uint32_t state = 1;
    const auto next = [&state]
    {
        state = state * 1664525U + 1013904223U;
        return static_cast<std::uint8_t>(state >> 24);
    };
    int refused = 0;
    int read = 0;
    for (int i = 0; i < 20'000; ++i)
    {
        std::vector<std::uint8_t> frame(next() % 24U);
        std::generate(frame.begin(), frame.end(), next);
        if (IsRefused(frame))
        {
            ++refused;
            continue;
        }
        ++read;
        const VelRouter::V4_Message message = DecodeRouterMessage(frame);
        EXPECT_EQ(DecodeRouterMessage(BytesOf(message)).SerializeAsString(), message.SerializeAsString());
    }
    EXPECT_GT(refused, 1000);
    EXPECT_GT(read, 1000);
}

TEST(DecodeRouterMessageTest, AMessageOfAnotherTypeIsReadByTheNumbersOfItsFields)
{
    ConfigGet2Request request;
    request.set_uuid("ffffffff-ffff-ffff-ffff-ffffffffffff");
    request.add_trees("/config/tests");
    request.set_include_hashes(true);
    request.set_account(7);
    const std::string text = request.SerializeAsString();
    const VelRouter::V4_Message message = DecodeRouterMessage({text.begin(), text.end()});
    EXPECT_EQ(message.seq_num(), 0U) << "a text is no number";
    EXPECT_EQ(message.src_comp(), 0U);
    EXPECT_EQ(message.dst_comp(), 1U) << "a truth value is one";
    EXPECT_EQ(message.src_ep(), "") << "and a number is no text";
    EXPECT_EQ(message.payload(), "");
}

TEST(DecodeRouterMessageTest, LeavesACompressedPayloadAsItIs)
{
    const std::vector<std::uint8_t> bytes = Serialise(24002, 103, "{}", 77, 0);
    EXPECT_EQ(DecodeRouterMessage(bytes).payload(), Parsed(bytes).payload());
}

TEST(RouterMessageToInboundMessageTest, CopiesTheFieldsAndTakesTheTime)
{
    VelRouter::V4_Message message;
    message.set_seq_num(3);
    message.set_msg_id(24101);
    message.set_payload("{}");
    message.set_flags(1025);
    const auto before = Shared::Time::MonotonicNow();
    const TestSupport::CapturedLog log;
    const InboundMessage inbound = RouterMessageToInboundMessage(std::move(message));
    EXPECT_EQ(inbound.SeqNum, 3U);
    EXPECT_EQ(inbound.MsgId, 24101U);
    EXPECT_EQ(inbound.Payload, "{}");
    EXPECT_EQ(inbound.Flags, 1025U);
    EXPECT_EQ(inbound.DeliveryFailed, 0U);
    EXPECT_GE(inbound.ReceivedAt, before);
    EXPECT_LE(inbound.ReceivedAt, Shared::Time::MonotonicNow());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(RouterMessageToInboundMessageTest, AFailedDeliveryIsReportedAndMarkedAndGoesOn)
{
    for (const std::uint32_t status : {2U, 255U, 4'000'000'000U})
    {
        VelRouter::V4_Message message;
        message.set_msg_id(24003);
        message.set_status(status);
        const TestSupport::CapturedLog log;
        const InboundMessage inbound = RouterMessageToInboundMessage(message);
        EXPECT_EQ(inbound.DeliveryFailed, 1U);
        EXPECT_EQ(inbound.MsgId, 24003U);
        EXPECT_EQ(
            log.Count(Level::Error, "The server responded with a delivery failure: " + std::to_string(status)), 1U);
    }
}

TEST(IsAcknowledgementTest, OnlyTheBareFlagOfADeliveredMessageIsOne)
{
    const auto isAcknowledgement = [](std::uint32_t flags, std::uint32_t status)
    {
        VelRouter::V4_Message message;
        message.set_flags(flags);
        message.set_status(status);
        return IsAcknowledgement(message);
    };
    EXPECT_TRUE(isAcknowledgement(1, 0));
    EXPECT_FALSE(isAcknowledgement(1025, 0));
    EXPECT_FALSE(isAcknowledgement(0, 0));
    EXPECT_FALSE(isAcknowledgement(1, 4));
}

TEST(FormatMessageIdTest, NamesTheIdsOfTheOrdinaryExchanges)
{
    constexpr std::array<std::pair<std::uint32_t, const char*>, 11> Names = {
        {{6005, "MSGIDS_CONFIG_GET2_REQUEST (6005)"},
         {6006, "MSGIDS_CONFIG_GET2_RESPONSE (6006)"},
         {6051, "MSGIDS_CONFIG_ATTACH_INSTANCE (6051)"},
         {6054, "MSGIDS_CONFIG_ATTACH_RESULT (6054)"},
         {24000, "MSGIDS_AGENT_REGISTER_REQUEST (24000)"},
         {24001, "MSGIDS_AGENT_STARTUP_REQUEST (24001)"},
         {24002, "MSGIDS_AGENT_POLL_REQUEST (24002)"},
         {24100, "MSGIDS_AGENT_REGISTER_RESPONSE (24100)"},
         {24101, "MSGIDS_AGENT_STARTUP_RESPONSE (24101)"},
         {24102, "MSGIDS_AGENT_POLL_RESPONSE (24102)"},
         {24104, "MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST (24104)"}}};
    for (const auto& [id, text] : Names)
    {
        EXPECT_EQ(FormatMessageId(id), text);
    }
}

TEST(FormatMessageIdTest, EveryOtherIdIsUnknownHistoricPollsToo)
{
    EXPECT_EQ(FormatMessageId(24003), "unknown (24003)");
    EXPECT_EQ(FormatMessageId(0), "unknown (0)");
    EXPECT_EQ(FormatMessageId(4'294'967'295), "unknown (4294967295)");
}

} // namespace
