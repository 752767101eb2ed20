#pragma once

#include "shared.concurrency-criticalsection.hpp"

#include <memory>
#include <string>

struct sqlite3;

namespace Shared::Sqlite
{

/// A connection to one SQLite database. For one thread at a time; ThreadSafeSqliteDatabase is for several.
class SqliteDatabase
{
public:
    /// Called for each row of a result, with the context given to ExecuteSQL(), the number of columns, their values as
    /// text (null for NULL) and their names; all of it valid during the call. Anything but 0 ends the statement. What it
    /// throws ends the statement too, and comes out of ExecuteSQL().
    using RowCallback = int (*)(void* context, int columnCount, char** values, char** names);

    SqliteDatabase() = default;
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;
    virtual ~SqliteDatabase() = default;

    /// Opens the database, and makes it when it does not exist; a connection that was open before is given up. Returns
    /// whether the file existed, so that only a new file is given its tables. Whether it is a database at all shows with
    /// the first statement.
    /// Throws the runtime exceptions "Empty database path." and "sqlite3_open() failed on path {}: {}"; the earlier
    /// connection then stays.
    /// @param path in UTF-8, against the working directory when relative.
    virtual bool Open(const std::string& path);

    /// Runs one statement or several that are separated by semicolons, up to the first that fails.
    /// Throws the runtime exceptions "Empty SQL.", "Database is null." and "sqlite3_exec() failed with error code {}: {}",
    /// which also ends a statement that the callback ended.
    /// @param callback null when no rows are wanted.
    virtual void ExecuteSQL(const std::string& sql, RowCallback callback = nullptr, void* context = nullptr);

    /// Ends the connection; none being open is no failure.
    virtual void Close();

private:
    /// Shared with a statement that runs: closing from within its callback ends the connection when it has ended.
    std::shared_ptr<sqlite3> m_connection;
};

/// The same for several threads: one operation at a time. A callback may use the database again.
class ThreadSafeSqliteDatabase : public SqliteDatabase
{
public:
    bool Open(const std::string& path) override;
    void ExecuteSQL(const std::string& sql, RowCallback callback = nullptr, void* context = nullptr) override;
    void Close() override;

    /// What each operation holds. Re-entrant, so that a caller can hold it around several operations.
    Concurrency::SystemCriticalSection* GetCriticalSection() noexcept;

private:
    Concurrency::CriticalSectionWrapper m_section;
};

} // namespace Shared::Sqlite
