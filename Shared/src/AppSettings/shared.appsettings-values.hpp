#pragma once

#include "shared.appsettings-table.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Reading and writing of single values through the table of settings, for the code of this folder. All may be called from
/// any thread and rely on the registry's atomicity for each value.
namespace Shared::AppSettings
{

/// A value that is stored as a number; anything else does not compile.
class NumberValue
{
public:
    // NOLINTNEXTLINE(google-explicit-constructor): the name of the value is enough
    consteval NumberValue(Value value) : m_value(value)
    {
        if (RowOf(value).type != ValueType::Number)
        {
            throw "this value is stored as text";
        }
    }

    const Setting& GetRow() const noexcept
    {
        return RowOf(m_value);
    }

private:
    Value m_value;
};

/// A value that is stored as text; anything else does not compile.
class TextValue
{
public:
    // NOLINTNEXTLINE(google-explicit-constructor): the name of the value is enough
    consteval TextValue(Value value) : m_value(value)
    {
        if (RowOf(value).type == ValueType::Number)
        {
            throw "this value is stored as a number";
        }
    }

    const Setting& GetRow() const noexcept
    {
        return RowOf(m_value);
    }

private:
    Value m_value;
};

/// The text of a value; nothing when it cannot be read.
std::optional<std::wstring> TryReadText(TextValue value);

/// The same, with the table's text where it cannot be read; empty when the table has none.
std::wstring ReadText(TextValue value);

/// The text of a value that must be there. Throws Win32Exception "Cannot read string from registry" in the registry's form.
std::wstring RequireText(TextValue value);

/// The number of a value, or the table's where it cannot be read; 0 when the table has none.
std::uint32_t ReadNumber(NumberValue value);

/// The number of a value that must be there. Throws Win32Exception "Cannot read DWORD from registry".
std::uint32_t RequireNumber(NumberValue value);

/// Writes a value. Throws Win32Exception when its key is missing or cannot be written.
void Write(TextValue value, const std::wstring& text);
void Write(NumberValue value, std::uint32_t number);

/// Deletes a value; one that is not there is no failure.
void Delete(Value value);

/// The plain text of an enciphered one. Throws what Crypto::Decrypt() throws.
Crypto::SensitiveString Decipher(std::wstring_view enciphered, const Crypto::SensitiveString& key);

/// Enciphers a text and writes it. Throws what Crypto::Encrypt() throws, and as Write().
void WriteEnciphered(TextValue value, std::wstring_view plain, const Crypto::SensitiveString& key);

} // namespace Shared::AppSettings
