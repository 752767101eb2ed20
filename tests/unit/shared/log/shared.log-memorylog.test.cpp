#include "shared.log-memorylog.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "shared.log-functions.hpp"
#include "test.log-sinks.hpp"

namespace Log = Shared::Log;
using Log::Level;
using Log::MemoryLog;
using LogTests::RecordingSink;
using LogTests::ReplacedLogger;

TEST(MemoryLogTest, LinesAreTakenOnceWithTheirLevels)
{
    MemoryLog log;
    Log::Debug("one");
    Log::Warn("two {}", 2);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].level, Level::Debug);
    EXPECT_EQ(lines[0].text, "one");
    EXPECT_EQ(lines[1].level, Level::Warning);
    EXPECT_EQ(lines[1].text, "two 2");
    EXPECT_TRUE(log.Take().empty());
    EXPECT_TRUE(log.Lines().empty());
}

TEST(MemoryLogTest, LinesThatAreOnlyLookedAtStay)
{
    MemoryLog log;
    Log::Error("one");
    EXPECT_EQ(log.Lines().size(), 1U);
    Log::Info("two");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, "one");
    EXPECT_EQ(lines[1].level, Level::Info);
    EXPECT_EQ(log.Take().size(), 2U);
}

TEST(MemoryLogTest, AllLevelsAreKeptUnlessOneIsNamed)
{
    {
        const MemoryLog log;
        EXPECT_TRUE(Log::IsEnabled(Level::Trace));
        Log::Write(Level::Trace, "fine");
        EXPECT_EQ(log.Lines().size(), 1U);
    }
    const MemoryLog log(Level::Warning);
    EXPECT_FALSE(Log::IsEnabled(Level::Info));
    Log::Info("not this one");
    Log::Warn("this one");
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "this one");
}

TEST(MemoryLogTest, NothingReachesTheLoggerBefore)
{
    const auto sink = std::make_shared<RecordingSink>();
    const ReplacedLogger before({sink}, Level::Trace);
    {
        const MemoryLog log;
        Log::Error("inside");
    }
    Log::Error("outside");
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, "outside");
}

TEST(MemoryLogTest, AfterItsEndTheLoggerBeforeIsBackWithItsLevel)
{
    MemoryLog outer(Level::Info);
    {
        MemoryLog inner;
        Log::Debug("inside");
        EXPECT_EQ(inner.Take().size(), 1U);
    }
    EXPECT_FALSE(Log::IsEnabled(Level::Debug));
    Log::Info("outside");
    const auto lines = outer.Take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "outside");
}

TEST(MemoryLogTest, NoLineOfAnyThreadIsLostOrTakenTwice)
{
    constexpr std::size_t Writers = 4;
    constexpr std::size_t LinesEach = 500;
    MemoryLog log;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < Writers; ++i)
    {
        threads.emplace_back(
            []
            {
                for (std::size_t j = 0; j < LinesEach; ++j)
                {
                    Log::Info("line {}", j);
                }
            });
    }
    std::size_t taken = 0;
    for (int i = 0; i < 100; ++i)
    {
        taken += log.Take().size();
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(taken + log.Lines().size(), Writers * LinesEach);
}
