#include "lab.connector-cloudlink.hpp"

#include "lab.control-messages.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"
#include "test.support-time.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <thread>

#include <gmock/gmock.h>

namespace
{

using Lab::Connector::CloudLink;
using Lab::Connector::LogLines;
using Lab::Net::FrameStream;
using Lab::Net::Listener;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

constexpr milliseconds Limit(TestSupport::LimitMs);

class CloudLinkTest : public ::testing::Test
{
protected:
    CloudLinkTest() : m_link(MakeSettings(), m_log)
    {
        m_link.Start();
    }

    CloudLink::Settings MakeSettings()
    {
        CloudLink::Settings settings;
        settings.server = "cloud.lab.example";
        settings.process = 4711;
        settings.reconnectDelay = milliseconds(10);
        settings.findServer = [this]
        {
            return m_isKnown ? std::optional(Place()) : std::nullopt;
        };
        return settings;
    }

    Lab::Net::Endpoint Place() const
    {
        return {"127.0.0.1", m_listener.GetPort()};
    }

    /// The cloud's end of the next link, behind both greetings.
    std::unique_ptr<FrameStream> AwaitLink()
    {
        auto stream = AwaitUngreetedLink();
        stream->Send("welcome", Limit);
        EXPECT_EQ(AwaitReceived(), "welcome");
        return stream;
    }

    /// The same, and the cloud has said nothing yet.
    std::unique_ptr<FrameStream> AwaitUngreetedLink()
    {
        auto stream = std::make_unique<FrameStream>(m_listener.Accept(Limit));
        m_hello = Lab::Control::DecodeHello(stream->Receive(Limit).value_or(""));
        return stream;
    }

    std::string AwaitReceived()
    {
        std::string envelope;
        (void)Shared::Concurrency::WaitFor(m_link.GetReceivedHandle(), TestSupport::LimitMs);
        return m_link.TakeReceived(envelope) ? envelope : "(nothing)";
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

    Listener m_listener;
    std::atomic<bool> m_isKnown = true;
    Lab::Control::Hello m_hello;
    LogLines m_log;
    CloudLink m_link;
};

TEST_F(CloudLinkTest, ItSaysWhichServerItWants)
{
    const auto cloud = AwaitLink();
    EXPECT_EQ(m_hello, (Lab::Control::Hello{Lab::Control::Role::Link, "cloud.lab.example", 4711}));
}

TEST_F(CloudLinkTest, FramesGoBothWays)
{
    const auto cloud = AwaitLink();
    EXPECT_TRUE(m_link.Send("up"));
    EXPECT_EQ(cloud->Receive(Limit), "up");
    cloud->Send("down", Limit);
    EXPECT_EQ(AwaitReceived(), "down");
}

TEST_F(CloudLinkTest, WhatIsSentBeforeTheLinkIsUpWaitsForItInItsOrder)
{
    m_isKnown = false;
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_TRUE(m_link.Send(std::to_string(i)));
    }
    m_isKnown = true;
    auto cloud = AwaitLink();
    for (int i = 0; i < 20; ++i)
    {
        EXPECT_EQ(cloud->Receive(Limit), std::to_string(i));
    }
}

TEST_F(CloudLinkTest, ALinkOnWhichTheCloudSaysNothingTakesNoFrameAlong)
{
    EXPECT_TRUE(m_link.Send("late"));
    for (int i = 0; i < 3; ++i)
    {
        const auto cut = AwaitUngreetedLink();
        EXPECT_THROW((void)cut->Receive(milliseconds(20)), Lab::Net::SocketError);
        cut->Shutdown();
    }
    EXPECT_EQ(AwaitLink()->Receive(Limit), "late");
}

TEST_F(CloudLinkTest, ALinkThatBreaksIsMadeAgain)
{
    AwaitLink()->Shutdown();
    const auto cloud = AwaitLink();
    EXPECT_TRUE(m_link.Send("again"));
    EXPECT_EQ(cloud->Receive(Limit), "again");
    EXPECT_THAT(AllLines(), HasSubstr("[warning] The link to cloud.lab.example is down: the cloud ended it"));
}

TEST_F(CloudLinkTest, ALinkThatIsDownIsToldOnceAndThenInDetailOnlyUntilItIsUp)
{
    AwaitLink()->Shutdown();
    for (int i = 0; i < 3; ++i)
    {
        AwaitUngreetedLink()->Shutdown();
    }
    const auto cloud = AwaitLink();
    const std::string lines = AllLines();
    EXPECT_TRUE(std::regex_match(
        lines,
        std::regex("\\[info\\] Linked to cloud.lab.example at 127.0.0.1:[0-9]+\n"
                   "\\[warning\\] The link to [^\n]*\n"
                   "(\\[debug\\] The link to [^\n]*\n)+"
                   "(\\[info\\] Linked to cloud.lab.example [^\n]*\n)?")))
        << lines;
}

TEST_F(CloudLinkTest, AServerThatNobodyKnowsIsToldAndTriedAgain)
{
    const auto first = AwaitLink();
    m_isKnown = false;
    first->Shutdown();
    std::string lines;
    while (lines.find("nobody says where that server is; trying again") == std::string::npos)
    {
        Shared::Time::SleepFor(milliseconds(5));
        lines += AllLines();
    }
    m_isKnown = true;
    for (auto cloud = AwaitLink(); m_link.Send("x") && !cloud->Receive(Limit); cloud = AwaitLink())
    {
    }
}

TEST_F(CloudLinkTest, NoMoreThanTheLimitWaits)
{
    const auto cloud = AwaitLink();
    m_isKnown = false;
    cloud->Shutdown();
    // Once the link is down, whatever is sent stays.
    for (std::string lines; lines.find("trying again") == std::string::npos; lines += AllLines())
    {
        Shared::Time::SleepFor(milliseconds(5));
    }
    std::size_t taken = 0;
    while (taken < 2 * CloudLink::MostWaiting && m_link.Send("x"))
    {
        ++taken;
    }
    EXPECT_GE(taken, CloudLink::MostWaiting);
    EXPECT_LE(taken, CloudLink::MostWaiting + 1) << "one may be with the sender";
}

TEST_F(CloudLinkTest, ACloudWhoseFramesNobodyTakesIsSlowedDown)
{
    const auto cloud = AwaitLink();
    const std::string frame(64U << 10U, 'f');
    std::size_t sent = 0;
    try
    {
        for (; sent < 100 * CloudLink::MostWaiting; ++sent)
        {
            cloud->Send(frame, milliseconds(200));
        }
    }
    catch (const Lab::Net::SocketError&)
    {
    }
    EXPECT_GE(sent, CloudLink::MostWaiting);
    EXPECT_LT(sent, 5 * CloudLink::MostWaiting);
}

TEST_F(CloudLinkTest, BitesMakeTheSameFrames)
{
    const auto cloud = AwaitLink();
    m_link.Fragment({2, milliseconds(1)}, milliseconds(0));
    EXPECT_TRUE(m_link.Send("in bites"));
    EXPECT_EQ(cloud->Receive(Limit), "in bites");
}

TEST_F(CloudLinkTest, StoppingDoesNotWaitForAnything)
{
    const auto cloud = AwaitLink();
    m_link.Stop();
    m_link.Stop();
    EXPECT_EQ(cloud->Receive(Limit), std::nullopt);
}

TEST(CloudLinkStopTest, OneThatWasNeverUpStops)
{
    LogLines log;
    CloudLink::Settings settings;
    settings.server = "s";
    settings.reconnectDelay = std::chrono::hours(1);
    settings.findServer = []
    {
        return std::nullopt;
    };
    CloudLink link(std::move(settings), log);
    link.Start();
    EXPECT_TRUE(link.Send("lost"));
    link.Stop();
}

} // namespace
