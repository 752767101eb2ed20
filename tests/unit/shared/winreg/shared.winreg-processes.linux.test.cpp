#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include <fmt/format.h>
#include <fmt/xchar.h>

#include "winreg.forkedchild.linux.hpp"
#include "winreg.storefixture.linux.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Shared::WinReg;
using TestSupport::ChildLine;
using TestSupport::ForkedChild;

namespace
{

using SettingsStoreProcessesTest = SettingsStoreTest;

std::string IntegrityOf(const std::string& path)
{
    return RawDatabase(path).Query("PRAGMA integrity_check");
}

} // namespace

TEST_F(SettingsStoreProcessesTest, ManyProcessesWriteAtOnceAndNothingIsLost)
{
    constexpr std::uint32_t Processes = 4;
    constexpr std::uint32_t Writes = 25;
    std::vector<std::unique_ptr<ForkedChild>> children;
    for (std::uint32_t number = 0; number < Processes; ++number)
    {
        children.push_back(std::make_unique<ForkedChild>(
            [number](ChildLine& line)
            {
                line.Receive();
                for (std::uint32_t i = 0; i < Writes; ++i)
                {
                    SetDwordValue(Machine, Key, fmt::format(L"{}-{}", number, i), i);
                    if (GetDwordValue(Machine, Key, fmt::format(L"{}-{}", number, i)) != i)
                    {
                        return 1;
                    }
                }
                return 0;
            }));
    }
    for (const auto& child : children)
    {
        child->Line().Send(0);
    }
    for (const auto& child : children)
    {
        EXPECT_EQ(child->Join(), 0);
    }
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), Processes * Writes);
    RawDatabase raw(m_path);
    EXPECT_EQ(
        raw.Query("SELECT revision FROM reg_key WHERE path = 'SOFTWARE\\Tarvane\\VEL'"),
        std::to_string(Processes * Writes));
    EXPECT_EQ(IntegrityOf(m_path), "ok");
}

TEST_F(SettingsStoreProcessesTest, ProcessesThatCreateAStoreAtOnceCreateOne)
{
    const auto folder = m_folder / "made";
    const std::string before = std::getenv("STATE_DIRECTORY");
    ::setenv("STATE_DIRECTORY", folder.c_str(), 1);
    std::vector<std::unique_ptr<ForkedChild>> children;
    for (int number = 0; number < 4; ++number)
    {
        children.push_back(std::make_unique<ForkedChild>(
            [number](ChildLine& line)
            {
                line.Receive();
                CreateKey(Machine, fmt::format(L"Key{}\\Below", number));
                return 0;
            }));
    }
    for (const auto& child : children)
    {
        child->Line().Send(0);
    }
    for (const auto& child : children)
    {
        EXPECT_EQ(child->Join(), 0);
    }
    EXPECT_EQ(EnumerateKeys(Machine, L"").size(), 4U);
    CloseSettingsStore();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "something was left behind";
    ::setenv("STATE_DIRECTORY", before.c_str(), 1);
}

TEST_F(SettingsStoreProcessesTest, AWriterThatIsKilledLosesNothingThatWasWritten)
{
    // The child tells each write after it was made. Whenever the kill comes: what was told is there, the one after it
    // may be, and the two values that belong to one write are never apart by more than the one that was cut short.
    std::mt19937 random(99);
    std::uint32_t total = 0;
    for (int round = 0; round < 25; ++round)
    {
        SetDwordValue(Machine, Key, L"first", 0);
        SetStringValue(Machine, Key, L"second", L"0");
        ForkedChild writer(
            [](ChildLine& line)
            {
                for (std::uint32_t number = 1;; ++number)
                {
                    SetDwordValue(Machine, Key, L"first", number);
                    SetStringValue(
                        Machine, Key, L"second", std::to_wstring(number) + std::wstring(number % 3000, L'x'));
                    line.Send(number);
                }
                return 0;
            });
        std::uint32_t acknowledged = 0;
        for (std::uint32_t wanted = random() % 4; acknowledged < wanted;)
        {
            acknowledged = writer.Line().Receive().value();
        }
        ::usleep(static_cast<useconds_t>(random() % 8000));
        writer.Kill();
        EXPECT_EQ(writer.Join(), 128 + SIGKILL);
        while (const auto last = writer.Line().Receive())
        {
            acknowledged = *last;
        }
        total += acknowledged;

        const auto first = GetDwordValue(Machine, Key, L"first");
        const auto second = static_cast<std::uint32_t>(std::stoul(GetStringValue(Machine, Key, L"second")));
        EXPECT_GE(first, acknowledged);
        EXPECT_LE(first, acknowledged + 1);
        EXPECT_GE(second, acknowledged);
        EXPECT_LE(second, first);
        EXPECT_EQ(IntegrityOf(m_path), "ok");
    }
    EXPECT_GT(total, 0U);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(SettingsStoreProcessesTest, ATransactionThatWasCutShortIsRolledBackByTheNextReader)
{
    SetStringValue(Machine, Key, L"value", L"before");
    ForkedChild writer(
        [this](ChildLine& line)
        {
            RawDatabase raw(m_path);
            // With so little cache the pages go to the file before the commit, and the journal is all that knows better.
            raw.Run("PRAGMA cache_size = 1; BEGIN IMMEDIATE; UPDATE reg_value SET data = 'after'");
            for (int i = 0; i < 200; ++i)
            {
                raw.Run(fmt::format(
                    "INSERT INTO reg_value SELECT id, 'n{}', 1, hex(zeroblob(1000)) FROM reg_key WHERE path <> ''", i));
            }
            line.Send(1);
            line.Receive();
            return 0;
        });
    ASSERT_TRUE(writer.Line().Receive());
    writer.Kill();
    EXPECT_EQ(writer.Join(), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(m_path + "-journal"));
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"before");
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), 1U);
    EXPECT_EQ(IntegrityOf(m_path), "ok");
}

TEST_F(SettingsStoreProcessesTest, ChildrenInheritNoDescriptorOfTheStore)
{
    SetDwordValue(Machine, Key, L"value", 1);
    const auto key = OpenKey(Machine, Key);
    Shared::Concurrency::Event event(true, false);
    WatchKey(key, event);
    // The event is the caller's and may be inherited; nothing else of ours may.
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    const char* const arguments[] = {"ls", "-l", "/proc/self/fd", nullptr};
    pid_t child = 0;
    ASSERT_EQ(::posix_spawnp(&child, "ls", &actions, nullptr, const_cast<char**>(arguments), environ), 0);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    std::string listing;
    std::array<char, 4096> buffer{};
    for (ssize_t length = 0; (length = ::read(ends[0], buffer.data(), buffer.size())) > 0;)
    {
        listing.append(buffer.data(), static_cast<std::size_t>(length));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    const auto count = [&listing](const std::string& part)
    {
        std::size_t found = 0;
        for (auto at = listing.find(part); at != std::string::npos; at = listing.find(part, at + 1))
        {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("settings.db"), 0U) << listing;
    EXPECT_EQ(count("inotify"), 0U) << listing;
    EXPECT_EQ(count("eventfd"), 1U) << listing;
}
