#pragma once

#include <string_view>

namespace Lab::Wire
{

/// Whether `text` is well-formed UTF-8: shortest forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view text) noexcept;

} // namespace Lab::Wire
