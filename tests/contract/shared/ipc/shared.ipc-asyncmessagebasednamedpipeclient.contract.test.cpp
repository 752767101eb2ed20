#include "shared.ipc-asyncmessagebasednamedpipeclient.hpp"

#include "contract.pipeplatform.hpp"
#include "contract.pipes.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

using namespace Contract;
using Shared::Ipc::PipeIoException;
using TestSupport::LimitMs;
using TestSupport::Stopwatch;

namespace
{

class ClientTest : public testing::Test
{
protected:
    Client Open(std::uint32_t timeoutMs) const
    {
        return {m_name, BufferSize, timeoutMs};
    }

    /// The code with which opening fails; 0 when it does not.
    std::uint32_t OpenCode(std::uint32_t timeoutMs) const
    {
        try
        {
            (void)Open(timeoutMs);
        }
        catch (const PipeIoException& exception)
        {
            EXPECT_EQ(TestSupport::BareText(exception.what()), "Failed to open named pipe");
            return exception.GetCode();
        }
        return 0;
    }

    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"client");
};

} // namespace

TEST_F(ClientTest, OpensAPipeByItsNameWithThePrefixOrWithout)
{
    Server server(m_name, BufferSize, false, L"");
    for (const std::wstring& name : {m_name, LR"(\\.\pipe\)" + m_name})
    {
        auto connect = server.Connect();
        Client client(name, BufferSize, LimitMs);
        EXPECT_EQ(client.GetName(), LR"(\\.\pipe\)" + m_name);
        ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
        EXPECT_TRUE(Send(client, {1}));
        EXPECT_EQ(Receive(server), Bytes{1});
        server.Disconnect();
    }
}

TEST_F(ClientTest, ADefaultOneHasNoPipe)
{
    Client client;
    EXPECT_FALSE(client.IsOpen());
    client.Close();
}

TEST_F(ClientTest, APipeThatIsNotThereFailsAtOnceWhateverTheTimeLimit)
{
    EXPECT_EQ(OpenCode(0), NoSuchPipeCode());
    EXPECT_EQ(OpenCode(0xFFFFFFFE), NoSuchPipeCode());
}

TEST_F(ClientTest, ASecondClientIsRefusedAtTheEndOfItsTimeLimit)
{
    Server server(m_name, BufferSize, false, L"");
    auto connect = server.Connect();
    Client first = Open(LimitMs);
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(OpenCode(0), 231U);
    const Stopwatch watch;
    EXPECT_EQ(OpenCode(50), 231U);
    EXPECT_GE(watch.ElapsedMs(), 50.0);
    EXPECT_TRUE(Send(first, {1}));
    EXPECT_EQ(Receive(server), Bytes{1});
}

TEST_F(ClientTest, ASecondClientGetsInWhenTheFirstIsLetGoInTime)
{
    Server server(m_name, BufferSize, false, L"");
    auto connect = server.Connect();
    Client first = Open(LimitMs);
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    std::thread second(
        [&]
        {
            Client client = Open(LimitMs);
            EXPECT_TRUE(Send(client, {2}));
            EXPECT_EQ(Receive(client), Bytes{3});
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    server.Disconnect();
    connect = server.Connect();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(Receive(server), Bytes{2});
    EXPECT_TRUE(Send(server, {3}));
    second.join();
}

TEST_F(ClientTest, AClientIsThereBeforeItsServerLooks)
{
    Server server(m_name, BufferSize, false, L"");
    auto connect = server.Connect();
    // All of it before the server's thread does anything.
    Client client = Open(LimitMs);
    EXPECT_TRUE(Send(client, {1}));
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(Receive(server), Bytes{1});
}
