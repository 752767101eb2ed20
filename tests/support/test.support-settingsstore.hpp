#pragma once

#include <memory>
#include <string>

namespace TestSupport
{

/// From construction to destruction this process has a registry of its own, without keys: on Linux a settings store in
/// a temporary folder, which STATE_DIRECTORY names, so that child processes have the same one; on Windows
/// HKEY_LOCAL_MACHINE is a fresh key below HKEY_CURRENT_USER, for this process alone.
///
/// One at a time, made and destroyed while no other thread uses the registry. Throws std::system_error when the
/// surroundings cannot be made.
class TemporarySettingsStore
{
public:
    TemporarySettingsStore();
    TemporarySettingsStore(const TemporarySettingsStore&) = delete;
    TemporarySettingsStore& operator=(const TemporarySettingsStore&) = delete;
    ~TemporarySettingsStore();

    /// Where it is: the file on Linux, the key below HKEY_CURRENT_USER on Windows.
    std::string GetPath() const;

    /// Leaves what was stored where it is, for a look after a failed test.
    void Keep() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace TestSupport
