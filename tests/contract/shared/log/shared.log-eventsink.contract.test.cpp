#include "shared.log-eventsink.hpp"

#include <string>

#include <gtest/gtest.h>
#include <spdlog/logger.h>

namespace
{

TEST(EventSinkTest, ALoggerWithItTakesEveryKindOfLineWithoutThrowing)
{
    spdlog::logger logger("default", Shared::Log::MakeEventSink());
    logger.set_level(spdlog::level::trace);
    std::size_t failures = 0;
    logger.set_error_handler([&](const std::string& text) { failures += text.empty() ? 0U : 1U; });

    for (const auto level : {spdlog::level::trace, spdlog::level::info, spdlog::level::critical})
    {
        EXPECT_NO_THROW(logger.log(level, ""));
        EXPECT_NO_THROW(logger.log(level, "a line\nof two"));
        EXPECT_NO_THROW(logger.log(level, std::string(100'000, 'x')));
        EXPECT_NO_THROW(logger.log(level, std::string("\0\xff\xfe%s%n{}", 10)));
    }
    EXPECT_NO_THROW(logger.flush());
    EXPECT_LE(failures, 12U) << "what the system's log refuses is reported, once for each line";
}

TEST(EventSinkTest, TwoSinksLiveBesideEachOther)
{
    const auto first = Shared::Log::MakeEventSink();
    const auto second = Shared::Log::MakeEventSink();

    EXPECT_NE(first, second);
}

} // namespace
