#pragma once

#include "lab.control-connectorfile.hpp"
#include "lab.scenario-scenario.hpp"

#include <string>
#include <string_view>

namespace Lab
{

/// The host in a server's text, as the agent reads it: without scheme, quotation marks, port and a slash at the end.
std::string HostOf(std::string_view server);

/// What the connector is told: every server that the scenario names is at `cloud`, but for those that are unreachable.
Control::ConnectorFile MakeConnectorFile(const Scenario& scenario, const Net::Endpoint& cloud, double speed);

} // namespace Lab
