#pragma once

#include <utility>

namespace Shared::COM
{

/// One counted reference to a COM interface. Copying takes another. The thread on which it is released must still have
/// COM initialised.
template <typename Interface>
class ComPtr
{
public:
    ComPtr() noexcept = default;

    /// Takes over a reference that the caller holds.
    explicit ComPtr(Interface* owned) noexcept : m_pointer(owned)
    {
    }

    ComPtr(const ComPtr& other) noexcept : m_pointer(other.m_pointer)
    {
        if (m_pointer != nullptr)
        {
            m_pointer->AddRef();
        }
    }

    ComPtr(ComPtr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr))
    {
    }

    ComPtr& operator=(const ComPtr& other) noexcept
    {
        ComPtr copy(other);
        std::swap(m_pointer, copy.m_pointer);
        return *this;
    }

    ComPtr& operator=(ComPtr&& other) noexcept
    {
        ComPtr moved(std::move(other));
        std::swap(m_pointer, moved.m_pointer);
        return *this;
    }

    ~ComPtr()
    {
        if (m_pointer != nullptr)
        {
            m_pointer->Release();
        }
    }

    /// Where a call that hands out a reference puts it; what was held is released before.
    Interface** Receive() noexcept
    {
        *this = ComPtr{};
        return &m_pointer;
    }

    Interface* Get() const noexcept
    {
        return m_pointer;
    }

    Interface* operator->() const noexcept
    {
        return m_pointer;
    }

    explicit operator bool() const noexcept
    {
        return m_pointer != nullptr;
    }

private:
    Interface* m_pointer = nullptr;
};

} // namespace Shared::COM
