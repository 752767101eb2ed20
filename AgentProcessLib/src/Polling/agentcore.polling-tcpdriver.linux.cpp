#include "agentcore.polling-tcpdriver.hpp"

namespace AgentCore::Polling
{

Shared::Services::ServiceState QueryTcpDriverState()
{
    return Shared::Services::ServiceState::Stopped;
}

} // namespace AgentCore::Polling
