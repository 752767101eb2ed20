#include "lab.vellab-servers.hpp"

#include "shared.util-functions.hpp"

#include <algorithm>
#include <array>

namespace Lab
{

std::string HostOf(std::string_view server)
{
    std::string host(server);
    constexpr std::array<std::string_view, 3> Removed = {"https://", "http://", "\""};
    for (const std::string_view text : Removed)
    {
        host = Shared::Util::ReplaceAll(std::string_view(host), text, std::string_view());
    }
    host = host.substr(0, host.find(':'));
    if (host.ends_with('/'))
    {
        host.pop_back();
    }
    return Shared::Util::ToLower(std::string_view(host));
}

Control::ConnectorFile MakeConnectorFile(const Scenario& scenario, const Net::Endpoint& cloud, double speed)
{
    constexpr std::chrono::milliseconds ShortestDelay(20);
    constexpr AgentSeconds Delay(1);
    Control::ConnectorFile file;
    file.servers[HostOf(scenario.server)] = cloud;
    for (const RegistrationAnswer& answer : scenario.cloud.registration)
    {
        file.servers[HostOf(answer.server)] = cloud;
    }
    file.servers.erase("");
    for (const std::string& server : scenario.cloud.unreachable)
    {
        file.servers.erase(HostOf(server));
    }
    file.control = cloud;
    file.reconnectDelay = std::max(ShortestDelay, std::chrono::duration_cast<std::chrono::milliseconds>(Delay / speed));
    return file;
}

} // namespace Lab
