#include "agentcore.tests-tcpingreport.hpp"

#include "test.support-exceptions.hpp"

#include <limits>
#include <string>

#include <gtest/gtest.h>

using AgentCore::Tests::ReadTcpingReport;
using TestSupport::RuntimeText;

namespace
{

constexpr std::uint32_t IntervalSeconds = 10;
constexpr std::uint32_t IntervalMs = 10'000;
constexpr std::uint32_t NoRtt = std::numeric_limits<std::uint32_t>::max();

constexpr const char* Open = "Probing 192.0.2.1:443/tcp - Port is open - time=12.345ms jitter=0.125 \r\n";
constexpr const char* Failed = "Probing 192.0.2.1:443/tcp - No response - time=5000.000ms \r\n";

PingStatistics Read(const std::string& output)
{
    PingStatistics statistics;
    statistics.set_min_rtt(NoRtt);
    ReadTcpingReport(output, IntervalSeconds, statistics);
    return statistics;
}

std::string Times(int count, const char* line)
{
    std::string text;
    for (int i = 0; i < count; ++i)
    {
        text += line;
    }
    return text;
}

std::string Counts(int sent, int received)
{
    return "     " + std::to_string(sent) + " probes sent. \r\n     " + std::to_string(received) + " successful, " +
        std::to_string(sent - received) + " failed.  (0.00% fail)\r\n";
}

std::uint32_t Available(const std::string& output)
{
    return Read(output).period_available();
}

} // namespace

TEST(TcpingReportTest, AWholeOutputIsRead)
{
    const PingStatistics statistics = Read(
        "\r\n** Pinging 192.0.2.1 **\r\n" + Times(5, Open) + Failed +
        "\r\nPing statistics for 192.0.2.1:443\r\n     6 probes sent. \r\n     5 successful, 1 failed.  (16.67% fail)\r\n"
        "Approximate trip times in milli-seconds:\r\n     Minimum = 11.875ms, Maximum = 19.999ms, Average = 13.250ms\r\n"
        "Jitter:\r\n     Minimum = 0.125ms, Maximum = 2.500ms, Average = 0.750ms\r\n");
    EXPECT_EQ(statistics.pings_sent(), 6U);
    EXPECT_EQ(statistics.pings_received(), 5U);
    EXPECT_EQ(statistics.min_rtt(), 11U);
    EXPECT_EQ(statistics.max_rtt(), 19U);
    EXPECT_EQ(statistics.avg_rtt(), 13.25F);
    EXPECT_EQ(statistics.jitter(), 0.75F);
    EXPECT_EQ(statistics.period_available(), 6 * IntervalMs);
    EXPECT_EQ(statistics.period_total(), 6 * IntervalMs);
}

TEST(TcpingReportTest, NothingPrintedLeavesWhatThereIs)
{
    const PingStatistics statistics = Read("");
    EXPECT_EQ(statistics.min_rtt(), NoRtt);
    EXPECT_EQ(statistics.pings_sent(), 0U);
    EXPECT_EQ(statistics.period_available(), 0U);
    EXPECT_EQ(statistics.period_total(), 0U);
}

TEST(TcpingReportTest, WhenAllProbesFailNothingIsAvailable)
{
    const PingStatistics statistics =
        Read(Times(6, Failed) + Counts(6, 0) + "Was unable to connect, cannot provide trip statistics.\r\n");
    EXPECT_EQ(statistics.pings_received(), 0U);
    EXPECT_EQ(statistics.min_rtt(), NoRtt);
    EXPECT_EQ(statistics.period_available(), 0U);
    EXPECT_EQ(statistics.period_total(), 6 * IntervalMs);
}

// --- Available time

TEST(TcpingReportTest, EachSuccessIsOneInterval)
{
    EXPECT_EQ(Available(Open), IntervalMs);
    EXPECT_EQ(Available(Times(4, Open)), 4 * IntervalMs);
}

TEST(TcpingReportTest, UpToFourFailuresInARowBeforeASuccessCountAsAvailable)
{
    for (int failures = 1; failures <= 4; ++failures)
    {
        EXPECT_EQ(Available(Times(failures, Failed) + Open), (static_cast<std::uint32_t>(failures) + 1) * IntervalMs);
    }
}

TEST(TcpingReportTest, AfterFiveFailuresOrMoreASuccessAddsOneIntervalOnly)
{
    EXPECT_EQ(Available(Times(5, Failed) + Open), IntervalMs);
    EXPECT_EQ(Available(Times(7, Failed) + Open), IntervalMs);
}

TEST(TcpingReportTest, ASuccessEndsTheRunOfFailures)
{
    EXPECT_EQ(Available(Times(4, Failed) + Open + Times(4, Failed) + Open), 10 * IntervalMs);
}

TEST(TcpingReportTest, AShortRunAtTheEndCountsIfAnythingWasReceived)
{
    EXPECT_EQ(Available(Open + Times(4, Failed) + Counts(5, 1)), 5 * IntervalMs);
    EXPECT_EQ(Available(Open + Times(5, Failed) + Counts(6, 1)), IntervalMs);
    EXPECT_EQ(Available(Open + Times(4, Failed) + Counts(5, 0)), IntervalMs);
    EXPECT_EQ(Available(Open + Times(4, Failed)), IntervalMs); // cut off before the counts
}

TEST(TcpingReportTest, TheTotalIsThatOfTheProbesThatTheToolSaysItSent)
{
    EXPECT_EQ(Read(Times(3, Open) + Counts(6, 3)).period_total(), 6 * IntervalMs);
    EXPECT_EQ(Read(Times(3, Open)).period_total(), 0U);
}

TEST(TcpingReportTest, SumsWrap)
{
    EXPECT_EQ(Read("4294967295 probes sent. ").period_total(), 0U - IntervalMs);
}

// --- Lines

TEST(TcpingReportTest, ALineOfAProbeBeginsWithTheWord)
{
    EXPECT_EQ(Available("Probing is open\r\n"), IntervalMs);
    EXPECT_EQ(Available("Probingopen"), IntervalMs);
    EXPECT_EQ(Available(" Probing is open\r\n"), 0U);
    EXPECT_EQ(Available("probing is open\r\n"), 0U);
}

TEST(TcpingReportTest, OnlyReturnAndNewlineEndALine)
{
    EXPECT_EQ(Available("Probing open\nProbing open\n"), IntervalMs);
    EXPECT_EQ(Available("Probing open\rProbing open"), IntervalMs);
    EXPECT_EQ(Available("Probing open\r\nProbing open"), 2 * IntervalMs);
}

TEST(TcpingReportTest, TheLineOfTheProbesSentEndsWithABlank)
{
    EXPECT_EQ(Read("7 probes sent. ").pings_sent(), 7U);
    EXPECT_EQ(Read("7 probes sent.").pings_sent(), 0U);
    EXPECT_EQ(Read("7 probes sent. \r\n8 probes sent. \r\n").pings_sent(), 8U);
    EXPECT_EQ(Read("7 probes sent, 8 probes sent. ").pings_sent(), 7U); // the first match
    EXPECT_EQ(Read("probes sent. ").pings_sent(), 0U);
    EXPECT_EQ(Read("x, probes sent. ").pings_sent(), 0U); // no word before it
}

TEST(TcpingReportTest, TheLineOfTheSuccessesEndsWithTheShareOfFailures)
{
    EXPECT_EQ(Read("5 successful, 1 failed.  (16.67% fail)").pings_received(), 5U);
    EXPECT_EQ(Read("5 successful, 1 failed.").pings_received(), 0U);
    EXPECT_EQ(Read("5 successful, 1 failed.  (16.67% fail) ").pings_received(), 0U);
    EXPECT_EQ(Read("(0% fail)").pings_received(), 0U);
}

TEST(TcpingReportTest, ACountIsWhatItsWordBeginsWith)
{
    EXPECT_EQ(Read("12ab probes sent. ").pings_sent(), 12U);
    EXPECT_EQ(Read("-3 probes sent. ").pings_sent(), 3U);
    EXPECT_EQ(Read("1.5 probes sent. ").pings_sent(), 5U);
    EXPECT_EQ(Read("0007 probes sent. ").pings_sent(), 7U);
}

TEST(TcpingReportTest, ACountThatIsNoNumberIsAFailure)
{
    EXPECT_EQ(RuntimeText([] { Read("no probes sent. "); }), "Tcping printed a number that is none: no");
    EXPECT_EQ(RuntimeText([] { Read("_1 successful (0% fail)"); }), "Tcping printed a number that is none: _1");
    EXPECT_EQ(
        RuntimeText([] { Read("4294967296 probes sent. "); }), "Tcping printed a number that is none: 4294967296");
    EXPECT_EQ(
        RuntimeText([] { Read(std::string(1000, '9') + " probes sent. "); }),
        "Tcping printed a number that is none: " + std::string(100, '9'));
}

TEST(TcpingReportTest, TheFiguresAreThoseOfTheLineBehindTheirHeading)
{
    const std::string figures = "Minimum = 1.5ms, Maximum = 2.5ms, Average = 2.25ms";
    EXPECT_EQ(Read("Approximate\r\n  " + figures + " and more").max_rtt(), 2U);
    EXPECT_EQ(Read("Approximate\r\n\r\n" + figures).max_rtt(), 0U); // the empty line was the one
    EXPECT_EQ(Read(figures).max_rtt(), 0U);
    EXPECT_EQ(Read("Approximate " + figures).max_rtt(), 0U);
    EXPECT_EQ(Read("Jitter\r\n" + figures).jitter(), 2.25F);
    EXPECT_EQ(Read("Jitter\r\n" + figures).max_rtt(), 0U);
}

TEST(TcpingReportTest, EveryLineButAHeadingUsesTheHeadingUp)
{
    EXPECT_EQ(Read("Jitter\r\nProbing open Average = 1.5\r\nAverage = 2.5").jitter(), 1.5F);
    EXPECT_EQ(Read("Jitter\r\n1 probes sent. \r\nAverage = 2.5").jitter(), 0.0F);
    EXPECT_EQ(Read("Jitter\r\nJitter\r\nAverage = 2.5").jitter(), 2.5F);
}

TEST(TcpingReportTest, WithBothHeadingsInARowTheRoundTripsComeFirst)
{
    const PingStatistics statistics =
        Read("Jitter\r\nApproximate\r\nMinimum = 1.0ms, Maximum = 2.0ms, Average = 1.5ms\r\nAverage = 0.25");
    EXPECT_EQ(statistics.avg_rtt(), 1.5F);
    EXPECT_EQ(statistics.jitter(), 0.25F);
}

TEST(TcpingReportTest, FiguresHaveAFractionAndTheirUnit)
{
    for (const char* line :
         {"Minimum = 1ms, Maximum = 2.0ms, Average = 1.5ms", "Minimum = 1.0, Maximum = 2.0ms, Average = 1.5ms",
          "Minimum = .5ms, Maximum = 2.0ms, Average = 1.5ms", "Minimum = 1.ms, Maximum = 2.0ms, Average = 1.5ms",
          "Minimum = -1.0ms, Maximum = 2.0ms, Average = 1.5ms", "Minimum = 1.0ms, Maximum = 2.0ms, Average = 1.5",
          "Minimum = 1.0ms,Maximum = 2.0ms, Average = 1.5ms", "Minimum = 1.0ms, Maximum = 2.0ms"})
    {
        EXPECT_EQ(Read(std::string("Approximate\r\n") + line).min_rtt(), NoRtt) << line;
    }
    EXPECT_EQ(Read("Approximate\r\nMinimum = 1 Minimum = 7.0ms, Maximum = 8.0ms, Average = 7.5ms").min_rtt(), 7U);
    EXPECT_EQ(Read("Jitter\r\nAverage = 1 Average = 2.").jitter(), 0.0F);
}

TEST(TcpingReportTest, FiguresThatFitNoNumberAreAFailure)
{
    EXPECT_NE(
        RuntimeText([] { Read("Approximate\r\nMinimum = 4294967296.0ms, Maximum = 1.0ms, Average = 1.0ms"); }),
        "(nothing was thrown)");
    EXPECT_NE(RuntimeText([] { Read("Jitter\r\nAverage = " + std::string(50, '9') + ".0"); }), "(nothing was thrown)");
    EXPECT_NE(RuntimeText([] { Read("Jitter\r\nAverage = 0." + std::string(60, '0') + "1"); }), "(nothing was thrown)");
}

TEST(TcpingReportTest, TenMegabytesOfOneLineAreRead)
{
    constexpr std::size_t Size = 10'000'000;
    EXPECT_EQ(Read(std::string(Size, 'x') + " probes sent").pings_sent(), 0U);
    EXPECT_NE(RuntimeText([] { Read(std::string(Size, 'x') + " probes sent. "); }), "(nothing was thrown)");
    EXPECT_EQ(Read("Jitter\r\nAverage = " + std::string(Size, '1')).jitter(), 0.0F);
    std::string many = "Jitter\r\n";
    while (many.size() < Size)
    {
        many += "Average = 1.";
    }
    EXPECT_EQ(Read(many).jitter(), 0.0F);
}
