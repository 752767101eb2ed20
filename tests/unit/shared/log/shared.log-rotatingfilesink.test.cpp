#include "shared.log-rotatingfilesink.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <spdlog/common.h>
#include <spdlog/details/log_msg.h>

#include "shared.log-configuration.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.log-files.hpp"
#include "test.log-unmovable.hpp"
#include "test.support-temporaryfolder.hpp"

namespace Log = Shared::Log;
using LogTests::Lines;
using LogTests::Names;
using LogTests::WriteLine;
using Sink = Log::sinks::rotating_file_sink<std::mutex>;
using Texts = std::vector<std::string>;

namespace
{

/// A sink over "agent.log" in a folder of its own. Lines are their text and nothing else, so that sizes are known.
class RotatingFileSinkTest : public testing::Test
{
protected:
    /// How many bytes a line of this text takes in the file.
    static std::size_t SizeOf(const std::string& text)
    {
        return text.size() + LogTests::LineEndSize();
    }

    void Open(std::size_t maxSize, std::size_t maxFiles)
    {
        OpenAt(File(), maxSize, maxFiles);
    }

    void OpenAt(const std::filesystem::path& file, std::size_t maxSize, std::size_t maxFiles)
    {
        m_sink = std::make_unique<Sink>(file, maxSize, maxFiles);
        m_sink->set_pattern("%v");
    }

    void Write(const std::string& text)
    {
        m_sink->log(spdlog::details::log_msg("test", spdlog::level::info, text));
    }

    void WriteAndFlush(const std::string& text)
    {
        Write(text);
        m_sink->flush();
    }

    /// What the sink throws for the line; empty when it takes it.
    std::string FailureOf(const std::string& text)
    {
        try
        {
            Write(text);
        }
        catch (const spdlog::spdlog_ex& exception)
        {
            return exception.what();
        }
        return {};
    }

    void Close()
    {
        m_sink.reset();
    }

    std::filesystem::path File(std::size_t index = 0) const
    {
        return m_folder.Path() / (index == 0 ? "agent.log" : fmt::format("agent.{}.log", index));
    }

    const std::filesystem::path& Folder() const
    {
        return m_folder.Path();
    }

private:
    TestSupport::TemporaryFolder m_folder;
    std::unique_ptr<Sink> m_sink;
};

struct NamedFile
{
    std::string base;
    std::size_t index;
    std::string expected;
};

} // namespace

TEST_F(RotatingFileSinkTest, AGreatestSizeOfZeroIsRefused)
{
    try
    {
        Open(0, 4);
        FAIL() << "it was taken";
    }
    catch (const spdlog::spdlog_ex& exception)
    {
        EXPECT_STREQ(exception.what(), "rotating sink constructor: max_size arg cannot be zero");
    }
    EXPECT_TRUE(Names(Folder()).empty());
}

TEST_F(RotatingFileSinkTest, MoreThan200000FilesAreRefused)
{
    try
    {
        Open(1, 200001);
        FAIL() << "it was taken";
    }
    catch (const spdlog::spdlog_ex& exception)
    {
        EXPECT_STREQ(exception.what(), "rotating sink constructor: max_files arg cannot exceed 200000");
    }
    EXPECT_NO_THROW(Open(1, 200000));
}

TEST_F(RotatingFileSinkTest, FilesAreNumberedBeforeTheExtension)
{
    const std::array<NamedFile, 10> names = {{
        {"agent.log", 0, "agent.log"},
        {"agent.log", 1, "agent.1.log"},
        {"agent.log", 200000, "agent.200000.log"},
        {"agent.old.log", 2, "agent.old.2.log"},
        {"agent", 3, "agent.3"},
        {".agent", 3, ".agent.3"},
        {".agent.log", 3, ".agent.3.log"},
        {"agent.", 3, "agent..3"},
        {"gr\xC3\xB6\xC3\x9F"
         "e.log",
         1,
         "gr\xC3\xB6\xC3\x9F"
         "e.1.log"},
        {"a b.log", 1, "a b.1.log"},
    }};
    for (const auto& [base, index, expected] : names)
    {
        // A point in the folder's name is none in the file's.
        const std::filesystem::path folder = "some.folder";
        const auto file = folder / std::u8string(base.begin(), base.end());
        EXPECT_EQ(Sink::FileName(file, index), folder / std::u8string(expected.begin(), expected.end())) << base;
    }
}

TEST_F(RotatingFileSinkTest, TheFileIsOpenedForAppendAndCountsWhatItHolds)
{
    WriteLine(File(), "there before");
    Open(SizeOf("there before") + SizeOf("first"), 4);
    WriteAndFlush("first");
    EXPECT_EQ(Lines(File()), (Texts{"there before", "first"}));
    WriteAndFlush("second");
    EXPECT_EQ(Lines(File(1)), (Texts{"there before", "first"}));
    EXPECT_EQ(Lines(File()), Texts{"second"});
}

TEST_F(RotatingFileSinkTest, AMissingFolderIsMade)
{
    const auto file = Folder() / "new" / "newer" / "agent.log";
    OpenAt(file, 100, 4);
    WriteAndFlush("line");
    EXPECT_EQ(Lines(file), Texts{"line"});
}

TEST_F(RotatingFileSinkTest, AFileMayReachItsGreatestSizeButNotPassIt)
{
    Open(2 * SizeOf("line 1"), 4);
    Write("line 1");
    WriteAndFlush("line 2");
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
    EXPECT_EQ(std::filesystem::file_size(File()), 2 * SizeOf("line 1"));
    WriteAndFlush("line 3");
    EXPECT_EQ(Lines(File(1)), (Texts{"line 1", "line 2"}));
    EXPECT_EQ(Lines(File()), Texts{"line 3"});
}

TEST_F(RotatingFileSinkTest, ALineThatIsOneByteTooLongGoesToTheNextFile)
{
    Open(SizeOf("1234") + SizeOf("123") - 1, 4);
    Write("1234");
    WriteAndFlush("123");
    EXPECT_EQ(Lines(File(1)), Texts{"1234"});
    EXPECT_EQ(Lines(File()), Texts{"123"});
}

TEST_F(RotatingFileSinkTest, EachRotationMovesEveryFileUpByOne)
{
    Open(SizeOf("a"), 4);
    for (const char* text : {"a", "b", "c", "d"})
    {
        Write(text);
    }
    WriteAndFlush("e");
    EXPECT_EQ(Lines(File(4)), Texts{"a"});
    EXPECT_EQ(Lines(File(3)), Texts{"b"});
    EXPECT_EQ(Lines(File(2)), Texts{"c"});
    EXPECT_EQ(Lines(File(1)), Texts{"d"});
    EXPECT_EQ(Lines(File()), Texts{"e"});
}

TEST_F(RotatingFileSinkTest, WithAllFilesThereTheOldestIsDeleted)
{
    Open(SizeOf("a"), 2);
    for (const char* text : {"a", "b", "c"})
    {
        Write(text);
    }
    WriteAndFlush("d");
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.2.log", "agent.log"}));
    EXPECT_EQ(Lines(File(2)), Texts{"b"});
    EXPECT_EQ(Lines(File(1)), Texts{"c"});
    EXPECT_EQ(Lines(File()), Texts{"d"});
}

TEST_F(RotatingFileSinkTest, WithGapsARotationCompactsFirstAndLosesNothing)
{
    WriteLine(File(1), "one");
    WriteLine(File(3), "three");
    Open(SizeOf("base"), 4);
    Write("base");
    WriteAndFlush("newest");
    // The base file has moved into the gap, so that there was nothing left to rotate.
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.2.log", "agent.3.log", "agent.log"}));
    EXPECT_EQ(Lines(File(3)), Texts{"three"});
    EXPECT_EQ(Lines(File(2)), Texts{"one"});
    EXPECT_EQ(Lines(File(1)), Texts{"base"});
    EXPECT_EQ(Lines(File()), Texts{"newest"});
}

TEST_F(RotatingFileSinkTest, OnceTheGapsAreClosedTheNextRotationMovesAllAndOnlyTheTopIsEverLost)
{
    WriteLine(File(1), "one");
    WriteLine(File(3), "three");
    Open(SizeOf("base"), 4);
    for (const char* text : {"base", "new1", "new2"})
    {
        Write(text);
    }
    WriteAndFlush("new3");
    EXPECT_EQ(Lines(File(4)), Texts{"one"});
    EXPECT_EQ(Lines(File(3)), Texts{"base"});
    EXPECT_EQ(Lines(File(2)), Texts{"new1"});
    EXPECT_EQ(Lines(File(1)), Texts{"new2"});
    EXPECT_EQ(Lines(File()), Texts{"new3"});
}

TEST_F(RotatingFileSinkTest, AGapBelowIsClosedBeforeTheOldestIsGivenUp)
{
    WriteLine(File(2), "two");
    WriteLine(File(4), "four");
    Open(SizeOf("base"), 4);
    Write("base");
    WriteAndFlush("newest");
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.3.log", "agent.4.log", "agent.log"}));
    EXPECT_EQ(Lines(File(4)), Texts{"four"});
    EXPECT_EQ(Lines(File(3)), Texts{"two"});
    EXPECT_EQ(Lines(File(1)), Texts{"base"});
}

TEST_F(RotatingFileSinkTest, CompactionBeginsAtTheHighestFileThatThereIs)
{
    // Nothing below the highest is missing: it keeps its place until all move up together.
    WriteLine(File(1), "one");
    WriteLine(File(2), "two");
    Open(SizeOf("base"), 4);
    Write("base");
    WriteAndFlush("newest");
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.2.log", "agent.3.log", "agent.log"}));
    EXPECT_EQ(Lines(File(3)), Texts{"two"});
    EXPECT_EQ(Lines(File(2)), Texts{"one"});
    EXPECT_EQ(Lines(File(1)), Texts{"base"});
}

TEST_F(RotatingFileSinkTest, FilesAboveTheGreatestNumberAreLeftAlone)
{
    WriteLine(File(3), "of a former setting");
    Open(SizeOf("a"), 2);
    for (const char* text : {"a", "b", "c"})
    {
        Write(text);
    }
    WriteAndFlush("d");
    EXPECT_EQ(Lines(File(3)), Texts{"of a former setting"});
    EXPECT_EQ(Lines(File(2)), Texts{"b"});
}

TEST_F(RotatingFileSinkTest, OtherFilesOfTheFolderAreLeftAlone)
{
    const Texts others = {"agent.01.log", "agent.log.1", "agent.x.log", "agent1.log", "other.1.log"};
    for (const auto& other : others)
    {
        WriteLine(Folder() / other, other);
    }
    Open(SizeOf("a"), 1);
    for (const char* text : {"a", "b"})
    {
        Write(text);
    }
    WriteAndFlush("c");
    for (const auto& other : others)
    {
        EXPECT_EQ(Lines(Folder() / other), Texts{other});
    }
    EXPECT_EQ(Names(Folder()).size(), others.size() + 2);
}

TEST_F(RotatingFileSinkTest, WithNoOlderFilesTheBaseFileStartsAfresh)
{
    Open(SizeOf("a"), 0);
    Write("a");
    Write("b");
    WriteAndFlush("c");
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
    EXPECT_EQ(Lines(File()), Texts{"c"});
}

TEST_F(RotatingFileSinkTest, ALineLongerThanAFileIsWrittenWholeToAFileOfItsOwn)
{
    const std::string tooLong(100, 'x');
    Open(20, 4);
    Write("before");
    Write(tooLong);
    WriteAndFlush("after");
    EXPECT_EQ(Lines(File(2)), Texts{"before"});
    EXPECT_EQ(Lines(File(1)), Texts{tooLong});
    EXPECT_EQ(Lines(File()), Texts{"after"});
}

TEST_F(RotatingFileSinkTest, AnEmptyFileIsNotRotatedForALineThatIsTooLong)
{
    const std::string tooLong(100, 'x');
    WriteLine(File(1), "one");
    Open(20, 1);
    WriteAndFlush(tooLong);
    EXPECT_EQ(Lines(File(1)), Texts{"one"});
    EXPECT_EQ(Lines(File()), Texts{tooLong});
}

TEST_F(RotatingFileSinkTest, NamesWithoutAnExtensionRotateToo)
{
    OpenAt(Folder() / "agent", SizeOf("a"), 2);
    Write("a");
    WriteAndFlush("b");
    EXPECT_EQ(Names(Folder()), (Texts{"agent", "agent.1"}));
    OpenAt(Folder() / ".hidden", SizeOf("a"), 2);
    Write("a");
    WriteAndFlush("b");
    EXPECT_EQ(Names(Folder()), (Texts{".hidden", ".hidden.1", "agent", "agent.1"}));
}

TEST_F(RotatingFileSinkTest, AFolderWithLettersOfAnyScriptIsWrittenTo)
{
    const auto folder = Folder() / u8"Gr\u00F6\u00DFe \u65E5\u672C \u0440\u0443\u0441";
    std::filesystem::create_directory(folder);
    OpenAt(folder / "agent.log", SizeOf("a"), 2);
    Write("a");
    WriteAndFlush("b");
    EXPECT_EQ(Names(folder), (Texts{"agent.1.log", "agent.log"}));
    EXPECT_EQ(Lines(folder / "agent.1.log"), Texts{"a"});
    EXPECT_EQ(Lines(folder / "agent.log"), Texts{"b"});
}

TEST_F(RotatingFileSinkTest, ARenameThatFailsTwiceEmptiesTheFileAndIsAnError)
{
    Open(SizeOf("first"), 4);
    WriteAndFlush("first");
    std::string failure;
    std::chrono::nanoseconds duration{};
    {
        const LogTests::UnmovableFile held(File());
        const auto start = std::chrono::steady_clock::now();
        failure = FailureOf("lost!");
        duration = std::chrono::steady_clock::now() - start;
    }
    const auto expected =
        fmt::format("rotating_file_sink: failed renaming {} to {}", File().string(), File(1).string());
    EXPECT_TRUE(failure.starts_with(expected + ": ")) << failure;
    EXPECT_GT(failure.size(), expected.size() + 2) << "the reason is told";
    EXPECT_GE(duration, std::chrono::milliseconds(99));
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
    EXPECT_EQ(std::filesystem::file_size(File()), 0U);
    // The size counts from 0 again, so the next line fits and the one behind it rotates.
    WriteAndFlush("later");
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
    WriteAndFlush("last.");
    EXPECT_EQ(Lines(File(1)), Texts{"later"});
    EXPECT_EQ(Lines(File()), Texts{"last."});
}

TEST_F(RotatingFileSinkTest, ARotationThatFailedIsMadeUpForByTheNext)
{
    WriteLine(File(1), "one..");
    Open(SizeOf("first"), 4);
    WriteAndFlush("first");
    {
        const LogTests::UnmovableFile held(File(1));
        EXPECT_NE(FailureOf("lost!"), "");
    }
    WriteAndFlush("again");
    WriteAndFlush("last.");
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.2.log", "agent.log"}));
    EXPECT_EQ(Lines(File(2)), Texts{"one.."});
    EXPECT_EQ(Lines(File(1)), Texts{"again"});
    EXPECT_EQ(Lines(File()), Texts{"last."});
}

TEST_F(RotatingFileSinkTest, ARenameThatFailsOnceIsTriedAgainAfter100Milliseconds)
{
    Open(SizeOf("first"), 4);
    WriteAndFlush("first");
    std::optional<LogTests::UnmovableFile> held(std::in_place, File());
    // A slow clock stretches the pause, so that there is time to let the file go in it.
    Shared::Time::ClockControl::SetSpeed(0.05);
    std::string failure = "not finished";
    std::thread writer([&] { failure = FailureOf("newest"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    held.reset();
    writer.join();
    Shared::Time::ClockControl::Reset();
    EXPECT_EQ(failure, "");
    Close();
    EXPECT_EQ(Lines(File(1)), Texts{"first"});
    EXPECT_EQ(Lines(File()), Texts{"newest"});
}

TEST_F(RotatingFileSinkTest, AFileThatCannotBeOpenedFailsEachLineAndIsTriedAgainAfter30Seconds)
{
    LogTests::MovedClock clock;
    // A file where the folder would have to be.
    TestSupport::WriteFile(Folder() / "taken", "");
    const auto file = Folder() / "taken" / "agent.log";
    clock.Start();
    OpenAt(file, 100, 4);
    const auto failure = FailureOf("lost");
    EXPECT_TRUE(failure.starts_with("Failed opening file ")) << failure;

    std::filesystem::remove(Folder() / "taken");
    clock.Advance(10);
    const auto failureWithinTheTime = FailureOf("lost too");
    if (!clock.HasPassed(30))
    {
        EXPECT_EQ(failureWithinTheTime, failure);
        EXPECT_FALSE(std::filesystem::exists(file));
    }

    clock.Advance(31);
    EXPECT_EQ(FailureOf("written"), "");
    Close();
    ASSERT_FALSE(Lines(file).empty());
    EXPECT_EQ(Lines(file).back(), "written");
}

TEST_F(RotatingFileSinkTest, AsLongAsItCannotBeOpenedTheNextAttemptIsAsFarAway)
{
    LogTests::MovedClock clock;
    TestSupport::WriteFile(Folder() / "taken", "");
    OpenAt(Folder() / "taken" / "agent.log", 100, 4);
    clock.Advance(31);
    clock.Start();
    EXPECT_NE(FailureOf("lost"), "");
    std::filesystem::remove(Folder() / "taken");
    clock.Advance(10);
    const auto failureWithinTheTime = FailureOf("lost too");
    if (!clock.HasPassed(30))
    {
        EXPECT_NE(failureWithinTheTime, "");
    }
    clock.Advance(31);
    EXPECT_EQ(FailureOf("written"), "");
}

TEST_F(RotatingFileSinkTest, LinesThatAreLostCostNoTime)
{
    TestSupport::WriteFile(Folder() / "taken", "");
    OpenAt(Folder() / "taken" / "agent.log", 100, 4);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i)
    {
        EXPECT_NE(FailureOf("lost"), "");
    }
    // Opening in vain takes 50 ms.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(25));
}

TEST_F(RotatingFileSinkTest, FlushingWithoutAFileDoesNothing)
{
    TestSupport::WriteFile(Folder() / "taken", "");
    Sink sink(Folder() / "taken" / "agent.log", 100, 4);
    EXPECT_NO_THROW(sink.flush());
}

TEST_F(RotatingFileSinkTest, EightThreadsLogThroughRotationsWithoutLosingALine)
{
    constexpr std::size_t Threads = 8;
    constexpr std::size_t LinesEach = 600;
    constexpr std::size_t MaxSize = 16384;
    Log::ConfigureLogging(3, Log::Level::Info, "agent.log", 1000, MaxSize, Folder());
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < Threads; ++thread)
    {
        threads.emplace_back(
            [thread]
            {
                for (std::size_t line = 0; line < LinesEach; ++line)
                {
                    Log::Info("thread {} line {}", thread, line);
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    // Lets the file go.
    Log::ConfigureLogging(0, Log::Level::Info, "", 0, 0, {});
    Log::ShutDown();

    std::map<std::string, std::size_t> seen;
    for (const auto& name : Names(Folder()))
    {
        EXPECT_LE(std::filesystem::file_size(Folder() / name), MaxSize) << name;
        for (const auto& line : Lines(Folder() / name))
        {
            ++seen[line.substr(line.find("thread"))];
        }
    }
    EXPECT_GT(Names(Folder()).size(), 10U);
    EXPECT_EQ(seen.size(), Threads * LinesEach);
    for (std::size_t thread = 0; thread < Threads; ++thread)
    {
        for (std::size_t line = 0; line < LinesEach; ++line)
        {
            EXPECT_EQ(seen[fmt::format("thread {} line {}", thread, line)], 1U);
        }
    }
}
