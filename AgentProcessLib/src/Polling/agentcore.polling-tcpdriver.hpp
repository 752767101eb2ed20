#pragma once

#include "shared.services-services.hpp"

#include <functional>

/// The driver of path tests by TCP.
namespace AgentCore::Polling
{

/// The state of the driver's service now. Throws what Shared::Services throws, as for a service that is not installed. On
/// Linux, for which there is no such driver, it is always stopped.
Shared::Services::ServiceState QueryTcpDriverState();

/// Whether the driver runs. If it does not, the log says so, or what was thrown.
bool IsTcpDriverRunning(const std::function<Shared::Services::ServiceState()>& queryState);

} // namespace AgentCore::Polling
