#include "shared.sqlite-sqlitedatabase.hpp"

#include "test.support-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Shared::Sqlite::SqliteDatabase;
using Shared::Sqlite::ThreadSafeSqliteDatabase;
using TestSupport::RuntimeText;
using TestSupport::TemporaryFolder;

namespace
{

std::string Utf8(const std::filesystem::path& path)
{
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

using Rows = std::vector<std::string>;

/// "name=value" of each column, one text for each row.
int Collect(void* context, int columnCount, char** values, char** names)
{
    std::string row;
    for (int i = 0; i < columnCount; ++i)
    {
        row.append(row.empty() ? "" : " ").append(names[i]).append("=");
        row.append(values[i] == nullptr ? "(null)" : values[i]);
    }
    static_cast<Rows*>(context)->push_back(row);
    return 0;
}

Rows Select(SqliteDatabase& database, const std::string& sql)
{
    Rows rows;
    database.ExecuteSQL(sql, Collect, &rows);
    return rows;
}

template <typename Database>
class SqliteDatabaseTest : public testing::Test
{
protected:
    std::string PathOf(const std::filesystem::path& name) const
    {
        return Utf8(m_folder.Path() / name);
    }

    const std::filesystem::path& Folder() const
    {
        return m_folder.Path();
    }

private:
    TemporaryFolder m_folder;
};

using Databases = testing::Types<SqliteDatabase, ThreadSafeSqliteDatabase>;

} // namespace

TYPED_TEST_SUITE(SqliteDatabaseTest, Databases);

// Opening

TYPED_TEST(SqliteDatabaseTest, OpeningTellsWhetherTheFileWasThere)
{
    const auto path = this->PathOf("agent.db");
    {
        TypeParam database;
        EXPECT_FALSE(database.Open(path));
        database.ExecuteSQL("CREATE TABLE Polls(id INTEGER)");
    }
    TypeParam database;
    EXPECT_TRUE(database.Open(path));
    EXPECT_EQ(Select(database, "SELECT count(*) AS n FROM Polls"), Rows{"n=0"});
}

TYPED_TEST(SqliteDatabaseTest, APathIsUtf8)
{
    const auto path = this->PathOf(u8"Gr\u00f6\u00dfe \u20ac.db");
    TypeParam database;
    EXPECT_FALSE(database.Open(path));
    database.ExecuteSQL("CREATE TABLE t(x)");
    EXPECT_TRUE(std::filesystem::exists(this->Folder() / u8"Gr\u00f6\u00dfe \u20ac.db"));
    EXPECT_TRUE(TypeParam().Open(path));
}

TYPED_TEST(SqliteDatabaseTest, AnEmptyPathIsRefused)
{
    TypeParam database;
    EXPECT_EQ(RuntimeText([&] { database.Open(""); }), "Empty database path.");
}

TYPED_TEST(SqliteDatabaseTest, APathThatCannotBeOpenedIsRefused)
{
    TypeParam database;
    const auto folder = this->PathOf(".");
    EXPECT_EQ(
        RuntimeText([&] { database.Open(folder); }),
        "sqlite3_open() failed on path " + folder + ": unable to open database file");
    const auto missing = this->PathOf(std::filesystem::path("missing") / "agent.db");
    EXPECT_EQ(
        RuntimeText([&] { database.Open(missing); }),
        "sqlite3_open() failed on path " + missing + ": unable to open database file");
    EXPECT_EQ(RuntimeText([&] { database.ExecuteSQL("SELECT 1"); }), "Database is null.");
}

TYPED_TEST(SqliteDatabaseTest, AFailedOpeningKeepsTheEarlierConnection)
{
    TypeParam database;
    database.Open(this->PathOf("agent.db"));
    database.ExecuteSQL("CREATE TABLE t(x); INSERT INTO t VALUES(1)");
    EXPECT_THROW(database.Open(this->PathOf(".")), std::runtime_error);
    EXPECT_THROW(database.Open(""), std::runtime_error);
    EXPECT_EQ(Select(database, "SELECT x FROM t"), Rows{"x=1"});
}

TYPED_TEST(SqliteDatabaseTest, OpeningAgainGivesUpTheEarlierConnection)
{
    TypeParam database;
    database.Open(this->PathOf("first.db"));
    database.ExecuteSQL("CREATE TABLE t(x); BEGIN EXCLUSIVE");
    database.Open(this->PathOf("second.db"));
    EXPECT_THROW(database.ExecuteSQL("SELECT x FROM t"), std::runtime_error);

    TypeParam other;
    other.Open(this->PathOf("first.db"));
    other.ExecuteSQL("INSERT INTO t VALUES(1)");
}

TYPED_TEST(SqliteDatabaseTest, AFileThatIsNoDatabaseShowsWithTheFirstStatement)
{
    const auto path = this->Folder() / "agent.db";
    TestSupport::WriteFile(
        path, "This is no database, and long enough not to be taken for an empty one. " + std::string(200, 'x'));
    TypeParam database;
    EXPECT_TRUE(database.Open(Utf8(path)));
    for (const char* sql : {"SELECT count(*) FROM Polls", "CREATE TABLE Polls(id INTEGER)"})
    {
        EXPECT_EQ(
            RuntimeText([&] { database.ExecuteSQL(sql); }),
            "sqlite3_exec() failed with error code 26: file is not a database");
    }
}

TYPED_TEST(SqliteDatabaseTest, ACutDatabaseIsAnErrorAndNoHarm)
{
    const auto path = this->Folder() / "agent.db";
    {
        TypeParam database;
        database.Open(Utf8(path));
        database.ExecuteSQL("CREATE TABLE t(x TEXT);"
                            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500)"
                            "INSERT INTO t SELECT hex(zeroblob(100)) FROM n");
    }
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    TypeParam database;
    EXPECT_TRUE(database.Open(Utf8(path)));
    EXPECT_EQ(
        RuntimeText([&] { Select(database, "SELECT count(x) FROM t"); }),
        "sqlite3_exec() failed with error code 11: database disk image is malformed");
}

// Statements

TYPED_TEST(SqliteDatabaseTest, AnEmptyStatementIsRefusedBeforeAnythingElse)
{
    TypeParam database;
    EXPECT_EQ(RuntimeText([&] { database.ExecuteSQL(""); }), "Empty SQL.");
}

TYPED_TEST(SqliteDatabaseTest, AStatementWithoutAConnectionIsRefused)
{
    TypeParam database;
    EXPECT_EQ(RuntimeText([&] { database.ExecuteSQL("SELECT 1"); }), "Database is null.");
}

TYPED_TEST(SqliteDatabaseTest, AStatementThatIsWrongIsRefusedWithTheWordOfTheLibrary)
{
    TypeParam database;
    database.Open(":memory:");
    EXPECT_EQ(
        RuntimeText([&] { database.ExecuteSQL("SELEC 1"); }),
        "sqlite3_exec() failed with error code 1: near \"SELEC\": syntax error");
    EXPECT_EQ(
        RuntimeText([&] { database.ExecuteSQL("SELECT * FROM Polls"); }),
        "sqlite3_exec() failed with error code 1: no such table: Polls");
}

TYPED_TEST(SqliteDatabaseTest, ARowIsGivenByNameAndAsTextWithNullForNothing)
{
    TypeParam database;
    database.Open(":memory:");
    EXPECT_EQ(
        Select(database, "SELECT 1 AS a, NULL AS b, 'x' AS c UNION ALL SELECT 2.5, '', 'y'"),
        (Rows{"a=1 b=(null) c=x", "a=2.5 b= c=y"}));
}

TYPED_TEST(SqliteDatabaseTest, RowsThatNobodyWantsAreNoFailure)
{
    TypeParam database;
    database.Open(":memory:");
    database.ExecuteSQL("SELECT 1", nullptr, nullptr);
    database.ExecuteSQL(" ");
    database.ExecuteSQL("-- nothing but a comment");
}

TYPED_TEST(SqliteDatabaseTest, OfSeveralStatementsThoseBeforeTheFailedOneHaveRun)
{
    TypeParam database;
    database.Open(":memory:");
    database.ExecuteSQL("CREATE TABLE t(x)");
    EXPECT_THROW(
        database.ExecuteSQL("INSERT INTO t VALUES(1); INSERT INTO nowhere VALUES(2); INSERT INTO t VALUES(3)"),
        std::runtime_error);
    EXPECT_EQ(Select(database, "SELECT x FROM t"), Rows{"x=1"});
}

TYPED_TEST(SqliteDatabaseTest, ACallbackEndsItsStatementWithAnythingButZero)
{
    TypeParam database;
    database.Open(":memory:");
    int calls = 0;
    const auto stop = [](void* context, int, char**, char**)
    {
        return ++*static_cast<int*>(context) == 2 ? 1 : 0;
    };
    EXPECT_EQ(
        RuntimeText([&] { database.ExecuteSQL("SELECT 1 UNION SELECT 2 UNION SELECT 3", stop, &calls); }),
        "sqlite3_exec() failed with error code 4: query aborted");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(Select(database, "SELECT 1 AS a"), Rows{"a=1"});
}

TYPED_TEST(SqliteDatabaseTest, WhatACallbackThrowsComesOut)
{
    TypeParam database;
    database.Open(":memory:");
    const auto fail = [](void*, int, char**, char**) -> int
    {
        throw std::out_of_range("no such column");
    };
    EXPECT_THROW(database.ExecuteSQL("SELECT 1 UNION SELECT 2", fail, nullptr), std::out_of_range);
    EXPECT_EQ(Select(database, "SELECT 1 AS a"), Rows{"a=1"});
}

TYPED_TEST(SqliteDatabaseTest, ACallbackMayUseTheDatabase)
{
    TypeParam database;
    database.Open(":memory:");
    database.ExecuteSQL("CREATE TABLE t(x)");
    const auto add = [](void* context, int, char** values, char**)
    {
        static_cast<TypeParam*>(context)->ExecuteSQL(std::string("INSERT INTO t VALUES(") + values[0] + ")");
        return 0;
    };
    database.ExecuteSQL("SELECT 1 UNION SELECT 2", add, &database);
    EXPECT_EQ(Select(database, "SELECT x FROM t ORDER BY x"), (Rows{"x=1", "x=2"}));
}

// Closing

TYPED_TEST(SqliteDatabaseTest, AClosedDatabaseRefusesStatementsAndCanBeClosedAndOpenedAgain)
{
    TypeParam database;
    database.Close();
    database.Open(":memory:");
    database.Close();
    database.Close();
    EXPECT_EQ(RuntimeText([&] { database.ExecuteSQL("SELECT 1"); }), "Database is null.");
    database.Open(":memory:");
    EXPECT_EQ(Select(database, "SELECT 1 AS a"), Rows{"a=1"});
}

TYPED_TEST(SqliteDatabaseTest, ClosingAndDestroyingGiveUpWhatTheConnectionHeld)
{
    const auto path = this->PathOf("agent.db");
    TypeParam closed;
    closed.Open(path);
    closed.ExecuteSQL("CREATE TABLE t(x); BEGIN EXCLUSIVE");
    closed.Close();
    {
        TypeParam destroyed;
        destroyed.Open(path);
        destroyed.ExecuteSQL("BEGIN EXCLUSIVE; INSERT INTO t VALUES(1)");
    }
    TypeParam database;
    database.Open(path);
    database.ExecuteSQL("INSERT INTO t VALUES(2)");
    EXPECT_EQ(Select(database, "SELECT x FROM t"), Rows{"x=2"});
    database.Close();
    EXPECT_TRUE(std::filesystem::remove(std::filesystem::path(this->Folder() / "agent.db")));
}

TYPED_TEST(SqliteDatabaseTest, ClosingFromWithinACallbackWaitsForTheStatement)
{
    const auto path = this->PathOf("agent.db");
    TypeParam database;
    database.Open(path);
    database.ExecuteSQL("CREATE TABLE t(x); BEGIN EXCLUSIVE");

    struct Context
    {
        TypeParam& database;
        int rows;
    } context{database, 0};

    const auto close = [](void* given, int, char**, char**)
    {
        auto& state = *static_cast<Context*>(given);
        state.database.Close();
        ++state.rows;
        return 0;
    };
    database.ExecuteSQL("SELECT 1 UNION SELECT 2", close, &context);
    EXPECT_EQ(context.rows, 2);
    EXPECT_EQ(RuntimeText([&] { database.ExecuteSQL("SELECT 1"); }), "Database is null.");
    TypeParam other;
    other.Open(path);
    other.ExecuteSQL("INSERT INTO t VALUES(1)");
}

TYPED_TEST(SqliteDatabaseTest, ALockedDatabaseIsAnErrorAtOnce)
{
    const auto path = this->PathOf("agent.db");
    TypeParam holder;
    holder.Open(path);
    holder.ExecuteSQL("CREATE TABLE t(x); BEGIN EXCLUSIVE");
    TypeParam other;
    other.Open(path);
    EXPECT_EQ(
        RuntimeText([&] { other.ExecuteSQL("INSERT INTO t VALUES(1)"); }),
        "sqlite3_exec() failed with error code 5: database is locked");
    holder.ExecuteSQL("COMMIT");
    other.ExecuteSQL("INSERT INTO t VALUES(1)");
}

// Several threads

TEST(ThreadSafeSqliteDatabaseTest, OperationsOfSeveralThreadsComeOneAfterTheOther)
{
    const TemporaryFolder folder;
    ThreadSafeSqliteDatabase database;
    database.Open(Utf8(folder.Path() / "agent.db"));
    database.ExecuteSQL("CREATE TABLE t(x); INSERT INTO t VALUES(0); PRAGMA synchronous = OFF");
    constexpr int Threads = 4;
    constexpr int Rounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i)
    {
        threads.emplace_back(
            [&database]
            {
                for (int round = 0; round < Rounds; ++round)
                {
                    // Two transactions that ran into one another would fail.
                    database.ExecuteSQL("BEGIN; UPDATE t SET x = x + 1; COMMIT");
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(Select(database, "SELECT x FROM t"), Rows{"x=" + std::to_string(Threads * Rounds)});
}

TEST(ThreadSafeSqliteDatabaseTest, OpeningAndClosingDisturbNoStatementOfAnotherThread)
{
    const TemporaryFolder folder;
    const auto path = Utf8(folder.Path() / "agent.db");
    ThreadSafeSqliteDatabase database;
    database.Open(path);
    std::thread other(
        [&database, &path]
        {
            for (int round = 0; round < 100; ++round)
            {
                database.Close();
                database.Open(path);
            }
        });
    int refused = 0;
    for (int round = 0; round < 100; ++round)
    {
        const auto text = RuntimeText([&database] { database.ExecuteSQL("SELECT 1"); });
        if (text == "Database is null.")
        {
            ++refused;
        }
        else
        {
            EXPECT_EQ(text, "(nothing was thrown)");
        }
    }
    other.join();
    EXPECT_LE(refused, 100);
    EXPECT_EQ(Select(database, "SELECT 1 AS a"), Rows{"a=1"});
}

TEST(ThreadSafeSqliteDatabaseTest, WhoHoldsTheCriticalSectionKeepsOthersOut)
{
    ThreadSafeSqliteDatabase database;
    database.Open(":memory:");
    database.ExecuteSQL("CREATE TABLE t(x INTEGER PRIMARY KEY AUTOINCREMENT, who TEXT)");
    std::thread other;
    {
        const Shared::Concurrency::CriticalSection guard(database.GetCriticalSection());
        other = std::thread([&database] { database.ExecuteSQL("INSERT INTO t(who) VALUES('other')"); });
        for (int i = 0; i < 50; ++i)
        {
            database.ExecuteSQL("INSERT INTO t(who) VALUES('holder')");
        }
    }
    other.join();
    EXPECT_EQ(Select(database, "SELECT x FROM t WHERE who = 'other'"), Rows{"x=51"});
}
