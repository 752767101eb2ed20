#include "agentcore.io-ioworker.hpp"

#include "contract.ioworkertest.hpp"
#include "test.support-exceptions.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using AgentCore::IO::IOWorker;
using Contract::IOWorkerTest;
using Shared::Log::Level;
using TestSupport::LimitMs;
using WireProtocol::Comms::InboundMessage;

TEST_F(IOWorkerTest, BothQueuesAreRequired)
{
    EXPECT_EQ(TestSupport::RuntimeText([&] { IOWorker(true, L"", nullptr, &m_in); }), "e_outQueue is required");
    EXPECT_EQ(TestSupport::RuntimeText([&] { IOWorker(true, L"", &m_out, nullptr); }), "e_inQueue is required");
}

TEST_F(IOWorkerTest, WithoutItsStopEventItDoesNotRun)
{
    Prepare(L"echo");
    m_worker->GetConnectorStopEvent().Close();
    m_worker->Start();
    ASSERT_TRUE(m_worker->Join(LimitMs));
    EXPECT_EQ(m_worker->GetExitCode(), 1U);
    EXPECT_EQ(
        m_log.Count(
            Level::Error,
            "No stop event found. You probably didn't initialise this thread with a non-default "
            "constructor."),
        1U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker started"), 0U);
    m_worker.reset();
}

TEST_F(IOWorkerTest, MessagesGoOutAndComeIn)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    Send(24102, 7, 1024, "{\"statusCode\": 200}");
    ASSERT_TRUE(AwaitMessages(1));
    const InboundMessage message = m_in.At(0);
    EXPECT_EQ(message.MsgId, 24102U);
    EXPECT_EQ(message.SeqNum, 7U);
    EXPECT_EQ(message.Flags, 1024U);
    EXPECT_EQ(message.Payload, "{\"statusCode\": 200}");
    EXPECT_EQ(message.DeliveryFailed, 0U);
    EXPECT_EQ(m_log.Count(Level::Info, "Attempting to start Connector..."), 1U);
    EXPECT_TRUE(AwaitLine(Level::Info, "IOWorker wrote socket data to VELAgentPortalProcess"));
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker: connector socket read data available"), 1U);
    EXPECT_EQ(
        m_log.Count(
            Level::Info,
            "Received inbound message:\n  SeqNum 7\n  MsgId MSGIDS_AGENT_POLL_RESPONSE (24102)\n  Flags 1024\n"
            "  Payload: {\"statusCode\": 200}"),
        1U);
    Stop();
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker started"), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker received exit signal"), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker exiting successfully"), 1U);
}

TEST_F(IOWorkerTest, MessagesOfAllSizesComeInWholeAndInOrder)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    const std::vector<std::size_t> sizes = {0, 1, 5000, 5105, 5106, 5107, 5120, 10'240, 70'000, 3'000'000};
    for (std::size_t i = 0; i < sizes.size(); ++i)
    {
        Send(19, static_cast<std::uint32_t>(i + 1), 0, std::string(sizes[i], static_cast<char>('a' + i)));
    }
    ASSERT_TRUE(AwaitMessages(sizes.size()));
    for (std::size_t i = 0; i < sizes.size(); ++i)
    {
        EXPECT_EQ(m_in.At(i).SeqNum, i + 1);
        EXPECT_TRUE(m_in.At(i).Payload == std::string(sizes[i], static_cast<char>('a' + i))) << sizes[i];
    }
}

TEST_F(IOWorkerTest, AFloodComesInWholeAndInOrder)
{
    Start(L"flood");
    ASSERT_TRUE(AwaitMessages(1000));
    for (std::uint32_t i = 0; i < 1000; ++i)
    {
        ASSERT_EQ(m_in.At(i).SeqNum, i);
    }
}

TEST_F(IOWorkerTest, OfAcknowledgementsOnlyThoseOfHistoricPollsArePassedOn)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    Send(24002, 1, 1);
    Send(24003, 2, 1);
    Send(24002, 3, 1025);
    Send(24002, 4, 1, "{}", 2);
    ASSERT_TRUE(AwaitMessages(3));
    EXPECT_EQ(m_in.At(0).SeqNum, 2U);
    EXPECT_EQ(m_in.At(1).SeqNum, 3U);
    EXPECT_EQ(m_in.At(2).SeqNum, 4U);
    EXPECT_EQ(m_in.At(2).DeliveryFailed, 1U);
    EXPECT_EQ(
        m_log.Count(
            Level::Debug,
            "An ACK response (msg_id: MSGIDS_AGENT_POLL_REQUEST (24002), seq_num: 1) was received and "
            "dropped from further processing"),
        1U);
    EXPECT_EQ(m_log.Count(Level::Error, "The server responded with a delivery failure: 2"), 1U);
}

TEST_F(IOWorkerTest, TheConnectorsLinesAreLoggedAtTheLevelOfTheirFirstTag)
{
    Start(L"lines");
    ASSERT_TRUE(AwaitLine(Level::Info, "Connector: six [error] and [info]"));
    EXPECT_EQ(m_log.Count(Level::Info, "Connector: [info] one"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Connector: [warning] two"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Connector: [error] three"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Connector: [debug] four"), 1U);
    for (const Level level : {Level::Debug, Level::Info, Level::Warning, Level::Error})
    {
        EXPECT_EQ(m_log.Count(level, "five"), 0U);
    }
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker: connector log message available"), 6U);
}

TEST_F(IOWorkerTest, AConnectorThatEndsIsStartedAgain)
{
    Start(L"quit");
    ASSERT_TRUE(AwaitConnection());
    Send(19, 1);
    ASSERT_TRUE(AwaitConnection(2));
    // The end shows by the process or by its pipe, whichever the worker notices first.
    EXPECT_EQ(
        m_log.Count(Level::Error, "Connector unexpectedly exited: 0X5") +
            m_log.Count(
                Level::Error, "Connector unexpectedly exited (an attempt will be made to restablish connection): 5."),
        1U);
    EXPECT_GE(m_log.Count(Level::Warning, "IOWorker will retry in 1000ms"), 1U);
}

TEST_F(IOWorkerTest, AConnectorThatIsKilledIsStartedAgain)
{
    Start(L"killed");
    ASSERT_TRUE(AwaitConnection());
    Send(19, 1);
    ASSERT_TRUE(AwaitConnection(2));
    EXPECT_EQ(
        m_log.Count(Level::Error, "Connector unexpectedly exited: 0X") +
            m_log.Count(
                Level::Error, "Connector unexpectedly exited (an attempt will be made to restablish connection): "),
        1U);
}

TEST_F(IOWorkerTest, AConnectorThatBreaksItsPipeIsStartedAgain)
{
    Start(L"gone");
    ASSERT_TRUE(AwaitConnection());
    Send(19, 1);
    ASSERT_TRUE(AwaitConnection(2));
    EXPECT_EQ(m_log.Count(Level::Error, "A pipe IO error occurred: "), 1U);
}

TEST_F(IOWorkerTest, AConnectorThatNeverConnectsIsGivenUp)
{
    LiveFaster();
    Start(L"exit");
    ASSERT_TRUE(AwaitLine(
        Level::Error,
        "Failed to establish pipe to VELPortalProcess. Please ensure that any security software you have "
        "installed is not interfering with VELPortalProcess.exe."));
    EXPECT_EQ(m_log.Count(Level::Error, "VELPortalProcess unexpectedly exited: 3"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Exception in IOWorker main loop: "), 1U);
    ASSERT_TRUE(AwaitLine(Level::Warning, "IOWorker will retry in 1000ms"));
}

TEST_F(IOWorkerTest, AConnectorThatLivesAndNeverConnectsIsGivenUpAndStartedAgain)
{
    LiveFaster();
    Start(L"silent");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to establish pipe to VELPortalProcess."));
    EXPECT_EQ(m_log.Count(Level::Error, "VELPortalProcess unexpectedly exited"), 0U);
    EXPECT_TRUE(AwaitLine(Level::Info, "Attempting to start Connector...", 2));
}

TEST_F(IOWorkerTest, AConnectorThatOpensOnlyOnePipeIsGivenUp)
{
    LiveFaster();
    Start(L"half");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to establish pipe to VELPortalProcess."));
    EXPECT_EQ(m_log.Count(Level::Error, "VELPortalProcess unexpectedly exited"), 0U);
}

TEST_F(IOWorkerTest, AFrameThatCannotBeDecodedComesBackAtAGrowingDelayUntilSomethingElseHappens)
{
    SetDelays(1, 3600);
    LiveFaster();
    Start(L"garble");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to decode VelRouter::V4_Message.", 4));
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Exception in IOWorker main loop: "), 4U);
    for (const char* delay : {"1000ms", "2000ms", "4000ms"})
    {
        EXPECT_EQ(m_log.Count(Level::Warning, std::string("IOWorker will retry in ") + delay), 1U);
    }
    // A command is looked at before the read, and what goes well starts the delays anew.
    m_worker->ReconnectConnector(L"garble");
    EXPECT_TRUE(AwaitLine(Level::Warning, "IOWorker will retry in 1000ms", 2));
    m_worker->ReconnectConnector(L"echo");
    Send(19, 1);
    EXPECT_TRUE(AwaitMessages(1));
}

TEST_F(IOWorkerTest, ALongFrameThatCannotBeDecodedComesBackAsTheSame)
{
    LiveFaster();
    Start(L"garble-long");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to decode VelRouter::V4_Message.", 3));
    // Reading on for its rest would break the pipe, or swallow the message behind it.
    EXPECT_EQ(m_log.Count(Level::Error, "A pipe IO error occurred"), 0U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
    EXPECT_TRUE(m_in.Empty());
}

TEST_F(IOWorkerTest, AMessageOfNoBytesIsNoMessage)
{
    Start(L"empty");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to decode VelRouter::V4_Message.", 1));
    EXPECT_TRUE(m_in.Empty());
}

TEST_F(IOWorkerTest, AReconnectionReturnsWhenTheNewConnectionStands)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    m_worker->ReconnectConnector(L"lines");
    EXPECT_GE(m_log.Count(Level::Info, "IOWorker successfully connected"), 2U);
    EXPECT_TRUE(AwaitLine(Level::Info, "Connector: [info] one"));
}

TEST_F(IOWorkerTest, AReconnectionIsTriedAgainUntilItSucceeds)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    LiveFaster();
    std::thread asking([&] { m_worker->ReconnectConnector(L"exit"); });
    EXPECT_TRUE(AwaitLine(Level::Error, "VELPortalProcess unexpectedly exited: 3", 2));
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
    // The caller stays blocked for good; it goes with the worker here, as the process would.
    asking.detach();
    Stop();
}

TEST_F(IOWorkerTest, WhatWasQueuedForTheOldConnectionIsDropped)
{
    Start(L"deaf");
    ASSERT_TRUE(AwaitConnection());
    m_worker->ReconnectConnector(L"echo");
    for (std::uint32_t i = 1; i <= 3; ++i)
    {
        Send(19, i);
    }
    ASSERT_TRUE(AwaitMessages(3));
    m_in.Clear();
    Send(19, 4);
    m_worker->ReconnectConnector(L"echo");
    Send(19, 5);
    ASSERT_TRUE(Await([&] { return m_in.FindIndex([](const InboundMessage& m) { return m.SeqNum == 5; }) >= 0; }));
    EXPECT_EQ(m_out.Size(), 0U);
}

TEST_F(IOWorkerTest, AStopDuringADelayEndsTheThreadAtOnce)
{
    SetDelays(3600, 3600);
    LiveFaster();
    Start(L"exit");
    ASSERT_TRUE(AwaitLine(Level::Warning, "IOWorker will retry in 3600000ms"));
    Stop();
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker exiting successfully"), 1U);
}

TEST_F(IOWorkerTest, AStopDuringTheWaitForAConnectorIsSeenWhenThatIsGivenUp)
{
    LiveFaster();
    Start(L"silent");
    ASSERT_TRUE(AwaitLine(Level::Info, "Attempting to start Connector..."));
    Stop();
    EXPECT_EQ(m_log.Count(Level::Error, "Failed to establish pipe to VELPortalProcess."), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "Attempting to start Connector..."), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker exiting successfully"), 1U);
}

TEST_F(IOWorkerTest, AStopDuringAWriteIsSeenWhenThatIsGivenUp)
{
    LiveFaster();
    Start(L"deaf");
    ASSERT_TRUE(AwaitConnection());
    Send(19, 1, 0, std::string(3'000'000, 'a'));
    ASSERT_TRUE(Await([&] { return m_out.Empty(); }));
    Stop();
    EXPECT_EQ(m_log.Count(Level::Error, "Write timed out"), 1U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker wrote socket data to VELAgentPortalProcess"), 0U);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker exiting successfully"), 1U);
}

TEST_F(IOWorkerTest, AWriteThatIsNotTakenIsLostAndTheConnectionStays)
{
    LiveFaster();
    Start(L"deaf");
    ASSERT_TRUE(AwaitConnection());
    Send(19, 1, 0, std::string(3'000'000, 'a'));
    ASSERT_TRUE(AwaitLine(Level::Warning, "IOWorker will retry in 1000ms"));
    EXPECT_EQ(m_log.Count(Level::Error, "Exception in IOWorker main loop: "), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Write timed out"), 1U);
    EXPECT_TRUE(m_out.Empty());
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
}

TEST_F(IOWorkerTest, AStopGoesBeforeWhatTheConnectorSends)
{
    Start(L"torrent");
    ASSERT_TRUE(AwaitMessages(100));
    Stop();
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker received exit signal"), 1U);
}

TEST_F(IOWorkerTest, ACommandGoesBeforeAStop)
{
    Prepare(L"late");
    m_worker->GetConnectorStopEvent().Signal();
    m_worker->Start();
    // The connector takes a second to come, and there is the command by then.
    ASSERT_TRUE(AwaitLine(Level::Info, "Attempting to start Connector..."));
    std::future<void> asking = std::async(std::launch::async, [&] { m_worker->ReconnectConnector(L"echo"); });
    ASSERT_EQ(asking.wait_for(std::chrono::milliseconds(LimitMs)), std::future_status::ready);
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 2U);
    Stop();
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker received exit signal"), 1U);
}

TEST_F(IOWorkerTest, AnUnknownCommandIsLoggedAndItsCallerReleased)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    m_worker->Post({7, L"nowhere", Shared::Concurrency::Event(false, true)});
    EXPECT_EQ(m_log.Count(Level::Error, "IOWorker unknown command value 7"), 1U);
    Send(19, 1);
    EXPECT_TRUE(AwaitMessages(1));
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
}

} // namespace
