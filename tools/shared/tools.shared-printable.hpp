#pragma once

#include <string>
#include <string_view>

namespace Tools
{

/// `text` in one line that does nothing to a terminal: control characters are shown by their numbers, as "\x1B", and bytes
/// that are no UTF-8 are left out.
std::string Printable(std::string_view text);

} // namespace Tools
