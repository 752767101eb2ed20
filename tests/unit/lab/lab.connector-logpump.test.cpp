#include "lab.connector-logpump.hpp"

#include "test.lab-fakes.hpp"
#include "test.support-time.hpp"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::Connector::Level;
using Lab::Connector::LogLines;
using Lab::Connector::LogPump;

class LogPumpTest : public ::testing::Test
{
protected:
    LogPumpTest() : m_pump(MakeChannel(), m_log)
    {
        m_pump.Start();
    }

    std::unique_ptr<TestLab::FakeChannel> MakeChannel()
    {
        auto channel = std::make_unique<TestLab::FakeChannel>();
        m_channel = channel.get();
        return channel;
    }

    std::string Written()
    {
        return m_channel->TakeSent(TestSupport::LimitMs).value_or("(nothing)");
    }

    LogLines m_log;
    TestLab::FakeChannel* m_channel = nullptr;
    LogPump m_pump;
};

TEST_F(LogPumpTest, EachLineIsAMessage)
{
    m_log.Tell(Level::Info, "one");
    m_log.Tell(Level::Error, "two");
    EXPECT_EQ(Written(), "[info] one");
    EXPECT_EQ(Written(), "[error] two");
}

TEST_F(LogPumpTest, WhileItIsHeldNothingIsWritten)
{
    m_pump.Hold(true);
    m_log.Tell(Level::Info, "later");
    EXPECT_FALSE(m_channel->TakeSent(TestSupport::QuietMs).has_value());
    m_pump.Hold(false);
    EXPECT_EQ(Written(), "[info] later");
}

TEST_F(LogPumpTest, WhatWaitsAtTheStopIsStillWritten)
{
    m_pump.Hold(true);
    m_log.Tell(Level::Info, "last words");
    m_pump.Stop();
    m_pump.Stop();
    EXPECT_EQ(Written(), "[info] last words");
}

TEST_F(LogPumpTest, AnAgentThatTakesNoLinesDoesNotDelayTheStop)
{
    m_channel->Block(true);
    m_log.Tell(Level::Info, "never taken");
    m_log.Tell(Level::Info, "neither");
    m_pump.Stop();
    EXPECT_FALSE(m_channel->TakeSent(0).has_value());
}

} // namespace
