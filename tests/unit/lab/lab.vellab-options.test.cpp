#include "lab.vellab-options.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{

using Lab::ParseOptions;

TEST(OptionsTest, WhatIsNotGivenHasItsDefault)
{
    const Lab::Options options = ParseOptions({"--agent", "a", "--results", "r"});
    EXPECT_EQ(options.agent, "a");
    EXPECT_EQ(options.results, "r");
    EXPECT_EQ(options.duration, std::chrono::seconds(25));
    EXPECT_EQ(options.speed, 1.0);
    EXPECT_FALSE(options.debug);
    EXPECT_FALSE(options.wholeLog);
    EXPECT_EQ(options.starts, 1U);
    EXPECT_TRUE(options.scenario.empty());
    EXPECT_TRUE(options.connector.empty());
    EXPECT_TRUE(options.tools.empty());
    EXPECT_FALSE(options.isDurationGiven);
    EXPECT_FALSE(options.isServerGiven);
}

TEST(OptionsTest, WhatAScenarioMayNotOverruleIsKnown)
{
    EXPECT_TRUE(ParseOptions({"--agent=a", "--results=r", "--duration=1"}).isDurationGiven);
    EXPECT_TRUE(ParseOptions({"--agent=a", "--results=r", "--keep"}).isDurationGiven);
    EXPECT_TRUE(ParseOptions({"--agent=a", "--results=r", "--server="}).isServerGiven);
}

TEST(OptionsTest, AScenarioIsPlayedWithAConnectorAsOftenAsAskedFor)
{
    const Lab::Options options = ParseOptions(
        {"--agent=a", "--results=r", "--connector", "c", "--tools=t", "--scenario=s.json", "--starts", "3", "--log"});
    EXPECT_EQ(options.connector, "c");
    EXPECT_EQ(options.tools, "t");
    EXPECT_EQ(options.scenario, "s.json");
    EXPECT_EQ(options.starts, 3U);
    EXPECT_TRUE(options.wholeLog);
}

TEST(OptionsTest, ValuesStandBehindOrInsideOfTheOption)
{
    const Lab::Options options =
        ParseOptions({"--agent=a", "--results", "r", "--duration=1.5", "--speed", "20", "--server=x:1", "--debug"});
    EXPECT_EQ(options.duration, std::chrono::milliseconds(1500));
    EXPECT_EQ(options.speed, 20.0);
    EXPECT_EQ(options.server, "x:1");
    EXPECT_TRUE(options.debug);
}

TEST(OptionsTest, WhatTheLogIsToSayMayBeSeveralTexts)
{
    EXPECT_EQ(
        ParseOptions({"--agent=a", "--results=r", "--until", "state: InPolling", "--until=b=c"}).until,
        (std::vector<std::string>{"state: InPolling", "b=c"}));
    EXPECT_THROW(ParseOptions({"--agent=a", "--results=r", "--until"}), std::invalid_argument);
}

TEST(OptionsTest, KeepRunsWithoutAnEnd)
{
    EXPECT_FALSE(ParseOptions({"--agent=a", "--results=r", "--keep"}).duration.has_value());
}

TEST(OptionsTest, WhatMakesNoSenseIsRefused)
{
    EXPECT_THROW(ParseOptions({}), std::invalid_argument);
    EXPECT_THROW(ParseOptions({"--agent=a"}), std::invalid_argument);
    EXPECT_THROW(ParseOptions({"--agent=a", "--results"}), std::invalid_argument);
    EXPECT_THROW(ParseOptions({"--agent=a", "--results=r", "--loud"}), std::invalid_argument);
    for (const char* number : {"--starts=0", "--starts=-1", "--starts=x", "--starts=", "--starts=1001", "--starts=1.5"})
    {
        EXPECT_THROW(ParseOptions({"--agent=a", "--results=r", number}), std::invalid_argument) << number;
    }
    for (const char* number :
         {"--speed=0", "--speed=-1", "--speed=x", "--speed=", "--speed=1e9", "--speed=nan", "--duration=2s"})
    {
        EXPECT_THROW(ParseOptions({"--agent=a", "--results=r", number}), std::invalid_argument) << number;
    }
}

} // namespace
