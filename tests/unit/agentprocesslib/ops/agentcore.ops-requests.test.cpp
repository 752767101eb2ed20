#include "agentcore.ops-requests.hpp"

#include "shared.appsettings-paths.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-fakeidentity.hpp"
#include "test.support-settingsstore.hpp"
#include "test.system-fakeinventory.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

#include <comms_protocol.pb.h>

namespace
{

using AgentCore::Messaging::MessageResponse;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Ops::AppState;
using Shared::Log::Level;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::RuntimeText;
namespace Paths = Shared::AppSettings::Paths;
namespace WinReg = Shared::WinReg;

class RequestsTest : public ::testing::Test
{
protected:
    RequestsTest()
    {
        WinReg::CreateKey(WinReg::Root::LocalMachine, Paths::Config);
        WinReg::SetStringValue(WinReg::Root::LocalMachine, Paths::Config, L"ResponseTimeout", L"00:00:02");
        Shared::Time::ClockControl::SetSpeed(1000);
        m_state.settings.accountId = 4711;
        m_state.settings.agentUuid = L"a-b-c";
        m_state.settings.installedVersion = L"1.2.3";
        m_identity.vpnInfo.fullUsername = L"DOMAIN\\\u00e4nne";
    }

    ~RequestsTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    /// The answer waits in the queue before it is asked for.
    void Answer(std::uint32_t msgId, std::uint32_t seqNum, const std::string& payload)
    {
        m_state.inboundMessages.Push({seqNum, msgId, payload, 0, 0, {}});
    }

    std::uint32_t NextNumber() const
    {
        return m_state.nextSeqNum + 1;
    }

    MessageResponse PostStartup()
    {
        return AgentCore::Ops::PostStartup(
            m_state,
            [this]() -> std::shared_ptr<AgentCore::System::SystemQuerier>
            { return TestSupport::MakeFakeQuerier(m_machine); });
    }

    /// The one request that was queued.
    VelRouter::V4_Message Sent()
    {
        EXPECT_EQ(m_state.outboundMessages.Size(), 1U);
        return WireProtocol::Comms::DecodeRouterMessage(m_state.outboundMessages.TakeAt(0).Data);
    }

    /// Its text, from the line of the log in which every request stands.
    std::string SentText() const
    {
        std::string text;
        for (const TestSupport::CapturedLog::Line& line : m_log.Lines())
        {
            const std::size_t at = line.text.find("Payload: ");
            if (line.text.starts_with("Serialised message:") && at != std::string::npos)
            {
                text = line.text.substr(at + std::string_view("Payload: ").size());
            }
        }
        return text;
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    TestSupport::FakeMachine m_machine;
    TestSupport::FakeIdentity m_identity;
    AppState m_state;
};

TEST_F(RequestsTest, TheStartupPostTellsTheMachineToTheAgentsComponent)
{
    const std::uint32_t number = NextNumber();
    Answer(24101, number, R"({"statusCode":200})");
    const MessageResponse response = PostStartup();
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(response.MsgId, 24101U);
    EXPECT_EQ(m_state.nextSeqNum, number);

    const VelRouter::V4_Message sent = Sent();
    EXPECT_EQ(sent.msg_id(), 24001U);
    EXPECT_EQ(sent.dst_comp(), 103U);
    EXPECT_EQ(sent.seq_num(), number);
    EXPECT_EQ(sent.flags(), static_cast<std::uint32_t>(FLAGS_COMPRESSED_LZ4)) << "no flag of the agent's own";

    Startup startup;
    Shared::Protobuf::ParseJSON(SentText(), startup);
    EXPECT_EQ(startup.account_id(), 4711);
    EXPECT_EQ(startup.uuid(), "a-b-c");
    EXPECT_EQ(startup.system().bios().serial_number(), "SN-1");
    EXPECT_EQ(startup.system().hardware().ram().total_physical(), 8192U + 4096U);
}

TEST_F(RequestsTest, TheStartupPostSaysWhatItDoesInItsOrder)
{
    Answer(24101, NextNumber(), R"({"statusCode":200})");
    (void)PostStartup();
    std::vector<std::string> debugLines;
    for (const TestSupport::CapturedLog::Line& line : m_log.Lines())
    {
        if (line.level == Level::Debug && line.text.find("tartup") != std::string::npos)
        {
            debugLines.push_back(line.text);
        }
    }
    EXPECT_THAT(
        debugLines,
        ElementsAre(
            ::testing::EndsWith("Startup Post data retrieval OK"),
            ::testing::EndsWith("Attempting to post Startup data"),
            ::testing::EndsWith("The agent successfully posted Startup data.")));
}

TEST_F(RequestsTest, TheLogicalDrivesAreKeptInThePlaceOfEarlierOnes)
{
    for (int i = 0; i < 2; ++i)
    {
        Answer(24101, NextNumber(), R"({"statusCode":200})");
        (void)PostStartup();
        ASSERT_EQ(m_state.logicalDrives.size(), 1U);
        EXPECT_EQ(m_state.logicalDrives[0].name(), "C:");
    }
}

TEST_F(RequestsTest, AMachineThatCannotBeAskedPostsAllTheSame)
{
    m_state.logicalDrives.resize(3);
    Answer(24101, NextNumber(), R"({"statusCode":200})");
    const MessageResponse response = AgentCore::Ops::PostStartup(
        m_state,
        []() -> std::shared_ptr<AgentCore::System::SystemQuerier> { throw std::runtime_error("no inventory here"); });
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(m_log.Count(Level::Error, "Exception occurred during Agent Startup data retrieval"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Startup Post data retrieval OK"), 0U);
    EXPECT_EQ(m_log.Count(Level::Debug, "The agent successfully posted Startup data."), 1U);
    EXPECT_THAT(m_state.logicalDrives, IsEmpty());
    EXPECT_EQ(Sent().msg_id(), 24001U);
}

TEST_F(RequestsTest, AStartupPostWithoutAnAnswerTimesOut)
{
    const std::uint32_t number = NextNumber();
    // Answers something else.
    Answer(24101, number - 1, R"({"statusCode":200})");
    EXPECT_EQ(
        RuntimeText([&] { (void)PostStartup(); }),
        "Message of SeqNum " + std::to_string(number) + " and AgentMessageId " +
            WireProtocol::Comms::FormatMessageId(24101) + " timed out");
    EXPECT_EQ(m_state.inboundMessages.Size(), 1U) << "what answers something else is left alone";
}

TEST_F(RequestsTest, TheUserGroupsAreAskedForTheVpnClientsUser)
{
    const std::uint32_t number = NextNumber();
    // The answer is known by its kind; its number is the server's own.
    Answer(24201, 0, R"({"groups":["a"]})");
    const MessageResponse response = AgentCore::Ops::GetUserGroups(m_state, m_identity);
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(response.Payload, R"({"groups":["a"]})");
    EXPECT_EQ(m_state.username, L"DOMAIN\\\u00e4nne");
    EXPECT_THAT(m_state.userGroups.groups(), IsEmpty()) << "read where the response is handled";

    const VelRouter::V4_Message sent = Sent();
    EXPECT_EQ(sent.msg_id(), 24200U);
    EXPECT_EQ(sent.dst_comp(), 103U);
    EXPECT_EQ(sent.seq_num(), number);
    EXPECT_EQ(sent.flags(), static_cast<std::uint32_t>(FLAGS_COMPRESSED_LZ4));
    UserGroupsRequest request;
    Shared::Protobuf::ParseJSON(SentText(), request);
    EXPECT_EQ(request.account_id(), 4711);
    EXPECT_EQ(request.user(), "DOMAIN\\\u00e4nne");
}

TEST_F(RequestsTest, WithoutAUserNoGroupsAreAskedFor)
{
    m_identity.vpnInfo.fullUsername.clear();
    m_state.username = L"before";
    const std::uint32_t number = m_state.nextSeqNum;
    try
    {
        (void)AgentCore::Ops::GetUserGroups(m_state, m_identity);
        FAIL() << "no exception";
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        EXPECT_THAT(exception.what(), ::testing::HasSubstr("Exception in GetUserGroups() at "));
        EXPECT_EQ(
            TestSupport::BareText(exception.what()), "No valid username was detected to retrieve user groups with.");
    }
    EXPECT_TRUE(m_state.outboundMessages.Empty());
    EXPECT_EQ(m_state.nextSeqNum, number);
    EXPECT_EQ(m_state.username, L"before");
}

TEST_F(RequestsTest, UserGroupsThatDoNotComeTimeOutAfterThirtySecondsWhateverTheSetting)
{
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_EQ(
        RuntimeText([&] { (void)AgentCore::Ops::GetUserGroups(m_state, m_identity); }),
        "Message of type MSGIDS_AGENT_USER_GROUPS_NOTIFICATION timed out");
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(29));
}

TEST_F(RequestsTest, AConfigurationRequestKeepsItsNumberInItsField)
{
    const std::uint32_t number = NextNumber();
    Answer(6006, number, R"({"success":true,"values":{}})");
    const MessageResponse response =
        AgentCore::Ops::RequestConfig(m_state, &AppState::mtrConfigSeqNum, "/config/mtr", {});
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(response.SeqNum, number);
    EXPECT_EQ(m_state.mtrConfigSeqNum, number);
    EXPECT_EQ(m_state.curlConfigSeqNum, 0U);
    EXPECT_EQ(m_state.nextSeqNum, number);

    const VelRouter::V4_Message sent = Sent();
    EXPECT_EQ(sent.msg_id(), 6005U);
    EXPECT_EQ(sent.dst_comp(), 6U);
    EXPECT_EQ(sent.seq_num(), number);
    const Shared::Json::RapidJsonDocument request(SentText());
    EXPECT_EQ(request.GetJsonTextByPath("/trees"), R"(["/config/mtr"])");
    EXPECT_FALSE(request.GetOptionalValueByPath("/keys").HasValue());
    EXPECT_EQ(request.GetOptionalValueByPath("/account").GetInt64().GetValue(), 4711);
}

TEST_F(RequestsTest, SingleKeysAreAskedForWithoutATree)
{
    Answer(6006, NextNumber(), R"({"success":true})");
    (void)AgentCore::Ops::RequestConfig(
        m_state, &AppState::instanceAgentSeqNum, "", {"/config/agent", "/config/cversion/instance"});
    const Shared::Json::RapidJsonDocument request(SentText());
    EXPECT_FALSE(request.GetOptionalValueByPath("/trees").HasValue());
    EXPECT_EQ(request.GetJsonTextByPath("/keys"), R"(["/config/agent","/config/cversion/instance"])");
}

TEST_F(RequestsTest, ARefusedConfigurationIsAFailure)
{
    Answer(6006, NextNumber(), R"({"success":false,"error":"no"})");
    EXPECT_EQ(
        AgentCore::Ops::RequestConfig(m_state, &AppState::tagConfigSeqNum, "/config/tags", {}).Status,
        MessageResponseStatus::Failure);
}

TEST_F(RequestsTest, AnAnswerOfAnotherKindIsJudgedByItsStatusCode)
{
    Answer(24101, NextNumber(), R"({"statusCode":400,"action":"reregister"})");
    EXPECT_EQ(
        AgentCore::Ops::RequestConfig(m_state, &AppState::tagConfigSeqNum, "/config/tags", {}).Status,
        MessageResponseStatus::Reregister);
}

TEST_F(RequestsTest, AConfigurationWithAnotherNumberIsNoAnswer)
{
    const std::uint32_t number = NextNumber();
    Answer(6006, number + 1, R"({"success":true})");
    EXPECT_EQ(
        RuntimeText([&]
                    { (void)AgentCore::Ops::RequestConfig(m_state, &AppState::tagConfigSeqNum, "/config/tags", {}); }),
        "Message of SeqNum " + std::to_string(number) + " and AgentMessageId " +
            WireProtocol::Comms::FormatMessageId(6006) + " timed out");
}

} // namespace
