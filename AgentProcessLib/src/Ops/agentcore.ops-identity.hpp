#pragma once

#include "agentcore.ops-appstate.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <string>

namespace AgentCore::Ops
{

/// Who the agent works for, as the machine tells it: what the main loop's states ask about user, tenant and settings.
/// An interface, so that the states are tested without a machine. Main thread only.
class Identity
{
public:
    Identity() = default;
    Identity(const Identity&) = delete;
    Identity& operator=(const Identity&) = delete;
    virtual ~Identity() = default;

    /// Whether user or tenant have become others than those the agent is registered for.
    virtual bool HasIdentityChanged(const AppState& appState) = 0;
    /// Writes the status that follows from user, selection and server; true when network tests may run.
    virtual bool UpdateEnablement(const AppState& appState) = 0;
    /// The tenant of the present user; empty while none is known.
    virtual std::wstring GetSubTenantId() = 0;
    /// The tenant that the agent is registered for; empty when it is not.
    virtual std::wstring GetRegisteredId() = 0;
    /// The VPN client's word for its tunnel.
    virtual std::wstring GetTunnelStatus() = 0;
    /// Reads the server's address anew. Throws when there is none.
    virtual void RefreshServer(AppState& appState) = 0;
    /// Milliseconds before the given attempt.
    virtual std::uint32_t CalculateRetryDelay(std::uint32_t attempt) = 0;
};

/// The BIOS serial number of this machine, of which the key of its enciphered settings is made; empty when there is none.
/// Any thread. Throws what SystemQuerier's constructor throws, and ComException.
std::string GetBiosSerialNumber();

/// The real one, on the registry.
class RegistryIdentity : public Identity
{
public:
    /// `key` opens the enciphered settings.
    explicit RegistryIdentity(Shared::Crypto::SensitiveString key);

    bool HasIdentityChanged(const AppState& appState) override;
    bool UpdateEnablement(const AppState& appState) override;
    std::wstring GetSubTenantId() override;
    std::wstring GetRegisteredId() override;
    std::wstring GetTunnelStatus() override;
    void RefreshServer(AppState& appState) override;
    std::uint32_t CalculateRetryDelay(std::uint32_t attempt) override;

private:
    Shared::Crypto::SensitiveString m_key;
};

} // namespace AgentCore::Ops
