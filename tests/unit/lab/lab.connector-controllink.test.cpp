#include "lab.connector-controllink.hpp"

#include "shared.concurrency-functions.hpp"
#include "test.support-time.hpp"

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::ControlLink;
using Lab::Connector::Level;
using Lab::Connector::LogLines;
using Lab::Connector::Relay;
using Lab::Control::Order;
using Lab::Control::OrderKind;
using Lab::Net::FrameStream;
using Lab::Net::Listener;
using std::chrono::milliseconds;

constexpr milliseconds Limit(TestSupport::LimitMs);

class ControlLinkTest : public ::testing::Test
{
protected:
    /// Connects to a laboratory that says `welcome`.
    void Connect(const std::string& welcome)
    {
        std::thread laboratory(
            [&]
            {
                m_laboratory = std::make_unique<FrameStream>(m_listener.Accept(Limit));
                m_hello = m_laboratory->Receive(Limit);
                m_laboratory->Send(welcome, Limit);
            });
        try
        {
            m_link = std::make_unique<ControlLink>(Lab::Net::Endpoint{"127.0.0.1", m_listener.GetPort()}, 4711, Limit);
        }
        catch (...)
        {
            laboratory.join();
            throw;
        }
        laboratory.join();
    }

    Listener m_listener;
    std::unique_ptr<FrameStream> m_laboratory;
    std::optional<std::string> m_hello;
    Relay::Orders m_orders;
    LogLines m_log;
    std::unique_ptr<ControlLink> m_link;
};

TEST_F(ControlLinkTest, ItSaysWhoItIsAndTakesTheOrdersForItsStart)
{
    const std::vector orders = {Order{.kind = OrderKind::ExitAtStart, .exitCode = 9}};
    Connect(Lab::Control::Encode(orders));
    EXPECT_EQ(Lab::Control::DecodeHello(*m_hello), (Lab::Control::Hello{Lab::Control::Role::Control, "", 4711}));
    EXPECT_EQ(m_link->GetStartOrders(), orders);
}

TEST_F(ControlLinkTest, LaterOrdersComeIntoTheQueue)
{
    Connect(R"({"orders":[]})");
    m_link->Start(m_orders, m_log);
    m_laboratory->Send(R"({"orders":[{"order":"hang"},{"order":"garble"}]})", Limit);
    for (const OrderKind kind : {OrderKind::Hang, OrderKind::Garble})
    {
        ASSERT_TRUE(Shared::Concurrency::WaitFor(m_orders.GetEventHandle(), TestSupport::LimitMs));
        EXPECT_EQ(m_orders.TakeAt(0).kind, kind);
        if (kind == OrderKind::Hang)
        {
            ASSERT_TRUE(Shared::Concurrency::WaitFor(m_orders.GetEventHandle(), TestSupport::LimitMs));
        }
    }
}

TEST_F(ControlLinkTest, AnOrderThatIsNotUnderstoodIsToldAndTheNextOneObeyed)
{
    Connect(R"({"orders":[]})");
    m_link->Start(m_orders, m_log);
    m_laboratory->Send(R"({"orders":[{"order":"dance"}]})", Limit);
    m_laboratory->Send(R"({"orders":[{"order":"hang"}]})", Limit);
    ASSERT_TRUE(Shared::Concurrency::WaitFor(m_orders.GetEventHandle(), TestSupport::LimitMs));
    EXPECT_EQ(
        Lab::Control::DecodeLine(*m_laboratory->Receive(Limit)),
        "[error] The laboratory's order was not understood: \"dance\" is no order");
}

TEST_F(ControlLinkTest, LinesGoOutAndTheLastOnesBeforeTheStop)
{
    Connect(R"({"orders":[]})");
    m_link->Start(m_orders, m_log);
    m_log.Tell(Level::Info, "one");
    EXPECT_EQ(Lab::Control::DecodeLine(*m_laboratory->Receive(Limit)), "[info] one");
    m_log.Tell(Level::Info, "last");
    m_link->Stop();
    EXPECT_EQ(Lab::Control::DecodeLine(*m_laboratory->Receive(Limit)), "[info] last");
    EXPECT_EQ(m_laboratory->Receive(Limit), std::nullopt);
}

TEST_F(ControlLinkTest, ALaboratoryThatSaysSomethingElseIsRefused)
{
    EXPECT_THROW(Connect("welcome"), Lab::Control::ControlError);
}

TEST_F(ControlLinkTest, ALaboratoryThatSaysNothingIsGivenUp)
{
    EXPECT_THROW(
        ControlLink(Lab::Net::Endpoint{"127.0.0.1", m_listener.GetPort()}, 1, milliseconds(30)), Lab::Net::SocketError);
}

TEST_F(ControlLinkTest, ALaboratoryThatIsGoneIsNoReasonToEnd)
{
    Connect(R"({"orders":[]})");
    m_link->Start(m_orders, m_log);
    m_laboratory.reset();
    m_log.Tell(Level::Info, "nobody reads this");
    m_link->Stop();
}

} // namespace
