#pragma once

#include <memory>
#include <vector>

#include "agentcore.wlan-wlanclient.hpp"
#include "network.pb.h"

namespace AgentCore::Wlan
{

/// Tells which wireless networks the machine is connected to. Belongs to the thread that made it.
class WlanQuerier
{
public:
    /// Opens a session with the system's wireless service; where there is none, there are no wireless networks.
    WlanQuerier();
    /// Asks `client`; null stands for no wireless service.
    explicit WlanQuerier(std::unique_ptr<WlanClient> client) noexcept;
    WlanQuerier(const WlanQuerier&) = delete;
    WlanQuerier& operator=(const WlanQuerier&) = delete;
    virtual ~WlanQuerier() = default;

    /// The links of all connected interfaces, in the system's order. Empty without a session, and, logged as an error,
    /// when the interfaces cannot be listed. Signal, noise and their ratio are not measured.
    virtual std::vector<WirelessLan> GetWlanStats();

    /// Whether there is a session.
    virtual bool HasClient() const noexcept;

    /// All wireless interfaces, connected or not. Empty as above.
    virtual std::vector<WlanInterface> EnumerateInterfaces();

    /// What is to be told of one of them. What the system does not tell stays at its default. Needs a session.
    virtual WirelessLan ReadInterface(const WlanInterface& wlanInterface);

private:
    std::unique_ptr<WlanClient> m_client;
};

} // namespace AgentCore::Wlan
