#pragma once

#include "shared.exception-exceptions.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

namespace Shared::Util
{

/// A stack that holds at most so many items: a push onto a full one drops the oldest, at the bottom. With `uniqueTop`,
/// pushing the current top again changes nothing. Not synchronised.
template <typename T>
class CappedStack
{
public:
    /// @param maxSize at least 1; 0 throws the invalid-argument exception "maxSize is 0".
    CappedStack(std::uint64_t maxSize, bool uniqueTop) : m_maxSize(maxSize), m_uniqueTop(uniqueTop)
    {
        if (maxSize == 0)
        {
            throw Exception::InvalidArgumentException("maxSize is 0");
        }
    }

    CappedStack(const CappedStack&) = default;
    CappedStack& operator=(const CappedStack&) = default;
    virtual ~CappedStack() = default;

    virtual void Push(const T& value)
    {
        if (m_uniqueTop && !m_items.empty() && m_items.back() == value)
        {
            return;
        }
        // Appended first, as the value may be the oldest item itself.
        m_items.push_back(value);
        if (m_items.size() > m_maxSize)
        {
            m_items.pop_front();
        }
    }

    /// Removes the top into `out`; false on an empty stack, with `out` as it was.
    virtual bool TryPop(T& out)
    {
        if (m_items.empty())
        {
            return false;
        }
        out = Pop();
        return true;
    }

    /// Removes and returns the top. Throws the runtime exception "Cannot pop empty stack".
    virtual T Pop()
    {
        if (m_items.empty())
        {
            throw Exception::RuntimeException("Cannot pop empty stack");
        }
        T top = std::move(m_items.back());
        m_items.pop_back();
        return top;
    }

    /// TryPop() that never takes the last item.
    virtual bool TryPopKeepLast(T& out)
    {
        return m_items.size() >= 2 && TryPop(out);
    }

    /// Drops the top unless it is the last item.
    virtual void PopKeepLast()
    {
        if (m_items.size() >= 2)
        {
            m_items.pop_back();
        }
    }

    /// The bottom. Throws the runtime exception "Cannot get from empty stack".
    virtual const T& GetFirst() const
    {
        RequireItem();
        return m_items.front();
    }

    /// The top. As above.
    virtual const T& GetCurrent() const
    {
        RequireItem();
        return m_items.back();
    }

    /// All items, bottom first.
    virtual const std::deque<T>& GetItems() const noexcept
    {
        return m_items;
    }

    /// Whether the top equals `value`; false on an empty stack.
    virtual bool IsCurrent(const T& value) const
    {
        return !m_items.empty() && m_items.back() == value;
    }

    virtual void Push(T&& value)
    {
        Push(std::as_const(value));
    }

    /// Counted from the bottom. Throws the runtime exception "stack is empty"; std::out_of_range past the top.
    virtual const T& operator[](std::size_t index) const
    {
        if (m_items.empty())
        {
            throw Exception::RuntimeException("stack is empty");
        }
        return m_items.at(index);
    }

    virtual std::uint64_t GetMaxSize() const noexcept
    {
        return m_maxSize;
    }

    virtual std::size_t Size() const noexcept
    {
        return m_items.size();
    }

    virtual bool Empty() const noexcept
    {
        return m_items.empty();
    }

    virtual bool IsUniqueTop() const noexcept
    {
        return m_uniqueTop;
    }

    /// Pushes the item at `index` again, `fallback` when the stack has no such index: how a state is returned to. An
    /// index that wrapped below zero is none.
    virtual void PushAt(std::size_t index, const T& fallback)
    {
        const T value = index < m_items.size() ? m_items[index] : fallback;
        Push(value);
    }

private:
    void RequireItem() const
    {
        if (m_items.empty())
        {
            throw Exception::RuntimeException("Cannot get from empty stack");
        }
    }

    std::uint64_t m_maxSize;
    std::deque<T> m_items;
    bool m_uniqueTop;
};

} // namespace Shared::Util
