#include "agentcore.io-ioworker.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using AgentCore::IO::IOWorker;
using Shared::Log::Level;
using TestSupport::LimitMs;
using WireProtocol::Comms::InboundMessage;
using WireProtocol::Comms::OutboundMessage;
namespace WinReg = Shared::WinReg;

/// A worker with a connector of the tests, whose behaviour is its server's name. The shortest delays that there are.
class IOWorkerTest : public ::testing::Test
{
protected:
    IOWorkerTest()
    {
        using Shared::AppSettings::Paths::Config;
        WinReg::CreateKey(WinReg::Root::LocalMachine, Config);
        WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MinimumRetryDelaySeconds", 1);
        WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MaximumRetryDelaySeconds", 1);
    }

    ~IOWorkerTest() override
    {
        Stop();
        Shared::Time::ClockControl::Reset();
    }

    /// For connectors that never come: ten seconds of waiting for one take one.
    static void LiveFaster()
    {
        Shared::Time::ClockControl::SetSpeed(10);
    }

    void Start(const std::wstring& mode)
    {
        m_worker = std::make_unique<IOWorker>(true, mode, &m_out, &m_in);
        m_worker->Start();
    }

    void Stop()
    {
        if (m_worker)
        {
            m_worker->GetConnectorStopEvent().Signal();
            EXPECT_TRUE(m_worker->Join(LimitMs));
            EXPECT_EQ(m_worker->GetExitCode(), 0U);
            m_worker.reset();
        }
    }

    static bool Await(const std::function<bool()>& holds)
    {
        const TestSupport::Stopwatch watch;
        while (!holds())
        {
            if (watch.ElapsedMs() > LimitMs)
            {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    bool AwaitLine(Level level, const std::string& text, std::size_t times = 1)
    {
        return Await([&] { return m_log.Count(level, text) >= times; });
    }

    bool AwaitConnection(std::size_t times = 1)
    {
        return AwaitLine(Level::Info, "IOWorker successfully connected", times);
    }

    bool AwaitMessages(std::size_t count)
    {
        return Await([&] { return m_in.Size() >= count; });
    }

    /// Queues a message that the connector sends back as if the server had sent it.
    void Send(
        std::uint32_t msgId,
        std::uint32_t seqNum,
        std::uint32_t flags = 0,
        const std::string& payload = "{}",
        std::uint32_t status = 0)
    {
        VelRouter::V4_Message message;
        message.set_msg_id(msgId);
        message.set_seq_num(seqNum);
        message.set_flags(flags);
        message.set_payload(payload);
        message.set_status(status);
        OutboundMessage outbound;
        outbound.Data.resize(message.ByteSizeLong());
        message.SerializeToArray(outbound.Data.data(), static_cast<int>(outbound.Data.size()));
        m_out.Push(std::move(outbound));
    }

    TestSupport::EventNames m_names;
    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    IOWorker::OutQueue m_out;
    IOWorker::InQueue m_in;
    std::unique_ptr<IOWorker> m_worker;
};

TEST_F(IOWorkerTest, BothQueuesAreRequired)
{
    EXPECT_EQ(TestSupport::RuntimeText([&] { IOWorker(true, L"", nullptr, &m_in); }), "e_outQueue is required");
    EXPECT_EQ(TestSupport::RuntimeText([&] { IOWorker(true, L"", &m_out, nullptr); }), "e_inQueue is required");
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

TEST_F(IOWorkerTest, AConnectorThatOpensOnlyOnePipeIsGivenUp)
{
    LiveFaster();
    Start(L"half");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to establish pipe to VELPortalProcess."));
    EXPECT_EQ(m_log.Count(Level::Error, "VELPortalProcess unexpectedly exited"), 0U);
}

TEST_F(IOWorkerTest, AFrameThatCannotBeDecodedComesBackUntilSomethingElseHappens)
{
    Start(L"garble");
    ASSERT_TRUE(AwaitLine(Level::Error, "Failed to decode VelRouter::V4_Message.", 3));
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker successfully connected"), 1U);
    // A command is looked at before the read.
    m_worker->ReconnectConnector(L"echo");
    Send(19, 1);
    EXPECT_TRUE(AwaitMessages(1));
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
    using Shared::AppSettings::Paths::Config;
    WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MinimumRetryDelaySeconds", 3600);
    WinReg::SetDwordValue(WinReg::Root::LocalMachine, Config, L"MaximumRetryDelaySeconds", 3600);
    LiveFaster();
    Start(L"exit");
    ASSERT_TRUE(AwaitLine(Level::Warning, "IOWorker will retry in 3600000ms"));
    Stop();
    EXPECT_EQ(m_log.Count(Level::Info, "IOWorker exiting successfully"), 1U);
}

TEST_F(IOWorkerTest, AHundredReconnectionsLeaveNothingBehind)
{
    Start(L"echo");
    ASSERT_TRUE(AwaitConnection());
    for (int i = 0; i < 100; ++i)
    {
        m_worker->ReconnectConnector(L"echo");
    }
    Send(19, 1);
    EXPECT_TRUE(AwaitMessages(1));
}

} // namespace
