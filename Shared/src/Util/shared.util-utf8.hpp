#pragma once

#include <string>
#include <string_view>

/// Strict UTF-8, the same on both platforms although a wide character has 16 bits on one and 32 on the other.
///
/// What is no Unicode scalar value is dropped, never replaced: in wide text a surrogate without its partner (and, where
/// wide characters have 32 bits, every surrogate and everything above U+10FFFF), in narrow text every byte that is not
/// part of a well-formed sequence, which overlong forms, encoded surrogates and cut-off sequences are not. Null
/// characters are characters like others. Pure functions: any thread, no failure but lack of memory.
namespace Shared::Util::Utf8
{

/// Wide to UTF-8.
std::string Encode(std::wstring_view text);

/// UTF-8 to wide. Of the same text, Encode(Decode(x)) is DropInvalid(x), and the other way round.
std::wstring Decode(std::string_view text);

/// Whether Decode would drop nothing.
bool IsValid(std::string_view text) noexcept;

/// `text` without what Encode would drop.
std::wstring DropInvalid(std::wstring_view text);

/// `text` without what Decode would drop.
std::string DropInvalid(std::string_view text);

} // namespace Shared::Util::Utf8
