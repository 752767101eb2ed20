#pragma once

#include "tools.velinventory-report.hpp"

#include <string>

namespace Tools::VelInventory
{

/// The report as one JSON object, in UTF-8 and with a line end: "startup", the message as the agent would send it;
/// "settings", an object for each section with its values; "missing", a list of objects with "field" and "reason". Texts
/// lose what is no UTF-8. Throws the runtime exception of Shared::Protobuf::GenerateJSONFrom().
std::string FormatJson(const Report& report, Secrets secrets);

} // namespace Tools::VelInventory
