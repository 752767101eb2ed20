#pragma once

#include "agentprocess.mainloop.hpp"
#include "shared.concurrency-thread.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-fakeidentity.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace TestSupport
{

/// A link that connects at once, and says to whom.
class FakeLink : public AgentCore::Ops::ConnectorLink
{
public:
    void ReconnectConnector(const std::wstring& server) override;

    std::vector<std::wstring> servers;
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
    /// Makes the present user one of another tenant than the agent is registered for.
    void ChangeIdentity();
    void PushResponse(std::uint32_t msgId, AgentCore::Messaging::MessageResponseStatus status);

    TemporarySettingsStore m_store;
    CapturedLog m_log;
    AgentCore::Ops::AppState m_state;
    FakeIdentity m_identity;
    FakeLink m_link;
    Shared::WinReg::RegKey m_agentKey;
    Shared::Concurrency::Event m_stopEvent;
    Shared::Concurrency::Event m_registryChanged;
    AgentCore::Ops::MessageResponses m_responses;
    Shared::Concurrency::WaitableTimer m_upgradeTimer;
    Shared::Concurrency::WaitableTimer m_heartbeatTimer;
    Agent::Process::LoopContext m_context;
};

} // namespace TestSupport
