#include "lab.tools-tcping.hpp"

#include <regex>
#include <stdexcept>

#include <gmock/gmock.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Tools::ConnectOutcome;
using Lab::Tools::ConnectResult;
using Lab::Tools::ParseTcpingArguments;
using Lab::Tools::TcpingArguments;
using Lab::Tools::TcpingReport;
using ::testing::HasSubstr;
using ::testing::Not;

std::smatch Search(const std::string& text, const char* pattern)
{
    std::smatch found;
    EXPECT_TRUE(std::regex_search(text, found, std::regex(pattern))) << pattern << " in:\n" << text;
    return found;
}

/// The line after the first one that begins with `beginning`.
std::string LineAfter(const std::string& text, const std::string& beginning)
{
    const std::size_t at = text.find("\r\n" + beginning);
    const std::size_t line = text.find("\r\n", at + 2) + 2;
    return at == std::string::npos ? std::string() : text.substr(line, text.find("\r\n", line) - line);
}

TEST(TcpingArgumentsTest, TheAgentsArgumentsAreUnderstood)
{
    const TcpingArguments read =
        ParseTcpingArguments({"-n", "6", "-i", "10", "-w", "5.000000", "-j", "-p", "8443", "host.example"});
    EXPECT_EQ(read.count, 6U);
    EXPECT_EQ(read.interval, 10s);
    EXPECT_EQ(read.timeout, 5s);
    EXPECT_TRUE(read.showsJitter);
    EXPECT_EQ(read.port, 8443);
    EXPECT_EQ(read.target, "host.example");
}

TEST(TcpingArgumentsTest, ThePortIs80UnlessSaid)
{
    const TcpingArguments read = ParseTcpingArguments({"host.example"});
    EXPECT_EQ(read.port, 80);
    EXPECT_FALSE(read.showsJitter);
}

TEST(TcpingArgumentsTest, WhatIsNoSuchCallIsRefused)
{
    const std::vector<std::vector<std::string>> wrong = {
        {},          {"-n"},      {"-n", "6"}, {"-n", "0", "h"}, {"-p", "65536", "h"},
        {"-x", "h"}, {"h", "-j"}, {"h", "i"},  {"--", "-h"},     {"-w", "0", "h"}};
    for (const auto& arguments : wrong)
    {
        EXPECT_THROW((void)ParseTcpingArguments(arguments), std::invalid_argument)
            << ::testing::PrintToString(arguments);
    }
}

TEST(TcpingReportTest, ALineTellsAnOpenPortFromAllElse)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    EXPECT_EQ(
        report.Add({ConnectOutcome::Open, 12'345'600ns}),
        "Probing 192.0.2.1:80/tcp - Port is open - time=12.346ms \r\n");
    EXPECT_EQ(
        report.Add({ConnectOutcome::TimedOut, 5000ms}),
        "Probing 192.0.2.1:80/tcp - No response - time=5000.000ms \r\n");
    EXPECT_EQ(
        report.Add({ConnectOutcome::Closed, 1ms}), "Probing 192.0.2.1:80/tcp - Connection refused - time=1.000ms \r\n");
    EXPECT_EQ(
        report.Add({ConnectOutcome::Failed, 1ms, 101}),
        "Probing 192.0.2.1:80/tcp - Failed (error 101) - time=1.000ms \r\n");
}

TEST(TcpingReportTest, ANameWithOpenInItOpensNothing)
{
    TcpingReport report("openssl.example", "192.0.2.1", 80);
    EXPECT_THAT(report.Add({ConnectOutcome::TimedOut, 5000ms}), Not(HasSubstr("open")));
}

TEST(TcpingReportTest, TheSummaryIsWhatTheAgentReads)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    for (const auto time : {10ms, 12ms, 17ms})
    {
        (void)report.Add({ConnectOutcome::Open, time});
    }
    (void)report.Add({ConnectOutcome::TimedOut, 5000ms});
    const std::string text = report.Summary(true);
    EXPECT_EQ(Search(text, "(\\w+) probes sent\\. \r\n")[1], "4");
    EXPECT_EQ(Search(text, "(\\w+) successful.*fail\\)\r\n")[1], "3");
    const std::string times = LineAfter(text, "Approximate");
    const std::smatch range =
        Search(times, "Minimum = (\\d+\\.\\d+)ms, Maximum = (\\d+\\.\\d+)ms, Average = (\\d+\\.\\d+)ms");
    EXPECT_EQ(range[1], "10.000");
    EXPECT_EQ(range[2], "17.000");
    EXPECT_EQ(range[3], "13.000");
    const std::string jitter = LineAfter(text, "Jitter");
    EXPECT_EQ(Search(jitter, "Average = (\\d+\\.\\d+)")[1], "3.500");
    EXPECT_EQ(report.ExitCode(), 1);
}

TEST(TcpingReportTest, EveryLineEndsWithCarriageReturnAndLineFeed)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    std::string all = report.Add({ConnectOutcome::Open, 1ms}) + report.Add({ConnectOutcome::Open, 2ms});
    all += report.Summary(true);
    for (std::size_t at = all.find('\n'); at != std::string::npos; at = all.find('\n', at + 1))
    {
        ASSERT_GT(at, 0U);
        EXPECT_EQ(all[at - 1], '\r');
    }
    EXPECT_TRUE(all.ends_with("\r\n"));
}

TEST(TcpingReportTest, WithoutAnOpenPortThereAreNoTimes)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    (void)report.Add({ConnectOutcome::TimedOut, 5000ms});
    const std::string text = report.Summary(true);
    EXPECT_THAT(text, HasSubstr("     1 probes sent. \r\n     0 successful, 1 failed.  (100.00% fail)\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("Approximate")));
    EXPECT_THAT(text, Not(HasSubstr("Jitter")));
    EXPECT_EQ(report.ExitCode(), 1);
}

TEST(TcpingReportTest, JitterIsToldWhenAskedForAndFromTwoTimesOn)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    (void)report.Add({ConnectOutcome::Open, 1ms});
    EXPECT_THAT(report.Summary(true), Not(HasSubstr("Jitter")));
    (void)report.Add({ConnectOutcome::Open, 1ms});
    EXPECT_THAT(report.Summary(true), HasSubstr("Jitter"));
    EXPECT_THAT(report.Summary(false), Not(HasSubstr("Jitter")));
    EXPECT_EQ(report.ExitCode(), 0);
}

TEST(TcpingReportTest, AProbeThatWasBrokenOffIsNone)
{
    TcpingReport report("host.example", "192.0.2.1", 80);
    EXPECT_EQ(report.Add({ConnectOutcome::BrokenOff, 1ms}), "");
    EXPECT_THAT(report.Summary(true), HasSubstr("     0 probes sent. \r\n"));
    EXPECT_EQ(report.ExitCode(), 2);
}

} // namespace
