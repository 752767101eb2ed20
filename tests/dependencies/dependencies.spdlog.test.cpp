#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include "dependencies.temporaryfolder.hpp"

namespace
{
std::string Content(const std::filesystem::path& file)
{
    std::ifstream stream{file, std::ios::binary};
    return {std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
}
} // namespace

TEST(SpdlogTest, ARotatingLogKeepsItsNumberOfFilesAndTheirSize)
{
    const Dependencies::TemporaryFolder folder;
    const auto file = folder.Path() / "proof.log";
    {
        const auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.string(), 1024, 2);
        spdlog::logger logger{"proof", sink};
        for (int i = 0; i < 200; ++i)
        {
            logger.info("line {:03}", i);
        }
        logger.debug("not logged at this level");
    }
    EXPECT_NE(Content(file).find("line 199"), std::string::npos);
    EXPECT_EQ(Content(file).find("not logged"), std::string::npos);
    EXPECT_LE(std::filesystem::file_size(folder.Path() / "proof.1.log"), 1024U);
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "proof.2.log"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "proof.3.log"));
}

TEST(SpdlogTest, AnAsynchronousLoggerHasWrittenAllWhenItsPoolHasEnded)
{
    const Dependencies::TemporaryFolder folder;
    const auto file = folder.Path() / "proof.log";
    {
        const auto pool = std::make_shared<spdlog::details::thread_pool>(128, 1);
        const auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.string(), 1 << 20, 1);
        const auto logger = std::make_shared<spdlog::async_logger>("proof", sink, pool);
        for (int i = 0; i < 1000; ++i)
        {
            logger->warn("line {:03}", i);
        }
    }
    EXPECT_NE(Content(file).find("line 999"), std::string::npos);
}
