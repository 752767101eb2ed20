#pragma once

#include <string>

namespace Shared::WinReg
{

/// A name as the store has it: in UTF-8, up to the first null character.
std::string ToStoredName(const std::wstring& text);

/// A path as the store has it: the same, without "\" at the end.
std::string ToStoredPath(const std::wstring& text);

} // namespace Shared::WinReg
