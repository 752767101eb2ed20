// What is left behind by operations that nobody waits for, and by pipes that come and go.

#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"

#include "contract.pipeplatform.hpp"
#include "contract.pipes.hpp"
#include "shared.concurrency-functions.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using TestSupport::LimitMs;
using TestSupport::QuietMs;

namespace
{

class PipeLifetimeTest : public testing::Test
{
protected:
    void Link()
    {
        m_name = m_names.Unique(L"lifetime");
        m_server = Server(m_name, BufferSize, false, L"");
        auto connect = m_server.Connect();
        m_client = Client(m_name, BufferSize, LimitMs);
        ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    }

    TestSupport::EventNames m_names;
    std::wstring m_name;
    Server m_server;
    Client m_client;
};

} // namespace

TEST_F(PipeLifetimeTest, AHundredReconnectsLeaveNothingBehind)
{
    const auto reconnect = [&]
    {
        Link();
        OverlappedIo read = m_server.Read();
        EXPECT_TRUE(Send(m_client, {1}));
        EXPECT_EQ(Finish(m_server, read), Bytes{1});
        (void)m_server.Read();
        (void)m_client.Read();
        (void)m_server.Write(MakeMessage(4 * 1024 * 1024));
        m_client.Close();
        m_server.Close();
    };
    // What is made once stays, and what has just ended may still be seen for a moment.
    reconnect();
    std::this_thread::sleep_for(std::chrono::milliseconds(QuietMs));
    const Holdings before = CountHoldings();
    for (int i = 0; i < 100; ++i)
    {
        reconnect();
    }
    for (const TestSupport::Stopwatch watch; CountHoldings() != before && watch.ElapsedMs() < LimitMs;)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(CountHoldings().handles, before.handles);
    EXPECT_EQ(CountHoldings().threads, before.threads);
}

TEST_F(PipeLifetimeTest, OperationsThatAreDroppedWhilePendingHarmNobody)
{
    Link();
    for (int i = 0; i < 50; ++i)
    {
        (void)m_server.Read();
        (void)m_server.Read(1'000'000);
    }
    for (int i = 0; i < 20; ++i)
    {
        (void)m_server.Write(MakeMessage(1'000'000));
    }
    EXPECT_TRUE(Send(m_client, {1}));
    EXPECT_TRUE(Send(m_client, MakeMessage(600'000)));
    m_server.Close();
    Link();
    EXPECT_TRUE(Send(m_client, {2}));
    EXPECT_EQ(Receive(m_server), Bytes{2});
}

TEST_F(PipeLifetimeTest, OperationsOutliveTheirPipe)
{
    Link();
    OverlappedIo read = m_server.Read();
    OverlappedIo other = m_server.Read();
    m_server = Server();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsComplete());
    EXPECT_FALSE(read.IsSuccessful());
    EXPECT_EQ(read.GetBuffer().size(), BufferSize);
    EXPECT_TRUE(Shared::Concurrency::WaitFor(other.GetWaitableHandle(), LimitMs));
}

TEST_F(PipeLifetimeTest, ACloseInTheMiddleOfAMessageEndsBothSides)
{
    Link();
    OverlappedIo write = m_client.Write(MakeMessage(8 * 1024 * 1024));
    OverlappedIo read = m_server.Read();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsPartial());
    m_server.Close();
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_FALSE(write.IsSuccessful());
}

TEST_F(PipeLifetimeTest, ACopyOfAnOperationIsWaitedOnByAnotherThread)
{
    Link();
    OverlappedIo read = m_server.Read();
    const Shared::Concurrency::OverlappedOp copy(read);
    std::atomic<bool> hasEnded = false;
    std::thread waiter(
        [&]
        {
            Shared::Concurrency::OverlappedOp own(copy);
            hasEnded = own.WaitForCompletion(LimitMs);
        });
    EXPECT_TRUE(Send(m_client, {1}));
    waiter.join();
    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(Finish(m_server, read), Bytes{1});
}

TEST_F(PipeLifetimeTest, ManyPipesTalkAtOnce)
{
    constexpr int Pipes = 8;
    std::vector<std::thread> threads;
    for (int i = 0; i < Pipes; ++i)
    {
        threads.emplace_back(
            [&, name = m_names.Unique(L"many")]
            {
                Server server(name, BufferSize, false, L"");
                auto connect = server.Connect();
                Client client(name, BufferSize, LimitMs);
                ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
                for (std::uint32_t round = 0; round < 20; ++round)
                {
                    const Bytes message = MakeMessage(1 + round * 9973, round);
                    OverlappedIo write = client.Write(message);
                    ASSERT_EQ(Receive(server), message);
                    ASSERT_TRUE(write.WaitForCompletion(LimitMs));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}
