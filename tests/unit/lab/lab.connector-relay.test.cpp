#include "lab.connector-relay.hpp"

#include "lab.wire-envelope.hpp"
#include "lab.wire-names.hpp"
#include "shared.concurrency-event.hpp"
#include "test.lab-fakes.hpp"
#include "test.support-time.hpp"

#include <optional>
#include <string>
#include <thread>

#include <lz4frame.h>

#include <gmock/gmock.h>

namespace
{

using Lab::Connector::LogLines;
using Lab::Connector::Relay;
using Lab::Connector::RelayEnd;
using Lab::Control::Order;
using Lab::Control::OrderKind;
using Lab::Wire::Envelope;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

std::string Compress(const std::string& content)
{
    std::string frame(LZ4F_compressFrameBound(content.size(), nullptr), '\0');
    frame.resize(LZ4F_compressFrame(frame.data(), frame.size(), content.data(), content.size(), nullptr));
    return frame;
}

/// An envelope as the agent makes one.
Envelope FromAgent(const std::string& payload)
{
    Envelope envelope;
    envelope.seqNum = 17;
    envelope.msgId = Lab::Wire::MsgId::HistoricPollRequest;
    envelope.srcComp = 55;
    envelope.dstComp = 103;
    envelope.srcCompUuid = "00000000-0000-f000-f000-000000000055";
    envelope.flags = Lab::Wire::FlagLz4 | Lab::Wire::FlagAcknowledgementExpected;
    envelope.payload = payload;
    return envelope;
}

class RelayTest : public ::testing::Test
{
protected:
    RelayTest() : m_stop(false, true), m_relay(m_agent, m_cloud, m_orders, m_log, m_stop.GetHandle())
    {
        m_thread = std::thread([this] { m_end = m_relay.Run(); });
    }

    ~RelayTest() override
    {
        m_stop.Signal();
        if (m_thread.joinable())
        {
            m_thread.join();
        }
    }

    RelayEnd AwaitEnd()
    {
        m_thread.join();
        return *m_end;
    }

    std::string ToCloud()
    {
        return m_cloud.TakeSent(TestSupport::LimitMs).value_or("(nothing)");
    }

    std::string ToAgent()
    {
        return m_agent.TakeSent(TestSupport::LimitMs).value_or("(nothing)");
    }

    std::string AllLines()
    {
        std::string all;
        std::string line;
        while (m_log.Take(LogLines::Outlet::Pipe, line))
        {
            all += line + "\n";
        }
        return all;
    }

    TestLab::FakeChannel m_agent;
    TestLab::FakeCloudSide m_cloud;
    Relay::Orders m_orders;
    LogLines m_log;
    Shared::Concurrency::Event m_stop;
    Relay m_relay;
    std::optional<RelayEnd> m_end;
    std::thread m_thread;
};

TEST_F(RelayTest, TheAgentsPayloadIsDecompressedAndItsFlagTakenAway)
{
    const std::string payload(100'000, 'p');
    const Envelope sent = FromAgent(Compress(payload));
    m_agent.Arrive(Encode(sent));
    Envelope expected = sent;
    expected.payload = payload;
    expected.flags = Lab::Wire::FlagAcknowledgementExpected;
    EXPECT_EQ(Lab::Wire::Decode(ToCloud()), expected);
}

TEST_F(RelayTest, AnEmptyPayloadWithTheFlagIsEmpty)
{
    m_agent.Arrive(Encode(FromAgent("")));
    EXPECT_EQ(Lab::Wire::Decode(ToCloud()).payload, "");
}

TEST_F(RelayTest, WhatTheCloudSendsReachesTheAgentInPlainForm)
{
    Envelope envelope;
    envelope.msgId = 24100;
    envelope.seqNum = 18;
    envelope.flags = Lab::Wire::FlagResponse;
    envelope.payload = R"({"statusCode":200})";
    m_cloud.Arrive(Encode(envelope));
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()), envelope);

    Envelope compressed = envelope;
    compressed.flags |= Lab::Wire::FlagLz4;
    compressed.payload = Compress(envelope.payload);
    m_cloud.Arrive(Encode(compressed));
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()), envelope);
}

TEST_F(RelayTest, AnAcknowledgementIsPassedOnAsItIs)
{
    Envelope acknowledgement;
    acknowledgement.msgId = Lab::Wire::MsgId::HistoricPollRequest;
    acknowledgement.seqNum = 17;
    acknowledgement.flags = Lab::Wire::FlagAcknowledgement;
    m_cloud.Arrive(Encode(acknowledgement));
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()), acknowledgement);
}

TEST_F(RelayTest, WhatIsNoEnvelopeIsDroppedAndTold)
{
    m_agent.Arrive("\x07 rubbish");
    m_agent.Arrive(Encode(FromAgent("")));
    EXPECT_EQ(Lab::Wire::Decode(ToCloud()).seqNum, 17U);
    EXPECT_THAT(
        AllLines(), HasSubstr("[error] Dropped 9 bytes from the agent that are no envelope: no field at byte 1"));
}

TEST_F(RelayTest, ABrokenPayloadIsDroppedAndTheAgentIsToldWhenItAsked)
{
    m_agent.Arrive(Encode(FromAgent("this was never compressed")));
    const Envelope answer = Lab::Wire::Decode(ToAgent());
    EXPECT_EQ(answer.flags, Lab::Wire::FlagAcknowledgement);
    EXPECT_EQ(answer.status, Lab::Wire::StatusPayloadNotDecoded);
    EXPECT_EQ(answer.seqNum, 17U);
    EXPECT_EQ(answer.msgId, Lab::Wire::MsgId::HistoricPollRequest);
    EXPECT_FALSE(m_cloud.TakeSent(TestSupport::QuietMs).has_value());
}

TEST_F(RelayTest, WhenTooMuchWaitsTheAgentIsToldWhenItAsked)
{
    m_cloud.SetFull();
    m_agent.Arrive(Encode(FromAgent("")));
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()).status, Lab::Wire::StatusUnreachable);
    Envelope unasked = FromAgent("");
    unasked.flags = Lab::Wire::FlagLz4;
    m_agent.Arrive(Encode(unasked));
    EXPECT_FALSE(m_agent.TakeSent(TestSupport::QuietMs).has_value());
}

TEST_F(RelayTest, AnAgentThatDoesNotReadCanStillWrite)
{
    m_agent.Block(true);
    for (const std::uint32_t number : {1U, 2U})
    {
        Envelope envelope;
        envelope.seqNum = number;
        m_cloud.Arrive(Encode(envelope));
    }
    m_agent.Arrive(Encode(FromAgent("")));
    EXPECT_EQ(Lab::Wire::Decode(ToCloud()).seqNum, 17U);
    m_agent.Block(false);
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()).seqNum, 1U);
    EXPECT_EQ(Lab::Wire::Decode(ToAgent()).seqNum, 2U);
}

TEST_F(RelayTest, TheStopEventEndsIt)
{
    m_stop.Signal();
    EXPECT_EQ(AwaitEnd(), RelayEnd::Stopped);
}

TEST_F(RelayTest, ABrokenChannelEndsIt)
{
    m_agent.Break();
    EXPECT_EQ(AwaitEnd(), RelayEnd::ChannelBroken);
}

TEST_F(RelayTest, GarbageIsNoEnvelopeAndHasItsSize)
{
    m_orders.Push(Order{.kind = OrderKind::Garble, .count = 2, .size = 6000});
    for (int i = 0; i < 2; ++i)
    {
        const std::string garbage = ToAgent();
        EXPECT_EQ(garbage.size(), 6000U);
        EXPECT_THROW((void)Lab::Wire::Decode(garbage), Lab::Wire::EnvelopeError);
    }
    EXPECT_FALSE(m_agent.TakeSent(TestSupport::QuietMs).has_value());
}

TEST_F(RelayTest, ATrickleIsMadeOfGoodEnvelopesWithPauses)
{
    const TestSupport::Stopwatch watch;
    m_orders.Push(Order{.kind = OrderKind::Trickle, .pause = milliseconds(20), .count = 4});
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(Lab::Wire::Decode(ToAgent()).msgId, Lab::Wire::MsgId::RouterRemoteSubscriptions);
    }
    EXPECT_GE(watch.ElapsedMs(), 60.0);
    EXPECT_FALSE(m_agent.TakeSent(TestSupport::QuietMs).has_value());
}

TEST_F(RelayTest, WhileItHangsNothingMovesAndAfterwardsEverythingDoes)
{
    m_orders.Push(Order{.kind = OrderKind::Hang, .duration = milliseconds(200)});
    while (!m_orders.Empty())
    {
        std::this_thread::yield();
    }
    const TestSupport::Stopwatch watch;
    m_agent.Arrive(Encode(FromAgent("")));
    EXPECT_EQ(Lab::Wire::Decode(ToCloud()).seqNum, 17U);
    EXPECT_GE(watch.ElapsedMs(), 150.0);
}

TEST_F(RelayTest, WhileItHangsItDoesNotStop)
{
    m_orders.Push(Order{.kind = OrderKind::Hang, .duration = milliseconds(200)});
    while (!m_orders.Empty())
    {
        std::this_thread::yield();
    }
    const TestSupport::Stopwatch watch;
    m_stop.Signal();
    EXPECT_EQ(AwaitEnd(), RelayEnd::Stopped);
    EXPECT_GE(watch.ElapsedMs(), 150.0);
}

TEST_F(RelayTest, FragmentingIsTheLinksToDo)
{
    m_orders.Push(Order{.kind = OrderKind::Fragment, .size = 3});
    m_agent.Arrive(Encode(FromAgent("")));
    (void)ToCloud();
    while (m_cloud.GetFragmentBytes() == 0)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(m_cloud.GetFragmentBytes(), 3U);
}

} // namespace
