#include "shared.log-logger.hpp"

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/logger.h>

#include "shared.log-configuration.hpp"
#include "test.log-capturedstream.hpp"
#include "test.log-sinks.hpp"

namespace Log = Shared::Log;
using Log::Level;
using LogTests::RecordingSink;
using LogTests::ReplacedLogger;

namespace
{

std::shared_ptr<spdlog::logger> MakeLogger(const spdlog::sink_ptr& sink, spdlog::level::level_enum level)
{
    auto logger = std::make_shared<spdlog::logger>("mine", sink);
    logger->set_level(level);
    return logger;
}

} // namespace

TEST(DefaultLoggerDeathTest, BeforeOneIsSetLinesFromInfoUpGoToTheStandardOutput)
{
    // In a process in which nobody has set one yet.
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            LogTests::CapturedStream output(LogTests::CapturedStream::Which::Output);
            Log::Debug("not this one");
            Log::Info("this one");
            const std::string text = output.Finish();
            const bool isRight = text.ends_with("] [info] this one\n") && text.find('\n') == text.size() - 1 &&
                Log::Detail::GetDefaultLevel() == Level::Info;
            std::cerr << (isRight ? "as expected" : text) << '\n';
            std::exit(isRight ? 0 : 1);
        },
        testing::ExitedWithCode(0), "as expected");
}

TEST(DefaultLoggerDeathTest, ThreadsMayLogWhileTheProcessEnds)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            Log::ConfigureLogging(0, Level::Trace, "", 0, 0, {});
            for (int i = 0; i < 4; ++i)
            {
                std::thread(
                    []
                    {
                        for (;;)
                        {
                            Log::Info("still here");
                        }
                    })
                    .detach();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            Log::ShutDown();
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

TEST(DefaultLoggerTest, BringsItsLevelAlong)
{
    const ReplacedLogger putBack({std::make_shared<RecordingSink>()}, Level::Info);
    Log::Detail::SetDefaultLogger(MakeLogger(std::make_shared<RecordingSink>(), spdlog::level::trace));
    EXPECT_EQ(Log::Detail::GetDefaultLevel(), Level::Trace);
    EXPECT_TRUE(Log::IsEnabled(Level::Trace));
    Log::Detail::SetDefaultLogger(MakeLogger(std::make_shared<RecordingSink>(), spdlog::level::err));
    EXPECT_EQ(Log::Detail::GetDefaultLevel(), Level::Error);
    EXPECT_FALSE(Log::IsEnabled(Level::Warning));
}

TEST(DefaultLoggerTest, TheOneBeforeIsLetGo)
{
    const ReplacedLogger putBack({std::make_shared<RecordingSink>()}, Level::Info);
    const auto sink = std::make_shared<RecordingSink>();
    Log::Detail::SetDefaultLogger(MakeLogger(sink, spdlog::level::trace));
    EXPECT_GT(sink.use_count(), 1);
    Log::Detail::SetDefaultLogger(MakeLogger(std::make_shared<RecordingSink>(), spdlog::level::trace));
    EXPECT_EQ(sink.use_count(), 1);
}

TEST(DefaultLoggerTest, MayBeReplacedWhileOthersLog)
{
    const ReplacedLogger putBack({std::make_shared<RecordingSink>()}, Level::Trace);
    const auto first = std::make_shared<RecordingSink>();
    const auto second = std::make_shared<RecordingSink>();
    constexpr std::size_t Writers = 4;
    constexpr std::size_t LinesEach = 500;
    Log::Detail::SetDefaultLogger(MakeLogger(first, spdlog::level::trace));
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
    for (int i = 0; i < 200; ++i)
    {
        Log::Detail::SetDefaultLogger(MakeLogger(i % 2 == 0 ? second : first, spdlog::level::trace));
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(first->Records().size() + second->Records().size(), Writers * LinesEach);
}
