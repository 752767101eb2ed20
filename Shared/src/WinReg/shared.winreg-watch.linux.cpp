#include "shared.winreg-watch.linux.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"
#include "shared.time-clock.hpp"

#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace Shared::WinReg
{

namespace
{

using Raii::Native::DescriptorOf;
using Raii::Native::FromDescriptor;

constexpr const char* ThreadName = "vel-regwatch";
constexpr std::string_view JournalSuffix = "-journal";

/// A commit is the deletion of the journal; the others are the store, or its folder, coming, going and being replaced.
constexpr std::uint32_t Notices = IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
/// Notices after which nothing is certain but that one must look.
constexpr std::uint32_t GeneralNotices = IN_Q_OVERFLOW | IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;

/// Pause before a second look at a store that could not be read for the moment, in real time.
constexpr int RetryPauseMs = 1000;

constexpr std::chrono::milliseconds RealBusyTimeout{BusyTimeoutMs};

bool IsPassing(std::uint32_t code) noexcept
{
    return code == EBUSY || code == ENOMEM || code == EMFILE || code == ENFILE;
}

bool IsSameKey(const std::weak_ptr<WatchedKey>& first, const std::shared_ptr<WatchedKey>& second) noexcept
{
    return !first.owner_before(second) && !second.owner_before(first);
}

/// The thread must leave signals to the threads that mean to take them.
class AllSignalsBlocked
{
public:
    AllSignalsBlocked() noexcept
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }

    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

    ~AllSignalsBlocked()
    {
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    sigset_t m_before{};
};

} // namespace

WatchedKey::WatchedKey(std::string pathOfKey) : path(std::move(pathOfKey))
{
}

WatchedKey::~WatchedKey()
{
    // Nobody else has this key any more, the watcher neither: no lock.
    for (auto& event : armed)
    {
        event.SignalNoThrow();
    }
}

/// From the first watch to Stop(). The thread has a reference; only what is const after the start is used unlocked.
struct KeyWatcher::Session
{
    Raii::Win32Handle notices;
    Raii::Win32Handle stop;
    /// Name of the store's file in the folder; under the watcher's lock.
    std::string fileName;
    /// The watched folder's number, or -1; under the watcher's lock.
    int folder = -1;
    std::thread thread;
};

KeyWatcher& KeyWatcher::Instance()
{
    static auto* const watcher = new KeyWatcher();
    return *watcher;
}

KeyWatcher::KeyWatcher() = default;

KeyWatcher::~KeyWatcher()
{
    Stop();
}

std::uint32_t KeyWatcher::Arm(const std::shared_ptr<WatchedKey>& key, const Concurrency::Event& eventToSignal)
{
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!lock.try_lock_for(RealBusyTimeout))
    {
        return EBUSY;
    }
    try
    {
        return ArmLocked(key, eventToSignal);
    }
    catch (const Exception::Win32Exception& failure)
    {
        return failure.GetCode();
    }
    catch (const std::system_error& failure)
    {
        return static_cast<std::uint32_t>(failure.code().value());
    }
}

std::uint32_t KeyWatcher::ArmLocked(const std::shared_ptr<WatchedKey>& key, const Concurrency::Event& eventToSignal)
{
    // The folder first: what is committed after the look at the key will be told.
    if (const auto code = FollowStore(); code != 0)
    {
        return code;
    }
    SettingsStore::KeyState state;
    if (const auto code = SettingsStore::Instance().ReadKeyState(key->path, state); code != 0)
    {
        return code;
    }

    const auto isSame = [&eventToSignal](const Concurrency::Event& event)
    {
        return Raii::Native::IsSameObject(event.GetHandle(), eventToSignal.GetHandle());
    };
    if (std::ranges::none_of(key->armed, isSame))
    {
        // A handle of our own: the caller's may be gone when the change comes.
        Concurrency::Event own(eventToSignal);
        Raii::Native::ChangeInheritability(own.GetHandle(), false);
        key->armed.push_back(std::move(own));
    }
    if (key->seen && *key->seen != state)
    {
        Fire(*key, state);
        return 0;
    }
    key->seen = state;
    std::erase_if(m_armedKeys, [&key](const auto& other) { return other.expired() || IsSameKey(other, key); });
    m_armedKeys.push_back(key);
    return 0;
}

/// Sees to it that the thread runs and is told about the folder in which the store is now.
std::uint32_t KeyWatcher::FollowStore()
{
    std::array<char, PATH_MAX> resolved{};
    if (::realpath(SettingsStore::Instance().GetPath().c_str(), resolved.data()) == nullptr)
    {
        return static_cast<std::uint32_t>(errno);
    }
    const std::string path(resolved.data());
    const auto separator = path.find_last_of('/');

    std::unique_ptr<Session> fresh;
    if (m_session == nullptr)
    {
        fresh = std::make_unique<Session>();
        fresh->notices.Attach(FromDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)));
        if (!fresh->notices.IsValid())
        {
            return static_cast<std::uint32_t>(errno);
        }
        fresh->stop.Attach(FromDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
        if (!fresh->stop.IsValid())
        {
            return static_cast<std::uint32_t>(errno);
        }
    }

    auto& session = fresh != nullptr ? *fresh : *m_session;
    // For a folder that is watched already this gives the number that it has.
    const int descriptor = DescriptorOf(session.notices.GetRawHandle());
    const int folder = ::inotify_add_watch(descriptor, path.substr(0, separator + 1).c_str(), Notices);
    if (folder < 0)
    {
        return static_cast<std::uint32_t>(errno);
    }
    if (folder != session.folder && session.folder >= 0)
    {
        ::inotify_rm_watch(descriptor, session.folder);
    }
    session.folder = folder;
    session.fileName = path.substr(separator + 1);

    if (fresh != nullptr)
    {
        const AllSignalsBlocked blocked;
        session.thread = std::thread([this, &session] { Run(session); });
        ::pthread_setname_np(session.thread.native_handle(), ThreadName);
        m_session = std::move(fresh);
    }
    return 0;
}

void KeyWatcher::Stop() noexcept
{
    std::unique_ptr<Session> ended;
    {
        const std::lock_guard lock(m_mutex);
        ended = std::move(m_session);
        for (const auto& armed : m_armedKeys)
        {
            if (const auto key = armed.lock())
            {
                key->armed.clear();
            }
        }
        m_armedKeys.clear();
    }
    if (ended != nullptr)
    {
        ::eventfd_write(DescriptorOf(ended->stop.GetRawHandle()), 1);
        ended->thread.join();
    }
}

void KeyWatcher::Run(Session& session) noexcept
{
    bool isLookDue = false;
    while (true)
    {
        std::array<pollfd, 2> sources{
            pollfd{DescriptorOf(session.notices.GetRawHandle()), POLLIN, 0},
            pollfd{DescriptorOf(session.stop.GetRawHandle()), POLLIN, 0}};
        const int ready = ::poll(sources.data(), sources.size(), isLookDue ? RetryPauseMs : -1);
        if (ready < 0)
        {
            // Out of memory in the kernel is the only failure that is left, and passes.
            Time::SleepFor(std::chrono::milliseconds{RetryPauseMs});
            continue;
        }
        if (sources[1].revents != 0)
        {
            return;
        }
        try
        {
            const bool isTold = sources[0].revents != 0 && TakeNotices(session);
            isLookDue = (isLookDue || isTold) && !CheckKeys();
        }
        catch (const std::exception& failure)
        {
            Log::LogException("Looking for changed registry keys failed", failure);
            isLookDue = true;
        }
    }
}

/// Empties the queue of notices. Whether one of them can mean a change of a key.
bool KeyWatcher::TakeNotices(Session& session)
{
    std::string fileName;
    {
        const std::lock_guard lock(m_mutex);
        fileName = session.fileName;
    }
    bool isRelevant = false;
    alignas(inotify_event) std::array<char, 16 * 1024> buffer{};
    for (;;)
    {
        const auto length = ::read(DescriptorOf(session.notices.GetRawHandle()), buffer.data(), buffer.size());
        if (length <= 0)
        {
            return isRelevant;
        }
        for (std::size_t offset = 0; offset < static_cast<std::size_t>(length);)
        {
            inotify_event notice{};
            std::memcpy(&notice, buffer.data() + offset, sizeof(notice));
            const auto* const text = buffer.data() + offset + sizeof(notice);
            std::string_view name(text, notice.len == 0 ? 0 : ::strnlen(text, notice.len));
            if (name.ends_with(JournalSuffix))
            {
                name.remove_suffix(JournalSuffix.size());
            }
            isRelevant = isRelevant || (notice.mask & GeneralNotices) != 0 || name == fileName;
            offset += sizeof(notice) + notice.len;
        }
    }
}

/// Fires what has changed. False when a key could not be looked at, so that one must look again.
bool KeyWatcher::CheckKeys()
{
    // Declared first, so that a key whose last owner went away meanwhile is destroyed without the lock.
    std::vector<std::shared_ptr<WatchedKey>> keys;
    const std::lock_guard lock(m_mutex);
    for (const auto& armed : m_armedKeys)
    {
        if (auto key = armed.lock())
        {
            keys.push_back(std::move(key));
        }
    }
    bool isComplete = true;
    for (const auto& key : keys)
    {
        isComplete = CheckKey(*key) && isComplete;
    }
    std::erase_if(
        m_armedKeys,
        [](const auto& armed)
        {
            const auto key = armed.lock();
            return key == nullptr || key->armed.empty();
        });
    return isComplete;
}

bool KeyWatcher::CheckKey(WatchedKey& key)
{
    if (key.armed.empty())
    {
        return true;
    }
    SettingsStore::KeyState state;
    const auto code = SettingsStore::Instance().ReadKeyState(key.path, state);
    if (code != 0 && IsPassing(code))
    {
        return false;
    }
    // A key that is gone, or cannot be read any more, counts as another one: whoever waits for it must learn that.
    if (code != 0)
    {
        state = {};
    }
    if (key.seen != state)
    {
        Fire(key, state);
    }
    return true;
}

void KeyWatcher::Fire(WatchedKey& key, const SettingsStore::KeyState& state)
{
    key.seen = state;
    for (auto& event : key.armed)
    {
        event.SignalNoThrow();
    }
    key.armed.clear();
}

} // namespace Shared::WinReg
