// What only happens on Linux, or can only be brought about there.

#include "shared.log-rotatingfilesink.hpp"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/common.h>
#include <spdlog/details/log_msg.h>

#include "shared.log-configuration.hpp"
#include "shared.log-functions.hpp"
#include "test.log-files.hpp"
#include "test.log-sinks.hpp"
#include "test.support-temporaryfolder.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace Log = Shared::Log;
using LogTests::Lines;
using LogTests::Names;
using Sink = Log::sinks::rotating_file_sink<std::mutex>;
using Texts = std::vector<std::string>;

namespace
{

std::string FailureOf(Sink& sink, const std::string& text)
{
    try
    {
        sink.log(spdlog::details::log_msg("test", spdlog::level::info, text));
        sink.flush();
    }
    catch (const spdlog::spdlog_ex& exception)
    {
        return exception.what();
    }
    return {};
}

/// From construction to destruction no file of this process may grow past `size`, as on a disk that is full.
class LimitedFileSize
{
public:
    explicit LimitedFileSize(rlim_t size) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }

    LimitedFileSize(const LimitedFileSize&) = delete;
    LimitedFileSize& operator=(const LimitedFileSize&) = delete;

    ~LimitedFileSize()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before{};
    sighandler_t m_handler;
};

/// The descriptors of this process that are open on the file.
std::vector<int> DescriptorsOf(const std::filesystem::path& file)
{
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == file)
        {
            descriptors.push_back(std::stoi(entry.path().filename().string()));
        }
    }
    return descriptors;
}

class RotatingFileSinkLinuxTest : public testing::Test
{
protected:
    const std::filesystem::path& Folder() const
    {
        return m_folder.Path();
    }

    std::filesystem::path File() const
    {
        return Folder() / "agent.log";
    }

private:
    TestSupport::TemporaryFolder m_folder;
};

} // namespace

TEST_F(RotatingFileSinkLinuxTest, ABaseFileThatSomebodyDeletedIsMadeAnewByTheNextRotation)
{
    LogTests::WriteLine(Folder() / "agent.1.log", "one");
    Sink sink(File(), 4, 2);
    sink.set_pattern("%v");
    EXPECT_EQ(FailureOf(sink, "two"), "");
    std::filesystem::remove(File());
    EXPECT_EQ(FailureOf(sink, "new"), "");
    // Nothing was rotated: the older file keeps its place.
    EXPECT_EQ(Names(Folder()), (Texts{"agent.1.log", "agent.log"}));
    EXPECT_EQ(Lines(Folder() / "agent.1.log"), Texts{"one"});
    EXPECT_EQ(Lines(File()), Texts{"new"});
}

TEST_F(RotatingFileSinkLinuxTest, AFileThatSomebodyEmptiedIsNotRotated)
{
    Sink sink(File(), 8, 2);
    sink.set_pattern("%v");
    EXPECT_EQ(FailureOf(sink, "1234567"), "");
    std::filesystem::resize_file(File(), 0);
    EXPECT_EQ(FailureOf(sink, "abc"), "");
    EXPECT_EQ(FailureOf(sink, "def"), "");
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
    EXPECT_EQ(Lines(File()), (Texts{"abc", "def"}));
}

TEST_F(RotatingFileSinkLinuxTest, WhenTheFolderIsGoneForGoodLinesFailUntilItCanBeMadeAgain)
{
    LogTests::MovedClock clock;
    const auto folder = Folder() / "logs";
    Sink sink(folder / "agent.log", 4, 2);
    sink.set_pattern("%v");
    EXPECT_EQ(FailureOf(sink, "one"), "");
    std::filesystem::remove_all(folder);
    TestSupport::WriteFile(folder, "a file in its place");
    EXPECT_TRUE(FailureOf(sink, "two").starts_with("Failed opening file "));
    EXPECT_TRUE(FailureOf(sink, "two").starts_with("Failed opening file "));
    EXPECT_NO_THROW(sink.flush());
    std::filesystem::remove(folder);
    clock.Advance(31);
    EXPECT_EQ(FailureOf(sink, "new"), "");
    EXPECT_EQ(Lines(folder / "agent.log"), Texts{"new"});
}

TEST_F(RotatingFileSinkLinuxTest, WhenTheDiskIsFullLinesFailAndWhenThereIsRoomAgainTheyAreWritten)
{
    Sink sink(File(), 1000000, 2);
    sink.set_pattern("%v");
    const std::string line(99, 'x');
    std::vector<std::string> failures;
    {
        const LimitedFileSize full(1000);
        for (int i = 0; i < 100; ++i)
        {
            if (auto failure = FailureOf(sink, line); !failure.empty())
            {
                failures.push_back(failure);
            }
        }
    }
    ASSERT_GE(failures.size(), 80U);
    for (const auto& failure : failures)
    {
        EXPECT_TRUE(failure.starts_with("Failed ")) << failure;
        EXPECT_NE(failure.find("File too large"), std::string::npos) << failure;
    }
    EXPECT_EQ(FailureOf(sink, "there is room again"), "");
    ASSERT_FALSE(Lines(File()).empty());
    EXPECT_EQ(Lines(File()).front(), line);
    EXPECT_EQ(Lines(File()).back(), "there is room again");
}

TEST_F(RotatingFileSinkLinuxTest, WhenTheDiskIsFullAtARotationNoOlderFileIsGivenUp)
{
    LogTests::WriteLine(Folder() / "agent.1.log", "one");
    LogTests::WriteLine(Folder() / "agent.2.log", "two");
    Sink sink(File(), 2000, 2);
    sink.set_pattern("%v");
    const std::string line(99, 'x');
    {
        // Nothing at all can be written, so the base file stays empty however many lines are lost.
        const LimitedFileSize full(0);
        for (int i = 0; i < 100; ++i)
        {
            FailureOf(sink, line);
        }
    }
    EXPECT_EQ(Lines(Folder() / "agent.1.log"), Texts{"one"});
    EXPECT_EQ(Lines(Folder() / "agent.2.log"), Texts{"two"});
}

TEST_F(RotatingFileSinkLinuxTest, OnASmallDiskThatFillsUpTheAgentGoesOnAndWritesAgainOnceThereIsRoom)
{
    constexpr std::size_t MaxSize = 32768;
    const std::string line(99, 'x');
    std::string refusal;
    std::vector<std::string> failures;
    std::string failureAfterwards = "not tried";
    Texts names;
    Texts lines;
    // The disk is seen by this thread alone and is gone with it.
    std::thread thread(
        [&]
        {
            if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("none", Folder().c_str(), "tmpfs", 0, "size=65536") != 0)
            {
                refusal = std::strerror(errno);
                return;
            }
            Sink sink(File(), MaxSize, 4);
            sink.set_pattern("%v");
            for (int i = 0; i < 2000; ++i)
            {
                if (auto failure = FailureOf(sink, line); !failure.empty())
                {
                    failures.push_back(failure);
                }
            }
            std::filesystem::remove(Folder() / "agent.1.log");
            failureAfterwards = FailureOf(sink, "there is room again");
            names = Names(Folder());
            lines = Lines(File());
        });
    thread.join();
    if (!refusal.empty())
    {
        GTEST_SKIP() << "a disk of its own takes rights that this process has not: " << refusal;
    }
    ASSERT_FALSE(failures.empty());
    for (const auto& failure : failures)
    {
        EXPECT_NE(failure.find("No space left on device"), std::string::npos) << failure;
    }
    EXPECT_EQ(failureAfterwards, "");
    EXPECT_FALSE(names.empty());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "there is room again");
}

TEST_F(RotatingFileSinkLinuxTest, AFullDeviceIsReportedInTheLibrarysErrorFormAndTheAgentGoesOn)
{
    std::filesystem::create_symlink("/dev/full", File());
    Log::ConfigureLogging(3, Log::Level::Info, "agent.log", 4, 100, Folder());
    const auto report = LogTests::ReportOfFailure();
    for (int i = 0; i < 1000; ++i)
    {
        Log::Info("line {}", i);
    }
    Log::ConfigureLogging(0, Log::Level::Info, "", 0, 0, {});
    Log::ShutDown();
    const std::regex form(R"(\[\*\*\* LOG ERROR #\d{4,} \*\*\*\] \[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] \[default\] )"
                          R"(\{Failed .*agent\.log.*No space left on device\}\n)");
    EXPECT_TRUE(std::regex_match(report, form)) << report;
    EXPECT_TRUE(std::filesystem::is_symlink(File()));
    EXPECT_EQ(Names(Folder()), Texts{"agent.log"});
}

TEST_F(RotatingFileSinkLinuxTest, ChildrenDoNotInheritTheFile)
{
    Sink sink(File(), 4, 2);
    sink.set_pattern("%v");
    for (const char* text : {"one", "two"})
    {
        EXPECT_EQ(FailureOf(sink, text), "");
        const auto descriptors = DescriptorsOf(std::filesystem::canonical(File()));
        ASSERT_EQ(descriptors.size(), 1U);
        EXPECT_NE(::fcntl(descriptors[0], F_GETFD) & FD_CLOEXEC, 0);
    }
}
