#include "lab.vellab-agentlog.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::AgentLog;
using Lab::IsForTimeline;
using Lab::LogEntry;
using Lab::ParseLogLine;

constexpr std::int64_t Noon = 1'795'262'400'000; // 2026-11-21 12:00:00

TEST(AgentLogTest, ALineHasATimeALevelAndAText)
{
    EXPECT_EQ(
        ParseLogLine("[2026-11-21 12:00:01.250] [info] Main loop state: Initialise"),
        (LogEntry{Noon + 1250, "info", "Main loop state: Initialise"}));
    EXPECT_EQ(ParseLogLine("[2026-11-21 12:00:00.000] [warning] [x] y")->text, "[x] y");
}

TEST(AgentLogTest, ALoggersNameStandsBeforeTheLevel)
{
    EXPECT_EQ(
        ParseLogLine("[2026-11-21 12:00:01.250] [default] [info] Main loop state: Initialise"),
        (LogEntry{Noon + 1250, "info", "Main loop state: Initialise"}));
    EXPECT_EQ(
        ParseLogLine("[2026-11-21 12:00:00.000] [default] [error] [info] y"), (LogEntry{Noon, "error", "[info] y"}));
}

TEST(AgentLogTest, WhatHasNoHeadIsNoEntry)
{
    for (const char* line :
         {"", "  MsgId: 24000", "[info] text", "[2026-11-21 12:00:01] [info] text",
          "[2026-13-21 12:00:01.250] [info] x", "[2026-02-30 12:00:01.250] [info] x",
          "[2026-11-21 12:00:0a.250] [info] x", "[2026-11-21 12:00:01.250] [info", "[2026-11-21 12:00:01.250] info",
          "[2026-11-21 12:00:01.250] [default] [loud] x", "[2026-11-21 12:00:01.250] [default] text"})
    {
        EXPECT_FALSE(ParseLogLine(line).has_value()) << line;
    }
}

TEST(AgentLogTest, LinesWithoutAHeadBelongToTheEntryBefore)
{
    AgentLog log;
    EXPECT_TRUE(log.Feed("orphan\n[2026-11-21 12:00:00.000] [info] Serialised message:\n  MsgId: 24000\n").empty());
    const std::vector<LogEntry> entries = log.Feed("  SeqNum: 5\r\n[2026-11-21 12:00:00.001] [info] next\n");
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].text, "Serialised message:\n  MsgId: 24000\n  SeqNum: 5");
    ASSERT_EQ(log.Finish().size(), 1U);
    EXPECT_TRUE(log.Finish().empty());
}

TEST(AgentLogTest, AnEntryOfManyLinesDoesNotGrowWithoutEnd)
{
    AgentLog log;
    (void)log.Feed("[2026-11-21 12:00:00.000] [info] payload\n");
    for (int i = 0; i < 10'000; ++i)
    {
        (void)log.Feed("a line of a payload\n");
    }
    EXPECT_LT(log.Finish()[0].text.size(), 5000U);
}

TEST(AgentLogTest, OnTheTimelineAnExceptionHasItsTextFirstAndNotThePlaceThatLoggedIt)
{
    EXPECT_EQ(
        Lab::ForTimeline(
            {0, "error",
             "Exception logged in function F() of file a.cpp:1:2 ---> It failed.\nException information ---> x"}),
        "error: It failed.\nException information ---> x");
    EXPECT_EQ(
        Lab::ForTimeline({0, "warning", "Error in function operator ()() of file a.cpp:1:2 ---> Discarding test x"}),
        "warning: Discarding test x");
    EXPECT_EQ(Lab::ForTimeline({0, "warning", "Retrying ---> soon"}), "warning: Retrying ---> soon");
    EXPECT_EQ(
        Lab::ForTimeline({0, "info", "Exception logged in function\n ---> x"}),
        "Exception logged in function\n ---> x");
    EXPECT_EQ(Lab::ForTimeline({0, "debug", "text"}), "text");
}

TEST(AgentLogTest, OnTheTimelineAnExceptionIsToldOnce)
{
    EXPECT_EQ(
        Lab::ForTimeline(
            {0, "error",
             "Exception logged in function F() of file a:1:2 ---> Failed: x.\nException information ---> x"}),
        "error: Failed: x.");
    EXPECT_EQ(Lab::ForTimeline({0, "info", "a\nException information ---> b"}), "a\nException information ---> b");
}

TEST(AgentLogTest, StatesMilestonesAndWhateverIsGraveAreForTheTimeline)
{
    EXPECT_TRUE(IsForTimeline({0, "info", "Main loop state: Register"}));
    EXPECT_TRUE(IsForTimeline({0, "info", "The agent registered successfully."}));
    EXPECT_TRUE(IsForTimeline({0, "warning", "anything"}));
    EXPECT_TRUE(IsForTimeline({0, "error", "anything"}));
    EXPECT_TRUE(IsForTimeline({0, "info", "IOWorker successfully connected"}));
    EXPECT_FALSE(IsForTimeline({0, "info", "anything"}));
    EXPECT_FALSE(IsForTimeline({0, "debug", "Serialised message:\nUser u matched for test t."}));
    EXPECT_FALSE(IsForTimeline({0, "info", "IOWorker: connector socket read data available"}));
    EXPECT_FALSE(IsForTimeline({0, "info", "IOWorker wrote socket data to VELAgentPortalProcess"}));
    EXPECT_FALSE(IsForTimeline({0, "warning", "Connector: [warning] told by the connector itself"}));
}

class ConfigurationLineTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(ConfigurationLineTest, IsForTheTimeline)
{
    EXPECT_TRUE(IsForTimeline({0, "info", GetParam()}));
    EXPECT_EQ(Lab::ForTimeline({0, "info", GetParam()}), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    OfTheAgent,
    ConfigurationLineTest,
    ::testing::Values(
        "The agent successfully posted Startup data.",
        "Caching network object config...",
        "Cached 4 MTR objects, skipped 5 MTR objects.",
        "User LABORATORY\\ada matched for test /config/mtr/a.",
        "Group engineering matched for test /config/mtr/a.",
        "Ignoring split-tunnel MTR test /config/mtr/a",
        "The current version is 1.0.0; the requested version is 1.0.1",
        "Processing update request...",
        "The poll response has indicated that we should fetch our config",
        "Re-initialising as we received an unexpected MSGIDS_AGENT_USER_GROUPS_NOTIFICATION message"));

} // namespace
