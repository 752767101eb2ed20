#include "shared.log-functions.hpp"

#include <chrono>
#include <functional>
#include <regex>
#include <source_location>
#include <stdexcept>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <spdlog/common.h>

#include "shared.exception-exceptions.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.log-sinks.hpp"

namespace Log = Shared::Log;
using Log::Level;
using LogTests::RecordingSink;
using LogTests::ReplacedLogger;
using LogTests::ThrowingSink;

namespace
{

/// Counts how often it is formatted.
struct Counted
{
    int& times;
};

} // namespace

template <>
struct fmt::formatter<Counted> : fmt::formatter<int>
{
    auto format(const Counted& counted, fmt::format_context& context) const
    {
        return fmt::formatter<int>::format(++counted.times, context);
    }
};

namespace
{

class LogFunctionsTest : public testing::Test
{
protected:
    std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
};

std::string Place(const std::source_location& where)
{
    return fmt::format("TestBody() of file {}:{}:{}", where.file_name(), where.line(), where.column());
}

} // namespace

TEST(LogLevelTest, HasTheNumbersOfTheLibrary)
{
    EXPECT_EQ(static_cast<int>(Level::Trace), spdlog::level::trace);
    EXPECT_EQ(static_cast<int>(Level::Debug), spdlog::level::debug);
    EXPECT_EQ(static_cast<int>(Level::Info), spdlog::level::info);
    EXPECT_EQ(static_cast<int>(Level::Warning), spdlog::level::warn);
    EXPECT_EQ(static_cast<int>(Level::Error), spdlog::level::err);
    EXPECT_EQ(static_cast<int>(Level::Critical), spdlog::level::critical);
    EXPECT_EQ(static_cast<int>(Level::Off), spdlog::level::off);
}

TEST_F(LogFunctionsTest, EachWritesItsTextAtTheLevelOfItsName)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    Log::Debug("a {}", 1);
    Log::Info("b {}", "two");
    Log::Warn("c {:.1f}", 3.0);
    Log::Error("d {0}{0}", 4);
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].level, Level::Debug);
    EXPECT_EQ(records[0].text, "a 1");
    EXPECT_EQ(records[1].level, Level::Info);
    EXPECT_EQ(records[1].text, "b two");
    EXPECT_EQ(records[2].level, Level::Warning);
    EXPECT_EQ(records[2].text, "c 3.0");
    EXPECT_EQ(records[3].level, Level::Error);
    EXPECT_EQ(records[3].text, "d 44");
    EXPECT_EQ(records[3].logger, "test");
}

TEST_F(LogFunctionsTest, WritesAFinishedLineAsItStands)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    Log::Write(Level::Info, "{} %s \xC3\x9F");
    Log::Write(Level::Info, "");
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].text, "{} %s \xC3\x9F");
    EXPECT_EQ(records[1].text, "");
}

TEST_F(LogFunctionsTest, WritesNothingBelowTheLevel)
{
    const ReplacedLogger logger({sink}, Level::Warning);
    Log::Write(Level::Trace, "no");
    Log::Debug("no");
    Log::Info("no");
    Log::Warn("yes");
    Log::Write(Level::Critical, "yes");
    EXPECT_EQ(sink->Records().size(), 2U);
    EXPECT_FALSE(Log::IsEnabled(Level::Info));
    EXPECT_TRUE(Log::IsEnabled(Level::Warning));
    EXPECT_TRUE(Log::IsEnabled(Level::Critical));
}

TEST_F(LogFunctionsTest, NothingIsFormattedForALevelThatIsOff)
{
    const ReplacedLogger logger({sink}, Level::Error);
    int times = 0;
    Log::Debug("{}", Counted{times});
    Log::Info("{}", Counted{times});
    Log::Warn("{}", Counted{times});
    EXPECT_EQ(times, 0);
    Log::Error("{}", Counted{times});
    EXPECT_EQ(times, 1);
}

TEST_F(LogFunctionsTest, OffIsNoLevelOfALine)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    Log::Write(Level::Off, "never");
    EXPECT_FALSE(Log::IsEnabled(Level::Off));
    EXPECT_TRUE(sink->Records().empty());
}

TEST_F(LogFunctionsTest, WithTheLevelOffNothingIsWritten)
{
    const ReplacedLogger logger({sink}, Level::Off);
    Log::Write(Level::Critical, "never");
    Log::LogException("never", std::runtime_error("never"));
    EXPECT_TRUE(sink->Records().empty());
}

TEST_F(LogFunctionsTest, ALineBearsTheTimeOfTheAgentsClock)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    Shared::Time::ClockControl::JumpUtc(std::chrono::hours(1000));
    const auto before = Shared::Time::UtcNow() - std::chrono::microseconds(1);
    Log::Info("line");
    const auto after = Shared::Time::UtcNow();
    Shared::Time::ClockControl::Reset();
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_GE(records[0].time, before);
    EXPECT_LE(records[0].time, after);
}

TEST_F(LogFunctionsTest, ACaughtExceptionIsLoggedAsAnErrorWithThePlaceThatCaughtIt)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    const auto where = std::source_location::current();
    Log::LogException("GetAdapters() failed", std::runtime_error("what it was"), where);
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, Level::Error);
    EXPECT_EQ(
        records[0].text,
        "Exception logged in function " + Place(where) +
            " ---> GetAdapters() failed.\nException information ---> what it was");
}

TEST_F(LogFunctionsTest, ACaughtExceptionMayBeAWarning)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    const auto where = std::source_location::current();
    Log::LogExceptionWarning("text", Shared::Exception::InvalidArgumentException("inner", where), where);
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, Level::Warning);
    EXPECT_EQ(
        records[0].text,
        "Exception logged in function " + Place(where) + " ---> text.\nException information ---> " +
            fmt::format(
                "Exception in TestBody() at {}:{}:{} --> inner", where.file_name(), where.line(), where.column()));
}

TEST_F(LogFunctionsTest, AnErrorWithoutAnExceptionBearsItsPlaceToo)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    const auto where = std::source_location::current();
    Log::LogErrorAt("no curl test was found", where);
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, Level::Error);
    EXPECT_EQ(records[0].text, "Error in function " + Place(where) + " ---> no curl test was found");
}

TEST_F(LogFunctionsTest, AWarningCanBearAPlaceOfAnotherName)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    const auto where = std::source_location::current();
    Shared::Exception::SourceLocation place(where);
    place.function = "operator ()";
    Log::LogWarningAt("left out", place);
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, Level::Warning);
    EXPECT_EQ(
        records[0].text,
        fmt::format(
            "Error in function operator ()() of file {}:{}:{} ---> left out", where.file_name(), where.line(),
            where.column()));
}

TEST_F(LogFunctionsTest, TheHelpersFindTheirPlaceThemselves)
{
    const ReplacedLogger logger({sink}, Level::Trace);
    const auto line = std::source_location::current().line();
    Log::LogException("a", std::runtime_error("b"));
    Log::LogExceptionWarning("a", std::runtime_error("b"));
    Log::LogErrorAt("a");
    const auto records = sink->Records();
    ASSERT_EQ(records.size(), 3U);
    for (std::size_t i = 0; i < records.size(); ++i)
    {
        EXPECT_NE(
            records[i].text.find(fmt::format("shared.log-functions.test.cpp:{}:", line + 1 + i)), std::string::npos)
            << records[i].text;
    }
}

TEST_F(LogFunctionsTest, AnExceptionOutOfASinkDoesNotReachTheCallerNorTheOtherSinks)
{
    const ReplacedLogger logger({std::make_shared<ThrowingSink>(ThrowingSink::What::Exception), sink}, Level::Trace);
    EXPECT_NO_THROW(Log::Info("line"));
    ASSERT_EQ(sink->Records().size(), 1U);
    EXPECT_EQ(sink->Records()[0].text, "line");
}

TEST_F(LogFunctionsTest, WhatIsNoExceptionDoesNotReachTheCallerEither)
{
    const ReplacedLogger logger({std::make_shared<ThrowingSink>(ThrowingSink::What::Number)}, Level::Trace);
    EXPECT_NO_THROW(Log::Info("line"));
    EXPECT_NO_THROW(Log::LogException("text", std::runtime_error("what")));
}

TEST_F(LogFunctionsTest, AnExceptionOutOfASinkIsPrintedToTheStandardErrorStream)
{
    const ReplacedLogger logger({std::make_shared<ThrowingSink>(ThrowingSink::What::Exception)}, Level::Trace);
    const auto report = LogTests::ReportOfFailure();
    const std::regex form(R"(\[\*\*\* LOG ERROR #\d{4,} \*\*\*\] \[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] \[test\] )"
                          R"(\{the sink is full\}\n)");
    EXPECT_TRUE(std::regex_match(report, form)) << report;
}
