#pragma once

#include <string>

namespace Shared::Util
{

/// A value of an enumeration that knows its text. `Converter::ToText(Value)` gives the text of a value. Equal to another
/// one of its kind, and to the plain value, when the values are equal. Copies freely; any thread.
template <typename Value, typename Converter>
class Enumeration
{
public:
    constexpr Enumeration() noexcept = default;

    // NOLINTNEXTLINE(google-explicit-constructor): it is that value, and stands where one does
    constexpr Enumeration(Value value) noexcept : m_value(value)
    {
    }

    constexpr Value GetValue() const noexcept
    {
        return m_value;
    }

    std::wstring ToText() const
    {
        return std::wstring(Converter::ToText(m_value));
    }

    friend constexpr bool operator==(const Enumeration&, const Enumeration&) noexcept = default;

    friend constexpr bool operator==(const Enumeration& enumeration, Value value) noexcept
    {
        return enumeration.m_value == value;
    }

private:
    Value m_value{};
};

} // namespace Shared::Util
