#include "shared.sqlite-sqlitedatabase.hpp"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <sqlite3.h>

#include "shared.exception-exceptions.hpp"

namespace Shared::Sqlite
{

namespace
{

/// The callback of one statement, and what it threw: an exception must not pass through the C code between.
struct Rows
{
    SqliteDatabase::RowCallback callback;
    void* context;
    std::exception_ptr failure;
};

int PassRowOn(void* context, int columnCount, char** values, char** names)
{
    auto& rows = *static_cast<Rows*>(context);
    try
    {
        return rows.callback(rows.context, columnCount, values, names);
    }
    catch (...)
    {
        rows.failure = std::current_exception();
        return SQLITE_ABORT;
    }
}

bool FileExists(const std::string& path)
{
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(std::u8string(path.begin(), path.end())), error);
}

} // namespace

bool SqliteDatabase::Open(const std::string& path)
{
    if (path.empty())
    {
        throw Exception::RuntimeException("Empty database path.");
    }
    const bool existed = FileExists(path);

    // Also a failed opening leaves a connection to be closed.
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(path.c_str(), &opened);
    std::shared_ptr<sqlite3> connection(opened, sqlite3_close);
    if (result != SQLITE_OK)
    {
        throw Exception::RuntimeException(
            fmt::format("sqlite3_open() failed on path {}: {}", path, sqlite3_errmsg(connection.get())));
    }
    m_connection = std::move(connection);
    return existed;
}

void SqliteDatabase::ExecuteSQL(const std::string& sql, RowCallback callback, void* context)
{
    if (sql.empty())
    {
        throw Exception::RuntimeException("Empty SQL.");
    }
    const auto connection = m_connection;
    if (connection == nullptr)
    {
        throw Exception::RuntimeException("Database is null.");
    }

    Rows rows{callback, context, nullptr};
    char* errorText = nullptr;
    const int result =
        sqlite3_exec(connection.get(), sql.c_str(), callback == nullptr ? nullptr : PassRowOn, &rows, &errorText);
    const std::unique_ptr<char, decltype(&sqlite3_free)> error(errorText, sqlite3_free);
    if (rows.failure != nullptr)
    {
        std::rethrow_exception(rows.failure);
    }
    if (result != SQLITE_OK)
    {
        throw Exception::RuntimeException(fmt::format(
            "sqlite3_exec() failed with error code {}: {}", result,
            error == nullptr ? sqlite3_errstr(result) : error.get()));
    }
}

void SqliteDatabase::Close()
{
    m_connection.reset();
}

bool ThreadSafeSqliteDatabase::Open(const std::string& path)
{
    const Concurrency::CriticalSection guard(m_section.Get());
    return SqliteDatabase::Open(path);
}

void ThreadSafeSqliteDatabase::ExecuteSQL(const std::string& sql, RowCallback callback, void* context)
{
    const Concurrency::CriticalSection guard(m_section.Get());
    SqliteDatabase::ExecuteSQL(sql, callback, context);
}

void ThreadSafeSqliteDatabase::Close()
{
    const Concurrency::CriticalSection guard(m_section.Get());
    SqliteDatabase::Close();
}

Concurrency::SystemCriticalSection* ThreadSafeSqliteDatabase::GetCriticalSection() noexcept
{
    return m_section.Get();
}

} // namespace Shared::Sqlite
