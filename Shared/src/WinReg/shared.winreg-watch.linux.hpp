#pragma once

#include "shared.concurrency-event.hpp"
#include "shared.winreg-boundedmutex.linux.hpp"
#include "shared.winreg-store.linux.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Shared::WinReg
{

/// What a RegKey holds on Linux: which key it is, and who waits for its next change. Destroying it signals those.
struct WatchedKey
{
    explicit WatchedKey(std::string pathOfKey);
    WatchedKey(const WatchedKey&) = delete;
    WatchedKey& operator=(const WatchedKey&) = delete;
    ~WatchedKey();

    const std::string path;
    // The rest lives under the watcher's lock.
    /// What the key was when it was first armed, or last fired; none before.
    std::optional<SettingsStore::KeyState> seen;
    std::vector<Concurrency::Event> armed;
};

/// Watches the settings store for all keys of the process, in one thread that starts with the first watch. It sleeps in
/// the kernel until a transaction is committed in the store's folder, by whichever process.
class KeyWatcher
{
public:
    /// The process's watcher. Never destroyed: its thread may live until the process ends.
    static KeyWatcher& Instance();

    KeyWatcher();
    KeyWatcher(const KeyWatcher&) = delete;
    KeyWatcher& operator=(const KeyWatcher&) = delete;
    ~KeyWatcher();

    /// Arms `eventToSignal` on `key`, as WatchKey() is described. Gives an errno, 0 for success. Any thread.
    std::uint32_t Arm(const std::shared_ptr<WatchedKey>& key, const Concurrency::Event& eventToSignal);

    /// Ends the thread and every watch, without signalling. Safe to repeat; a later Arm() begins anew. Not from inside
    /// the watch thread.
    void Stop() noexcept;

private:
    struct Session;

    std::uint32_t ArmLocked(const std::shared_ptr<WatchedKey>& key, const Concurrency::Event& eventToSignal);
    std::uint32_t FollowStore();
    void Run(Session& session) noexcept;
    bool TakeNotices(Session& session);
    bool CheckKeys();
    static bool CheckKey(WatchedKey& key);
    static void Fire(WatchedKey& key, const SettingsStore::KeyState& state);

    BoundedMutex m_mutex;
    // Everything below lives under m_mutex.
    std::unique_ptr<Session> m_session;
    std::vector<std::weak_ptr<WatchedKey>> m_armedKeys;
};

} // namespace Shared::WinReg
