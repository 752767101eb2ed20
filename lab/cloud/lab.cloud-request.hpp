#pragma once

#include "lab.scenario-scenario.hpp"
#include "lab.wire-envelope.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

namespace Lab::Cloud
{

/// Which of the requests that a scenario has names for this is; nothing for any other message. Requests for configuration
/// are known by the paths that they name.
std::optional<RequestKind> KindOf(const Wire::Envelope& envelope);

/// Whether it asks for configuration.
bool IsForConfiguration(RequestKind kind) noexcept;

/// The paths that a request for configuration names under "trees" or under "keys".
std::vector<std::string> PathsOf(const rapidjson::Value& request, std::string_view member);

} // namespace Lab::Cloud
