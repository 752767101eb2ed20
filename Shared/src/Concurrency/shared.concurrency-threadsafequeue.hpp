#pragma once

#include "shared.concurrency-annotations.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.log-functions.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace Shared::Concurrency
{

/// The hand-over between threads: a vector under a lock, with an event that is signalled exactly while the vector is
/// not empty, so that one wait covers queues, events, timers and threads alike.
///
/// The order is a vector's: Push() appends, consumers take element 0 or filter. Every operation is atomic and may be
/// called from any thread, but for ToVector(). Callbacks run under the lock, which is a leaf lock: they may read this
/// queue and use no other one. What a callback throws passes on, with the lock released and the event right.
///
/// Copying and moving take the locks and give the target an event of its own.
template <typename T>
class ThreadSafeQueue
{
public:
    /// Throws Win32Exception when the system has no event left.
    ThreadSafeQueue() : m_event(false, true)
    {
    }

    ThreadSafeQueue(const ThreadSafeQueue& other) : ThreadSafeQueue()
    {
        ThreadSafeQueue::Copy(other);
    }

    // Moving can throw, as the target needs an event of its own.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    ThreadSafeQueue(ThreadSafeQueue&& other) : ThreadSafeQueue()
    {
        ThreadSafeQueue::Move(std::move(other));
    }

    virtual ~ThreadSafeQueue() = default;

    ThreadSafeQueue& operator=(const ThreadSafeQueue& other)
    {
        Copy(other);
        return *this;
    }

    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    ThreadSafeQueue& operator=(ThreadSafeQueue&& other)
    {
        Move(std::move(other));
        return *this;
    }

    virtual void PushFront(const T& item)
    {
        const CriticalSection hold(&m_lock);
        m_items.insert(m_items.begin(), item);
        UpdateEvent();
    }

    virtual void Push(const T& item)
    {
        const CriticalSection hold(&m_lock);
        m_items.push_back(item);
        UpdateEvent();
    }

    virtual void Push(T&& item)
    {
        const CriticalSection hold(&m_lock);
        m_items.push_back(std::move(item));
        UpdateEvent();
    }

    virtual std::size_t Size() const
    {
        const CriticalSection hold(&m_lock);
        return m_items.size();
    }

    virtual bool Empty() const
    {
        const CriticalSection hold(&m_lock);
        return m_items.empty();
    }

    /// Address of the last element, null when there is none. It is safe to use while the caller holds GetLock().
    virtual T* Back()
    {
        const CriticalSection hold(&m_lock);
        return m_items.empty() ? nullptr : &m_items.back();
    }

    /// The lock itself, for several operations in one.
    virtual SystemCriticalSection* GetLock() const VEL_RETURN_CAPABILITY(m_lock)
    {
        return &m_lock;
    }

    virtual void Clear()
    {
        const CriticalSection hold(&m_lock);
        m_items.clear();
        UpdateEvent();
    }

    /// Calls `fn` once with the items. An empty `fn` throws std::bad_function_call.
    virtual void Apply(const std::function<void(std::vector<T>&)>& fn)
    {
        const CriticalSection hold(&m_lock);
        const EventGuard guard(*this);
        fn(m_items);
    }

    /// A copy of one element; std::out_of_range for an index at or past the size.
    virtual T At(std::size_t index) const
    {
        const CriticalSection hold(&m_lock);
        return m_items.at(index);
    }

    /// Front to back, until `fn` gives false.
    virtual void ForEachWhile(const std::function<bool(T&)>& fn)
    {
        const CriticalSection hold(&m_lock);
        for (T& item : m_items)
        {
            if (!fn(item))
            {
                return;
            }
        }
    }

    /// A copy of all items. Takes no lock: callers hold GetLock().
    virtual std::vector<T> ToVector() const VEL_NO_THREAD_ANALYSIS
    {
        return m_items;
    }

    /// Calls `fn` with the address of each item, then drops them all, in one lock. When `fn` throws, all stay.
    virtual void DrainWith(const std::function<void(T*)>& fn)
    {
        const CriticalSection hold(&m_lock);
        for (T& item : m_items)
        {
            fn(&item);
        }
        Clear();
    }

    /// The same with references.
    virtual void Drain(const std::function<void(T&)>& fn)
    {
        const CriticalSection hold(&m_lock);
        for (T& item : m_items)
        {
            fn(item);
        }
        Clear();
    }

    /// Another name of Filter().
    virtual std::pair<std::size_t, std::size_t> Retain(const std::function<bool(const T&)>& fn)
    {
        return Filter(fn);
    }

    /// Removes the first match; true if there was one.
    virtual bool RemoveFirst(const std::function<bool(const T&)>& predicate)
    {
        const CriticalSection hold(&m_lock);
        const std::ptrdiff_t index = FindIndex(predicate);
        if (index >= 0)
        {
            RemoveAt(static_cast<std::size_t>(index));
        }
        UpdateEvent();
        return index >= 0;
    }

    /// Removes one element and returns it; std::out_of_range as for At().
    virtual T TakeAt(std::size_t index)
    {
        const CriticalSection hold(&m_lock);
        T taken = std::move(m_items.at(index));
        RemoveAt(index);
        return taken;
    }

    /// Removes every match; returns how many.
    virtual std::size_t RemoveAll(const std::function<bool(const T&)>& predicate)
    {
        const CriticalSection hold(&m_lock);
        const EventGuard guard(*this);
        return Drop(predicate, true);
    }

    /// Moves the first match to `out` and removes it; true if there was one.
    virtual bool TakeFirst(const std::function<bool(const T&)>& predicate, T& out)
    {
        const CriticalSection hold(&m_lock);
        const std::ptrdiff_t index = FindIndex(predicate);
        if (index >= 0)
        {
            out = std::move(m_items[static_cast<std::size_t>(index)]);
            RemoveAt(static_cast<std::size_t>(index));
        }
        UpdateEvent();
        return index >= 0;
    }

    /// Removes one element by shifting the rest down; an index out of range removes nothing.
    virtual void RemoveAt(std::size_t index)
    {
        const CriticalSection hold(&m_lock);
        if (index < m_items.size())
        {
            m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(index));
        }
        UpdateEvent();
    }

    /// Index of the first match, or -1.
    virtual std::ptrdiff_t FindIndex(const std::function<bool(const T&)>& predicate) const
    {
        const CriticalSection hold(&m_lock);
        const auto found = std::find_if(m_items.begin(), m_items.end(), std::cref(predicate));
        return found == m_items.end() ? -1 : found - m_items.begin();
    }

    /// Signalled exactly while the queue is not empty; owned here, for waiting alone.
    virtual Raii::RawHandle GetEventHandle() const
    {
        return m_event.GetHandle();
    }

    /// Keeps exactly the items for which `predicate` is true, in order. Returns the size before and the number dropped.
    virtual std::pair<std::size_t, std::size_t> Filter(const std::function<bool(const T&)>& predicate)
    {
        const CriticalSection hold(&m_lock);
        const EventGuard guard(*this);
        const std::size_t before = m_items.size();
        return {before, Drop(predicate, false)};
    }

    /// Brings the event in line with the content. The system is asked only when something changes.
    virtual void UpdateEvent()
    {
        const CriticalSection hold(&m_lock);
        const bool wanted = !m_items.empty();
        if (wanted == m_signalled)
        {
            return;
        }
        if (wanted)
        {
            m_event.Signal();
        }
        else
        {
            m_event.Reset();
        }
        m_signalled = wanted;
    }

    virtual void Copy(const ThreadSafeQueue& other)
    {
        if (this == &other)
        {
            return;
        }
        std::vector<T> items = other.CopyItems();
        const CriticalSection hold(&m_lock);
        m_items = std::move(items);
        UpdateEvent();
    }

    virtual void Move(ThreadSafeQueue&& other)
    {
        if (this == &other)
        {
            return;
        }
        std::vector<T> items = other.TakeItems();
        const CriticalSection hold(&m_lock);
        m_items = std::move(items);
        UpdateEvent();
    }

private:
    /// Keeps the event right when a callback throws after it has changed the items.
    class EventGuard
    {
    public:
        explicit EventGuard(ThreadSafeQueue& queue) noexcept : e_queue(queue)
        {
        }

        EventGuard(const EventGuard&) = delete;
        EventGuard& operator=(const EventGuard&) = delete;

        ~EventGuard()
        {
            e_queue.UpdateEventNoThrow();
        }

    private:
        ThreadSafeQueue& e_queue;
    };

    void UpdateEventNoThrow() noexcept
    {
        try
        {
            UpdateEvent();
        }
        catch (const std::exception& exception)
        {
            Log::LogException("UpdateEvent() failed", exception);
        }
    }

    /// Drops the items for which `predicate` gives `verdict`; returns how many. It is asked for all of them first, so that
    /// one that throws leaves all in their places.
    std::size_t Drop(const std::function<bool(const T&)>& predicate, bool verdict) VEL_REQUIRES(m_lock)
    {
        std::vector<bool> drops;
        drops.reserve(m_items.size());
        for (const T& item : m_items)
        {
            drops.push_back(predicate(item) == verdict);
        }
        std::size_t kept = 0;
        for (std::size_t i = 0; i < drops.size(); ++i)
        {
            if (drops[i])
            {
                continue;
            }
            if (kept != i)
            {
                m_items[kept] = std::move(m_items[i]);
            }
            ++kept;
        }
        m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(kept), m_items.end());
        return drops.size() - kept;
    }

    std::vector<T> CopyItems() const
    {
        const CriticalSection hold(&m_lock);
        return m_items;
    }

    std::vector<T> TakeItems()
    {
        const CriticalSection hold(&m_lock);
        std::vector<T> items = std::exchange(m_items, {});
        UpdateEvent();
        return items;
    }

    std::vector<T> m_items VEL_GUARDED_BY(m_lock);
    mutable SystemCriticalSection m_lock;
    Event m_event;
    /// What the event was last told.
    bool m_signalled VEL_GUARDED_BY(m_lock) = false;
};

} // namespace Shared::Concurrency
