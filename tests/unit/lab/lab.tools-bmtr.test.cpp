#include "lab.tools-bmtr.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Tools::BmtrArguments;
using Lab::Tools::ParseBmtrArguments;
using Lab::Tools::Path;
using Lab::Tools::ProbeKind;
using Lab::Tools::Trace;

TEST(BmtrArgumentsTest, BothFormsOfTheAgentAreUnderstood)
{
    const BmtrArguments requests = ParseBmtrArguments({"s", "i", "n", "5", "1", "5", "host.example", "80"});
    EXPECT_EQ(requests.kind, ProbeKind::ConnectionRequest);
    EXPECT_TRUE(requests.settings.isSpread);
    EXPECT_EQ(requests.settings.cycles, 5U);
    EXPECT_EQ(requests.settings.interval, 1s);
    EXPECT_EQ(requests.settings.timeout, 5s);
    EXPECT_EQ(requests.target, "host.example");
    EXPECT_EQ(requests.port, 80);
    const BmtrArguments datagrams = ParseBmtrArguments({"u", "i", "f", "5", "1", "5", "host.example", "80"});
    EXPECT_EQ(datagrams.kind, ProbeKind::Datagram);
    EXPECT_FALSE(datagrams.settings.isSpread);
}

TEST(BmtrArgumentsTest, WhatIsNoSuchCallIsRefused)
{
    const std::vector<std::string> good = {"s", "i", "n", "5", "1", "5", "host.example", "80"};
    const std::vector<std::string> wrong = {"x", "n", "i", "0", "-1", "", "-x", "65536"};
    for (std::size_t i = 0; i < good.size(); ++i)
    {
        std::vector<std::string> arguments = good;
        arguments[i] = wrong[i];
        EXPECT_THROW((void)ParseBmtrArguments(arguments), std::invalid_argument) << i;
    }
    EXPECT_THROW((void)ParseBmtrArguments({}), std::invalid_argument);
    EXPECT_THROW((void)ParseBmtrArguments({"s", "i", "n", "5", "1", "5", "h", "80", "81"}), std::invalid_argument);
}

TEST(BmtrPathTest, TheInitialRoundTripIsTheTargetsOwn)
{
    Trace trace;
    trace.initialRoundTrip = 12'500us;
    trace.hops.push_back(Lab::Tools::MakeHop("192.0.2.9", 5, {}));
    const Path reached = Lab::Tools::MakePath("host.example", "192.0.2.9", ProbeKind::ConnectionRequest, {5}, trace);
    EXPECT_EQ(reached.initialRoundTrip, "12.500");
    EXPECT_EQ(reached.target, "host.example");
    EXPECT_EQ(reached.cycles, 5U);
    EXPECT_EQ(reached.probeSize, 40U);
    EXPECT_EQ(reached.options, std::vector<std::string>{"tcp"});
    const Path refused = Lab::Tools::MakePath("host.example", "192.0.2.10", ProbeKind::Echo, {5}, trace);
    EXPECT_EQ(refused.initialRoundTrip, "");
}

} // namespace
