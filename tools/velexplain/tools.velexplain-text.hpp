#pragma once

#include "tools.velexplain-report.hpp"

#include <string>

namespace Tools::VelExplain
{

/// The report for people, in UTF-8: who, the answers, and of each kind the tests that run, in their order, and those that do
/// not. Texts of the answers do nothing to a terminal.
std::string FormatText(const Report& report);

} // namespace Tools::VelExplain
