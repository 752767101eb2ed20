#pragma once

#include "shared.crypto-wiping.hpp"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace Shared::Crypto
{

/// A text that is wiped: wherever its storage is released (destruction, assignment, growth, Clear()), every character of
/// it has been overwritten with 0 before. Its characters are never inside the object itself, so a moved-from object, which
/// is empty, holds none either. A copy is a text of its own, which wipes itself; make one only to pass the text on. The
/// text may hold null characters and has no terminator. Not for use by several threads at once.
template <typename Char>
class BasicSensitiveString
{
public:
    using View = std::basic_string_view<Char>;

    BasicSensitiveString() noexcept = default;

    explicit BasicSensitiveString(View text) : m_text(text.begin(), text.end())
    {
    }

    BasicSensitiveString(const BasicSensitiveString& other) = default;

    BasicSensitiveString(BasicSensitiveString&& other) noexcept : m_text(std::move(other.m_text))
    {
    }

    BasicSensitiveString& operator=(const BasicSensitiveString& other)
    {
        // In a buffer that is large enough, assignment would leave what is longer behind.
        BasicSensitiveString copy(other);
        m_text.swap(copy.m_text);
        return *this;
    }

    BasicSensitiveString& operator=(BasicSensitiveString&& other) noexcept
    {
        BasicSensitiveString taken(std::move(other));
        m_text.swap(taken.m_text);
        return *this;
    }

    virtual ~BasicSensitiveString() = default;

    /// Appends `text`, which must not be a part of this one.
    void Append(View text)
    {
        m_text.insert(m_text.end(), text.begin(), text.end());
    }

    /// Wipes the text and releases its storage.
    void Clear() noexcept
    {
        Storage().swap(m_text);
    }

    /// The text; valid until this object changes.
    View GetView() const noexcept
    {
        return View(m_text.data(), m_text.size());
    }

    bool IsEmpty() const noexcept
    {
        return m_text.empty();
    }

    std::size_t GetSize() const noexcept
    {
        return m_text.size();
    }

private:
    using Storage = std::vector<Char, WipingAllocator<Char>>;

    Storage m_text;
};

/// A wide text that is wiped before it is released.
using SensitiveString = BasicSensitiveString<wchar_t>;
/// The same of narrow characters.
using SensitiveNarrowString = BasicSensitiveString<char>;

/// UTF-8 to wide, and back, as Shared::Util::ConvertStringType() does it, without a copy that stays.
SensitiveString ToSensitiveString(std::string_view utf8);
SensitiveNarrowString ToUtf8(const SensitiveString& text);

} // namespace Shared::Crypto
