#include "shared.log-configuration.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-logger.hpp"
#include "shared.log-rotatingfilesink.hpp"
#include "shared.util-functions.hpp"
#include "test.log-capturedstream.hpp"
#include "test.log-files.hpp"
#include "test.log-sinks.hpp"
#include "test.support-temporaryfolder.hpp"

namespace Log = Shared::Log;
using Log::Level;
using LogTests::CapturedStream;
using LogTests::Lines;

namespace
{

constexpr const char* FileName = "tarvane_vel_agent.log";
constexpr std::size_t MaxFiles = 4;
constexpr std::size_t MaxSize = 10485760;

enum class Type
{
    Null,
    Console,
    File,
    EventLog
};

/// By exclusion for the event log: its class is the platform's.
Type TypeOf(const spdlog::sink_ptr& sink)
{
    if (std::dynamic_pointer_cast<spdlog::sinks::null_sink_mt>(sink) != nullptr)
    {
        return Type::Null;
    }
    if (std::dynamic_pointer_cast<spdlog::sinks::stdout_color_sink_mt>(sink) != nullptr)
    {
        return Type::Console;
    }
    return std::dynamic_pointer_cast<Log::sinks::rotating_file_sink<std::mutex>>(sink) != nullptr ? Type::File
                                                                                                  : Type::EventLog;
}

std::vector<Type> Types()
{
    std::vector<Type> types;
    for (const auto& sink : Log::Detail::GetDefaultLogger()->sinks())
    {
        types.push_back(TypeOf(sink));
    }
    return types;
}

const std::regex& LineForm()
{
    static const std::regex form(
        R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] \[default\] \[(info|warning|error)\] (.*))");
    return form;
}

/// The text of a line in the library's form; a note that it has another.
std::string TextOf(const std::string& line)
{
    std::smatch parts;
    return std::regex_match(line, parts, LineForm()) ? parts[2].str() : "(of another form) " + line;
}

class LogConfigurationTest : public testing::Test
{
protected:
    ~LogConfigurationTest() override
    {
        // Lets the file go before its folder is removed.
        Log::ConfigureLogging(0, Level::Info, "", 0, 0, {});
        Log::ShutDown();
    }

    void Configure(std::uint32_t kind, Level level = Level::Info)
    {
        Log::ConfigureLogging(kind, level, FileName, MaxFiles, MaxSize, folder.Path());
    }

    static void Flush()
    {
        Log::Detail::GetDefaultLogger()->flush();
    }

    std::filesystem::path File() const
    {
        return folder.Path() / FileName;
    }

    TestSupport::TemporaryFolder folder;
};

} // namespace

TEST_F(LogConfigurationTest, EachKindHasItsSinksInTheirOrder)
{
    const std::vector<std::vector<Type>> expected = {
        {Type::Null},
        {Type::EventLog},
        {Type::Console},
        {Type::File},
        {Type::Console, Type::File},
        {Type::Console, Type::EventLog}};
    for (std::uint32_t kind = 0; kind < expected.size(); ++kind)
    {
        Configure(kind);
        EXPECT_EQ(Types(), expected[kind]) << "kind " << kind;
    }
}

TEST_F(LogConfigurationTest, AnyOtherKindIsUnsupportedAndChangesNothing)
{
    Configure(2);
    const auto before = Log::Detail::GetDefaultLogger();
    for (const std::uint32_t kind : {6U, 7U, 0x80000000U, 0xFFFFFFFFU})
    {
        try
        {
            Configure(kind);
            ADD_FAILURE() << "kind " << kind << " was taken";
        }
        catch (const Shared::Exception::RuntimeException& exception)
        {
            EXPECT_TRUE(std::string(exception.what()).ends_with(" --> Unsupported LogTarget")) << exception.what();
        }
    }
    EXPECT_EQ(Log::Detail::GetDefaultLogger(), before);
}

TEST_F(LogConfigurationTest, TheLoggerIsNamedDefaultAndIsTheLibrarysDefaultToo)
{
    Configure(3);
    EXPECT_EQ(Log::Detail::GetDefaultLogger()->name(), "default");
    EXPECT_EQ(spdlog::default_logger(), Log::Detail::GetDefaultLogger());
    EXPECT_EQ(spdlog::get("default"), Log::Detail::GetDefaultLogger());
}

TEST_F(LogConfigurationTest, TheLevelIsSetOnAllLoggers)
{
    const auto other = std::make_shared<spdlog::logger>("another", std::make_shared<spdlog::sinks::null_sink_mt>());
    spdlog::register_logger(other);
    Configure(0, Level::Error);
    EXPECT_EQ(other->level(), spdlog::level::err);
    EXPECT_EQ(Log::Detail::GetDefaultLogger()->level(), spdlog::level::err);
    EXPECT_EQ(Log::Detail::GetDefaultLevel(), Level::Error);
    spdlog::drop("another");
}

TEST_F(LogConfigurationTest, ALevelThatThereIsNotLogsNothing)
{
    for (const std::uint32_t level : {6U, 7U, 0x7FFFFFFFU, 0xFFFFFFFFU})
    {
        Configure(3, static_cast<Level>(level));
        Log::Write(Level::Critical, "line");
        Flush();
        EXPECT_TRUE(Lines(File()).empty()) << "level " << level;
    }
}

TEST_F(LogConfigurationTest, KindNullWritesNowhere)
{
    CapturedStream output(CapturedStream::Which::Output);
    Configure(0);
    Log::Info("line");
    Flush();
    EXPECT_EQ(output.Finish(), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(LogConfigurationTest, KindConsoleWritesLinesOfTheLibrarysFormToTheStandardOutput)
{
    CapturedStream output(CapturedStream::Which::Output);
    Configure(2);
    Log::Info("first");
    Log::Warn("second");
    Log::Debug("not at this level");
    const auto text = output.Finish();
    const auto end = text.find('\n');
    ASSERT_NE(end, std::string::npos) << text;
    EXPECT_EQ(TextOf(text.substr(0, end)), "first");
    EXPECT_EQ(TextOf(text.substr(end + 1, text.size() - end - 2)), "second");
    EXPECT_NE(text.find("[default] [info] first\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[default] [warning] second\n"), std::string::npos) << text;
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST_F(LogConfigurationTest, KindFileWritesToTheFileAndNotToTheStandardOutput)
{
    CapturedStream output(CapturedStream::Which::Output);
    Configure(3);
    Log::Error("line");
    Flush();
    EXPECT_EQ(output.Finish(), "");
    const auto lines = Lines(File());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(TextOf(lines[0]), "line");
}

TEST_F(LogConfigurationTest, KindConsoleAndFileWritesEachLineToBothSinks)
{
    CapturedStream output(CapturedStream::Which::Output);
    Configure(4);
    Log::Info("first");
    Log::Info("second");
    Flush();
    const auto text = output.Finish();
    const auto lines = Lines(File());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(TextOf(lines[0]), "first");
    EXPECT_EQ(TextOf(lines[1]), "second");
    EXPECT_EQ(text, lines[0] + "\n" + lines[1] + "\n");
}

TEST_F(LogConfigurationTest, ASinkThatRefusesItsSizesChangesNothing)
{
    Configure(2);
    const auto before = Log::Detail::GetDefaultLogger();
    EXPECT_THROW(Log::ConfigureLogging(3, Level::Info, FileName, MaxFiles, 0, folder.Path()), spdlog::spdlog_ex);
    EXPECT_THROW(Log::ConfigureLogging(4, Level::Info, FileName, 200001, MaxSize, folder.Path()), spdlog::spdlog_ex);
    EXPECT_EQ(Log::Detail::GetDefaultLogger(), before);
}

TEST_F(LogConfigurationTest, KindsWithoutAFileTakeNoNoticeOfItsSizes)
{
    EXPECT_NO_THROW(Log::ConfigureLogging(2, Level::Info, "", 999999, 0, folder.Path()));
    EXPECT_NO_THROW(Log::ConfigureLogging(0, Level::Info, "", 999999, 0, folder.Path()));
}

TEST_F(LogConfigurationTest, TheFileLiesBesideTheExecutable)
{
    const auto name = "vel-test-" + std::to_string(std::random_device{}()) + ".log";
    const auto directory = Shared::Util::ConvertStringType(Shared::Util::GetCurrentExecutableDirectory());
    const auto file = std::filesystem::path(std::u8string(directory.begin(), directory.end())) / name;
    Log::ConfigureLogging(3, Level::Info, name, MaxFiles, MaxSize);
    Log::Info("line");
    Flush();
    EXPECT_EQ(Lines(file).size(), 1U);
    Configure(0);
    EXPECT_TRUE(std::filesystem::remove(file));
}

TEST_F(LogConfigurationTest, ANewConfigurationLetsTheFileOfTheOldOneGo)
{
    Configure(3);
    Log::Info("line");
    Configure(0);
    EXPECT_EQ(Lines(File()).size(), 1U);
    EXPECT_TRUE(std::filesystem::remove(File()));
}

TEST_F(LogConfigurationTest, LinesAreFlushedWithinTheirPeriodOf5Seconds)
{
    Configure(3);
    Log::Info("line");
    // Nothing else flushes so short a line.
    EXPECT_TRUE(Lines(File()).empty());
    const auto start = std::chrono::steady_clock::now();
    const auto limit = start + std::chrono::seconds(30) * VEL_TIME_SCALE;
    while (Lines(File()).empty() && std::chrono::steady_clock::now() < limit)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(Lines(File()).size(), 1U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(LogConfigurationTest, AFileThatCannotBeOpenedIsNoFailureAndIsReportedWithTheFirstLine)
{
    // A file where the folder would have to be.
    TestSupport::WriteFile(folder.Path() / "taken", "");
    EXPECT_NO_THROW(Log::ConfigureLogging(3, Level::Info, FileName, MaxFiles, MaxSize, folder.Path() / "taken"));
    const auto report = LogTests::ReportOfFailure();
    const std::regex form(R"(\[\*\*\* LOG ERROR #\d{4,} \*\*\*\] \[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] \[default\] )"
                          R"(\{Failed opening file .*tarvane_vel_agent\.log for writing: .*\}\n)");
    EXPECT_TRUE(std::regex_match(report, form)) << report;
}

TEST_F(LogConfigurationTest, ShutDownWritesWhatWasLogged)
{
    Configure(3);
    Log::Info("line");
    Log::ShutDown();
    EXPECT_EQ(Lines(File()).size(), 1U);
}

TEST_F(LogConfigurationTest, AfterShutDownALineIsWrittenAtOnce)
{
    Configure(3);
    Log::ShutDown();
    std::thread late([] { Log::Info("late"); });
    late.join();
    const auto lines = Lines(File());
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(TextOf(lines[0]), "late");
}

TEST_F(LogConfigurationTest, ShutDownMayComeTwiceAndWithoutAConfiguration)
{
    Log::ShutDown();
    Log::ShutDown();
    Configure(3);
    Log::Info("line");
    Log::ShutDown();
    Log::ShutDown();
    EXPECT_EQ(Lines(File()).size(), 1U);
}

TEST_F(LogConfigurationTest, ShutDownMayComeWhileOthersLog)
{
    Configure(3);
    constexpr std::size_t LinesEach = 300;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
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
    Log::ShutDown();
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(Lines(File()).size(), 4 * LinesEach);
}
