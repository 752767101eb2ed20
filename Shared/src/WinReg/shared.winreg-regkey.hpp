#pragma once

#include <memory>

namespace Shared::WinReg
{

/// An open registry key, or none. Copies share one system handle, which is closed with the last of them; closing fires
/// a watch that is still armed on it, for whoever waits on the event.
///
/// Different RegKey objects may be used by different threads, copies of one key included.
class RegKey
{
public:
    /// No key.
    RegKey() noexcept = default;
    /// Shares a key of the platform, which comes with its own way to be closed: an HKEY on Windows, on Linux the record
    /// of an opened key. OpenKey() (shared.winreg-functions.hpp) is where they come from.
    explicit RegKey(std::shared_ptr<void> key) noexcept;

    bool IsNull() const noexcept;
    explicit operator bool() const noexcept;

    /// The key as the platform has it, still owned here; null for none.
    void* GetRawKey() const noexcept;
    const std::shared_ptr<void>& GetShared() const noexcept;

    /// Gives up this share of the key. Safe to repeat.
    void Close() noexcept;

    /// Whether both share the same handle; two empty ones do. Two handles of the same key are not equal.
    bool operator==(const RegKey& other) const noexcept = default;

private:
    std::shared_ptr<void> m_key;
};

} // namespace Shared::WinReg
