#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <random>

#include <fmt/format.h>

#include "winreg.forkedchild.linux.hpp"
#include "winreg.storefixture.linux.hpp"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Shared::WinReg;
using TestSupport::ForkedChild;

namespace
{

/// A value of the environment for the length of a test.
class Variable
{
public:
    Variable(const char* name, const char* value) : m_name(name)
    {
        if (const char* const before = std::getenv(name))
        {
            m_before = before;
        }
        value == nullptr ? ::unsetenv(name) : ::setenv(name, value, 1);
    }

    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    ~Variable()
    {
        m_before ? ::setenv(m_name, m_before->c_str(), 1) : ::unsetenv(m_name);
    }

private:
    const char* m_name;
    std::optional<std::string> m_before;
};

mode_t ModeOf(const std::filesystem::path& path)
{
    struct stat status
    {
    };

    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

std::string KeyRow()
{
    return "(SELECT id FROM reg_key WHERE path = 'software\\tarvane\\vel')";
}

void WriteText(const char* path, const std::string& text)
{
    WriteBytes(path, {text.begin(), text.end()});
}

/// Puts an empty disk of 256 KB there, which only this process sees. False where the account may not.
bool MountSmallDisk(const std::filesystem::path& folder)
{
    const auto user = ::geteuid();
    const auto group = ::getegid();
    if (user != 0)
    {
        if (::unshare(CLONE_NEWUSER) != 0)
        {
            return false;
        }
        WriteText("/proc/self/setgroups", "deny");
        WriteText("/proc/self/uid_map", fmt::format("0 {} 1", user));
        WriteText("/proc/self/gid_map", fmt::format("0 {} 1", group));
    }
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") == 0;
}

/// No operation may take longer than the busy time-out and what a slow machine adds to it.
constexpr double LongestMs = BusyTimeoutMs + 3000.0 * VEL_TIME_SCALE;

} // namespace

TEST(SettingsStorePathTest, TheFirstEntryOfTheStateDirectoryIsTheFolder)
{
    const Variable variable("STATE_DIRECTORY", "/var/lib/one:/var/lib/two");
    EXPECT_EQ(GetSettingsStorePath(), "/var/lib/one/settings.db");
}

TEST(SettingsStorePathTest, WithoutAnAbsoluteOneItIsTheAgentsOwn)
{
    for (const char* const value : {static_cast<const char*>(nullptr), "", "relative", ":/var/lib/two"})
    {
        const Variable variable("STATE_DIRECTORY", value);
        EXPECT_EQ(GetSettingsStorePath(), "/var/lib/tarvane-vel/settings.db");
    }
}

using SettingsStoreFileTest = SettingsStoreTest;

TEST_F(SettingsStoreFileTest, CreatingAKeyCreatesTheStoreForItsOwnerAlone)
{
    const auto folder = m_folder / "made";
    const Variable variable("STATE_DIRECTORY", folder.c_str());
    CloseSettingsStore();
    CreateKey(Machine, Key);
    EXPECT_EQ(ModeOf(folder), 0700U);
    EXPECT_EQ(ModeOf(folder / "settings.db"), 0600U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "something was left behind";
    EXPECT_NO_THROW(OpenKey(Machine, Key));
    CloseSettingsStore();
}

TEST_F(SettingsStoreFileTest, TheJournalIsARollbackJournal)
{
    RawDatabase raw(m_path);
    EXPECT_EQ(raw.Query("PRAGMA journal_mode"), "delete");
    EXPECT_EQ(raw.Query("PRAGMA user_version"), "1");
}

TEST_F(SettingsStoreFileTest, NeitherReadingNorWritingNorWatchingCreatesAStore)
{
    const auto key = OpenKey(Machine, Key);
    std::filesystem::remove(m_path);
    std::wstring text;
    EXPECT_FALSE(TryGetStringValue(Machine, Key, L"value", text));
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(CodeOfReadingNumber(L"value"), static_cast<std::uint32_t>(ENOENT));
    EXPECT_NE(FailureOfWriting(L"value").find("Failed to open registry key; key: "), std::string::npos);
    EXPECT_NO_THROW(DeleteValue(Machine, Key, L"value"));
    EXPECT_THROW(OpenKey(Machine, Key), Shared::Exception::Win32Exception);
    Shared::Concurrency::Event event(false, false);
    EXPECT_THROW(WatchKey(key, event), Shared::Exception::Win32Exception);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder));
    EXPECT_EQ(CountErrors(fmt::format("The settings store {} cannot be read: No such file or directory", m_path)), 1U);
    EXPECT_EQ(CountErrors(""), 1U);
}

TEST_F(SettingsStoreFileTest, AFailureIsToldAgainAfterTheStoreHasWorked)
{
    const auto aside = m_path + ".aside";
    for (std::size_t round = 1; round <= 3; ++round)
    {
        std::filesystem::rename(m_path, aside);
        EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(ENOENT));
        EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(ENOENT));
        EXPECT_EQ(CountErrors("cannot be read"), round);
        std::filesystem::rename(aside, m_path);
        EXPECT_NO_THROW(OpenKey(Machine, Key));
    }
}

TEST_F(SettingsStoreFileTest, AnAbsentValueIsNoFailureOfTheStore)
{
    EXPECT_EQ(CodeOfReading(L"nothing"), static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(CodeOfReading(L"nothing", L"No\\Key"), static_cast<std::uint32_t>(ENOENT));
    EXPECT_THROW(SetDwordValue(Machine, L"No\\Key", L"value", 1), Shared::Exception::Win32Exception);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(SettingsStoreFileTest, AReplacedStoreIsReadAndWrittenFromThenOn)
{
    SetStringValue(Machine, Key, L"value", L"old");
    const auto other = m_path + ".other";
    std::filesystem::copy_file(m_path, other);
    RawDatabase(other).Run("UPDATE reg_value SET data = 'new'");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"old");
    std::filesystem::rename(other, m_path);
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"new");
    SetStringValue(Machine, Key, L"value", L"newer");
    EXPECT_EQ(RawDatabase(m_path).Query("SELECT data FROM reg_value"), "newer");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(SettingsStoreFileTest, ChangesMadeWithATextToolAreRead)
{
    SetStringValue(Machine, Key, L"value", L"old");
    RawDatabase(m_path).Run("UPDATE reg_value SET data = 'new' WHERE name = 'VALUE'");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"new");
}

TEST_F(SettingsStoreFileTest, AWriteAheadLogThatSomebodyTurnedOnIsTurnedOff)
{
    SetStringValue(Machine, Key, L"value", L"text");
    CloseSettingsStore();
    EXPECT_EQ(RawDatabase(m_path).Query("PRAGMA journal_mode = WAL"), "wal");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"text");
    EXPECT_EQ(RawDatabase(m_path).Query("PRAGMA journal_mode"), "delete");
}

TEST_F(SettingsStoreFileTest, AFileThatIsNoStoreIsLeftAsItIs)
{
    const std::string text = "These are an operator's notes and not a database.\n";
    const std::array<std::vector<char>, 3> contents = {
        std::vector<char>{}, std::vector<char>(text.begin(), text.end()), std::vector<char>(100'000, '\0')};
    for (const auto& content : contents)
    {
        CloseSettingsStore();
        WriteBytes(m_path, content);
        EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EIO)) << content.size();
        EXPECT_EQ(CodeOfWriting(L"value"), static_cast<std::uint32_t>(EIO)) << content.size();
        EXPECT_THROW(OpenKey(Machine, Key), Shared::Exception::Win32Exception);
        EXPECT_THROW(CreateKey(Machine, Key), Shared::Exception::Win32Exception);
        EXPECT_EQ(ReadBytes(m_path), content);
    }
    EXPECT_EQ(CountErrors("cannot be read"), contents.size());
    EXPECT_EQ(CountErrors(""), contents.size());
}

TEST_F(SettingsStoreFileTest, WhatIsNoFileAtAllIsRefused)
{
    for (const bool isFifo : {false, true})
    {
        std::filesystem::remove(m_path);
        ASSERT_EQ(isFifo ? ::mkfifo(m_path.c_str(), 0600) : ::mkdir(m_path.c_str(), 0700), 0);
        EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EINVAL));
        EXPECT_THROW(CreateKey(Machine, Key), Shared::Exception::Win32Exception);
    }
    EXPECT_EQ(CountErrors("cannot be read: it is no regular file"), 1U);
}

TEST_F(SettingsStoreFileTest, AnotherLayoutIsNotTouched)
{
    SetStringValue(Machine, Key, L"value", L"text");
    CloseSettingsStore();
    RawDatabase(m_path).Run("PRAGMA user_version = 2");
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(CodeOfWriting(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(CountErrors("cannot be read: its layout is version 2 and not 1"), 1U);
    EXPECT_EQ(RawDatabase(m_path).Query("SELECT data FROM reg_value"), "text");
}

TEST_F(SettingsStoreFileTest, MissingTablesAreAFailureOfTheStore)
{
    RawDatabase(m_path).Run("DROP TABLE reg_value");
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(CodeOfWriting(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_EQ(CountErrors("cannot be read: no such table: reg_value"), 1U);
    EXPECT_EQ(CountErrors("cannot be written: no such table: reg_value"), 1U);
    EXPECT_EQ(CountErrors(""), 2U);
}

TEST_F(SettingsStoreFileTest, ViewsThatNeverEndAreNotFollowed)
{
    RawDatabase(m_path).Run("DROP TABLE reg_key; CREATE VIEW reg_key(id, path, revision) AS WITH RECURSIVE n(i) AS "
                            "(SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i, 'x' || i, i FROM n");
    const TestSupport::Stopwatch watch;
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EIO));
    EXPECT_LT(watch.ElapsedMs(), LongestMs);
}

TEST_F(SettingsStoreFileTest, ATriggerThatNeverEndsIsCutOff)
{
    RawDatabase(m_path).Run(
        "CREATE TRIGGER endless AFTER INSERT ON reg_value BEGIN DELETE FROM reg_value WHERE type IN "
        "(WITH RECURSIVE n(i) AS (SELECT 100 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n); END");
    const TestSupport::Stopwatch watch;
    EXPECT_NE(CodeOfWriting(L"value"), 0U);
    EXPECT_LT(watch.ElapsedMs(), LongestMs);
    EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(ENOENT));
}

TEST_F(SettingsStoreFileTest, RowsThatMakeNoSenseAreNotRead)
{
    RawDatabase raw(m_path);
    const auto insert = [&raw](const std::string& name, const std::string& type, const std::string& data)
    {
        raw.Run(fmt::format("INSERT INTO reg_value VALUES({}, '{}', {}, {})", KeyRow(), name, type, data));
    };
    constexpr auto Senseless = static_cast<std::uint32_t>(EBADMSG);
    constexpr auto OtherType = static_cast<std::uint32_t>(EOPNOTSUPP);

    insert("number as text", "1", "5");
    insert("bytes as text", "1", "x'6162'");
    insert("nothing as text", "1", "NULL");
    insert("type as text", "'a word'", "'text'");
    for (const auto* const name : {L"number as text", L"bytes as text", L"nothing as text", L"type as text"})
    {
        EXPECT_EQ(CodeOfReading(name), Senseless) << name;
    }
    insert("text as number", "4", "'5 apples'");
    insert("bytes as number", "4", "x'05000000'");
    insert("nothing as number", "4", "NULL");
    insert("fraction", "4", "1.5");
    insert("negative", "4", "-1");
    insert("too large", "4", "4294967296");
    for (const auto* const name :
         {L"text as number", L"bytes as number", L"nothing as number", L"fraction", L"negative", L"too large"})
    {
        EXPECT_EQ(CodeOfReadingNumber(name), Senseless) << name;
    }
    insert("another type", "3", "x'0102'");
    EXPECT_EQ(CodeOfReading(L"another type"), OtherType);
    EXPECT_EQ(CodeOfReadingNumber(L"another type"), OtherType);
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), 11U);
    EXPECT_TRUE(m_log.Lines().empty()) << "a bad row is no failure of the store";
}

TEST_F(SettingsStoreFileTest, BytesThatAreNoTextAreDropped)
{
    RawDatabase(m_path).Run(
        fmt::format("INSERT INTO reg_value VALUES({}, 'value', 1, CAST(x'61FF62C33CEDA08063' AS TEXT))", KeyRow()));
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"ab<c");
}

TEST_F(SettingsStoreFileTest, ValuesBeyondTheLimitAreRefused)
{
    RawDatabase raw(m_path);
    for (const auto* const size : {"1048577", "2000000", "30000000"})
    {
        raw.Run(fmt::format(
            "INSERT OR REPLACE INTO reg_value VALUES({}, 'value', 1, CAST(zeroblob({}) AS TEXT))", KeyRow(), size));
        EXPECT_EQ(CodeOfReading(L"value"), static_cast<std::uint32_t>(EFBIG)) << size;
    }
    EXPECT_EQ(EnumerateValues(Machine, Key).size(), 1U);
    EXPECT_TRUE(m_log.Lines().empty());

    const std::wstring largest(MaximumValueBytes, L'x');
    SetStringValue(Machine, Key, L"value", largest);
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), largest);
}

TEST_F(SettingsStoreFileTest, ALockedStoreIsWaitedForAsLongAsTheTimeOutOnly)
{
    SetStringValue(Machine, Key, L"value", L"text");
    RawDatabase raw(m_path);
    raw.Run("BEGIN EXCLUSIVE");
    // All wait at once, and each for itself: none for the time-outs of the others.
    const auto timed = [](auto call)
    {
        return std::async(
            std::launch::async,
            [call]
            {
                const TestSupport::Stopwatch watch;
                EXPECT_EQ(call(), static_cast<std::uint32_t>(EBUSY));
                EXPECT_LT(watch.ElapsedMs(), LongestMs);
            });
    };
    {
        const auto first = timed([] { return CodeOfReading(L"value"); });
        const auto second = timed([] { return CodeOfWriting(L"value"); });
        const auto third = timed([] { return CodeOfReadingNumber(L"value"); });
    }
    EXPECT_EQ(
        CountErrors("cannot be read: database is locked") + CountErrors("cannot be written: database is locked"),
        CountErrors(""));
    EXPECT_GE(CountErrors(""), 1U);
    raw.Run("COMMIT");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"text");
    EXPECT_NO_THROW(SetStringValue(Machine, Key, L"value", L"new"));
}

TEST_F(SettingsStoreFileTest, ALockThatIsLetGoInTimeIsNoFailure)
{
    ForkedChild locker(
        [this](TestSupport::ChildLine& line)
        {
            RawDatabase raw(m_path);
            raw.Run("BEGIN EXCLUSIVE");
            line.Send(1);
            ::usleep(300'000);
            raw.Run("COMMIT");
            return 0;
        });
    ASSERT_TRUE(locker.Line().Receive());
    EXPECT_NO_THROW(SetStringValue(Machine, Key, L"value", L"text"));
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"text");
    EXPECT_EQ(locker.Join(), 0);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(SettingsStoreFileTest, AReaderDoesNotKeepAWriterWaiting)
{
    SetStringValue(Machine, Key, L"value", L"text");
    EXPECT_EQ(GetStringValue(Machine, Key, L"value"), L"text");
    RawDatabase raw(m_path);
    // No busy time-out here: a lock that a finished read had left would fail this at once.
    EXPECT_NO_THROW(raw.Run("UPDATE reg_value SET data = 'other'"));
}

TEST_F(SettingsStoreFileTest, AStoreThatMayOnlyBeReadIsRead)
{
    SetStringValue(Machine, Key, L"value", L"text");
    ::chmod(m_folder.c_str(), 0755);
    ::chmod(m_path.c_str(), 0444);
    ForkedChild child(
        [this](TestSupport::ChildLine&)
        {
            BecomeOrdinaryUser();
            if (GetStringValue(Machine, Key, L"value") != L"text")
            {
                return 1;
            }
            const auto failure = FailureOfWriting(L"value");
            if (failure.find("Failed to open registry key; ") == std::string::npos || CodeOfWriting(L"value") != EROFS)
            {
                return 2;
            }
            DeleteValue(Machine, Key, L"value");
            if (GetStringValue(Machine, Key, L"value") != L"text")
            {
                return 3;
            }
            const bool isTold = CountErrors("cannot be written: attempt to write a readonly database") == 1 &&
                CountErrors("") == 1 &&
                m_log.Count(Shared::Log::Level::Warning, "Failed to delete registry value") == 1;
            return isTold ? 0 : 4;
        });
    EXPECT_EQ(child.Join(), 0);
}

TEST_F(SettingsStoreFileTest, AStoreThatMayNotBeReadIsTold)
{
    ::chmod(m_folder.c_str(), 0755);
    ::chmod(m_path.c_str(), 0);
    ForkedChild child(
        [this](TestSupport::ChildLine&)
        {
            BecomeOrdinaryUser();
            if (CodeOfReading(L"value") != EACCES || CodeOfWriting(L"value") != EACCES)
            {
                return 1;
            }
            const auto line = fmt::format(
                "The settings store {} cannot be read: unable to open database file (Permission denied)", m_path);
            return CountErrors(line) == 1 && CountErrors("") == 1 ? 0 : 2;
        });
    EXPECT_EQ(child.Join(), 0);
}

TEST_F(SettingsStoreFileTest, AFullDiskFailsTheWriteAndLosesNothing)
{
    constexpr int CannotMount = 77;
    ForkedChild child(
        [this](TestSupport::ChildLine&)
        {
            const auto folder = m_folder / "small";
            std::filesystem::create_directory(folder);
            if (!MountSmallDisk(folder))
            {
                return CannotMount;
            }
            ::setenv("STATE_DIRECTORY", folder.c_str(), 1);
            CloseSettingsStore();
            CreateKey(Machine, Key);
            SetStringValue(Machine, Key, L"value", L"text");
            if (CodeOfWriting(L"large", std::wstring(500'000, L'x')) != ENOSPC ||
                FailureOfWriting(L"value") != "no failure")
            {
                return 1;
            }
            // Not one more block, as when a log has eaten the disk.
            std::vector<char> rest(300'000, 'x');
            WriteBytes(folder / "filler", rest);
            if (CodeOfWriting(L"value", L"other") != ENOSPC || CodeOfWriting(L"value", L"other") != ENOSPC)
            {
                return 2;
            }
            if (GetStringValue(Machine, Key, L"value") != L"text" || CodeOfReading(L"large") != ENOENT)
            {
                return 3;
            }
            if (CountErrors("cannot be written: ") != 2 || CountErrors("") != 2)
            {
                return 4;
            }
            std::filesystem::remove(folder / "filler");
            SetStringValue(Machine, Key, L"value", L"other");
            return GetStringValue(Machine, Key, L"value") == L"other" ? 0 : 5;
        });
    const int code = child.Join();
    if (code == CannotMount)
    {
        GTEST_SKIP() << "this account may not mount";
    }
    EXPECT_EQ(code, 0);
}

namespace
{

/// A store with enough in it to have inner pages and pages that continue others.
class DamagedStoreTest : public SettingsStoreTest
{
protected:
    static constexpr std::size_t PageBytes = 4096;
    static constexpr int Values = 60;

    void SetUp() override
    {
        SettingsStoreTest::SetUp();
        CloseSettingsStore();
        RawDatabase raw(m_path);
        std::string all = "BEGIN;";
        for (int i = 0; i < Values; ++i)
        {
            all += fmt::format(
                "INSERT INTO reg_value VALUES({}, 'value {}', 1, '{}');", KeyRow(), i,
                std::string(static_cast<std::size_t>(i) * 20, 'x'));
            all += fmt::format("INSERT INTO reg_key(path) VALUES('Key{}\\{}');", i, std::string(50, 'k'));
        }
        raw.Run(
            all +
            fmt::format(
                "INSERT INTO reg_value VALUES({}, 'large', 1, '{}'); COMMIT;", KeyRow(), std::string(9000, 'y')));
        m_whole = ReadBytes(m_path);
    }

    /// Everything that reads and writes, over whatever the file has become. What comes back is a value or a failure.
    static void UseAll()
    {
        CloseSettingsStore();
        for (int i = -1; i < Values; i += 6)
        {
            const auto name = i < 0 ? std::wstring(L"large") : L"value " + std::to_wstring(i);
            std::wstring text;
            std::uint32_t number = 0;
            TryGetStringValue(Machine, Key, name, text);
            EXPECT_LE(text.size(), MaximumValueBytes);
            TryGetDwordValue(Machine, Key, name, number);
        }
        const auto tried = [](auto call)
        {
            try
            {
                call();
            }
            catch (const Shared::Exception::Win32Exception&)
            {
            }
        };
        tried([] { EnumerateValues(Machine, Key); });
        tried([] { EnumerateKeys(Machine, L""); });
        tried([] { SetStringValue(Machine, Key, L"value 6", L"changed"); });
        tried([] { SetDwordValue(Machine, Key, L"new", 5); });
        tried([] { DeleteValue(Machine, Key, L"value 12"); });
        Shared::Concurrency::Event event(false, false);
        tried([&event] { WatchKey(OpenKey(Machine, Key), event); });
        CloseSettingsStore();
    }

    std::vector<char> m_whole;
};

} // namespace

TEST_F(DamagedStoreTest, NoPageOfNoiseDoesHarm)
{
    std::mt19937 noise(20'240'601);
    const std::size_t pages = m_whole.size() / PageBytes;
    ASSERT_GT(pages, 8U);
    for (std::size_t page = 0; page < pages; ++page)
    {
        auto bytes = m_whole;
        std::generate_n(
            bytes.begin() + static_cast<std::ptrdiff_t>(page * PageBytes), PageBytes,
            [&noise] { return static_cast<char>(noise()); });
        WriteBytes(m_path, bytes);
        UseAll();
    }
    EXPECT_GT(CountErrors("The settings store "), 0U);
}

TEST_F(DamagedStoreTest, NoFewBytesOfNoiseDoHarm)
{
    std::mt19937 noise(7);
    for (int round = 0; round < 60; ++round)
    {
        auto bytes = m_whole;
        for (int i = 0; i < 8; ++i)
        {
            // Mostly into the heads of pages, where the numbers are that lead elsewhere.
            const std::size_t page = noise() % (m_whole.size() / PageBytes);
            bytes[page * PageBytes + noise() % (round % 2 == 0 ? 110 : PageBytes)] = static_cast<char>(noise());
        }
        WriteBytes(m_path, bytes);
        UseAll();
    }
}

TEST_F(DamagedStoreTest, NoTruncationDoesHarm)
{
    for (std::size_t size = 0; size < m_whole.size(); size += 1500)
    {
        WriteBytes(m_path, {m_whole.begin(), m_whole.begin() + static_cast<std::ptrdiff_t>(size)});
        UseAll();
    }
    EXPECT_GT(CountErrors("cannot be read: "), 0U);
}

TEST_F(DamagedStoreTest, AStoreThatIsCutWhileInUseIsNotWritten)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{100}, PageBytes, 3 * PageBytes})
    {
        CloseSettingsStore();
        WriteBytes(m_path, m_whole);
        EXPECT_EQ(GetStringValue(Machine, Key, L"value 1"), std::wstring(20, L'x'));
        std::filesystem::resize_file(m_path, size);
        EXPECT_NE(CodeOfWriting(L"value 1"), 0U) << size;
        EXPECT_NE(CodeOfReading(L"large"), 0U) << size;
        EXPECT_EQ(std::filesystem::file_size(m_path), size);
    }
}

TEST_F(DamagedStoreTest, ADamagedRowIsToldOnceThoughOthersAreRead)
{
    auto bytes = m_whole;
    CloseSettingsStore();
    const auto root =
        std::stoul(RawDatabase(m_path).Query("SELECT rootpage FROM sqlite_schema WHERE name = 'reg_value'"));
    // One leaf of the values' tree: its kind becomes one that there is not.
    const auto leaf = [&bytes, root]
    {
        const auto* const page = reinterpret_cast<const unsigned char*>(bytes.data()) + (root - 1) * PageBytes;
        return static_cast<std::size_t>(page[8] << 24 | page[9] << 16 | page[10] << 8 | page[11]);
    }();
    ASSERT_GT(leaf, 1U);
    ASSERT_LE(leaf * PageBytes, bytes.size());
    bytes[(leaf - 1) * PageBytes] = 0x7F;
    WriteBytes(m_path, bytes);

    std::vector<std::wstring> bad;
    std::vector<std::wstring> good;
    for (int i = 0; i < Values; ++i)
    {
        const auto name = L"value " + std::to_wstring(i);
        (CodeOfReading(name) == 0 ? good : bad).push_back(name);
    }
    ASSERT_FALSE(bad.empty());
    ASSERT_FALSE(good.empty());
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(CodeOfReading(good.front()), 0U);
        EXPECT_EQ(CodeOfReading(bad.front()), static_cast<std::uint32_t>(EIO));
    }
    EXPECT_EQ(CountErrors("cannot be read: database disk image is malformed"), 1U);
    EXPECT_EQ(CountErrors(""), 1U);
}
