#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.winreg-regkey.hpp"

#include <cstddef>
#include <cstdint>
#include <source_location>
#include <string>

/// The system's registry: keys with values, kept for all processes of the machine.
///
/// On Windows it is the registry; on Linux one file, "settings.db" in the state directory, with the same keys, value
/// names and types. It is laid out by an installer (shared.winreg-administration.hpp); nothing here creates a store or
/// a key.
///
/// Common to all operations:
/// - A path has its components separated by "\", without one in front. Paths and value names are compared without regard
///   to case (on Linux of the letters A to Z) and end at their first null character.
/// - Each operation is atomic across threads and processes, and may be called from any thread. What a writing operation
///   has done when it returns outlives the end of the process, however it ends, and of the machine.
/// - Values are outside input. One of another type than asked, of more than MaximumValueBytes, or (Linux) in a row that
///   makes no sense cannot be read. Text that is no valid UTF-16 or UTF-8 comes as the platform keeps it; on Linux that
///   is without the invalid bytes, and wide characters that are no Unicode are not stored.
/// - Codes of exceptions are the platform's: on Linux ENOENT for what is not there, EOPNOTSUPP for another type, EBADMSG
///   for a row that makes no sense, EFBIG for too much, EBUSY for a store that another process locks, EIO for a damaged
///   one, or what the file system said.
/// - Linux: no operation waits longer than BusyTimeoutMs (real time, also when the agent's clock runs faster) for a
///   store that is locked. A failure of the store itself is logged besides, once for each kind of failure until the
///   store works again: "The settings store {} cannot be read: {}", "The settings store {} cannot be written: {}".
namespace Shared::WinReg
{

/// Which tree of the registry.
enum class Root : std::uint32_t
{
    /// HKEY_LOCAL_MACHINE.
    LocalMachine = 0
};

/// Type of a value: text.
inline constexpr std::uint32_t TypeString = 1;
/// Type of a value: unsigned number of 32 bits.
inline constexpr std::uint32_t TypeDword = 4;

/// Most bytes of a value that is read, as the platform keeps it (UTF-16 with its terminator on Windows, UTF-8 on Linux).
inline constexpr std::size_t MaximumValueBytes = 1024 * 1024;

/// Longest wait for a locked store (Linux).
inline constexpr std::uint32_t BusyTimeoutMs = 5000;

/// The text of a value of type string, without the terminator that is stored with it; null characters inside belong to
/// it. Throws Win32Exception "Cannot read string from registry", in the form of ThrowRegError().
std::wstring GetStringValue(Root root, const std::wstring& path, const std::wstring& name);

/// The same without an exception: false, and `out` empty, when the value cannot be read. A value of length zero gives
/// true and an empty text.
bool TryGetStringValue(Root root, const std::wstring& path, const std::wstring& name, std::wstring& out);

/// A value of type DWORD. Throws Win32Exception "Cannot read DWORD from registry", in the form of ThrowRegError().
std::uint32_t GetDwordValue(Root root, const std::wstring& path, const std::wstring& name);

/// The same without an exception: false, and `out` untouched, when the value cannot be read.
bool TryGetDwordValue(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t& out);

/// Writes a text into an existing key, whatever was there before, equal or of another type. Null characters inside of
/// `value` are kept. Throws Win32Exception "Failed to open registry key" (no such key, no access, no store) and "Failed
/// to write registry key value", in the form of ThrowRegError(). Linux refuses more than MaximumValueBytes.
void SetStringValue(Root root, const std::wstring& path, const std::wstring& name, const std::wstring& value);

/// The same for a DWORD.
void SetDwordValue(Root root, const std::wstring& path, const std::wstring& name, std::uint32_t value);

/// Deletes a value. A missing key or value is ignored; any other failure is logged as a warning. Throws nothing.
void DeleteValue(Root root, const std::wstring& path, const std::wstring& name);

/// Opens an existing key for reading and watching. Throws Win32Exception "Failed to open key {:#X}\{}" with the number
/// of the root and the path.
RegKey OpenKey(Root root, const std::wstring& path);

/// Signals `eventToSignal` once, at the next time that a process (this one too) writes or deletes a value of this very
/// key, writing what already stands there included; values of other keys and of keys below do not count. To hear of
/// the change after that, arm again. The first arming of a RegKey begins the watch; from then on a change that happens
/// between the firing and the next arming of the same RegKey (or a copy) fires at once on arming. The event is also
/// signalled when the key is deleted, or closed by its last owner, while it is armed. Several events may be armed on a
/// key; arming the same one twice is one watch.
///
/// Neither key nor event need outlive the watch. On Windows the thread that armed should: when it ends, the system
/// signals the event.
///
/// Throws the invalid-argument exceptions "key cannot be nullptr" and "eventToSignal is not an initialised Event", and
/// Win32Exception "Failed to watch registry key for changes".
void WatchKey(const RegKey& key, const Concurrency::Event& eventToSignal);

/// Throws the Win32Exception of the registry operations: its text is "{}; key: {:#X}; subkey: {}; value name: {}" with
/// `message`, the number of the root, `path` and `name`.
[[noreturn]] void ThrowRegError(
    const std::string& message,
    Root root,
    const std::wstring& path,
    const std::wstring& name,
    std::uint32_t code,
    const std::source_location& where = std::source_location::current());

} // namespace Shared::WinReg
