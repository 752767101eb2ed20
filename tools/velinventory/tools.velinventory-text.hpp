#pragma once

#include "tools.velinventory-report.hpp"

#include <string>

namespace Tools::VelInventory
{

/// The report for people, in UTF-8: a line for each value, with its unit and what its number means; a value that is not
/// known is shown as "-", and why stands in a list of reasons at the end.
std::string FormatText(const Report& report, Secrets secrets);

} // namespace Tools::VelInventory
