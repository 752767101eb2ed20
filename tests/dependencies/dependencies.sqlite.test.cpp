#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "dependencies.temporaryfolder.hpp"

namespace
{
struct Closer
{
    void operator()(sqlite3* database) const noexcept
    {
        sqlite3_close(database);
    }
};

using Database = std::unique_ptr<sqlite3, Closer>;

Database Open(const std::filesystem::path& file)
{
    sqlite3* database = nullptr;
    const auto name = file.u8string();
    EXPECT_EQ(sqlite3_open(reinterpret_cast<const char*>(name.c_str()), &database), SQLITE_OK);
    return Database{database};
}

int Execute(const Database& database, const char* statement)
{
    return sqlite3_exec(database.get(), statement, nullptr, nullptr, nullptr);
}

int Count(const Database& database)
{
    int count = -1;
    const auto take = [](void* result, int, char** values, char**)
    {
        *static_cast<int*>(result) = std::stoi(values[0]);
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database.get(), "SELECT COUNT(*) FROM polls", take, &count, nullptr), SQLITE_OK);
    return count;
}
} // namespace

class SqliteTest : public testing::Test
{
protected:
    Dependencies::TemporaryFolder m_folder;
    std::filesystem::path m_file{m_folder.Path() / "proof.db"};
};

TEST_F(SqliteTest, WhatATransactionWroteIsThereForTheNextOneToOpenTheFile)
{
    {
        const auto database = Open(m_file);
        ASSERT_EQ(Execute(database, "CREATE TABLE polls (id INTEGER PRIMARY KEY, body BLOB)"), SQLITE_OK);
        ASSERT_EQ(Execute(database, "BEGIN; INSERT INTO polls (body) VALUES (x'00FF'), ('b'); COMMIT"), SQLITE_OK);
    }
    EXPECT_EQ(Count(Open(m_file)), 2);
}

TEST_F(SqliteTest, ATransactionRolledBackLeavesNothing)
{
    const auto database = Open(m_file);
    ASSERT_EQ(Execute(database, "CREATE TABLE polls (id INTEGER)"), SQLITE_OK);
    ASSERT_EQ(Execute(database, "BEGIN; INSERT INTO polls VALUES (1); ROLLBACK"), SQLITE_OK);
    EXPECT_EQ(Count(database), 0);
}

TEST_F(SqliteTest, AWriterKeepsAnotherOutUntilItIsDone)
{
    const auto first = Open(m_file);
    const auto second = Open(m_file);
    ASSERT_EQ(Execute(first, "CREATE TABLE polls (id INTEGER)"), SQLITE_OK);
    ASSERT_EQ(Execute(first, "BEGIN IMMEDIATE; INSERT INTO polls VALUES (1)"), SQLITE_OK);
    EXPECT_EQ(Execute(second, "INSERT INTO polls VALUES (2)"), SQLITE_BUSY);
    ASSERT_EQ(Execute(first, "COMMIT"), SQLITE_OK);
    EXPECT_EQ(Execute(second, "INSERT INTO polls VALUES (2)"), SQLITE_OK);
    EXPECT_EQ(Count(first), 2);
}
