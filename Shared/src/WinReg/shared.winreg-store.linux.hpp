#pragma once

#include "shared.winreg-administration.hpp"
#include "shared.winreg-boundedmutex.linux.hpp"
#include "shared.winreg-native.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace Shared::WinReg
{

/// Where the settings store is: "settings.db" in the state directory, which is the first entry of the environment
/// variable STATE_DIRECTORY (separated by ":", set by a service manager, and by tests) when that is an absolute path,
/// else /var/lib/tarvane-vel. Any thread, as long as none changes the environment.
std::string GetSettingsStorePath();

/// Ends what this process holds of the settings store: the watch thread, with every watch that is armed (their events
/// are not signalled), and the connection. The next operation begins anew, and looks anew where the store is. For the
/// end of the process and for tests; safe to repeat. No other thread may be inside a registry operation.
void CloseSettingsStore() noexcept;

/// The store behind the registry operations: this process's one connection to the SQLite file. It is opened with the
/// first operation, and again when the file was replaced. Opening never creates.
///
///   reg_key(id, path, revision)        paths without "\" at the end, "" being the root; ids are never used again
///   reg_value(key, name, type, data)   data is TEXT for type 1, INTEGER for type 4
///
/// Triggers raise the key's revision with every insert, update or delete of a value, so that even a row that an
/// operator changes by hand is seen. The journal is a rollback journal, whose deletion is the commit: a watcher of the
/// folder is woken exactly once by each.
///
/// All functions may be called from any thread; one at a time gets in. They give an errno, 0 for success.
class SettingsStore
{
public:
    /// Identity of a key and of its content: differs whenever a value of the key was written, and when the key or the
    /// whole file is another one.
    struct KeyState
    {
        std::uint64_t device = 0;
        std::uint64_t file = 0;
        std::int64_t key = 0;
        std::int64_t revision = 0;

        bool operator==(const KeyState&) const noexcept = default;
    };

    /// A value on its way into the store.
    struct NewValue
    {
        std::uint32_t type = TypeString;
        std::string_view text;
        std::uint32_t number = 0;
    };

    /// The process's store. Never destroyed: threads may still be reading when the process ends.
    static SettingsStore& Instance();

    SettingsStore() = default;
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;
    ~SettingsStore();

    std::uint32_t ReadText(const std::string& path, const std::string& name, std::string& out);
    std::uint32_t ReadNumber(const std::string& path, const std::string& name, std::uint32_t& out);
    Native::WriteResult Write(const std::string& path, const std::string& name, const NewValue& value);
    std::uint32_t Delete(const std::string& path, const std::string& name);
    std::uint32_t ReadKeyState(const std::string& path, KeyState& out);

    std::uint32_t CreateKey(const std::string& path);
    std::uint32_t DeleteKeyTree(const std::string& path, bool& existed);
    std::uint32_t ListValues(const std::string& path, std::vector<RegistryValue>& out);
    /// Paths of all keys below a key, at any depth.
    std::uint32_t ListPathsBelow(const std::string& path, std::vector<std::string>& out);

    /// The path that is in use; decided when it is first needed after construction or Close().
    std::string GetPath();

    void Close() noexcept;

private:
    enum class Purpose
    {
        Read,
        Write
    };

    enum StatementId : std::size_t
    {
        SelectValue,
        UpsertValue,
        DeleteOneValue,
        SelectKey,
        InsertKey,
        DeleteValuesOfTree,
        DeleteKeysOfTree,
        SelectValueNames,
        SelectPaths,
        StatementCount
    };

    struct Failure;
    class Use;

    struct DatabaseCloser
    {
        void operator()(sqlite3* database) const noexcept;
    };

    struct StatementFinaliser
    {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };

    struct FileId
    {
        std::uint64_t device = 0;
        std::uint64_t file = 0;

        bool operator==(const FileId&) const noexcept = default;
    };

    /// What an operation ended with.
    struct Result
    {
        std::uint32_t code = 0;
        /// Whether there was nothing to work on: the store could not be opened, or not for writing.
        bool isOfStore = false;
    };

    /// A failure that was logged and has not passed.
    struct Reported
    {
        int kind;
        Purpose purpose;
        std::string subject;
    };

    template <typename Body>
    Result Run(Purpose purpose, const std::string& subject, Body body);
    template <typename Take>
    std::uint32_t ReadValue(const std::string& path, const std::string& name, std::uint32_t type, Take take);

    const std::string& Path();
    void EnsureOpen();
    void Open(const FileId& expected);
    void Configure();
    void CreateFileUnlessThere();
    void CloseConnection() noexcept;
    void Execute(const char* sql);
    std::string QueryOne(const char* sql);
    sqlite3_stmt* Statement(StatementId id);
    [[noreturn]] void Fail(int result);
    std::string NoteFailure(const Failure& failure, Purpose purpose, const std::string& subject);
    void NoteSuccess(Purpose purpose, const std::string& subject);

    BoundedMutex m_mutex;
    // Everything below lives under m_mutex.
    std::optional<std::string> m_path;
    FileId m_fileId;
    // Before the statements, which must be finalised first.
    std::unique_ptr<sqlite3, DatabaseCloser> m_database;
    std::array<std::unique_ptr<sqlite3_stmt, StatementFinaliser>, StatementCount> m_statements;
    /// Until when the running operation may wait, on the kernel's steady clock.
    std::chrono::nanoseconds m_deadline{};
    std::vector<Reported> m_reported;
};

} // namespace Shared::WinReg
