// What a registry operation costs over the bare work on the same file: the select of the row, the transaction around one
// update. The floors are measured in the same run. Kept up: a read of a text of ordinary length stays below 30 microseconds
// and below twice its floor; a long one costs its conversion to wide characters besides.

#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"

using namespace Shared::WinReg;

namespace
{

constexpr auto Machine = Root::LocalMachine;
const std::wstring Key = L"SOFTWARE\\Tarvane\\VEL\\Config";

/// The keys and values that an agent has, and a text of the asked length among them.
class Store
{
public:
    explicit Store(std::size_t length)
    {
        CreateKey(Machine, Key);
        for (int i = 0; i < 40; ++i)
        {
            SetDwordValue(Machine, Key, L"value " + std::to_wstring(i), 1);
        }
        SetStringValue(Machine, Key, L"Server", std::wstring(length, L'x'));
    }

    std::string Path() const
    {
        return m_store.GetPath();
    }

private:
    TestSupport::TemporarySettingsStore m_store;
};

/// A connection and one prepared statement, without anything around it.
class Bare
{
public:
    Bare(const std::string& path, const char* sql)
    {
        if (sqlite3_open_v2(path.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) !=
                SQLITE_OK ||
            sqlite3_prepare_v3(m_database, sql, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr) != SQLITE_OK)
        {
            throw std::runtime_error("no floor to measure");
        }
    }

    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    ~Bare()
    {
        sqlite3_finalize(m_statement);
        sqlite3_close(m_database);
    }

    sqlite3_stmt* Get() const
    {
        return m_statement;
    }

private:
    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_statement = nullptr;
};

constexpr const char* SelectServer =
    "SELECT v.type, v.data FROM reg_key AS k JOIN reg_value AS v ON v.key = k.id WHERE k.path = ?1 AND v.name = ?2";
constexpr const char* UpdateValue =
    "UPDATE reg_value SET data = ?3 WHERE key = (SELECT id FROM reg_key WHERE path = ?1) AND name = ?2";
constexpr const char* NarrowKey = "SOFTWARE\\Tarvane\\VEL\\Config";

void ReadFloor(benchmark::State& state)
{
    const Store store(static_cast<std::size_t>(state.range(0)));
    const Bare bare(store.Path(), SelectServer);
    sqlite3_bind_text(bare.Get(), 1, NarrowKey, -1, SQLITE_STATIC);
    sqlite3_bind_text(bare.Get(), 2, "Server", -1, SQLITE_STATIC);
    for (auto _ : state)
    {
        if (sqlite3_step(bare.Get()) != SQLITE_ROW)
        {
            state.SkipWithError("no row");
            break;
        }
        benchmark::DoNotOptimize(sqlite3_column_text(bare.Get(), 1));
        sqlite3_reset(bare.Get());
    }
}

void ReadString(benchmark::State& state)
{
    const Store store(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(GetStringValue(Machine, Key, L"Server"));
    }
}

void ReadNumber(benchmark::State& state)
{
    const Store store(20);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(GetDwordValue(Machine, Key, L"value 7"));
    }
}

void ReadAbsent(benchmark::State& state)
{
    const Store store(20);
    std::wstring text;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(TryGetStringValue(Machine, Key, L"nothing", text));
    }
}

void WriteFloor(benchmark::State& state)
{
    const Store store(20);
    const Bare bare(store.Path(), UpdateValue);
    sqlite3_bind_text(bare.Get(), 1, NarrowKey, -1, SQLITE_STATIC);
    sqlite3_bind_text(bare.Get(), 2, "value 7", -1, SQLITE_STATIC);
    int number = 0;
    for (auto _ : state)
    {
        sqlite3_bind_int(bare.Get(), 3, ++number);
        if (sqlite3_step(bare.Get()) != SQLITE_DONE)
        {
            state.SkipWithError("not written");
            break;
        }
        sqlite3_reset(bare.Get());
    }
}

void WriteNumber(benchmark::State& state)
{
    const Store store(20);
    std::uint32_t number = 0;
    for (auto _ : state)
    {
        SetDwordValue(Machine, Key, L"value 7", ++number);
    }
}

} // namespace

BENCHMARK(ReadFloor)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);
BENCHMARK(ReadString)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);
BENCHMARK(ReadNumber);
BENCHMARK(ReadAbsent);
BENCHMARK(WriteFloor)->UseRealTime();
BENCHMARK(WriteNumber)->UseRealTime();
