#include "test.support-mainloop.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"

#include <memory>
#include <stdexcept>

namespace TestSupport
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;
namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;

void FakeLink::ReconnectConnector(const std::wstring& server)
{
    servers.push_back(server);
}

MainLoopTest::MainLoopTest()
    : m_stopEvent(false, true),
      m_registryChanged(false, false),
      m_upgradeTimer(false, false),
      m_heartbeatTimer(false, false),
      m_context{
          m_state,
          m_identity,
          m_link,
          m_agentKey,
          m_stopEvent,
          m_registryChanged,
          m_responses,
          m_upgradeTimer,
          m_heartbeatTimer,
          []() -> std::shared_ptr<AgentCore::System::SystemQuerier>
          {
              throw std::runtime_error("no inventory here");
          }}
{
    AgentCore::Ops::ResetRouterFeatures();
    WinReg::CreateKey(WinReg::Root::LocalMachine, Paths::Agent);
    m_agentKey = WinReg::OpenKey(WinReg::Root::LocalMachine, Paths::Agent);
    WinReg::WatchKey(m_agentKey, m_registryChanged);
}

MainLoopTest::~MainLoopTest()
{
    Shared::Time::ClockControl::Reset();
}

RuntimeState MainLoopTest::Top() const
{
    return m_state.runtimeStates.GetCurrent();
}

std::vector<RuntimeState> MainLoopTest::Stack() const
{
    const auto& items = m_state.runtimeStates.GetItems();
    return {items.begin(), items.end()};
}

void MainLoopTest::SetStack(const std::vector<RuntimeState>& states)
{
    while (!m_state.runtimeStates.Empty())
    {
        (void)m_state.runtimeStates.Pop();
    }
    for (const RuntimeState state : states)
    {
        m_state.runtimeStates.Push(state);
    }
}

void MainLoopTest::TouchAgentKey(const std::wstring& text)
{
    WinReg::SetStringValue(WinReg::Root::LocalMachine, Paths::Agent, L"status", text);
}

void MainLoopTest::ChangeIdentity()
{
    m_identity.registration.subtenantId = L"tenant";
    m_identity.vpnInfo.subTenantId = L"another tenant";
}

void MainLoopTest::PushResponse(std::uint32_t msgId, AgentCore::Messaging::MessageResponseStatus status)
{
    m_responses.Push(AgentCore::Messaging::MessageResponse({77, msgId, "{}", 0, 0, {}}, status));
}

} // namespace TestSupport
