#include "lab.control-messages.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using namespace Lab::Control;
using std::chrono::milliseconds;

template <typename Decoder>
std::string ProblemOf(Decoder&& decode, const std::string& frame)
{
    try
    {
        (void)decode(frame);
    }
    catch (const ControlError& problem)
    {
        return problem.what();
    }
    return "(none)";
}

TEST(ControlMessagesTest, AHelloComesBack)
{
    const Hello link{Role::Link, "cloud.lab.example", 4711};
    EXPECT_EQ(DecodeHello(Encode(link)), link);
    const Hello control{Role::Control, "", 4711};
    EXPECT_EQ(DecodeHello(Encode(control)), control);
}

TEST(ControlMessagesTest, OrdersComeBack)
{
    std::vector<Order> orders;
    for (const OrderKind kind :
         {OrderKind::Hang, OrderKind::Garble, OrderKind::Trickle, OrderKind::Fragment, OrderKind::ExitAtStart,
          OrderKind::NeverConnect})
    {
        orders.push_back({kind, milliseconds(5), milliseconds(6), 7, 8, -9});
    }
    EXPECT_EQ(DecodeOrders(Encode(orders)), orders);
    EXPECT_TRUE(DecodeOrders(Encode(std::vector<Order>())).empty());
}

TEST(ControlMessagesTest, ALineComesBack)
{
    EXPECT_EQ(DecodeLine(EncodeLine("[info] \"quoted\" \\ \t")), "[info] \"quoted\" \\ \t");
}

TEST(ControlMessagesTest, WhatIsMissingHasItsDefault)
{
    EXPECT_EQ(DecodeOrders(R"({"orders":[{"order":"hang"}]})"), std::vector{Order{}});
}

TEST(ControlMessagesTest, RubbishIsToldForWhatItIs)
{
    EXPECT_EQ(ProblemOf(DecodeHello, "hello"), "a control message is no JSON: line 1, column 1: Invalid value.");
    EXPECT_EQ(ProblemOf(DecodeHello, "[]"), "\"\" is no role: a stream is for \"link\" or for \"control\"");
    EXPECT_EQ(ProblemOf(DecodeHello, R"({"role":"link"})"), "a stream for the agent's messages must name its server");
    EXPECT_EQ(ProblemOf(DecodeOrders, "{}"), "a control message holds no list of orders");
    EXPECT_EQ(ProblemOf(DecodeOrders, R"({"orders":[{"order":"dance"}]})"), "\"dance\" is no order");
    EXPECT_EQ(ProblemOf(DecodeOrders, R"({"orders":[7]})"), "\"\" is no order");
    EXPECT_EQ(ProblemOf(DecodeLine, R"({"line":7})"), "a control message holds no line");
}

} // namespace
