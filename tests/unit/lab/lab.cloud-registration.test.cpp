#include "lab.cloud-registration.hpp"

#include "lab.wire-names.hpp"

#include <optional>
#include <string>
#include <vector>

#include <google/protobuf/util/json_util.h>
#include <register.pb.h>

#include <gtest/gtest.h>

namespace
{

using Lab::AgentSeconds;
using Lab::AnswerKind;
using Lab::RegistrationAnswer;
using Lab::Cloud::RegistrationDesk;
using Lab::Cloud::Reply;

constexpr const char* FirstRequest = R"({"version":"1.0.0","subTenantId":"lab-subtenant"})";
constexpr const char* Server = "cloud.lab.example";

RegistrationDesk MakeDesk(const std::vector<RegistrationAnswer>& answers)
{
    Lab::CloudBehaviour behaviour;
    behaviour.registration = answers;
    behaviour.accountId = 42;
    behaviour.agentUuid = "NEW";
    return RegistrationDesk(behaviour);
}

/// The answer as the agent reads it.
RegisterResponse Read(const std::optional<Reply>& reply)
{
    RegisterResponse response;
    EXPECT_TRUE(reply.has_value());
    EXPECT_EQ(reply->msgId, Lab::Wire::MsgId::RegisterResponse);
    EXPECT_TRUE(google::protobuf::util::JsonStringToMessage(reply->payload, &response).ok()) << reply->payload;
    return response;
}

RegisterResponse AnswerOf(AnswerKind kind, const std::string& server = {}, std::int32_t code = 500)
{
    return Read(MakeDesk({{kind, server, code, AgentSeconds(0)}}).Answer(FirstRequest, Server));
}

TEST(RegistrationDeskTest, SuccessGivesAnIdentityForWhatWasAskedFor)
{
    const RegisterResponse response = AnswerOf(AnswerKind::Success);
    EXPECT_EQ(response.status_code(), 200);
    EXPECT_EQ(response.account_id(), 42U);
    EXPECT_EQ(response.agent_uuid(), "NEW");
    EXPECT_EQ(response.sub_tenant_id(), "lab-subtenant");
    EXPECT_EQ(response.server(), Server);
    EXPECT_EQ(response.error(), "");
    EXPECT_EQ(response.action(), "");
}

TEST(RegistrationDeskTest, AnAgentThatHasAnIdentityKeepsIt)
{
    RegistrationDesk desk = MakeDesk({{}});
    const RegisterResponse response = Read(desk.Answer(R"({"subTenantId":"t","agentUuid":"MINE"})", Server));
    EXPECT_EQ(response.agent_uuid(), "MINE");
    EXPECT_EQ(desk.GetAgentUuid(), "MINE");
    EXPECT_EQ(desk.GetAccepted(), 1U);
}

TEST(RegistrationDeskTest, SuccessMayNameAnotherServer)
{
    EXPECT_EQ(AnswerOf(AnswerKind::Success, "west.lab.example").server(), "west.lab.example");
}

TEST(RegistrationDeskTest, ARedirectNamesItsServerAndNothingElse)
{
    const RegisterResponse response = AnswerOf(AnswerKind::Redirect, "east.lab.example");
    EXPECT_EQ(response.status_code(), 307);
    EXPECT_EQ(response.server(), "east.lab.example");
    EXPECT_EQ(response.agent_uuid(), "");
}

TEST(RegistrationDeskTest, TheRefusalOfAUuidHasTheWordsOfTheServer)
{
    const RegisterResponse response = AnswerOf(AnswerKind::RefuseUuid);
    EXPECT_EQ(response.status_code(), 400);
    EXPECT_EQ(response.error(), "Re-registration with different uuid not allowed");
    EXPECT_EQ(response.action(), "");
}

TEST(RegistrationDeskTest, StopIsAnAction)
{
    const RegisterResponse response = AnswerOf(AnswerKind::Stop);
    EXPECT_EQ(response.status_code(), 400);
    EXPECT_EQ(response.action(), "stop");
}

TEST(RegistrationDeskTest, CodesAreGivenAsTheyAre)
{
    EXPECT_EQ(AnswerOf(AnswerKind::NotFound).status_code(), 404);
    EXPECT_EQ(AnswerOf(AnswerKind::InternalError).status_code(), 500);
    EXPECT_EQ(AnswerOf(AnswerKind::InternalError, "", 503).status_code(), 503);
    EXPECT_EQ(AnswerOf(AnswerKind::Status, "", 302).status_code(), 302);
}

TEST(RegistrationDeskTest, AnotherTenantIsAcceptedForSomebodyElse)
{
    RegistrationDesk desk = MakeDesk({{AnswerKind::AnotherTenant, "", 500, AgentSeconds(0)}});
    const RegisterResponse response = Read(desk.Answer(FirstRequest, Server));
    EXPECT_EQ(response.status_code(), 200);
    EXPECT_NE(response.sub_tenant_id(), "lab-subtenant");
    EXPECT_EQ(desk.GetAccepted(), 0U);
}

TEST(RegistrationDeskTest, ADeliveryFailureIsOneOfTheEnvelope)
{
    const auto reply = MakeDesk({{AnswerKind::DeliveryFailure, "", 500, AgentSeconds(0)}}).Answer(FirstRequest, Server);
    EXPECT_EQ(reply->msgId, Lab::Wire::MsgId::RegisterResponse);
    EXPECT_NE(reply->status, Lab::Wire::StatusSuccess);
}

TEST(RegistrationDeskTest, RubbishIsNoJson)
{
    const auto reply = MakeDesk({{AnswerKind::Rubbish, "", 500, AgentSeconds(0)}}).Answer(FirstRequest, Server);
    RegisterResponse response;
    EXPECT_FALSE(google::protobuf::util::JsonStringToMessage(reply->payload, &response).ok());
}

TEST(RegistrationDeskTest, SilenceIsNothing)
{
    EXPECT_FALSE(MakeDesk({{AnswerKind::Silence, "", 500, AgentSeconds(0)}}).Answer(FirstRequest, Server).has_value());
}

TEST(RegistrationDeskTest, AnswersComeOneAfterTheOtherAndTheLastOneStays)
{
    RegistrationDesk desk = MakeDesk(
        {{AnswerKind::Redirect, "b", 500, AgentSeconds(0)},
         {AnswerKind::Redirect, "c", 500, AgentSeconds(0)},
         {AnswerKind::Success, "", 500, AgentSeconds(0)}});
    EXPECT_EQ(Read(desk.Answer(FirstRequest, "a")).server(), "b");
    EXPECT_EQ(Read(desk.Answer(FirstRequest, "b")).server(), "c");
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(Read(desk.Answer(FirstRequest, "c")).status_code(), 200);
    }
    EXPECT_EQ(desk.GetAccepted(), 3U);
}

TEST(RegistrationDeskTest, EveryAnswerMayComeLate)
{
    for (const AnswerKind kind :
         {AnswerKind::Success, AnswerKind::Redirect, AnswerKind::RefuseUuid, AnswerKind::Stop, AnswerKind::NotFound,
          AnswerKind::InternalError, AnswerKind::Status, AnswerKind::AnotherTenant, AnswerKind::DeliveryFailure,
          AnswerKind::Rubbish})
    {
        EXPECT_EQ(
            MakeDesk({{kind, "s", 500, AgentSeconds(2.5)}}).Answer(FirstRequest, Server)->delay, AgentSeconds(2.5));
    }
}

TEST(RegistrationDeskTest, ARequestThatIsNoJsonIsABadOne)
{
    RegistrationDesk desk = MakeDesk({{}});
    const RegisterResponse response = Read(desk.Answer("\x01\x02", Server));
    EXPECT_EQ(response.status_code(), 400);
    EXPECT_NE(response.error(), "");
    EXPECT_EQ(desk.GetAccepted(), 0U);
}

} // namespace
