// A registration against a server that answers anything: each line is the answer to one request, and when the lines are
// used up the server says 404. However it goes, no connector is started for what is no host, nothing is half taken over,
// and each request forgot the identity before.

#include "agentcore.ops-functions.hpp"
#include "fuzz.require.hpp"
#include "fuzz.silence.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-fakeidentity.hpp"
#include "test.support-settingsstore.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using AgentCore::Ops::AppState;
using AgentCore::Ops::RuntimeState;
using Fuzz::Require;

constexpr std::size_t MostRequests = 8;
constexpr const char* LastAnswer = R"({"statusCode":404})";

/// One process, one settings store, which is empty.
struct Surroundings
{
    Surroundings()
    {
        Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Config);
    }

    Fuzz::Silence silence;
    TestSupport::TemporarySettingsStore store;
};

/// Each connection brings the next answer.
class AnsweringLink : public AgentCore::Ops::ConnectorLink
{
public:
    AnsweringLink(AppState& appState, std::vector<std::string> answers)
        : e_appState(appState), m_answers(std::move(answers))
    {
    }

    void ReconnectConnector(const std::wstring& server) override
    {
        Require(!server.empty());
        Require(
            std::none_of(server.begin(), server.end(), [](wchar_t each) { return each <= L' ' || each == L'\x7F'; }));
        servers.push_back(server);
        WireProtocol::Comms::InboundMessage message;
        message.MsgId = 24100;
        message.Payload = servers.size() <= m_answers.size() ? m_answers[servers.size() - 1] : LastAnswer;
        e_appState.inboundMessages.Push(std::move(message));
    }

    std::vector<std::wstring> servers;

private:
    AppState& e_appState;
    std::vector<std::string> m_answers;
};

/// One registration from its start to its end.
class Run
{
public:
    explicit Run(std::vector<std::string> answers) : m_link(m_state, std::move(answers))
    {
        m_identity.vpnInfo.subTenantId = L"tenant";
        m_identity.vpnInfo.fullUsername = L"DOMAIN\\anna";
        m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
        m_state.settings.server = L"first.example";
        m_state.runtimeStates.Push(RuntimeState::Register);
        const AgentCore::Ops::RegistrationContext context{
            m_state, m_identity, m_link,
            []
            {
                return false;
            }};
        try
        {
            AgentCore::Ops::Register(context, m_state.settings.server);
        }
        catch (const std::exception&)
        {
            m_hasThrown = true;
        }
    }

    void Check() const
    {
        const RuntimeState state = m_state.runtimeStates.GetCurrent();
        const bool isRegistered = state == RuntimeState::Initialise;
        Require(m_hasThrown ? state == RuntimeState::Register : isRegistered || state == RuntimeState::StopRequested);
        const std::size_t requests = m_state.outboundMessages.Size();
        Require(requests >= 1 && m_link.servers.size() == requests + (isRegistered ? 1 : 0));
        Require(m_identity.deletions == static_cast<int>(requests));
        Require(m_identity.removed.size() <= requests);
        isRegistered ? CheckRegistered() : CheckUntouched();
    }

private:
    void CheckRegistered() const
    {
        Require(m_state.settings.subtenantId == L"tenant" && m_identity.registration.subtenantId == L"tenant");
        Require(m_identity.saves == 1 && m_identity.saved.serverRaw == m_state.settings.serverRaw);
        Require(m_identity.saved.agentUuid == m_state.settings.agentUuid);
        Require(m_link.servers.back() == m_state.settings.server);
        Require(m_state.usernames.empty());
    }

    void CheckUntouched() const
    {
        Require(m_identity.saves == 0);
        Require(m_state.settings.server == L"first.example" && m_state.settings.serverRaw.empty());
        Require(m_state.settings.agentUuid.empty() && m_state.settings.subtenantId.empty());
        Require(m_state.usernames.size() == 1);
    }

    AppState m_state;
    TestSupport::FakeIdentity m_identity;
    AnsweringLink m_link;
    bool m_hasThrown = false;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Surroundings s_surroundings;
    std::vector<std::string> answers =
        Shared::Util::Split(std::string_view(reinterpret_cast<const char*>(data), size), std::string_view("\n"));
    answers.resize(std::min(answers.size(), MostRequests));
    Run(std::move(answers)).Check();
    return 0;
}
