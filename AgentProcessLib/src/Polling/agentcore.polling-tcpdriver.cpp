#include "agentcore.polling-tcpdriver.hpp"

#include "shared.log-functions.hpp"

#include <exception>

namespace AgentCore::Polling
{

bool IsTcpDriverRunning(const std::function<Shared::Services::ServiceState()>& queryState)
{
    try
    {
        if (queryState() == Shared::Services::ServiceState::Running)
        {
            return true;
        }
        Shared::Log::Info("TCP driver service is currently not running, will default to standard MTR tests.");
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogException("Couldn't query the TCP driver service", exception);
    }
    return false;
}

} // namespace AgentCore::Polling
