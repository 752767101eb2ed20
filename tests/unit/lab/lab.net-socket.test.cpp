#include "lab.net-socket.hpp"

#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::Net::Failure;
using Lab::Net::Listener;
using Lab::Net::Socket;
using Lab::Net::SocketError;
using std::chrono::milliseconds;

constexpr milliseconds Limit(TestSupport::LimitMs);
constexpr milliseconds Quiet(TestSupport::QuietMs);

/// How an action of a socket fails; nothing when it does not.
template <typename Action>
std::optional<Failure> FailureOf(Action&& action)
{
    try
    {
        action();
    }
    catch (const SocketError& problem)
    {
        return problem.GetFailure();
    }
    return std::nullopt;
}

class SocketTest : public ::testing::Test
{
protected:
    SocketTest()
        : m_client(Socket::Connect({"127.0.0.1", m_listener.GetPort()}, Limit)), m_server(m_listener.Accept(Limit))
    {
    }

    std::string ReceiveAll(Socket& socket, std::size_t size)
    {
        std::string bytes;
        while (bytes.size() < size)
        {
            bytes += socket.Receive(size - bytes.size(), Limit);
        }
        return bytes;
    }

    Listener m_listener;
    std::shared_ptr<Socket> m_client;
    std::shared_ptr<Socket> m_server;
};

TEST_F(SocketTest, BytesArriveInBothDirections)
{
    m_client->Send("to the server", Limit);
    m_server->Send("to the client", Limit);
    EXPECT_EQ(ReceiveAll(*m_server, 13), "to the server");
    EXPECT_EQ(ReceiveAll(*m_client, 13), "to the client");
}

TEST_F(SocketTest, NoMoreIsReceivedThanWasAskedFor)
{
    m_client->Send("abcdef", Limit);
    EXPECT_LE(m_server->Receive(4, Limit).size(), 4U);
}

TEST_F(SocketTest, ManyBytesGoThroughWhileTheOtherSideReads)
{
    const std::string bytes(20U << 20U, 'b');
    std::thread sender([&] { m_client->Send(bytes, Limit); });
    const std::string received = ReceiveAll(*m_server, bytes.size());
    sender.join();
    EXPECT_EQ(received, bytes);
}

TEST_F(SocketTest, OneThreadReceivesWhileAnotherOneSends)
{
    std::thread receiver([&] { EXPECT_EQ(ReceiveAll(*m_client, 3), "abc"); });
    m_client->Send("xyz", Limit);
    EXPECT_EQ(ReceiveAll(*m_server, 3), "xyz");
    m_server->Send("abc", Limit);
    receiver.join();
}

TEST_F(SocketTest, ReceivingNothingEndsAtTheTimeOut)
{
    const TestSupport::Stopwatch watch;
    EXPECT_EQ(FailureOf([&] { (void)m_server->Receive(1, Quiet); }), Failure::TimedOut);
    EXPECT_GE(watch.ElapsedMs(), static_cast<double>(Quiet.count()));
}

TEST_F(SocketTest, ATimeOutLeavesTheStreamAsItWas)
{
    EXPECT_EQ(FailureOf([&] { (void)m_server->Receive(1, milliseconds(1)); }), Failure::TimedOut);
    m_client->Send("later", Limit);
    EXPECT_EQ(ReceiveAll(*m_server, 5), "later");
}

TEST_F(SocketTest, SendingToSomebodyWhoDoesNotReadEndsAtTheTimeOut)
{
    const std::string bytes(64U << 20U, 'b');
    EXPECT_EQ(FailureOf([&] { m_client->Send(bytes, Quiet); }), Failure::TimedOut);
}

TEST_F(SocketTest, TheEndOfTheStreamIsNoFailure)
{
    m_client->Send("last", Limit);
    m_client.reset();
    EXPECT_EQ(ReceiveAll(*m_server, 4), "last");
    EXPECT_EQ(m_server->Receive(1, Limit), "");
}

TEST_F(SocketTest, SendingToSomebodyWhoIsGoneFailsAndEndsNobody)
{
    m_client.reset();
    const std::string bytes(1U << 20U, 'b');
    std::optional<Failure> failure;
    for (int i = 0; i < 100 && !failure; ++i)
    {
        failure = FailureOf([&] { m_server->Send(bytes, Limit); });
    }
    EXPECT_EQ(failure, Failure::Refused);
}

TEST_F(SocketTest, ShuttingDownEndsAReceiveThatWaits)
{
    std::atomic<bool> ended = false;
    std::thread receiver(
        [&]
        {
            EXPECT_EQ(FailureOf([&] { (void)m_server->Receive(1, Limit); }), Failure::ShutDown);
            ended = true;
        });
    std::this_thread::sleep_for(Quiet);
    EXPECT_FALSE(ended);
    m_server->Shutdown();
    receiver.join();
}

TEST_F(SocketTest, ShuttingDownEndsASendThatWaits)
{
    std::thread sender(
        [&] { EXPECT_EQ(FailureOf([&] { m_client->Send(std::string(64U << 20U, 'b'), Limit); }), Failure::ShutDown); });
    std::this_thread::sleep_for(Quiet);
    m_client->Shutdown();
    sender.join();
}

TEST_F(SocketTest, APauseTakesItsTimeAndEndsWithTheSocket)
{
    const TestSupport::Stopwatch watch;
    m_server->Pause(milliseconds(30));
    EXPECT_GE(watch.ElapsedMs(), 30.0);
    std::thread pausing([&]
                        { EXPECT_EQ(FailureOf([&] { m_server->Pause(std::chrono::hours(1)); }), Failure::ShutDown); });
    std::this_thread::sleep_for(Quiet);
    m_server->Shutdown();
    pausing.join();
}

TEST_F(SocketTest, AfterShuttingDownNothingGoesAndTheOtherSideSeesTheEnd)
{
    m_server->Shutdown();
    m_server->Shutdown();
    EXPECT_EQ(FailureOf([&] { m_server->Send("x", Limit); }), Failure::ShutDown);
    EXPECT_EQ(FailureOf([&] { (void)m_server->Receive(1, Limit); }), Failure::ShutDown);
    EXPECT_EQ(m_client->Receive(1, Limit), "");
}

TEST_F(SocketTest, NobodyElseComesWithinTheTimeOut)
{
    EXPECT_EQ(m_listener.Accept(Quiet), nullptr);
}

TEST_F(SocketTest, ShuttingDownEndsAnAcceptThatWaits)
{
    std::thread acceptor([&] { EXPECT_EQ(FailureOf([&] { (void)m_listener.Accept(Limit); }), Failure::ShutDown); });
    std::this_thread::sleep_for(Quiet);
    m_listener.Shutdown();
    acceptor.join();
    EXPECT_EQ(FailureOf([&] { (void)m_listener.Accept(Quiet); }), Failure::ShutDown);
}

TEST(SocketConnectTest, APortOnWhichNobodyListensRefuses)
{
    std::uint16_t port = 0;
    {
        const Listener listener;
        port = listener.GetPort();
    }
    try
    {
        (void)Socket::Connect({"127.0.0.1", port}, Limit);
        FAIL() << "it connected";
    }
    catch (const SocketError& problem)
    {
        EXPECT_EQ(problem.GetFailure(), Failure::Refused);
        EXPECT_EQ(std::string(problem.what()).find("cannot connect to 127.0.0.1:" + std::to_string(port) + ": "), 0U);
    }
}

TEST(SocketConnectTest, AnAddressThatIsNoneIsRefused)
{
    EXPECT_EQ(FailureOf([] { (void)Socket::Connect({"localhost", 1}, Limit); }), Failure::Refused);
}

TEST(ListenerTest, EachHasAPortOfItsOwn)
{
    const Listener first;
    const Listener second;
    EXPECT_NE(first.GetPort(), 0);
    EXPECT_NE(first.GetPort(), second.GetPort());
}

TEST(ListenerTest, SeveralAreTakenInTheirOrder)
{
    Listener listener;
    std::vector<std::shared_ptr<Socket>> clients;
    for (const char* name : {"a", "b", "c"})
    {
        clients.push_back(Socket::Connect({"127.0.0.1", listener.GetPort()}, Limit));
        clients.back()->Send(name, Limit);
    }
    for (const char* name : {"a", "b", "c"})
    {
        EXPECT_EQ(listener.Accept(Limit)->Receive(1, Limit), name);
    }
}

} // namespace
