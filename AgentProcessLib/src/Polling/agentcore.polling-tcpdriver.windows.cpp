#include "agentcore.polling-tcpdriver.hpp"

namespace AgentCore::Polling
{

Shared::Services::ServiceState QueryTcpDriverState()
{
    namespace Access = Shared::Services::Access;

    const auto manager = Shared::Services::ServiceControlManager::Open(Access::ManagerAll);
    return manager.AccessService(L"tvntcpcodrv", Access::ServiceQueryStatus).QueryState();
}

} // namespace AgentCore::Polling
