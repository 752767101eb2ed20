#include "lab.vellab-logfollower.hpp"

#include "test.support-temporaryfolder.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

namespace
{

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class LogFollowerTest : public ::testing::Test
{
protected:
    void Append(const std::string& text)
    {
        std::ofstream(m_file, std::ios::binary | std::ios::app) << text;
    }

    std::string TakeShown()
    {
        std::string shown = m_out.str();
        m_out.str("");
        return shown;
    }

    TestSupport::TemporaryFolder m_folder;
    std::filesystem::path m_file = m_folder.Path() / "agent.log";
    std::ostringstream m_out;
    Lab::Timeline m_timeline{m_out};
};

TEST_F(LogFollowerTest, AnEntryIsShownAtItsTimeOnAFasterClock)
{
    Lab::LogFollower follower(m_file, m_timeline, 10, false);
    follower.BeginStart();
    Append("[2026-11-21 12:00:00.000] [info] This agent is version 1.0.0\n");
    Append("[2026-11-21 12:05:00.000] [warning] five minutes later\n");
    follower.Poll();
    EXPECT_THAT(TakeShown(), HasSubstr("agent     | This agent is version 1.0.0"));
    follower.Poll();
    EXPECT_THAT(TakeShown(), MatchesRegex("\\[  30\\.\\w+\\] agent     . warning: five minutes later\n"));
    follower.Finish();
    EXPECT_THAT(TakeShown(), IsEmpty());
}

TEST_F(LogFollowerTest, ASecondStartHasATimeOfItsOwn)
{
    Lab::LogFollower follower(m_file, m_timeline, 1, false);
    follower.BeginStart();
    Append("[2026-11-21 12:00:00.000] [info] Main loop state: Stopped\n");
    follower.Finish();
    (void)TakeShown();
    follower.BeginStart();
    Append("[2026-11-21 18:00:00.000] [info] Main loop state: Initialise\n");
    follower.Finish();
    EXPECT_THAT(TakeShown(), MatchesRegex("\\[   0\\.\\w+\\] agent     . Main loop state: Initialise\n"));
}

TEST_F(LogFollowerTest, TheLoggersNameInTheLinesChangesNothing)
{
    Lab::LogFollower follower(m_file, m_timeline, 1, false);
    follower.BeginStart();
    Append("[2026-11-21 12:00:00.000] [default] [info] Main loop state: Initialise\n");
    follower.Finish();
    EXPECT_THAT(TakeShown(), HasSubstr("agent     | Main loop state: Initialise\n"));
}

TEST_F(LogFollowerTest, WhatIsAwaitedMustComeInItsOrder)
{
    for (const bool wholeLog : {false, true})
    {
        std::filesystem::remove(m_file);
        Lab::LogFollower follower(m_file, m_timeline, 1, wholeLog);
        follower.BeginStart({"state: B", "state: A"});
        Append("[2026-11-21 12:00:00.000] [default] [debug] state: A\n");
        Append("[2026-11-21 12:00:00.000] [default] [debug] state: B, state: A\n");
        follower.Poll();
        follower.Poll();
        EXPECT_EQ(follower.GetAwaited(), "state: A") << "each in an entry of its own";
        Append("[2026-11-21 12:00:00.000] [default] [debug] state: A\n");
        follower.Poll();
        follower.Finish();
        EXPECT_EQ(follower.GetAwaited(), std::nullopt);
        follower.BeginStart({"state: A"});
        EXPECT_EQ(follower.GetAwaited(), "state: A") << "each start has to say it";
    }
}

TEST_F(LogFollowerTest, WarningsAndErrorsOfAllStartsAreCounted)
{
    Lab::LogFollower follower(m_file, m_timeline, 1, true);
    for (int start = 0; start < 2; ++start)
    {
        follower.BeginStart();
        Append("[2026-11-21 12:00:00.000] [default] [warning] a\n[2026-11-21 12:00:00.000] [default] [info] b\n");
        Append("[2026-11-21 12:00:00.000] [default] [error] c\n[2026-11-21 12:00:00.000] [default] [critical] d\n");
        follower.Finish();
    }
    EXPECT_EQ(follower.GetCounts().warnings, 2U);
    EXPECT_EQ(follower.GetCounts().errors, 4U);
}

TEST_F(LogFollowerTest, AStateThatBeginsAnewIsNotToldAgain)
{
    Lab::LogFollower follower(m_file, m_timeline, 1, false);
    follower.BeginStart();
    for (const char* state : {"InPolling, A", "InPolling, A", "InPolling, B", "Initialise", "InPolling, B"})
    {
        Append(std::string("[2026-11-21 12:00:00.000] [info] Main loop state: ") + state + "\n");
    }
    follower.Finish();
    const std::string shown = TakeShown();
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 4) << shown;
    EXPECT_EQ(follower.GetStates().size(), 5U);
}

TEST_F(LogFollowerTest, StatesAreRememberedWithTheirTimesHoweverTheLogIsShown)
{
    Lab::LogFollower follower(m_file, m_timeline, 10, true);
    follower.BeginStart();
    Append("[2026-11-21 12:00:00.000] [info] Main loop state: Initialise\n");
    Append("[2026-11-21 12:00:05.000] [info] Main loop state: ConfigCompleted\n");
    EXPECT_FALSE(follower.HasEntered("ConfigCompleted"));
    follower.Finish();
    ASSERT_EQ(follower.GetStates().size(), 2U);
    EXPECT_EQ(follower.GetStates()[0].name, "Initialise");
    EXPECT_NEAR(follower.GetStates()[1].seconds - follower.GetStates()[0].seconds, 0.5, 1e-9);
    EXPECT_TRUE(follower.HasEntered("ConfigCompleted"));
    follower.BeginStart();
    EXPECT_FALSE(follower.HasEntered("ConfigCompleted")) << "each start has to enter it";
    EXPECT_EQ(follower.GetStates().size(), 2U);
}

TEST_F(LogFollowerTest, TheWholeLogIsShownAsItStands)
{
    Lab::LogFollower follower(m_file, m_timeline, 1, true);
    Append("[2026-11-21 12:00:00.000] [debug] a\n  b\nrest");
    follower.Poll();
    EXPECT_EQ(TakeShown(), "[2026-11-21 12:00:00.000] [debug] a\n  b\n");
    follower.Finish();
    EXPECT_EQ(TakeShown(), "rest");
}

} // namespace
