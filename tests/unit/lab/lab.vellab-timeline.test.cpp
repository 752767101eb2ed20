#include "lab.vellab-timeline.hpp"

#include "test.support-temporaryfolder.hpp"

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using Lab::FormatTimelineEntry;
using Lab::Timeline;
using ::testing::HasSubstr;

TEST(TimelineTest, AnEntryHasATimeAnActorAndItsDoing)
{
    EXPECT_EQ(FormatTimelineEntry(1.5, "cloud", "a link is up"), "[   1.500] cloud     | a link is up\n");
    EXPECT_EQ(FormatTimelineEntry(1.5, "connector", "x\n"), "[   1.500] connector | x\n");
}

TEST(TimelineTest, FurtherLinesAreIndentedAndControlCharactersDropped)
{
    EXPECT_EQ(
        FormatTimelineEntry(0, "agent", "one\ntwo\x1B[2J\x7F"),
        "[   0.000] agent     | one\n          |           | two[2J\n");
}

TEST(TimelineTest, TheFileIsInTheOrderOfTime)
{
    const TestSupport::TemporaryFolder folder;
    std::ostringstream out;
    Timeline timeline(out);
    timeline.AddAt(2, "a", "late");
    timeline.AddAt(1, "a", "early");
    timeline.AddAt(2, "a", "later");
    timeline.Show("shown and not kept\n");
    timeline.Write(folder.Path() / "timeline.txt");
    EXPECT_EQ(
        TestSupport::ReadFile(folder.Path() / "timeline.txt"),
        FormatTimelineEntry(1, "a", "early") + FormatTimelineEntry(2, "a", "late") +
            FormatTimelineEntry(2, "a", "later"));
    EXPECT_THAT(out.str(), HasSubstr("shown and not kept\n"));
}

TEST(TimelineTest, AMomentHasItsPlace)
{
    std::ostringstream out;
    const Timeline timeline(out);
    const auto now = Shared::Time::MonotonicNow();
    EXPECT_GE(timeline.SecondsAt(now), 0.0);
    EXPECT_NEAR(timeline.SecondsAt(now + std::chrono::milliseconds(1500)) - timeline.SecondsAt(now), 1.5, 1e-6);
}

TEST(TimelineTest, ThreadsDoNotMixTheirLines)
{
    std::ostringstream out;
    Timeline timeline(out);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (int j = 0; j < 200; ++j)
                {
                    timeline.Tell("{}", "0123456789");
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    std::istringstream lines(out.str());
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count)
    {
        ASSERT_TRUE(line.ends_with("] vellab    | 0123456789")) << line;
    }
    EXPECT_EQ(count, 800U);
}

} // namespace
