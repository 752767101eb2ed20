#include "lab.tools-mtr.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Tools::ApplyOptions;
using Lab::Tools::Hop;
using Lab::Tools::MtrArguments;
using Lab::Tools::MtrOutputError;
using Lab::Tools::ParseMtrArguments;
using Lab::Tools::Path;
using Lab::Tools::ReadMtrOutput;

const std::vector<std::string> Agents = {
    "--json",         "--timeout",          "15", "-c",          "5", "-q", "33768", "--interval", "5", "--show-ips",
    "--rtt-clamping", "--end-verification", "-4", "host.example"};

/// As Debian's program prints it.
constexpr const char* Output = R"json({
    "report": {
        "mtr": {
            "src": "here",
            "dst": "192.0.2.9",
            "tos": 0,
            "tests": 5,
            "psize": "64",
            "bitpattern": "0x00"
        },
        "hubs": [
            {
                "count": 1,
                "host": "router.example (192.0.2.1)",
                "Loss%": 20.0,
                "Snt": 5,
                "Last": 4.123,
                "Avg": 4.5,
                "Best": 4.0,
                "Wrst": 30.25,
                "StDev": 0.5
            },
            {"count": 2, "host": "???", "Loss%": 100.0, "Snt": 5, "Last": 0.0, "Avg": 0.0, "Best": 0.0, "Wrst": 0.0,
             "StDev": 0.0},
            {"count": 3, "host": "192.0.2.9", "Loss%": 0.0, "Snt": 5, "Last": 14.0, "Avg": 14.5, "Best": 14.0,
             "Wrst": 15.0, "StDev": 0.25}
        ]
    }
})json";

Path PathTo(const std::string& address)
{
    Path path = ReadMtrOutput(Output);
    path.target = "host.example";
    path.targetAddress = address;
    return path;
}

TEST(MtrArgumentsTest, TheAgentsArgumentsAreUnderstood)
{
    const MtrArguments read = ParseMtrArguments(Agents);
    EXPECT_EQ(read.cycles, 5U);
    EXPECT_EQ(read.interval, 5s);
    EXPECT_EQ(read.timeout, 15s);
    EXPECT_TRUE(read.showsAddresses);
    EXPECT_TRUE(read.clampsRoundTrips);
    EXPECT_TRUE(read.verifiesEnd);
    EXPECT_EQ(read.target, "host.example");
}

TEST(MtrArgumentsTest, WhatIsNotAskedForIsNotDone)
{
    const MtrArguments read = ParseMtrArguments({"host.example"});
    EXPECT_FALSE(read.showsAddresses);
    EXPECT_FALSE(read.clampsRoundTrips);
    EXPECT_FALSE(read.verifiesEnd);
}

TEST(MtrArgumentsTest, WhatIsNoSuchCallIsRefused)
{
    const std::vector<std::vector<std::string>> wrong = {
        {}, {"--json"}, {"-c", "0", "h"}, {"-c"}, {"-q", "x", "h"}, {"-6", "h"}, {"h", "--json"}, {"h", "i"}};
    for (const auto& arguments : wrong)
    {
        EXPECT_THROW((void)ParseMtrArguments(arguments), std::invalid_argument) << ::testing::PrintToString(arguments);
    }
}

TEST(MtrOutputTest, TheReportOfDebiansProgramIsRead)
{
    const Path path = ReadMtrOutput(Output);
    EXPECT_EQ(path.source, "here");
    EXPECT_EQ(path.target, "192.0.2.9");
    EXPECT_EQ(path.typeOfService, 0U);
    EXPECT_EQ(path.probeSize, 64U);
    EXPECT_EQ(path.bitPattern, "0x00");
    EXPECT_EQ(path.cycles, 5U);
    ASSERT_EQ(path.hops.size(), 3U);
    EXPECT_EQ(path.hops[0], (Hop{"router.example", "192.0.2.1", 5, 20.0, 4.123, 4.5, 4.0, 30.25, 0.5}));
    EXPECT_EQ(path.hops[1].host, "???");
    EXPECT_EQ(path.hops[1].address, "");
    EXPECT_EQ(path.hops[2].host, "192.0.2.9");
    EXPECT_EQ(path.hops[2].address, "192.0.2.9");
}

TEST(MtrOutputTest, WhatIsNoReportIsRefused)
{
    for (const char* const text :
         {"", "{", "[]", "{}", "null", "{\"report\": {}}", "{\"report\": {\"mtr\": {}}}",
          "{\"report\": {\"mtr\": {}, \"hubs\": {}}}", "{\"report\": []}", "mtr: unknown host"})
    {
        EXPECT_THROW((void)ReadMtrOutput(text), MtrOutputError) << text;
    }
}

TEST(MtrOutputTest, MembersOfOtherTypesAreLeftAtTheirDefaults)
{
    const Path path = ReadMtrOutput(
        R"json({"report": {"mtr": {"src": 5, "tests": "x", "psize": "99999999999999"}, "hubs": [
        {"host": 7, "Loss%": -3, "Snt": 1e300, "Avg": "much", "Best": null}, 5, "x", {"host": " ()", "Loss%": 170}]}})json");
    EXPECT_EQ(path.source, "");
    EXPECT_EQ(path.cycles, 0U);
    EXPECT_EQ(path.probeSize, 0U);
    ASSERT_EQ(path.hops.size(), 4U);
    EXPECT_EQ(path.hops[0].lossPercent, 0.0);
    EXPECT_EQ(path.hops[0].sent, 2147483647U);
    EXPECT_EQ(path.hops[0].average, 0.0);
    EXPECT_EQ(path.hops[3].lossPercent, 100.0);
}

TEST(MtrOutputTest, ANameMayBeAnythingButAnAddressIsOneInNumbers)
{
    const auto read = [](const std::string& host)
    {
        return ReadMtrOutput(R"json({"report": {"mtr": {}, "hubs": [{"host": ")json" + host + R"json("}]}})json")
            .hops.at(0);
    };
    EXPECT_EQ(read("a (b (192.0.2.1)").host, "a (b");
    EXPECT_EQ(read("a (b (192.0.2.1)").address, "192.0.2.1");
    for (const char* const host :
         {"router.example", "router.example (nobody)", "router.example ()", "192.0.2.256", "192.0.2.1 ("})
    {
        EXPECT_EQ(read(host).host, "???") << host;
        EXPECT_EQ(read(host).address, "") << host;
    }
}

TEST(MtrOutputTest, AnEndlessListOfHopsIsRefused)
{
    std::string text = R"json({"report": {"mtr": {}, "hubs": [{})json";
    for (int i = 1; i < 256; ++i)
    {
        text += ", {}";
    }
    EXPECT_THROW((void)ReadMtrOutput(text + "]}}"), MtrOutputError);
}

TEST(MtrOptionsTest, ClampedRoundTripsAreNoLongerThanTheTargets)
{
    MtrArguments arguments;
    arguments.clampsRoundTrips = true;
    Path path = PathTo("192.0.2.9");
    ApplyOptions(arguments, path);
    EXPECT_EQ(path.hops[0].worst, 15.0);
    EXPECT_EQ(path.hops[0].average, 4.5);
    EXPECT_EQ(path.hops[2].worst, 15.0);
    EXPECT_EQ(path.options, std::vector<std::string>{"rtt-clamping"});
}

TEST(MtrOptionsTest, WithoutAnAnswerOfTheTargetNothingIsClamped)
{
    MtrArguments arguments;
    arguments.clampsRoundTrips = true;
    Path path = PathTo("192.0.2.77");
    ApplyOptions(arguments, path);
    EXPECT_EQ(path.hops[0].worst, 30.25);
}

TEST(MtrOptionsTest, AVerifiedEndIsTheTargetEvenWhenThatIsSilent)
{
    MtrArguments arguments;
    arguments.verifiesEnd = true;
    Path reached = PathTo("192.0.2.9");
    ApplyOptions(arguments, reached);
    EXPECT_EQ(reached.hops.size(), 3U);
    Path silent = PathTo("192.0.2.77");
    silent.hops.pop_back();
    silent.hops.push_back(silent.hops.back());
    ApplyOptions(arguments, silent);
    ASSERT_EQ(silent.hops.size(), 2U);
    EXPECT_EQ(silent.hops[1].address, "192.0.2.77");
    EXPECT_EQ(silent.hops[1].host, "host.example");
    EXPECT_EQ(silent.hops[1].lossPercent, 100.0);
    EXPECT_EQ(silent.hops[1].sent, 5U);
}

TEST(MtrOptionsTest, WithoutOptionsThePathIsWhatWasMeasured)
{
    Path path = PathTo("192.0.2.77");
    const std::vector<Hop> before = path.hops;
    ApplyOptions({}, path);
    EXPECT_EQ(path.hops, before);
    EXPECT_TRUE(path.options.empty());
}

} // namespace
