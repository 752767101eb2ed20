#include "agentcore.ops-functions.hpp"

#include "agentcore.ops-exceptions.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-fakeidentity.hpp"
#include "test.support-settingsstore.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using AgentCore::Exception::ActionRequiredException;
using AgentCore::Ops::AppState;
using AgentCore::Ops::ConnectorLink;
using AgentCore::Ops::RegistrationContext;
using AgentCore::Ops::RuntimeState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::RuntimeText;

/// Each connection brings the next answer of the server.
class ScriptedLink : public ConnectorLink
{
public:
    explicit ScriptedLink(AppState& appState) : e_appState(appState)
    {
    }

    void ReconnectConnector(const std::wstring& server) override
    {
        servers.push_back(server);
        if (!answers.empty())
        {
            WireProtocol::Comms::InboundMessage message;
            message.MsgId = 24100;
            message.Payload = answers.front();
            answers.pop_front();
            e_appState.inboundMessages.Push(message);
        }
    }

    std::deque<std::string> answers;
    std::vector<std::wstring> servers;

private:
    AppState& e_appState;
};

const std::string Success =
    R"({"statusCode":200,"accountId":4,"agentUuid":"new uuid","subTenantId":"tenant","server":"https://b.example:8443/"})";

std::string Refusal(const std::string& action, const std::string& error)
{
    return R"({"statusCode":400,"action":")" + action + R"(","error":")" + error + "\"}";
}

std::string RedirectTo(const std::string& server)
{
    return R"({"statusCode":307,"server":")" + server + "\"}";
}

class RegistrationTest : public ::testing::Test
{
protected:
    RegistrationTest()
    {
        Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Config);
        Shared::Time::ClockControl::SetSpeed(100'000);
        m_identity.vpnInfo.subTenantId = L"tenant";
        m_identity.vpnInfo.fullUsername = L"DOMAIN\\anna";
        m_identity.vpnInfo.timestamp = 1'700'000'000;
        m_identity.deviceIds.device = L"guid";
        m_state.settings.installedVersion = L"1.2.3";
        m_state.settings.server = L"first.example";
    }

    ~RegistrationTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    void Register()
    {
        AgentCore::Ops::Register(m_context, m_state.settings.server);
    }

    RuntimeState Top() const
    {
        return m_state.runtimeStates.GetCurrent();
    }

    /// The requests that were queued.
    std::vector<VelRouter::V4_Message> Sent()
    {
        std::vector<VelRouter::V4_Message> messages;
        m_state.outboundMessages.Drain([&](const WireProtocol::Comms::OutboundMessage& message)
                                       { messages.push_back(WireProtocol::Comms::DecodeRouterMessage(message.Data)); });
        return messages;
    }

    std::size_t Count(Level level, const std::string& text)
    {
        return m_log.Count(level, text);
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    AppState m_state;
    TestSupport::FakeIdentity m_identity;
    ScriptedLink m_link{m_state};
    bool m_isStopRequested = false;
    RegistrationContext m_context{
        m_state, m_identity, m_link,
        [this]
        {
            return m_isStopRequested;
        }};
};

TEST_F(RegistrationTest, ReconcilingWithoutAnIdentityRegisters)
{
    AgentCore::Ops::ReconcileRegistration(m_state, m_identity);
    EXPECT_EQ(Top(), RuntimeState::Register);
    EXPECT_EQ(Count(Level::Info, "No AgentUuid or RegisteredId found; reregistering..."), 1U);
}

TEST_F(RegistrationTest, ReconcilingWithAUuidAndNoTenantRegisters)
{
    m_identity.registration = {4, L"uuid", L""};
    AgentCore::Ops::ReconcileRegistration(m_state, m_identity);
    EXPECT_EQ(Top(), RuntimeState::Register);
}

TEST_F(RegistrationTest, ReconcilingWithAnotherTenantRegisters)
{
    for (const wchar_t* registered : {L"Tenant", L"tenant ", L"another"})
    {
        m_identity.registration = {4, L"uuid", registered};
        AgentCore::Ops::ReconcileRegistration(m_state, m_identity);
        EXPECT_EQ(Top(), RuntimeState::Register);
        m_state.runtimeStates.Push(RuntimeState::Initialise);
    }
    EXPECT_EQ(Count(Level::Info, "New user does not match RegisteredId; reregistering..."), 3U);
}

TEST_F(RegistrationTest, ReconcilingWithARegisteredTenantAndNoPresentOneRegisters)
{
    m_identity.registration = {4, L"uuid", L"tenant"};
    m_identity.vpnInfo.subTenantId.clear();
    AgentCore::Ops::ReconcileRegistration(m_state, m_identity);
    EXPECT_EQ(Top(), RuntimeState::Register);
}

TEST_F(RegistrationTest, ReconcilingWithTheSameTenantKeepsTheIdentityAndReadsTheSettingsAnew)
{
    m_identity.registration = {4, L"uuid", L"tenant"};
    m_state.settings.serverRaw = L"https://kept.example";
    AgentCore::Ops::ReconcileRegistration(m_state, m_identity);
    EXPECT_EQ(Top(), RuntimeState::EstablishConnection);
    EXPECT_EQ(Count(Level::Info, "Existing uuid for user found"), 1U);
    EXPECT_EQ(m_identity.saves, 1);
    EXPECT_EQ(m_identity.saved.serverRaw, L"https://kept.example");
    EXPECT_EQ(m_state.settings.installedVersion, L"loaded anew");
    EXPECT_EQ(m_state.settings.agentUuid, L"uuid");
    EXPECT_EQ(m_state.settings.accountId, 4U);
    EXPECT_EQ(m_state.settings.subtenantId, L"tenant");
}

TEST_F(RegistrationTest, AnIdentityWithoutAPresentTenantHasNotChanged)
{
    m_identity.registration.subtenantId = L"tenant";
    m_identity.vpnInfo.subTenantId.clear();
    EXPECT_FALSE(AgentCore::Ops::HasIdentityChanged(m_state, m_identity));
    EXPECT_EQ(Count(Level::Info, "No registered-id could be derived from the current VPN connection information"), 1U);
}

TEST_F(RegistrationTest, AnotherTenantIsAChange)
{
    m_identity.registration.subtenantId = L"Tenant";
    EXPECT_TRUE(AgentCore::Ops::HasIdentityChanged(m_state, m_identity));
    EXPECT_EQ(
        Count(Level::Info, "The expected and actual registeredIds do not match; the agent will need to reregister"),
        1U);
}

TEST_F(RegistrationTest, AnotherUserIsAChange)
{
    m_identity.registration.subtenantId = L"tenant";
    m_state.username = L"DOMAIN\\berta";
    EXPECT_TRUE(AgentCore::Ops::HasIdentityChanged(m_state, m_identity));
    EXPECT_EQ(Count(Level::Info, "Detected a username change. The agent will need to re-initialise."), 1U);
}

TEST_F(RegistrationTest, AUserInAnotherCaseIsTheSame)
{
    m_identity.registration.subtenantId = L"tenant";
    m_state.username = L"domain\\ANNA";
    EXPECT_FALSE(AgentCore::Ops::HasIdentityChanged(m_state, m_identity));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(RegistrationTest, WithoutATenantTheAgentIsDisconnected)
{
    m_identity.vpnInfo.subTenantId.clear();
    Register();
    EXPECT_EQ(Top(), RuntimeState::Disconnected);
    EXPECT_EQ(m_identity.deletions, 0);
    EXPECT_THAT(m_link.servers, IsEmpty());
    EXPECT_EQ(
        Count(
            Level::Warning,
            "Tried to register, but no subtenant-id was found. This agent will remain in a "
            "disconnected-disabled state."),
        1U);
}

TEST_F(RegistrationTest, ASuccessIsTakenOverAndKept)
{
    m_link.answers = {Success};
    Register();
    EXPECT_EQ(Top(), RuntimeState::Initialise);
    EXPECT_EQ(m_state.settings.accountId, 4U);
    EXPECT_EQ(m_state.settings.agentUuid, L"new uuid");
    EXPECT_EQ(m_state.settings.subtenantId, L"tenant");
    EXPECT_EQ(m_state.settings.serverRaw, L"https://b.example:8443/");
    EXPECT_EQ(m_state.settings.server, L"b.example");
    EXPECT_EQ(m_state.settings.port, 8443U);
    EXPECT_EQ(m_identity.registration.subtenantId, L"tenant");
    EXPECT_EQ(m_identity.saved.agentUuid, L"new uuid");
    EXPECT_THAT(m_link.servers, ElementsAre(L"first.example", L"b.example"));
    EXPECT_TRUE(m_state.usernames.empty());
    EXPECT_EQ(Count(Level::Info, "Attempting to register agent..."), 1U);
    EXPECT_EQ(Count(Level::Info, "Register() is reconnecting"), 1U);
    EXPECT_EQ(Count(Level::Info, "The agent registered successfully."), 1U);
}

TEST_F(RegistrationTest, TheOldIdentityIsForgottenBeforeTheRequest)
{
    m_identity.registration = {9, L"old", L"old tenant"};
    EXPECT_EQ(RuntimeText([&] { Register(); }), "Register success message timed out");
    EXPECT_EQ(m_identity.deletions, 1);
    EXPECT_EQ(m_identity.registration.agentUuid, L"");
}

TEST_F(RegistrationTest, TheFirstRequestTellsTheMachineAndTheUser)
{
    m_link.answers = {"{}"};
    const std::uint32_t before = m_state.nextSeqNum;
    EXPECT_EQ(RuntimeText([&] { Register(); }), "Unknown response code encountered: 0");
    const auto sent = Sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].msg_id(), 24000U);
    EXPECT_EQ(sent[0].dst_comp(), 103U);
    EXPECT_EQ(sent[0].flags(), 8U);
    EXPECT_EQ(sent[0].seq_num(), before + 1);
    EXPECT_EQ(m_state.nextSeqNum, before + 1);
    // What the server could not take over waits for the next request.
    ASSERT_EQ(m_state.usernames.size(), 1U);
    EXPECT_EQ(m_state.usernames[0].value(), "DOMAIN\\anna");
    EXPECT_EQ(m_state.usernames[0].timestamp(), 1'700'000'000);
}

/// The request's text, from the line of the log in which every request stands.
::Register RequestIn(const TestSupport::CapturedLog& log)
{
    ::Register request;
    for (const TestSupport::CapturedLog::Line& line : log.Lines())
    {
        const std::size_t at = line.text.find("Payload: ");
        if (line.text.starts_with("Serialised message:") && at != std::string::npos)
        {
            Shared::Protobuf::ParseJSON(line.text.substr(at + 9), request);
        }
    }
    return request;
}

TEST_F(RegistrationTest, ARequestOfATenantThatIsNotKnownHasNoUuid)
{
    m_link.answers = {Success};
    Register();
    const ::Register request = RequestIn(m_log);
    EXPECT_EQ(request.version(), "1.2.3");
    EXPECT_EQ(request.sub_tenant_id(), "tenant");
    EXPECT_EQ(request.agent_uuid(), "");
    EXPECT_EQ(request.device_uuid(), "guid");
    EXPECT_EQ(request.legacy_device_uuid(), "");
    EXPECT_THAT(request.utc_time(), ::testing::MatchesRegex("\\w+-\\w+:\\w+:\\w+\\.\\w+.\\w+"));
    ASSERT_EQ(request.norvik_username_size(), 1);
    EXPECT_EQ(request.norvik_username(0).value(), "DOMAIN\\anna");
}

TEST_F(RegistrationTest, ARequestOfAKnownTenantHasItsUuidAndBothNamesOfTheMachine)
{
    m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
    m_identity.deviceIds = {L"machine", L"guid"};
    m_link.answers = {Success};
    Register();
    const ::Register request = RequestIn(m_log);
    EXPECT_EQ(request.agent_uuid(), "known uuid");
    EXPECT_EQ(request.device_uuid(), "machine");
    EXPECT_EQ(request.legacy_device_uuid(), "guid");
}

TEST_F(RegistrationTest, AnAnswerForAnotherTenantChangesNothing)
{
    m_link.answers = {R"({"statusCode":200,"accountId":4,"agentUuid":"u","subTenantId":"other","server":"b.example"})"};
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { Register(); }),
        "Unexpected subTenantId returned from server registration, expected tenant, got other.");
    EXPECT_EQ(m_identity.saves, 0);
    EXPECT_EQ(m_state.settings.agentUuid, L"");
}

TEST_F(RegistrationTest, ASuccessWithoutAServerIsNone)
{
    m_link.answers = {R"({"statusCode":200,"accountId":4,"agentUuid":"u","subTenantId":"tenant"})"};
    EXPECT_EQ(RuntimeText([&] { Register(); }), "Unexpected number of tokens when searching for server port.");
    EXPECT_EQ(m_identity.saves, 0);
    EXPECT_EQ(m_state.settings.agentUuid, L"");
}

TEST_F(RegistrationTest, RedirectsAreFollowedAndLeaveTheSettingsAlone)
{
    m_link.answers = {RedirectTo("https://second.example:8443"), RedirectTo("third.example"), Refusal("", "x")};
    EXPECT_THROW(Register(), ActionRequiredException);
    EXPECT_THAT(m_link.servers, ElementsAre(L"first.example", L"second.example", L"third.example"));
    EXPECT_EQ(
        Count(Level::Info, "The register request has been redirected. Retrying against: second.example:8443"), 1U);
    EXPECT_EQ(Count(Level::Info, "The register request has been redirected. Retrying against: third.example:443"), 1U);
    EXPECT_EQ(m_state.settings.server, L"first.example");
    EXPECT_EQ(m_identity.deletions, 3);
}

TEST_F(RegistrationTest, ARedirectToNoHostIsAFailureAndNoConnectorIsStartedForIt)
{
    for (const char* server :
         {":8443", "https://:8443/", "two words", "tab\\there", " ", "a.example -p other", "del\x7F"})
    {
        m_link.servers.clear();
        m_link.answers = {RedirectTo(server)};
        EXPECT_THAT(
            RuntimeText([&] { Register(); }), ::testing::StartsWith("The server named no host to register with: "))
            << server;
        EXPECT_THAT(m_link.servers, ElementsAre(L"first.example"));
    }
    for (const char* server : {"", "https://", "a.example:port", "a:1:2"})
    {
        m_link.answers = {RedirectTo(server)};
        EXPECT_EQ(RuntimeText([&] { Register(); }), "Unexpected number of tokens when searching for server port.");
    }
    EXPECT_EQ(Top(), RuntimeState::Initialise) << "nothing was pushed on it";
}

TEST_F(RegistrationTest, ASuccessWithAServerThatIsNoHostChangesNothing)
{
    m_link.answers = {
        R"({"statusCode":200,"accountId":4,"agentUuid":"u","subTenantId":"tenant","server":"https://:8443"})"};
    EXPECT_EQ(RuntimeText([&] { Register(); }), "The server named no host to register with: https://:8443");
    EXPECT_EQ(m_identity.saves, 0);
    EXPECT_EQ(m_state.settings.agentUuid, L"");
    EXPECT_EQ(m_state.settings.server, L"first.example");
    EXPECT_THAT(m_link.servers, ElementsAre(L"first.example"));
    EXPECT_FALSE(m_state.usernames.empty());
}

TEST_F(RegistrationTest, OtherRedirectsAreJudgedAsASuccess)
{
    m_link.answers = {R"({"statusCode":302,"server":"second.example"})"};
    EXPECT_EQ(
        TestSupport::InvalidArgumentText([&] { Register(); }),
        "Unexpected subTenantId returned from server registration, expected tenant, got .");
}

TEST_F(RegistrationTest, AStopIsSeenBetweenTwoRedirects)
{
    for (int i = 0; i < 100; ++i)
    {
        m_link.answers.push_back(RedirectTo("second.example"));
    }
    m_isStopRequested = true;
    Register();
    EXPECT_EQ(Top(), RuntimeState::Stopped);
    EXPECT_EQ(m_link.servers.size(), 1U);
}

TEST_F(RegistrationTest, TheServerOrdersAStop)
{
    m_link.answers = {RedirectTo("second.example"), Refusal("stop", "enough")};
    Register();
    EXPECT_EQ(Top(), RuntimeState::StopRequested);
    EXPECT_EQ(
        Count(
            Level::Warning,
            "The agent received an instruction during registration: response code 400, action stop, error enough: "),
        1U);
    EXPECT_EQ(Count(Level::Warning, "The agent was instructed to stop at the registration phase"), 1U);
}

TEST_F(RegistrationTest, AnErrorCodeOfTheServerLeavesEverythingToTheNextAttempt)
{
    const std::pair<const char*, const char*> answers[] = {
        {R"({"statusCode":404})", "Server encountered a 404"},
        {R"({"statusCode":503})", "Server encountered an internal error: 503"},
        {R"({"statusCode":304})", "Unknown response code encountered: 304"}};
    for (const auto& [answer, text] : answers)
    {
        m_link.answers = {answer};
        EXPECT_EQ(RuntimeText([&] { Register(); }), text);
    }
    EXPECT_EQ(Top(), RuntimeState::Initialise) << "nothing was pushed on it";
    EXPECT_EQ(m_identity.saves, 0);
    EXPECT_THAT(m_identity.removed, IsEmpty());
    EXPECT_EQ(Count(Level::Warning, "The agent received an instruction during registration: "), 0U);
    // The same user is told once, however often it was tried.
    EXPECT_EQ(m_state.usernames.size(), 1U);
}

TEST_F(RegistrationTest, AnAttemptAfterARefusedUuidNamesNone)
{
    m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
    m_link.answers = {Refusal("", "Re-registration with different uuid not allowed"), Success};
    EXPECT_THROW(Register(), ActionRequiredException);
    EXPECT_EQ(RequestIn(m_log).agent_uuid(), "known uuid");
    Register();
    EXPECT_EQ(RequestIn(m_log).agent_uuid(), "");
    EXPECT_EQ(m_state.settings.agentUuid, L"new uuid");
}

TEST_F(RegistrationTest, TheWordsForARefusedUuidAreExact)
{
    m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
    for (const char* error :
         {"re-registration with different uuid not allowed", "Re-registration with different uuid not allowed.", ""})
    {
        m_link.answers = {Refusal("reregister", error)};
        EXPECT_THROW(Register(), ActionRequiredException);
    }
    EXPECT_THAT(m_identity.removed, IsEmpty());
}

TEST_F(RegistrationTest, AnOrderToStopLeavesARefusedUuidAlone)
{
    m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
    m_link.answers = {Refusal("stop", "Re-registration with different uuid not allowed")};
    Register();
    EXPECT_EQ(Top(), RuntimeState::StopRequested);
    EXPECT_THAT(m_identity.removed, IsEmpty());
}

TEST_F(RegistrationTest, ARefusedUuidIsForgotten)
{
    m_identity.registrations[L"tenant"] = {3, L"known uuid", L"tenant"};
    m_link.answers = {Refusal("", "Re-registration with different uuid not allowed")};
    EXPECT_THROW(Register(), ActionRequiredException);
    EXPECT_THAT(m_identity.removed, ElementsAre(L"tenant"));
    EXPECT_EQ(
        Count(
            Level::Warning,
            "The agent could not reregister subtenant tenant with existing UUID known uuid as the server "
            "does not believe this is the correct UUID. Clearing the UUID..."),
        1U);
}

TEST_F(RegistrationTest, AnInstructionBehindRedirectsIsToldForEachOfThem)
{
    m_link.answers = {
        RedirectTo("second.example"), RedirectTo("third.example"),
        Refusal("", "Re-registration with different uuid not allowed")};
    EXPECT_THROW(Register(), ActionRequiredException);
    EXPECT_EQ(Count(Level::Warning, "The agent received an instruction during registration: "), 3U);
    EXPECT_THAT(m_identity.removed, ElementsAre(L"tenant", L"tenant", L"tenant"));
}

TEST_F(RegistrationTest, OtherInstructionsAreLeftToTheMainLoop)
{
    m_link.answers = {Refusal("dance", "now")};
    EXPECT_THROW(Register(), ActionRequiredException);
    EXPECT_THAT(m_identity.removed, IsEmpty());
}

} // namespace
