#pragma once

#include "shared.exception-exceptions.hpp"

#include <source_location>
#include <utility>

namespace Shared::Util
{

/// A value that may be missing, and whose reading while it is missing is a failure of its own. Copying keeps the flag.
template <typename T>
class Nullable
{
public:
    /// Empty.
    Nullable() = default;

    // NOLINTNEXTLINE(google-explicit-constructor): a value is one that is not missing
    Nullable(T value) : m_value(std::move(value)), m_hasValue(true)
    {
    }

    bool HasValue() const noexcept
    {
        return m_hasValue;
    }

    /// The value; while empty throws the runtime exception "Nullable is null" with the place of the call.
    const T& GetValue(const std::source_location& where = std::source_location::current()) const
    {
        if (!m_hasValue)
        {
            throw Exception::RuntimeException("Nullable is null", where);
        }
        return m_value;
    }

    void SetValue(T value)
    {
        m_value = std::move(value);
        m_hasValue = true;
    }

    /// Makes it empty; the old value is dropped.
    void Reset()
    {
        m_value = T();
        m_hasValue = false;
    }

    bool operator==(const Nullable& other) const = default;

private:
    T m_value{};
    bool m_hasValue = false;
};

} // namespace Shared::Util
