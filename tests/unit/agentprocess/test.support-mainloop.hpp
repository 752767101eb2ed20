#pragma once

#include "agentprocess.mainloop.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace TestSupport
{

/// Answers what the test says, and counts what it is asked.
class FakeIdentity : public AgentCore::Ops::Identity
{
public:
    bool HasIdentityChanged(const AgentCore::Ops::AppState& appState) override;
    bool UpdateEnablement(const AgentCore::Ops::AppState& appState) override;
    std::wstring GetSubTenantId() override;
    std::wstring GetRegisteredId() override;
    std::wstring GetTunnelStatus() override;
    void RefreshServer(AgentCore::Ops::AppState& appState) override;
    std::uint32_t CalculateRetryDelay(std::uint32_t attempt) override;

    bool identityChanged = false;
    bool testsEnabled = false;
    /// Throws from UpdateEnablement().
    bool fails = false;
    std::wstring subTenantId;
    std::wstring registeredId;
    /// What every delay is; the attempts that it was asked for are kept.
    std::uint32_t delayMs = 1;
    std::vector<std::uint32_t> attempts;
    int enablementUpdates = 0;
    int identityChecks = 0;
    int serverRefreshes = 0;
};

/// The main loop's surroundings, with a settings store of their own and a fake identity.
class MainLoopTest : public ::testing::Test
{
protected:
    MainLoopTest();
    ~MainLoopTest() override;

    AgentCore::Ops::RuntimeState Top() const;
    /// The stack, bottom first.
    std::vector<AgentCore::Ops::RuntimeState> Stack() const;
    /// Puts these states on the stack, bottom first, and nothing else.
    void SetStack(const std::vector<AgentCore::Ops::RuntimeState>& states);
    /// Writes a value of the agent key, as another program does.
    void TouchAgentKey(const std::wstring& text);
    void PushResponse(std::uint32_t msgId, AgentCore::Messaging::MessageResponseStatus status);

    TemporarySettingsStore m_store;
    CapturedLog m_log;
    AgentCore::Ops::AppState m_state;
    FakeIdentity m_identity;
    Shared::WinReg::RegKey m_agentKey;
    Shared::Concurrency::Event m_stopEvent;
    Shared::Concurrency::Event m_registryChanged;
    AgentCore::Ops::MessageResponses m_responses;
    Shared::Concurrency::WaitableTimer m_upgradeTimer;
    Shared::Concurrency::WaitableTimer m_heartbeatTimer;
    Agent::Process::LoopContext m_context;
};

} // namespace TestSupport
