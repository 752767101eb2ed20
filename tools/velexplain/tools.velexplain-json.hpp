#pragma once

#include "tools.velexplain-report.hpp"

#include <string>

namespace Tools::VelExplain
{

/// The report as one JSON object, in UTF-8 and with a line end: "agent", "user", "groups", "tags"; "answers", an object for
/// each request; "kinds", an object for each kind of test, in which "running" holds its tests in their order and "others" the
/// rest, each with its "fate" and its "reasons"; "contradictions". What is not known is null. Texts lose what is no UTF-8.
std::string FormatJson(const Report& report);

} // namespace Tools::VelExplain
