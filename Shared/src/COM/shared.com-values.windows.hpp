#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <string_view>

#include "shared.platform-windows.windows.hpp"

#include <oleauto.h>

namespace Shared::COM
{

/// A text in COM's form, owned.
class Bstr
{
public:
    /// Throws std::bad_alloc, also for a text that is longer than COM can hold.
    explicit Bstr(std::wstring_view text)
        : m_text(
              text.size() <= LongestText ? ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())) : nullptr)
    {
        if (m_text == nullptr)
        {
            throw std::bad_alloc{};
        }
    }

    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    ~Bstr()
    {
        ::SysFreeString(m_text);
    }

    BSTR Get() const noexcept
    {
        return m_text;
    }

private:
    static constexpr std::size_t LongestText = std::numeric_limits<UINT>::max() / sizeof(wchar_t) - 8;

    BSTR m_text;
};

/// A value of any of COM's types, cleared on destruction.
class Variant
{
public:
    Variant() noexcept
    {
        ::VariantInit(&m_value);
    }

    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    ~Variant()
    {
        ::VariantClear(&m_value);
    }

    /// Where a call that hands out a value puts it; nothing may have been put there before.
    VARIANT* Receive() noexcept
    {
        return &m_value;
    }

    const VARIANT& Get() const noexcept
    {
        return m_value;
    }

private:
    VARIANT m_value{};
};

} // namespace Shared::COM
