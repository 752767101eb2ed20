#include "lab.tools-path.hpp"

#include "lab.json-functions.hpp"

#include <limits>

#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <test_results.pb.h>

namespace
{

using Lab::Tools::Hop;
using Lab::Tools::Path;
using Lab::Tools::ToJson;

Path ShortPath()
{
    Path path;
    path.source = "here";
    path.target = "host.example";
    path.targetAddress = "192.0.2.9";
    path.probeSize = 64;
    path.cycles = 5;
    path.initialRoundTrip = "12.500";
    path.options = {"tcp"};
    Hop silent;
    silent.sent = 5;
    silent.lossPercent = 100.0;
    Hop target{"host.example", "192.0.2.9", 5, 20.0, 12.5, 13.25, 12.0, 14.0, 0.75};
    path.hops = {silent, target};
    return path;
}

TEST(ToolPathTest, TheJsonIsTheAgentsMessage)
{
    MtrTestResult message;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(ToJson(ShortPath()), &message).ok());
    const auto& head = message.report().mtr();
    EXPECT_EQ(head.src(), "here");
    EXPECT_EQ(head.dst(), "host.example");
    EXPECT_EQ(head.dstaddress(), "192.0.2.9");
    EXPECT_EQ(head.tos(), "0");
    EXPECT_EQ(head.psize(), "64");
    EXPECT_EQ(head.tests(), "5");
    EXPECT_EQ(head.initialrtt(), "12.500");
    ASSERT_EQ(head.options_size(), 1);
    EXPECT_EQ(head.options(0), "tcp");
    ASSERT_EQ(message.report().hubs_size(), 2);
    const auto& silent = message.report().hubs(0);
    EXPECT_EQ(silent.count(), "1");
    EXPECT_EQ(silent.host(), "???");
    EXPECT_EQ(silent.losspct(), 100.0);
    const auto& target = message.report().hubs(1);
    EXPECT_EQ(target.count(), "2");
    EXPECT_EQ(target.host(), "host.example");
    EXPECT_EQ(target.address(), "192.0.2.9");
    EXPECT_EQ(target.losspct(), 20.0);
    EXPECT_EQ(target.snt(), 5);
    EXPECT_EQ(target.last(), 12.5);
    EXPECT_EQ(target.avg(), 13.25);
    EXPECT_EQ(target.best(), 12.0);
    EXPECT_EQ(target.wrst(), 14.0);
    EXPECT_EQ(target.stdev(), 0.75);
}

TEST(ToolPathTest, WhatNobodyCouldReadIsLeftOut)
{
    Path path = ShortPath();
    path.source = "no \xFF UTF-8";
    path.hops[1].average = std::numeric_limits<double>::infinity();
    path.hops[1].deviation = std::numeric_limits<double>::quiet_NaN();
    MtrTestResult message;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(ToJson(path), &message).ok());
    EXPECT_EQ(message.report().mtr().src(), "");
    EXPECT_EQ(message.report().hubs(1).avg(), 0.0);
    EXPECT_EQ(message.report().hubs(1).stdev(), 0.0);
}

TEST(ToolPathTest, APathReachesItsTargetWhenThatIsItsLastHop)
{
    Path path = ShortPath();
    EXPECT_TRUE(Lab::Tools::ReachesTarget(path));
    path.hops.pop_back();
    EXPECT_FALSE(Lab::Tools::ReachesTarget(path));
    path.hops.clear();
    EXPECT_FALSE(Lab::Tools::ReachesTarget(path));
    EXPECT_TRUE(Lab::Json::IsJson(ToJson(path)));
}

TEST(ToolPathTest, AHopThatNeverAnsweredHasNoTimes)
{
    const Hop hop = Lab::Tools::MakeHop("", 3, {});
    EXPECT_EQ(hop.host, "???");
    EXPECT_EQ(hop.lossPercent, 100.0);
    EXPECT_EQ(hop.average, 0.0);
}

} // namespace
