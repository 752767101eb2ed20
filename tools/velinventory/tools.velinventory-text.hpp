#pragma once

#include "tools.velinventory-report.hpp"

#include <string>
#include <string_view>

namespace Tools::VelInventory
{

/// The report for people, in UTF-8: a line for each value, with its unit and what its number means; a value that is not
/// known is shown as "-", and why stands in a list of reasons at the end.
std::string FormatText(const Report& report, Secrets secrets);

/// `text` in one line that does nothing to a terminal: control characters are shown by their numbers, as "\x1B", and bytes
/// that are no UTF-8 are left out.
std::string Printable(std::string_view text);

} // namespace Tools::VelInventory
