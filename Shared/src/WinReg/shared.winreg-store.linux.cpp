#include "shared.winreg-store.linux.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <sqlite3.h>

#include "shared.exception-errortext.hpp"
#include "shared.log-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-watch.linux.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Shared::WinReg
{

namespace
{

constexpr const char* FileName = "settings.db";
constexpr const char* DefaultFolder = "/var/lib/tarvane-vel";
constexpr const char* LayoutVersion = "1";
constexpr mode_t FolderMode = 0700;

constexpr std::chrono::milliseconds RealBusyTimeout{BusyTimeoutMs};
constexpr std::chrono::milliseconds LongestBusyPause{5};
/// Instructions of SQLite's machine between two looks at the clock: rarely reached by an honest file, soon by one that
/// was made to run for ever.
constexpr int InstructionsPerCheck = 100'000;
/// A row holds its names besides its data.
constexpr int MaximumRowBytes = static_cast<int>(MaximumValueBytes) + 64 * 1024;

/// A kind of failure beside SQLite's result codes: a database, but not laid out as ours.
constexpr int ForeignLayout = -1;

constexpr const char* Schema = R"(
    PRAGMA journal_mode = DELETE;
    PRAGMA synchronous = FULL;
    BEGIN IMMEDIATE;
    CREATE TABLE reg_key(
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        path TEXT NOT NULL COLLATE NOCASE UNIQUE,
        revision INTEGER NOT NULL DEFAULT 0);
    CREATE TABLE reg_value(
        key INTEGER NOT NULL,
        name TEXT NOT NULL COLLATE NOCASE,
        type INTEGER NOT NULL,
        data,
        PRIMARY KEY(key, name)) WITHOUT ROWID;
    CREATE TRIGGER reg_value_inserted AFTER INSERT ON reg_value BEGIN
        UPDATE reg_key SET revision = revision + 1 WHERE id = NEW.key;
    END;
    CREATE TRIGGER reg_value_updated AFTER UPDATE ON reg_value BEGIN
        UPDATE reg_key SET revision = revision + 1 WHERE id IN (OLD.key, NEW.key);
    END;
    CREATE TRIGGER reg_value_deleted AFTER DELETE ON reg_value BEGIN
        UPDATE reg_key SET revision = revision + 1 WHERE id = OLD.key;
    END;
    INSERT INTO reg_key(path) VALUES ('');
    PRAGMA user_version = 1;
    COMMIT;
)";

// A subtree is the range of paths from "x\" to just below "x]", the character that follows "\".
constexpr std::array<const char*, 9> Statements = {
    "SELECT v.type, v.data FROM reg_key AS k JOIN reg_value AS v ON v.key = k.id WHERE k.path = ?1 AND v.name = ?2",
    "INSERT INTO reg_value(key, name, type, data) SELECT id, ?2, ?3, ?4 FROM reg_key WHERE path = ?1 "
    "ON CONFLICT(key, name) DO UPDATE SET type = excluded.type, data = excluded.data",
    "DELETE FROM reg_value WHERE key = (SELECT id FROM reg_key WHERE path = ?1) AND name = ?2",
    "SELECT id, revision FROM reg_key WHERE path = ?1",
    "INSERT INTO reg_key(path) VALUES (?1) ON CONFLICT(path) DO NOTHING",
    "DELETE FROM reg_value WHERE key IN "
    "(SELECT id FROM reg_key WHERE path = ?1 OR (path >= ?1 || '\\' AND path < ?1 || ']'))",
    "DELETE FROM reg_key WHERE path = ?1 OR (path >= ?1 || '\\' AND path < ?1 || ']')",
    "SELECT v.name, v.type FROM reg_key AS k JOIN reg_value AS v ON v.key = k.id WHERE k.path = ?1",
    "SELECT path FROM reg_key WHERE (?1 = '' AND path <> '') OR (path >= ?1 || '\\' AND path < ?1 || ']')"};

int ContinueWhenBusy(void* deadline, int attempt) noexcept
{
    if (Time::RealMonotonicNow() >= *static_cast<std::chrono::nanoseconds*>(deadline))
    {
        return 0;
    }
    Time::SleepFor(std::min<std::chrono::milliseconds>(std::chrono::milliseconds{1 + attempt}, LongestBusyPause));
    return 1;
}

int StopWhenLate(void* deadline) noexcept
{
    return Time::RealMonotonicNow() >= *static_cast<std::chrono::nanoseconds*>(deadline) ? 1 : 0;
}

std::uint32_t ErrnoOf(int result, int systemError) noexcept
{
    if (result == ForeignLayout)
    {
        return EIO;
    }
    switch (result & 0xFF)
    {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return EBUSY;
    case SQLITE_FULL:
        return ENOSPC;
    case SQLITE_READONLY:
        return EROFS;
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return EACCES;
    case SQLITE_NOMEM:
        return ENOMEM;
    case SQLITE_TOOBIG:
        return EFBIG;
    case SQLITE_INTERRUPT:
        return ETIMEDOUT;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
        return systemError != 0 ? static_cast<std::uint32_t>(systemError) : EIO;
    default:
        return EIO;
    }
}

/// Whether the file itself is bad, so that one row may be readable and the next not.
bool IsDamage(int result) noexcept
{
    const int kind = result & 0xFF;
    return kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB || kind == SQLITE_ERROR || kind == SQLITE_INTERRUPT;
}

/// Whether the connection is as good after the failure as before.
bool LeavesConnection(int result) noexcept
{
    const int kind = result & 0xFF;
    return kind == SQLITE_BUSY || kind == SQLITE_FULL || kind == SQLITE_READONLY || kind == SQLITE_TOOBIG;
}

bool MakeFolder(const std::string& folder)
{
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), ignored);
    return ::mkdir(folder.c_str(), FolderMode) == 0 || errno == EEXIST;
}

/// Makes the entries of a folder survive a loss of power. A file system that cannot do that loses nothing else.
void SynchroniseFolder(const std::string& folder) noexcept
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0)
    {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

} // namespace

std::string GetSettingsStorePath()
{
    const char* const variable = std::getenv("STATE_DIRECTORY");
    std::string folder = variable != nullptr && *variable == '/' ? variable : DefaultFolder;
    folder.resize(std::min(folder.find(':'), folder.size()));
    return fmt::format("{}/{}", folder, FileName);
}

void CloseSettingsStore() noexcept
{
    KeyWatcher::Instance().Stop();
    SettingsStore::Instance().Close();
}

/// A failure of the store itself, on its way from where SQLite told it to Run().
struct SettingsStore::Failure
{
    int result;
    std::uint32_t code;
    std::string text;
    /// Whether it was met before the operation proper.
    bool isOfOpening = false;
};

/// One use of a kept statement: whatever way it ends, the statement is reset, which lets go of the file's lock.
class SettingsStore::Use
{
public:
    Use(SettingsStore& store, StatementId id) : e_store(store), m_statement(store.Statement(id))
    {
    }

    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    ~Use()
    {
        sqlite3_reset(m_statement);
        sqlite3_clear_bindings(m_statement);
    }

    /// The text must outlive the use.
    void Bind(int index, std::string_view text)
    {
        // A null pointer would bind NULL instead of an empty text.
        const char* const data = text.data() == nullptr ? "" : text.data();
        Check(sqlite3_bind_text64(m_statement, index, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
    }

    void Bind(int index, std::uint32_t number)
    {
        Check(sqlite3_bind_int64(m_statement, index, number));
    }

    /// True for a row, false at the end.
    bool Step()
    {
        const int result = sqlite3_step(m_statement);
        if (result != SQLITE_ROW && result != SQLITE_DONE)
        {
            e_store.Fail(result);
        }
        return result == SQLITE_ROW;
    }

    int TypeOf(int column)
    {
        return sqlite3_column_type(m_statement, column);
    }

    std::int64_t Number(int column)
    {
        return sqlite3_column_int64(m_statement, column);
    }

    std::string Text(int column)
    {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
        if (text == nullptr)
        {
            return {};
        }
        return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
    }

private:
    void Check(int result)
    {
        if (result != SQLITE_OK)
        {
            e_store.Fail(result);
        }
    }

    SettingsStore& e_store;
    sqlite3_stmt* m_statement;
};

void SettingsStore::DatabaseCloser::operator()(sqlite3* database) const noexcept
{
    sqlite3_close_v2(database);
}

void SettingsStore::StatementFinaliser::operator()(sqlite3_stmt* statement) const noexcept
{
    sqlite3_finalize(statement);
}

SettingsStore& SettingsStore::Instance()
{
    static auto* const store = new SettingsStore();
    return *store;
}

SettingsStore::~SettingsStore()
{
    CloseConnection();
}

/// Every operation is one call of this. `body` throws Failure for what is wrong with the store, and returns a code for
/// what is wrong with its key or value.
template <typename Body>
SettingsStore::Result SettingsStore::Run(Purpose purpose, const std::string& subject, Body body)
{
    Result result;
    std::string report;
    {
        const auto deadline = Time::RealMonotonicNow() + RealBusyTimeout;
        std::unique_lock lock(m_mutex, std::defer_lock);
        if (!lock.try_lock_for(RealBusyTimeout))
        {
            // The thread that is inside waits for the store too, and tells why.
            return {EBUSY, false};
        }
        m_deadline = deadline;
        try
        {
            result.code = body();
            NoteSuccess(purpose, subject);
        }
        catch (const Failure& failure)
        {
            const bool isWrite = purpose == Purpose::Write && !failure.isOfOpening;
            result = {failure.code, !isWrite || (failure.result & 0xFF) == SQLITE_READONLY};
            report = NoteFailure(failure, isWrite ? Purpose::Write : Purpose::Read, failure.isOfOpening ? "" : subject);
            if (!LeavesConnection(failure.result))
            {
                CloseConnection();
            }
        }
        catch (...)
        {
            // Lack of memory, perhaps in the middle of a transaction, whose lock must go.
            CloseConnection();
            throw;
        }
    }
    if (!report.empty())
    {
        Log::Error("{}", report);
    }
    return result;
}

template <typename Take>
std::uint32_t SettingsStore::ReadValue(const std::string& path, const std::string& name, std::uint32_t type, Take take)
{
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Use select(*this, SelectValue);
        select.Bind(1, path);
        select.Bind(2, name);
        try
        {
            if (!select.Step())
            {
                return ENOENT;
            }
        }
        catch (const Failure& failure)
        {
            // A value of any size is no fault of the store.
            if (failure.result == SQLITE_TOOBIG)
            {
                return EFBIG;
            }
            throw;
        }
        if (select.TypeOf(0) != SQLITE_INTEGER)
        {
            return EBADMSG;
        }
        return select.Number(0) == static_cast<std::int64_t>(type) ? take(select) : EOPNOTSUPP;
    };
    return Run(Purpose::Read, path + '\\' + name, body).code;
}

std::uint32_t SettingsStore::ReadText(const std::string& path, const std::string& name, std::string& out)
{
    return ReadValue(
        path, name, TypeString,
        [&out](Use& row) -> std::uint32_t
        {
            if (row.TypeOf(1) != SQLITE_TEXT)
            {
                return EBADMSG;
            }
            auto text = row.Text(1);
            if (text.size() > MaximumValueBytes)
            {
                return EFBIG;
            }
            out = std::move(text);
            return 0;
        });
}

std::uint32_t SettingsStore::ReadNumber(const std::string& path, const std::string& name, std::uint32_t& out)
{
    return ReadValue(
        path, name, TypeDword,
        [&out](Use& row) -> std::uint32_t
        {
            if (row.TypeOf(1) != SQLITE_INTEGER || !std::in_range<std::uint32_t>(row.Number(1)))
            {
                return EBADMSG;
            }
            out = static_cast<std::uint32_t>(row.Number(1));
            return 0;
        });
}

Native::WriteResult SettingsStore::Write(const std::string& path, const std::string& name, const NewValue& value)
{
    bool hasKey = true;
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        if (value.text.size() > MaximumValueBytes)
        {
            return EFBIG;
        }
        Use upsert(*this, UpsertValue);
        upsert.Bind(1, path);
        upsert.Bind(2, name);
        upsert.Bind(3, value.type);
        if (value.type == TypeString)
        {
            upsert.Bind(4, value.text);
        }
        else
        {
            upsert.Bind(4, value.number);
        }
        upsert.Step();
        hasKey = sqlite3_changes(m_database.get()) != 0;
        return hasKey ? 0 : ENOENT;
    };
    const auto result = Run(Purpose::Write, path + '\\' + name, body);
    return {result.code, result.isOfStore || !hasKey};
}

std::uint32_t SettingsStore::Delete(const std::string& path, const std::string& name)
{
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Use remove(*this, DeleteOneValue);
        remove.Bind(1, path);
        remove.Bind(2, name);
        remove.Step();
        return 0;
    };
    return Run(Purpose::Write, path + '\\' + name, body).code;
}

std::uint32_t SettingsStore::ReadKeyState(const std::string& path, KeyState& out)
{
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Use select(*this, SelectKey);
        select.Bind(1, path);
        if (!select.Step())
        {
            return ENOENT;
        }
        out = {m_fileId.device, m_fileId.file, select.Number(0), select.Number(1)};
        return 0;
    };
    return Run(Purpose::Read, path, body).code;
}

std::uint32_t SettingsStore::CreateKey(const std::string& path)
{
    const auto body = [&]() -> std::uint32_t
    {
        CreateFileUnlessThere();
        EnsureOpen();
        Execute("BEGIN IMMEDIATE");
        for (std::size_t end = 0; end != std::string::npos && !path.empty();)
        {
            end = path.find('\\', end + 1);
            Use insert(*this, InsertKey);
            insert.Bind(1, std::string_view(path).substr(0, end));
            insert.Step();
        }
        Execute("COMMIT");
        return 0;
    };
    return Run(Purpose::Write, path, body).code;
}

std::uint32_t SettingsStore::DeleteKeyTree(const std::string& path, bool& existed)
{
    existed = false;
    if (path.empty())
    {
        return EINVAL;
    }
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Execute("BEGIN IMMEDIATE");
        for (const auto id : {DeleteValuesOfTree, DeleteKeysOfTree})
        {
            Use remove(*this, id);
            remove.Bind(1, path);
            remove.Step();
        }
        existed = sqlite3_changes(m_database.get()) != 0;
        Execute("COMMIT");
        return 0;
    };
    return Run(Purpose::Write, path, body).code;
}

std::uint32_t SettingsStore::ListValues(const std::string& path, std::vector<RegistryValue>& out)
{
    KeyState ignored;
    if (const auto code = ReadKeyState(path, ignored); code != 0)
    {
        return code;
    }
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Use select(*this, SelectValueNames);
        select.Bind(1, path);
        while (select.Step())
        {
            out.push_back(
                {Util::ConvertStringType(select.Text(0)), static_cast<std::uint32_t>(select.Number(1)), {}, 0});
        }
        return 0;
    };
    return Run(Purpose::Read, path, body).code;
}

std::uint32_t SettingsStore::ListPathsBelow(const std::string& path, std::vector<std::string>& out)
{
    KeyState ignored;
    if (const auto code = ReadKeyState(path, ignored); code != 0)
    {
        return code;
    }
    const auto body = [&]() -> std::uint32_t
    {
        EnsureOpen();
        Use select(*this, SelectPaths);
        select.Bind(1, path);
        while (select.Step())
        {
            out.push_back(select.Text(0));
        }
        return 0;
    };
    return Run(Purpose::Read, path, body).code;
}

std::string SettingsStore::GetPath()
{
    const std::lock_guard lock(m_mutex);
    return Path();
}

void SettingsStore::Close() noexcept
{
    const std::lock_guard lock(m_mutex);
    CloseConnection();
    m_path.reset();
    m_reported.clear();
}

const std::string& SettingsStore::Path()
{
    if (!m_path)
    {
        m_path = GetSettingsStorePath();
    }
    return *m_path;
}

void SettingsStore::EnsureOpen()
{
    // One look at the file for each operation: a connection to a file that is no more there, or no more the one of that
    // name, would go on as if nothing had happened.
    struct stat status
    {
    };

    if (::stat(Path().c_str(), &status) != 0)
    {
        const int code = errno;
        CloseConnection();
        throw Failure{SQLITE_CANTOPEN, static_cast<std::uint32_t>(code), Exception::TranslateWin32Error(code), true};
    }
    const FileId current{status.st_dev, status.st_ino};
    if (m_database != nullptr && current == m_fileId)
    {
        return;
    }
    CloseConnection();
    // Opening a FIFO or a device can have effects of its own.
    if (!S_ISREG(status.st_mode))
    {
        throw Failure{SQLITE_CANTOPEN, EINVAL, "it is no regular file", true};
    }
    try
    {
        Open(current);
    }
    catch (Failure& failure)
    {
        failure.isOfOpening = true;
        CloseConnection();
        throw;
    }
}

void SettingsStore::Open(const FileId& expected)
{
    sqlite3* opened = nullptr;
    // Without the flag that creates. A file that may only be read is opened for reading alone.
    const int result = sqlite3_open_v2(
        Path().c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    m_database.reset(opened);
    if (result != SQLITE_OK)
    {
        Fail(result);
    }

    struct stat status
    {
    };

    if (::stat(Path().c_str(), &status) != 0 || FileId{status.st_dev, status.st_ino} != expected)
    {
        throw Failure{SQLITE_BUSY, EBUSY, "it was replaced while it was opened"};
    }
    m_fileId = expected;
    Configure();
}

void SettingsStore::Configure()
{
    auto* const database = m_database.get();
    sqlite3_busy_handler(database, ContinueWhenBusy, &m_deadline);
    sqlite3_progress_handler(database, InstructionsPerCheck, StopWhenLate, &m_deadline);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, MaximumRowBytes);
    // The file is outside input: no views in place of tables, no functions of its schema's choice.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    Execute("PRAGMA cell_size_check = ON");
    Execute("PRAGMA synchronous = FULL");

    if (const auto version = QueryOne("PRAGMA user_version"); version != LayoutVersion)
    {
        throw Failure{ForeignLayout, EIO, fmt::format("its layout is version {} and not {}", version, LayoutVersion)};
    }
    // Somebody's tool may have turned on the write-ahead log, whose commits a watch does not see.
    if (QueryOne("PRAGMA journal_mode") != "delete" && QueryOne("PRAGMA journal_mode = DELETE") != "delete")
    {
        throw Failure{SQLITE_BUSY, EBUSY, "its write-ahead log is in use"};
    }
}

void SettingsStore::CreateFileUnlessThere()
{
    const auto& path = Path();

    struct stat status
    {
    };

    if (::stat(path.c_str(), &status) == 0)
    {
        return;
    }
    const auto folder = path.substr(0, path.find_last_of('/'));
    auto temporary = path + ".new-XXXXXX";
    const int descriptor = MakeFolder(folder) ? ::mkostemp(temporary.data(), O_CLOEXEC) : -1;
    if (descriptor < 0)
    {
        const int code = errno;
        throw Failure{SQLITE_CANTOPEN, static_cast<std::uint32_t>(code), Exception::TranslateWin32Error(code), true};
    }
    ::close(descriptor);

    // Laid out under another name, so that nobody meets it half made.
    int code = 0;
    {
        sqlite3* opened = nullptr;
        int result = sqlite3_open_v2(
            temporary.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
        const std::unique_ptr<sqlite3, DatabaseCloser> database(opened);
        if (result == SQLITE_OK)
        {
            result = sqlite3_exec(opened, Schema, nullptr, nullptr, nullptr);
        }
        if (result != SQLITE_OK)
        {
            code = static_cast<int>(ErrnoOf(result, sqlite3_system_errno(opened)));
        }
    }
    // A link fails where another process was faster; then that one's store is the store.
    if (code == 0 && ::link(temporary.c_str(), path.c_str()) != 0 && errno != EEXIST)
    {
        code = errno;
    }
    ::unlink(temporary.c_str());
    ::unlink((temporary + "-journal").c_str());
    if (code != 0)
    {
        throw Failure{SQLITE_CANTOPEN, static_cast<std::uint32_t>(code), Exception::TranslateWin32Error(code), true};
    }
    SynchroniseFolder(folder);
}

void SettingsStore::CloseConnection() noexcept
{
    for (auto& statement : m_statements)
    {
        statement.reset();
    }
    m_database.reset();
    m_fileId = {};
}

void SettingsStore::Execute(const char* sql)
{
    if (const int result = sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr); result != SQLITE_OK)
    {
        Fail(result);
    }
}

std::string SettingsStore::QueryOne(const char* sql)
{
    sqlite3_stmt* prepared = nullptr;
    int result = sqlite3_prepare_v2(m_database.get(), sql, -1, &prepared, nullptr);
    const std::unique_ptr<sqlite3_stmt, StatementFinaliser> statement(prepared);
    if (result == SQLITE_OK)
    {
        result = sqlite3_step(prepared);
    }
    if (result != SQLITE_ROW)
    {
        Fail(result);
    }
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, 0));
    return text == nullptr ? "" : text;
}

sqlite3_stmt* SettingsStore::Statement(StatementId id)
{
    static_assert(Statements.size() == StatementCount);
    auto& kept = m_statements[id];
    if (kept == nullptr)
    {
        sqlite3_stmt* prepared = nullptr;
        const int result =
            sqlite3_prepare_v3(m_database.get(), Statements[id], -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        kept.reset(prepared);
        if (result != SQLITE_OK)
        {
            Fail(result);
        }
    }
    return kept.get();
}

void SettingsStore::Fail(int result)
{
    auto* const database = m_database.get();
    const int systemError = sqlite3_system_errno(database);
    std::string text = database == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(database);
    const int kind = result & 0xFF;
    if (systemError != 0 && (kind == SQLITE_CANTOPEN || kind == SQLITE_IOERR))
    {
        text = fmt::format("{} ({})", text, Exception::TranslateWin32Error(static_cast<std::uint32_t>(systemError)));
    }
    const auto code = ErrnoOf(result, systemError);
    // A transaction that a step of it ended is over; one that is still open must not hold its lock.
    if (database != nullptr && sqlite3_get_autocommit(database) == 0)
    {
        sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    throw Failure{result, code, std::move(text)};
}

/// The line to be logged; empty when this kind of failure was told already.
std::string SettingsStore::NoteFailure(const Failure& failure, Purpose purpose, const std::string& subject)
{
    const int kind = failure.result == ForeignLayout ? ForeignLayout : failure.result & 0xFF;
    const auto known = std::ranges::any_of(
        m_reported, [&](const Reported& told) { return told.kind == kind && told.purpose == purpose; });
    if (known)
    {
        return {};
    }
    m_reported.push_back({kind, purpose, IsDamage(failure.result) ? subject : std::string()});
    return fmt::format(
        "The settings store {} cannot be {}: {}", Path(), purpose == Purpose::Read ? "read" : "written", failure.text);
}

void SettingsStore::NoteSuccess(Purpose purpose, const std::string& subject)
{
    if (m_reported.empty())
    {
        return;
    }
    // In a damaged file one row may be well and another not: only the one that failed tells that this is over.
    std::erase_if(
        m_reported,
        [&](const Reported& told)
        {
            const bool isCovered = told.purpose == Purpose::Read || purpose == Purpose::Write;
            return isCovered && (told.subject.empty() || told.subject == subject);
        });
}

} // namespace Shared::WinReg
