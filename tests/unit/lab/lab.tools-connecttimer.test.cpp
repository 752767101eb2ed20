#include "lab.tools-connecttimer.hpp"

#include "lab.net-socket.hpp"
#include "lab.tools-address.hpp"
#include "lab.tools-systemprogram.hpp"

#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;
using Lab::Net::Listener;
using Lab::Tools::ConnectOutcome;
using Lab::Tools::TimeConnect;

constexpr auto Limit = 20s * VEL_TIME_SCALE;

TEST(ConnectTimerTest, AnOpenPortIsOpenAndTakesItsTime)
{
    const Listener listener;
    const auto result = TimeConnect("127.0.0.1", listener.GetPort(), Limit);
    EXPECT_EQ(result.outcome, ConnectOutcome::Open);
    EXPECT_GT(result.time, 0ns);
    EXPECT_LT(result.time, Limit);
}

TEST(ConnectTimerTest, APortThatNobodyListensOnIsClosed)
{
    std::optional<Listener> listener(std::in_place);
    const std::uint16_t port = listener->GetPort();
    listener.reset();
    EXPECT_EQ(TimeConnect("127.0.0.1", port, Limit).outcome, ConnectOutcome::Closed);
}

TEST(ConnectTimerTest, WhatIsNoAddressIsRefused)
{
    EXPECT_THROW((void)TimeConnect("host.example", 80, Limit), std::invalid_argument);
}

TEST(ToolAddressTest, AnAddressIsItsOwnAndTheOwnMachineHasOne)
{
    EXPECT_EQ(Lab::Tools::ResolveAddress("192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(Lab::Tools::ResolveAddress("localhost"), "127.0.0.1");
    EXPECT_FALSE(Lab::Tools::OwnHostName().empty());
}

TEST(ToolAddressTest, ANameThatCannotBeIsToldWithTheReason)
{
    try
    {
        (void)Lab::Tools::ResolveAddress("no-such-host.invalid..");
        FAIL() << "it has an address";
    }
    catch (const std::runtime_error& problem)
    {
        EXPECT_NE(std::string(problem.what()).find("no address for no-such-host.invalid..: "), std::string::npos);
    }
}

TEST(SystemProgramTest, AProgramThatNobodyHasIsNotFound)
{
    EXPECT_TRUE(Lab::Tools::FindSystemProgram("no such program").empty());
}

} // namespace
