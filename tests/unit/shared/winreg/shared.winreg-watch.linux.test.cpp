#include <atomic>
#include <fstream>
#include <optional>
#include <thread>

#include <fmt/format.h>
#include <fmt/xchar.h>

#include "winreg.forkedchild.linux.hpp"
#include "winreg.storefixture.linux.hpp"

#include <unistd.h>

using namespace Shared::WinReg;
using Shared::Concurrency::Event;
using TestSupport::ChildLine;
using TestSupport::ForkedChild;
using TestSupport::LimitMs;

namespace
{

constexpr std::uint32_t AWhile = 2 * TestSupport::QuietMs;

/// The folder of the watch thread under /proc; none when there is no such thread.
std::optional<std::filesystem::path> FindWatchThread()
{
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        if (name == "vel-regwatch")
        {
            return thread.path();
        }
    }
    return std::nullopt;
}

std::uint64_t CountWakeUps(const std::filesystem::path& thread)
{
    std::ifstream status(thread / "status");
    for (std::string line; std::getline(status, line);)
    {
        constexpr std::string_view Name = "voluntary_ctxt_switches:";
        if (line.starts_with(Name))
        {
            return std::stoull(line.substr(Name.size()));
        }
    }
    return 0;
}

std::size_t CountDescriptors()
{
    const auto listed = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(listed, std::filesystem::directory_iterator{}));
}

class RegistryWatchTest : public SettingsStoreTest
{
protected:
    /// A process that writes a number into the key for each one that it is sent, and answers when it is written.
    static int WriteWhatIsSent(ChildLine& line)
    {
        while (const auto number = line.Receive())
        {
            SetDwordValue(Machine, Key, L"number", *number);
            line.Send(*number);
        }
        return 0;
    }

    static void Have(ForkedChild& writer, std::uint32_t number)
    {
        writer.Line().Send(number);
        ASSERT_EQ(writer.Line().Receive(), number);
    }

    Event m_changed{false, false};
};

} // namespace

TEST_F(RegistryWatchTest, ChangesOfAnotherProcessFire)
{
    ForkedChild writer(WriteWhatIsSent);
    const auto key = OpenKey(Machine, Key);
    for (std::uint32_t number = 1; number <= 5; ++number)
    {
        WatchKey(key, m_changed);
        EXPECT_FALSE(m_changed.WaitOnEvent(number == 1 ? AWhile : 0));
        Have(writer, number);
        EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
        EXPECT_EQ(GetDwordValue(Machine, Key, L"number"), number);
    }
}

TEST_F(RegistryWatchTest, EqualValuesOfAnotherProcessFire)
{
    ForkedChild writer(WriteWhatIsSent);
    const auto key = OpenKey(Machine, Key);
    for (int round = 0; round < 3; ++round)
    {
        WatchKey(key, m_changed);
        Have(writer, 5);
        EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    }
}

TEST_F(RegistryWatchTest, ChangesWithATextToolFire)
{
    SetStringValue(Machine, Key, L"value", L"text");
    const auto key = OpenKey(Machine, Key);
    for (const auto* const sql :
         {"UPDATE reg_value SET data = 'other'", "DELETE FROM reg_value",
          "INSERT INTO reg_value SELECT id, 'new', 1, 'x' FROM reg_key WHERE path LIKE '%VEL'"})
    {
        WatchKey(key, m_changed);
        RawDatabase(m_path).Run(sql);
        EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs)) << sql;
    }
}

TEST_F(RegistryWatchTest, ATransactionThatIsRolledBackDoesNotFire)
{
    SetStringValue(Machine, Key, L"value", L"text");
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    RawDatabase(m_path).Run("BEGIN; UPDATE reg_value SET data = 'other'; ROLLBACK");
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchTest, TheLastOfAStormIsNeverMissed)
{
    constexpr std::uint32_t Changes = 1000;
    ForkedChild writer(
        [](ChildLine& line)
        {
            line.Receive();
            for (std::uint32_t number = 1; number <= Changes; ++number)
            {
                SetDwordValue(Machine, Key, L"number", number);
            }
            return 0;
        });
    SetDwordValue(Machine, Key, L"number", 0);
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    writer.Line().Send(0);
    std::uint32_t fired = 0;
    for (std::uint32_t last = 0; last < Changes; ++fired)
    {
        ASSERT_TRUE(m_changed.WaitOnEvent(LimitMs)) << last;
        WatchKey(key, m_changed);
        // A change until here is read, one after it fires.
        const auto number = GetDwordValue(Machine, Key, L"number");
        ASSERT_GE(number, last);
        last = number;
    }
    EXPECT_EQ(writer.Join(), 0);
    EXPECT_LE(fired, Changes);
    // What fired while the last number was being read; then nothing is left.
    m_changed.WaitOnEvent(AWhile);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
}

TEST_F(RegistryWatchTest, AStormOfWritersAndArmersEndsWithEveryoneTold)
{
    constexpr int Rounds = 30;
    CreateKey(Machine, Key + L"\\Config");
    std::vector<std::thread> threads;
    std::atomic<int> faults{0};
    for (const auto& path : {Key, Key + L"\\Config"})
    {
        threads.emplace_back(
            [path, &faults]
            {
                Event changed(false, false);
                const auto key = OpenKey(Machine, path);
                for (std::uint32_t round = 0; round < Rounds; ++round)
                {
                    WatchKey(key, changed);
                    SetDwordValue(Machine, path, L"round", round);
                    faults += changed.WaitOnEvent(LimitMs) ? 0 : 1;
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(faults, 0);
}

TEST_F(RegistryWatchTest, TheThreadSleepsUntilSomethingChanges)
{
    EXPECT_FALSE(FindWatchThread());
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    const auto thread = FindWatchThread();
    ASSERT_TRUE(thread);
    auto before = CountWakeUps(*thread);
    do
    {
        before = CountWakeUps(*thread);
        ::usleep(100'000);
    } while (CountWakeUps(*thread) != before);
    // Reading, other files of the folder that come and are written, and time are nothing to wake up for.
    for (int i = 0; i < 20; ++i)
    {
        std::wstring text;
        EXPECT_FALSE(TryGetStringValue(Machine, Key, L"nothing", text));
        WriteBytes(m_folder / "another.file", {'x'});
        ::usleep(25'000);
    }
    // A machine that is short of memory may wake it once or twice; what wakes it for nothing does so twenty times.
    EXPECT_LE(CountWakeUps(*thread), before + 2);
    SetDwordValue(Machine, Key, L"number", 1);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    // Counted when it goes to sleep again, which may be after the event.
    const TestSupport::Stopwatch watch;
    while (CountWakeUps(*thread) == before)
    {
        ASSERT_LT(watch.ElapsedMs(), LimitMs);
        ::usleep(1'000);
    }
}

TEST_F(RegistryWatchTest, OneThreadServesAllKeys)
{
    std::vector<std::pair<RegKey, Event>> watched;
    for (int i = 0; i < 20; ++i)
    {
        const auto path = fmt::format(L"Key{}", i);
        CreateKey(Machine, path);
        watched.emplace_back(OpenKey(Machine, path), Event(false, false));
        WatchKey(watched.back().first, watched.back().second);
    }
    std::size_t threads = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        threads += name == "vel-regwatch" ? 1 : 0;
    }
    EXPECT_EQ(threads, 1U);
    SetDwordValue(Machine, L"Key7", L"number", 1);
    EXPECT_TRUE(watched[7].second.WaitOnEvent(LimitMs));
    for (std::size_t i = 0; i < watched.size(); ++i)
    {
        EXPECT_FALSE(watched[i].second.WaitOnEvent(0)) << i;
    }
}

TEST_F(RegistryWatchTest, ClosingTheStoreEndsTheThreadAndALaterWatchBeginsAnew)
{
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    CloseSettingsStore();
    CloseSettingsStore();
    EXPECT_FALSE(FindWatchThread());
    SetDwordValue(Machine, Key, L"number", 1);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    WatchKey(key, m_changed);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs)) << "the change of between is remembered";
    WatchKey(key, m_changed);
    SetDwordValue(Machine, Key, L"number", 2);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchTest, AReplacedStoreIsAChangeAndIsWatched)
{
    const auto other = m_path + ".other";
    SetDwordValue(Machine, Key, L"number", 1);
    std::filesystem::copy_file(m_path, other);
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    std::filesystem::rename(other, m_path);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    WatchKey(key, m_changed);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    SetDwordValue(Machine, Key, L"number", 2);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchTest, ADeletedStoreFiresAndCannotBeWatchedUntilItIsBack)
{
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    const auto aside = m_path + ".aside";
    std::filesystem::copy_file(m_path, aside);
    std::filesystem::remove(m_path);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    EXPECT_THROW(WatchKey(key, m_changed), Shared::Exception::Win32Exception);
    EXPECT_FALSE(std::filesystem::exists(m_path));
    std::filesystem::rename(aside, m_path);
    WatchKey(key, m_changed);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    WatchKey(key, m_changed);
    SetDwordValue(Machine, Key, L"number", 2);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchTest, AReplacedFolderIsWatchedFromTheNextArmingOn)
{
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    const auto aside = m_folder.string() + "-aside";
    std::filesystem::rename(m_folder, aside);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    std::filesystem::copy(aside, m_folder);
    std::filesystem::remove_all(aside);
    WatchKey(key, m_changed);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    WatchKey(key, m_changed);
    EXPECT_FALSE(m_changed.WaitOnEvent(AWhile));
    SetDwordValue(Machine, Key, L"number", 1);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchTest, AStoreBehindASymbolicLinkIsWatchedWhereItIs)
{
    const auto real = m_folder / "real";
    std::filesystem::create_directory(real);
    CloseSettingsStore();
    std::filesystem::rename(m_path, real / "kept.db");
    std::filesystem::create_symlink(real / "kept.db", m_path);
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    SetDwordValue(Machine, Key, L"number", 1);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}

TEST_F(RegistryWatchTest, AChangeIsToldWhenTheLockIsGoneThoughItWasLongerThanTheTimeOut)
{
    const auto key = OpenKey(Machine, Key);
    WatchKey(key, m_changed);
    RawDatabase raw(m_path);
    // Without a journal file the change tells nobody, so that the store is locked before the watch learns of it.
    raw.Run("PRAGMA journal_mode = MEMORY");
    raw.Run("INSERT INTO reg_value SELECT id, 'new', 1, 'x' FROM reg_key WHERE path LIKE '%VEL'; BEGIN EXCLUSIVE");
    WriteBytes(m_path + "-journal", {});
    std::filesystem::remove(m_path + "-journal");
    EXPECT_FALSE(m_changed.WaitOnEvent(BusyTimeoutMs + 500));
    raw.Run("COMMIT");
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
    EXPECT_EQ(CountErrors("cannot be read: database is locked"), 1U);
}

TEST_F(RegistryWatchTest, WatchesThatEndLeaveNothingBehind)
{
    const auto keeper = OpenKey(Machine, Key);
    WatchKey(keeper, m_changed);
    const auto descriptors = CountDescriptors();
    for (int i = 0; i < 50; ++i)
    {
        Event event(false, false);
        const auto key = OpenKey(Machine, Key);
        WatchKey(key, event);
        WatchKey(key, event);
        WatchKey(keeper, m_changed);
    }
    EXPECT_EQ(CountDescriptors(), descriptors);
    SetDwordValue(Machine, Key, L"number", 1);
    EXPECT_TRUE(m_changed.WaitOnEvent(LimitMs));
}
