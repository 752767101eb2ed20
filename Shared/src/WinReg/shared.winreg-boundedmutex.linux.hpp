#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace Shared::WinReg
{

/// A mutex for which one can wait a limited real time. As std::timed_mutex, but made of parts that the thread sanitizer
/// knows, which it does not of that one's timed lock. Not re-entrant. To be used through std::unique_lock and its like.
class BoundedMutex
{
public:
    void lock()
    {
        std::unique_lock hold(m_mutex);
        m_freed.wait(hold, [this] { return !m_isTaken; });
        m_isTaken = true;
    }

    bool try_lock()
    {
        const std::lock_guard hold(m_mutex);
        return !std::exchange(m_isTaken, true);
    }

    bool try_lock_for(std::chrono::milliseconds realSpan)
    {
        std::unique_lock hold(m_mutex);
        if (!m_freed.wait_for(hold, realSpan, [this] { return !m_isTaken; }))
        {
            return false;
        }
        m_isTaken = true;
        return true;
    }

    void unlock()
    {
        {
            const std::lock_guard hold(m_mutex);
            m_isTaken = false;
        }
        m_freed.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    bool m_isTaken = false;
};

} // namespace Shared::WinReg
