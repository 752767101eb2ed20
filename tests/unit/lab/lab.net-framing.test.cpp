#include "lab.net-framing.hpp"

#include "test.support-time.hpp"

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::Net::FrameDecoder;
using Lab::Net::FrameStream;
using Lab::Net::FrameTooLarge;
using Lab::Net::LengthPrefix;
using Lab::Net::Listener;
using Lab::Net::Socket;
using std::chrono::milliseconds;

constexpr milliseconds Limit(TestSupport::LimitMs);

std::string Frame(const std::string& content)
{
    return LengthPrefix(content.size()) + content;
}

TEST(LengthPrefixTest, HasFourBytesWithTheHighestFirst)
{
    EXPECT_EQ(LengthPrefix(0), std::string(4, '\0'));
    EXPECT_EQ(LengthPrefix(0x01020304), "\x01\x02\x03\x04");
    EXPECT_THROW((void)LengthPrefix(Lab::Net::LargestFrame + 1), FrameTooLarge);
}

TEST(FrameDecoderTest, FramesAreFoundWhereverTheStreamIsCut)
{
    const std::vector<std::string> contents = {"one", "", std::string(300, 'x')};
    std::string stream;
    for (const std::string& content : contents)
    {
        stream += Frame(content);
    }
    for (std::size_t piece = 1; piece <= stream.size(); ++piece)
    {
        FrameDecoder decoder;
        std::vector<std::string> found;
        for (std::size_t at = 0; at < stream.size(); at += piece)
        {
            decoder.Feed(std::string_view(stream).substr(at, piece));
            while (const auto frame = decoder.Next())
            {
                found.push_back(*frame);
            }
        }
        EXPECT_EQ(found, contents) << "in pieces of " << piece;
        EXPECT_TRUE(decoder.IsBetweenFrames());
    }
}

TEST(FrameDecoderTest, ALargestFrameIsTakenAndALargerOneIsRefusedForGood)
{
    FrameDecoder decoder(3);
    decoder.Feed(Frame("abc") + Frame("abcd"));
    EXPECT_EQ(decoder.Next(), "abc");
    EXPECT_THROW((void)decoder.Next(), FrameTooLarge);
    EXPECT_THROW((void)decoder.Next(), FrameTooLarge);
    EXPECT_FALSE(decoder.IsBetweenFrames());
}

TEST(FrameDecoderTest, WithinAPrefixItIsNotBetweenFrames)
{
    FrameDecoder decoder;
    EXPECT_TRUE(decoder.IsBetweenFrames());
    decoder.Feed(std::string(2, '\0'));
    EXPECT_FALSE(decoder.Next().has_value());
    EXPECT_FALSE(decoder.IsBetweenFrames());
}

class FrameStreamTest : public ::testing::Test
{
protected:
    FrameStreamTest()
        : m_socket(Socket::Connect({"127.0.0.1", m_listener.GetPort()}, Limit)),
          m_client(m_socket),
          m_server(m_listener.Accept(Limit))
    {
    }

    Listener m_listener;
    std::shared_ptr<Socket> m_socket;
    FrameStream m_client;
    FrameStream m_server;
};

TEST_F(FrameStreamTest, FramesOfEverySizeGoThrough)
{
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 5'000'000U})
    {
        const std::string content(size, 'f');
        std::thread sender([&] { m_client.Send(content, Limit); });
        EXPECT_EQ(m_server.Receive(Limit), content);
        sender.join();
    }
}

TEST_F(FrameStreamTest, BitesMakeTheSameFrame)
{
    m_client.Send("in small bites", Limit, {3, milliseconds(1)});
    m_client.Send("and one more", Limit);
    EXPECT_EQ(m_server.Receive(Limit), "in small bites");
    EXPECT_EQ(m_server.Receive(Limit), "and one more");
}

TEST_F(FrameStreamTest, BitesTakeTheirTime)
{
    const TestSupport::Stopwatch watch;
    m_client.Send("12345678", Limit, {4, milliseconds(20)});
    EXPECT_GE(watch.ElapsedMs(), 60.0) << "four bytes of length and eight of content are three bites";
}

TEST_F(FrameStreamTest, TheEndBetweenFramesIsNoFailureAndTheEndWithinOneIs)
{
    m_client.Send("whole", Limit);
    m_socket->Send(LengthPrefix(5) + "cut", Limit);
    m_client.Shutdown();
    EXPECT_EQ(m_server.Receive(Limit), "whole");
    EXPECT_THROW((void)m_server.Receive(Limit), std::runtime_error);
}

TEST_F(FrameStreamTest, AStreamThatEndsBetweenFramesGivesNothing)
{
    m_client.Shutdown();
    EXPECT_EQ(m_server.Receive(Limit), std::nullopt);
}

TEST_F(FrameStreamTest, AfterATimeOutTheFrameGoesOn)
{
    m_socket->Send(LengthPrefix(4) + "la", Limit);
    EXPECT_THROW((void)m_server.Receive(milliseconds(30)), Lab::Net::SocketError);
    m_socket->Send("te", Limit);
    EXPECT_EQ(m_server.Receive(Limit), "late");
}

} // namespace
