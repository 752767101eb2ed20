#include "agentcore.messaging-responsehelper.hpp"

#include "agentcore.ops-exceptions.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.time-clock.hpp"
#include "shared.time-clockcontrol.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-settingsstore.hpp"

#include <chrono>
#include <string>
#include <thread>

#include <gmock/gmock.h>

namespace
{

using AgentCore::Exception::ActionRequiredException;
using AgentCore::Messaging::MessageResponse;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Messaging::ResponseHelper;
using Shared::Log::Level;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using TestSupport::RuntimeText;
using WireProtocol::Comms::InboundMessage;
namespace WinReg = Shared::WinReg;

InboundMessage MessageOf(std::uint32_t msgId, std::string payload, std::uint32_t seqNum = 5)
{
    InboundMessage message;
    message.MsgId = msgId;
    message.SeqNum = seqNum;
    message.Payload = std::move(payload);
    return message;
}

/// A second of the agent lasts ten microseconds here.
class ResponseHelperTest : public ::testing::Test
{
protected:
    ResponseHelperTest()
    {
        WinReg::CreateKey(WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Config);
        SetTimeout(L"00:00:03");
        Shared::Time::ClockControl::SetSpeed(100'000);
    }

    ~ResponseHelperTest() override
    {
        Shared::Time::ClockControl::Reset();
    }

    static void SetTimeout(const wchar_t* span)
    {
        WinReg::SetStringValue(
            WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Config, L"ResponseTimeout", span);
    }

    MessageResponseStatus JudgeServer(const std::string& payload, std::uint32_t msgId = 24101)
    {
        return m_helper.HandleServerResponse(MessageOf(msgId, payload)).Status;
    }

    std::string ServerFailure(const std::string& payload)
    {
        return RuntimeText([&] { (void)JudgeServer(payload); });
    }

    MessageResponseStatus JudgeConfig(const std::string& payload)
    {
        return m_helper.HandleConfigResponse(MessageOf(6006, payload)).Status;
    }

    std::string RegistrationFailure(const std::string& payload)
    {
        m_queue.Push(MessageOf(24100, payload));
        return RuntimeText([&] { (void)m_helper.HandleRegistration(); });
    }

    std::size_t Warnings(const std::string& text)
    {
        return m_log.Count(Level::Warning, text);
    }

    TestSupport::TemporarySettingsStore m_store;
    ResponseHelper::Queue m_queue;
    ResponseHelper m_helper{&m_queue};
    TestSupport::CapturedLog m_log;
};

TEST_F(ResponseHelperTest, WithoutAQueueNothingIsWaitedFor)
{
    const ResponseHelper helper(nullptr);
    EXPECT_EQ(RuntimeText([&] { (void)helper.HandleRegistration(); }), "msgQueue is null");
    EXPECT_EQ(
        RuntimeText([&] { (void)helper.HandleMessage(1, Messages::MSGIDS_AGENT_POLL_RESPONSE); }), "msgQueue is null");
    EXPECT_EQ(RuntimeText([&] { (void)helper.HandleUserGroupNotification(); }), "msgQueue is null");
}

TEST_F(ResponseHelperTest, ARegistrationIsTakenFromAmongOtherMessages)
{
    m_queue.Push(MessageOf(24101, "{}"));
    m_queue.Push(MessageOf(24100, R"({"statusCode":200,"agentUuid":"a","accountId":4,"somethingNew":[1]})"));
    m_queue.Push(MessageOf(24102, "{}"));
    const RegisterResponse response = m_helper.HandleRegistration();
    EXPECT_EQ(response.agent_uuid(), "a");
    EXPECT_EQ(response.account_id(), 4U);
    ASSERT_EQ(m_queue.Size(), 2U);
    EXPECT_EQ(m_queue.At(0).MsgId, 24101U);
    EXPECT_EQ(m_queue.At(1).MsgId, 24102U);
}

TEST_F(ResponseHelperTest, ARegistrationThatComesLateIsWaitedFor)
{
    Shared::Time::ClockControl::SetSpeed(100);
    SetTimeout(L"23:00:00");
    std::thread connector(
        [&]
        {
            Shared::Time::SleepFor(std::chrono::seconds(3));
            m_queue.Push(MessageOf(24100, R"({"statusCode":200})"));
        });
    const RegisterResponse response = m_helper.HandleRegistration();
    connector.join();
    EXPECT_EQ(response.status_code(), 200);
}

TEST_F(ResponseHelperTest, ARegistrationWithoutAnAnswerTimesOut)
{
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_EQ(RuntimeText([&] { (void)m_helper.HandleRegistration(); }), "Register success message timed out");
    // Three looks, with a second before all but the first.
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(2));
}

TEST_F(ResponseHelperTest, ATimeOutOfZeroStillLooksOnce)
{
    SetTimeout(L"00:00:00");
    EXPECT_EQ(RuntimeText([&] { (void)m_helper.HandleRegistration(); }), "Register success message timed out");
    m_queue.Push(MessageOf(24100, R"({"statusCode":200})"));
    EXPECT_EQ(m_helper.HandleRegistration().status_code(), 200);
    EXPECT_THAT(
        RuntimeText([&] { (void)m_helper.HandleMessage(9, Messages::MSGIDS_AGENT_POLL_RESPONSE); }),
        ::testing::EndsWith("timed out"));
}

TEST_F(ResponseHelperTest, ARegistrationThatCouldNotBeDeliveredIsAFailure)
{
    InboundMessage message = MessageOf(24100, R"({"statusCode":200})");
    message.DeliveryFailed = 1;
    m_queue.Push(message);
    EXPECT_EQ(
        RuntimeText([&] { (void)m_helper.HandleRegistration(); }),
        "Server responded with Registration response failure");
}

TEST_F(ResponseHelperTest, ARegistrationThatCannotBeReadIsAFailureWithItsText)
{
    for (const char* payload : {"", "no JSON", "[]", R"({"statusCode":"many"})", R"({"accountId":-1})", "\xFF"})
    {
        EXPECT_EQ(RegistrationFailure(payload), std::string("Failed to parse RegisterResponse ") + payload);
    }
}

TEST_F(ResponseHelperTest, RedirectsAreLeftToTheCaller)
{
    for (const char* code : {"200", "301", "302", "303", "307", "308"})
    {
        m_queue.Push(MessageOf(24100, std::string(R"({"statusCode":)") + code + "}"));
        EXPECT_EQ(std::to_string(m_helper.HandleRegistration().status_code()), code);
    }
}

TEST_F(ResponseHelperTest, ARefusedRegistrationSaysWhatToDo)
{
    m_queue.Push(MessageOf(24100, R"({"statusCode":400,"action":"stop","error":"enough"})"));
    try
    {
        (void)m_helper.HandleRegistration();
        FAIL() << "nothing was thrown";
    }
    catch (const ActionRequiredException& exception)
    {
        EXPECT_EQ(exception.GetResponseCode(), 400);
        EXPECT_EQ(exception.Action, "stop");
        EXPECT_EQ(exception.Error, "enough");
        EXPECT_STREQ(
            exception.what(),
            "response code 400, action stop, error enough: Server requires an agent to take action, or a validation "
            "error occurred");
    }
}

TEST_F(ResponseHelperTest, OtherCodesOfARegistrationAreFailures)
{
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":404})"), "Server encountered a 404");
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":500})"), "Server encountered an internal error: 500");
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":599})"), "Server encountered an internal error: 599");
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":600})"), "Unknown response code encountered: 600");
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":201})"), "Unknown response code encountered: 201");
    EXPECT_EQ(RegistrationFailure(R"({"statusCode":-1})"), "Unknown response code encountered: -1");
    EXPECT_EQ(RegistrationFailure("{}"), "Unknown response code encountered: 0");
}

TEST_F(ResponseHelperTest, AMessageIsFoundByItsNumberAlone)
{
    m_queue.Push(MessageOf(24102, R"({"statusCode":500})", 7));
    m_queue.Push(MessageOf(19, R"({"statusCode":200})", 8));
    const MessageResponse response = m_helper.HandleMessage(8, Messages::MSGIDS_AGENT_STARTUP_RESPONSE);
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(response.MsgId, 19U);
    EXPECT_EQ(response.SeqNum, 8U);
    EXPECT_EQ(m_queue.Size(), 1U);
}

TEST_F(ResponseHelperTest, AMessageOfAConfigurationIsJudgedAsOne)
{
    for (const std::uint32_t msgId : {6006U, 6054U})
    {
        m_queue.Push(MessageOf(msgId, R"({"success":true})", 8));
        EXPECT_EQ(
            m_helper.HandleMessage(8, Messages::MSGIDS_CONFIG_GET2_RESPONSE).Status, MessageResponseStatus::Success);
    }
}

TEST_F(ResponseHelperTest, AMessageThatDoesNotComeTimesOutAfterAllItsSeconds)
{
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_EQ(
        RuntimeText([&] { (void)m_helper.HandleMessage(77, Messages::MSGIDS_AGENT_STARTUP_RESPONSE); }),
        "Message of SeqNum 77 and AgentMessageId MSGIDS_AGENT_STARTUP_RESPONSE (24101) timed out");
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(3));
}

TEST_F(ResponseHelperTest, UserGroupsAreTakenWithoutAJudgement)
{
    m_queue.Push(MessageOf(24201, "whatever"));
    const MessageResponse response = m_helper.HandleUserGroupNotification();
    EXPECT_EQ(response.Status, MessageResponseStatus::Success);
    EXPECT_EQ(response.Payload, "whatever");
}

TEST_F(ResponseHelperTest, UserGroupsAreWaitedForThirtyTimesWhateverTheSetting)
{
    SetTimeout(L"00:00:01");
    const auto start = Shared::Time::MonotonicNow();
    EXPECT_EQ(
        RuntimeText([&] { (void)m_helper.HandleUserGroupNotification(); }),
        "Message of type MSGIDS_AGENT_USER_GROUPS_NOTIFICATION timed out");
    EXPECT_GE(Shared::Time::MonotonicNow() - start, std::chrono::seconds(29));
}

TEST_F(ResponseHelperTest, AConfigurationIsASuccessOnlyWhenItSaysTrue)
{
    EXPECT_EQ(JudgeConfig(R"({"success":true})"), MessageResponseStatus::Success);
    for (const char* payload : {"{}", R"({"success":false})", R"({"success":1})", R"({"success":"true"})", "[]", "7"})
    {
        EXPECT_EQ(JudgeConfig(payload), MessageResponseStatus::Failure) << payload;
    }
    EXPECT_EQ(RuntimeText([&] { (void)JudgeConfig(R"({"success":null})"); }), "Nullable is null");
    EXPECT_THAT(
        RuntimeText([&] { (void)JudgeConfig("{"); }),
        StartsWith("rapidJSON encountered a parse error on string ==> {"));
}

TEST_F(ResponseHelperTest, AnAnswerWithoutACodeIsAFailure)
{
    EXPECT_EQ(JudgeServer("{}"), MessageResponseStatus::Failure);
    EXPECT_EQ(
        Warnings("Expected a status code, but did not find one on the JSON payload for message ID "
                 "MSGIDS_AGENT_STARTUP_RESPONSE (24101)"),
        1U);
}

TEST_F(ResponseHelperTest, ACodeThatIsNoWholeNumberIsNull)
{
    for (const char* code : {"null", "\"200\"", "200.5", "[200]", "{}", "true", "99999999999999999999"})
    {
        EXPECT_EQ(ServerFailure(std::string(R"({"statusCode":)") + code + "}"), "Nullable is null") << code;
    }
}

TEST_F(ResponseHelperTest, TwoHundredIsASuccessWhateverElseItSays)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":200,"error":"x","action":null})"), MessageResponseStatus::Success);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ResponseHelperTest, TheServerOrdersANewRegistration)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":400,"action":"reregister"})"), MessageResponseStatus::Reregister);
    EXPECT_EQ(Warnings("Server has instructed this agent to forcibly reregister."), 1U);
}

TEST_F(ResponseHelperTest, TheServerOrdersAStopAndNothingBehindItIsRead)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":400,"action":"stop","error":"x"})"), MessageResponseStatus::Stop);
    EXPECT_EQ(Warnings("Server has instructed this agent to shut down. This agent will now exit."), 1U);
    EXPECT_EQ(m_log.Lines().size(), 1U);
}

TEST_F(ResponseHelperTest, AnOrderThatIsNotKnownIsAFailureAndToldAsTheError)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":400,"action":"dance","error":"x"})"), MessageResponseStatus::Failure);
    EXPECT_EQ(Warnings("Server has sent an unknown HTTP action: dance"), 1U);
    EXPECT_EQ(Warnings("Server responded with an error message: 400: dance"), 1U);
}

TEST_F(ResponseHelperTest, ARefusalWithoutAnOrderIsNull)
{
    EXPECT_EQ(ServerFailure(R"({"statusCode":400})"), "Nullable is null");
    EXPECT_EQ(ServerFailure(R"({"statusCode":400,"action":null})"), "Nullable is null");
    EXPECT_EQ(ServerFailure(R"({"statusCode":400,"action":5})"), "Nullable is null");
}

TEST_F(ResponseHelperTest, AnInternalErrorIsLoggedWithItsWordsTakenFromTheAction)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":503,"action":"try later","error":"busy"})"), MessageResponseStatus::Failure);
    EXPECT_EQ(Warnings("Server has encountered an internal error: 503"), 1U);
    EXPECT_EQ(Warnings("Server responded with an error message: 503: try later"), 1U);
    EXPECT_EQ(Warnings("busy"), 0U);
}

TEST_F(ResponseHelperTest, AnErrorWithoutAnActionIsNull)
{
    EXPECT_EQ(ServerFailure(R"({"statusCode":503,"error":"busy"})"), "Nullable is null");
    EXPECT_EQ(ServerFailure(R"({"statusCode":503,"error":null,"action":null})"), "Nullable is null");
}

TEST_F(ResponseHelperTest, AnEmptyActionOfAnErrorIsNotLogged)
{
    EXPECT_EQ(JudgeServer(R"({"statusCode":499,"error":"x","action":""})"), MessageResponseStatus::Failure);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ResponseHelperTest, OtherCodesAreFailuresWithoutALine)
{
    for (const char* payload : {R"({"statusCode":201})", R"({"statusCode":0})", R"({"statusCode":-5})"})
    {
        EXPECT_EQ(JudgeServer(payload), MessageResponseStatus::Failure);
    }
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(ResponseHelperTest, AnswersCarryTheMessageUnchanged)
{
    InboundMessage message = MessageOf(24102, R"({"statusCode":201})", 9);
    message.Flags = 1024;
    message.DeliveryFailed = 1;
    message.ReceivedAt = Shared::Time::MonotonicNow();
    const MessageResponse response = m_helper.HandleServerResponse(message);
    EXPECT_EQ(response.SeqNum, 9U);
    EXPECT_EQ(response.MsgId, 24102U);
    EXPECT_EQ(response.Payload, R"({"statusCode":201})");
    EXPECT_EQ(response.Flags, 1024U);
    EXPECT_EQ(response.DeliveryFailed, 1U);
    EXPECT_EQ(response.ReceivedAt, message.ReceivedAt);
}

} // namespace
