#include "lab.connector-log.hpp"

#include "shared.concurrency-functions.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::Level;
using Lab::Connector::LogLines;
using Lab::Connector::MakeLine;
using Outlet = LogLines::Outlet;

TEST(ConnectorLogTest, TheTagOfTheLevelStandsInFront)
{
    EXPECT_EQ(MakeLine(Level::Debug, "a"), "[debug] a");
    EXPECT_EQ(MakeLine(Level::Info, "a"), "[info] a");
    EXPECT_EQ(MakeLine(Level::Warning, "a"), "[warning] a");
    EXPECT_EQ(MakeLine(Level::Error, "a"), "[error] a");
}

TEST(ConnectorLogTest, ALineHasNoLineEnds)
{
    EXPECT_EQ(MakeLine(Level::Info, "one\r\ntwo\n"), "[info] one  two ");
}

TEST(ConnectorLogTest, EachOutletGetsEveryLineInItsOrder)
{
    LogLines log;
    log.Tell(Level::Info, "{} of {}", 1, 2);
    log.Tell(Level::Info, "{} of {}", 2, 2);
    std::string line;
    for (const Outlet outlet : {Outlet::Pipe, Outlet::Laboratory})
    {
        EXPECT_TRUE(log.Take(outlet, line));
        EXPECT_EQ(line, "[info] 1 of 2");
        EXPECT_TRUE(log.Take(outlet, line));
        EXPECT_EQ(line, "[info] 2 of 2");
        EXPECT_FALSE(log.Take(outlet, line));
    }
}

TEST(ConnectorLogTest, TheHandleSaysWhetherLinesWait)
{
    LogLines log;
    EXPECT_FALSE(Shared::Concurrency::WaitFor(log.GetHandle(Outlet::Pipe), 0));
    log.Tell(Level::Info, "a");
    EXPECT_TRUE(Shared::Concurrency::WaitFor(log.GetHandle(Outlet::Pipe), 0));
}

TEST(ConnectorLogTest, AnOutletThatTakesNothingLosesTheNewestAndIsToldHowMany)
{
    LogLines log;
    for (std::size_t i = 0; i < LogLines::MostWaiting + 5; ++i)
    {
        log.Tell(Level::Info, "{}", i);
    }
    std::string line;
    EXPECT_TRUE(log.Take(Outlet::Pipe, line));
    EXPECT_EQ(line, "[warning] 5 lines were lost, as nobody took them");
    EXPECT_TRUE(log.Take(Outlet::Pipe, line));
    EXPECT_EQ(line, "[info] 0");
}

} // namespace
