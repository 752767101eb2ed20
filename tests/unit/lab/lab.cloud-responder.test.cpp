#include "lab.cloud-responder.hpp"

#include "lab.json-functions.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.wire-names.hpp"

#include <string>
#include <vector>

#include <google/protobuf/util/json_util.h>
#include <user_groups.pb.h>

#include <gtest/gtest.h>

namespace
{

using Lab::Cloud::BuildConfiguration;
using Lab::Cloud::Reply;
using Lab::Cloud::Responder;
using Lab::Wire::Envelope;
namespace MsgId = Lab::Wire::MsgId;

Envelope Request(std::uint32_t msgId, const std::string& payload, std::uint32_t flags = 0)
{
    Envelope envelope;
    envelope.msgId = msgId;
    envelope.seqNum = 99;
    envelope.srcComp = 55;
    envelope.dstComp = 103;
    envelope.srcCompUuid = "00000000-0000-f000-f000-000000000055";
    envelope.flags = flags;
    envelope.payload = payload;
    return envelope;
}

std::vector<Reply> Respond(const Envelope& request, const std::string& scenario = "{}")
{
    return Responder(Lab::ParseScenario(scenario)).Respond(request, "cloud.lab.example").replies;
}

Envelope ConfigRequest(const std::string& payload)
{
    return Request(MsgId::ConfigGet2Request, payload);
}

std::string Payload(Responder& responder, const Envelope& request)
{
    return responder.Respond(request, "s").replies.at(0).payload;
}

TEST(ResponderTest, PlainRequestsGetPlainAnswers)
{
    for (const auto& [request, response] :
         {std::pair{MsgId::StartupRequest, MsgId::StartupResponse}, std::pair{MsgId::PollRequest, MsgId::PollResponse}})
    {
        const std::vector<Reply> replies = Respond(Request(request, "{}"));
        ASSERT_EQ(replies.size(), 1U);
        EXPECT_EQ(replies[0].msgId, response);
        EXPECT_EQ(replies[0].payload, R"({"statusCode":200})");
    }
}

TEST(ResponderTest, AnAcknowledgementComesWhenItIsExpected)
{
    const std::vector<Reply> replies =
        Respond(Request(MsgId::HistoricPollRequest, "{}", Lab::Wire::FlagAcknowledgementExpected));
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].msgId, MsgId::HistoricPollRequest);
    EXPECT_EQ(replies[0].flags, Lab::Wire::FlagAcknowledgement);
    EXPECT_EQ(replies[0].status, Lab::Wire::StatusSuccess);
    EXPECT_EQ(replies[0].payload, "");
    EXPECT_TRUE(Respond(Request(MsgId::HistoricPollRequest, "{}")).empty());
}

TEST(ResponderTest, AMessageOfAnotherKindHasNoAnswer)
{
    EXPECT_TRUE(Respond(Request(12345, "{}")).empty());
}

TEST(ResponderTest, UserGroupsAreThoseOfTheScenarioForTheUserWhoIsNamed)
{
    const std::vector<Reply> replies = Respond(
        Request(MsgId::UserGroupsRequest, R"({"accountId":7,"user":"D\\u"})"), R"({"user":{"groups":["g","h"]}})");
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].msgId, MsgId::UserGroupsNotification);
    UserGroups groups;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(replies[0].payload, &groups).ok());
    EXPECT_EQ(groups.user(), "D\\u");
    EXPECT_EQ(groups.groups_size(), 2);
    EXPECT_EQ(groups.groups(1), "h");
    EXPECT_GT(groups.groups_timestamp(), 1'700'000'000U);
}

TEST(ResponderTest, WithoutConfigurationTheAnswerIsASuccessWithNothingInIt)
{
    const std::vector<Reply> replies =
        Respond(Request(MsgId::ConfigGet2Request, R"({"trees":["/config/mtr"],"keys":["/config/tests"]})"));
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].msgId, MsgId::ConfigGet2Response);
    EXPECT_EQ(replies[0].payload, R"({"success":true,"values":{"5f0c5a52-0000-4000-8000-000000000001":{}}})");
}

TEST(ResponderTest, ARequestForConfigurationThatIsNoObjectFails)
{
    EXPECT_EQ(
        Respond(Request(MsgId::ConfigGet2Request, "[]"))[0].payload,
        R"({"success":false,"error":"the request is no JSON object"})");
}

TEST(ResponderTest, ConfigurationIsThatOfTheAgentThatRegistered)
{
    Responder responder(Lab::ParseScenario("{}"));
    (void)responder.Respond(Request(MsgId::RegisterRequest, R"({"subTenantId":"t","agentUuid":"MINE"})"), "s");
    EXPECT_EQ(Payload(responder, ConfigRequest("{}")), R"({"success":true,"values":{"MINE":{}}})");
}

TEST(ResponderTest, OtherOwnersStandWhereTheScenarioPutsThem)
{
    Responder responder(Lab::ParseScenario(R"({"cloud":{"agentUuid":"MINE","configuration":{"/config/tags":{"m":"1"}},
        "owners":[{"uuid":"LAST","configuration":{"/config/tags":{"l":"2"}}},
                  {"uuid":"FIRST","place":"first","configuration":{"/config/tags":{"f":"3"},"/config/mtr":{}}},
                  {"uuid":"NOTHING","place":"behind"}]}})"));
    EXPECT_EQ(
        Payload(responder, ConfigRequest(R"({"trees":["/config/tags"]})")),
        R"({"success":true,"values":{"FIRST":{"f":"3"},"MINE":{"m":"1"},"LAST":{"l":"2"},"NOTHING":{}}})");
}

TEST(ResponderTest, AChangedConfigurationIsAnsweredFromThenOn)
{
    Responder responder(Lab::ParseScenario(
        R"({"cloud":{"agentUuid":"U","configuration":{"/config/tags":{"a":"1","b":"2"},"/config/agent":{"enabled":true}}}})"));
    responder.ChangeConfiguration(
        Lab::Json::Parse(R"({"/config/tags":{"a":null,"c":"3"},"/config/agent":null,"/config/cversion/instance":2})"));
    EXPECT_EQ(
        Payload(
            responder,
            ConfigRequest(R"({"trees":["/config/tags"],"keys":["/config/agent","/config/cversion/instance"]})")),
        R"({"success":true,"values":{"U":{"b":"2","c":"3","/config/cversion/instance":2}}})");
}

TEST(ResponderTest, ChangedGroupsAreThoseOfTheUserWhoWasAskedForLast)
{
    Responder responder(Lab::ParseScenario(R"({"user":{"groups":["g"]}})"));
    (void)responder.Respond(Request(MsgId::UserGroupsRequest, R"({"user":"D\\u"})"), "s");
    responder.ChangeGroups({"x", "y"});
    const Reply told = responder.TellGroups();
    EXPECT_EQ(told.msgId, MsgId::UserGroupsNotification);
    EXPECT_EQ(told.flags, 0U);
    EXPECT_TRUE(told.payload.starts_with(R"({"user":"D\\u","groups":["x","y"],)")) << told.payload;
}

TEST(ResponderTest, AScriptedAnswerTakesThePlaceOfTheGoodOneForItsRequestOnly)
{
    Responder responder(Lab::ParseScenario(
        R"({"cloud":{"answers":[{"to":"mtr","how":"refuse","error":"e"},{"to":"startup","how":"drop"}]}})"));
    const Envelope mtr = ConfigRequest(R"({"trees":["/config/mtr"]})");
    EXPECT_EQ(responder.Respond(ConfigRequest(R"({"trees":["/config/ete"]})"), "s").how, "");
    const Lab::Cloud::Response refused = responder.Respond(mtr, "s");
    EXPECT_EQ(refused.how, "refuse");
    ASSERT_EQ(refused.replies.size(), 1U);
    EXPECT_EQ(refused.replies[0].payload, R"({"success":false,"error":"e"})");
    EXPECT_EQ(responder.Respond(mtr, "s").how, "") << "it is used up";
    const Lab::Cloud::Response dropped = responder.Respond(Request(MsgId::StartupRequest, "{}"), "s");
    EXPECT_EQ(dropped.how, "drop");
    EXPECT_TRUE(dropped.replies.empty());
}

TEST(ResponderTest, AnAcknowledgementComesAlsoWhereTheAnswerDoesNot)
{
    Responder responder(Lab::ParseScenario(R"({"cloud":{"answers":[{"to":"poll","how":"drop"}]}})"));
    const auto response =
        responder.Respond(Request(MsgId::PollRequest, "{}", Lab::Wire::FlagAcknowledgementExpected), "s");
    ASSERT_EQ(response.replies.size(), 1U);
    EXPECT_EQ(response.replies[0].flags, Lab::Wire::FlagAcknowledgement);
}

TEST(ResponderTest, TheAnswerToARegistrationHasItsNameUnlessItIsASuccess)
{
    Responder responder(
        Lab::ParseScenario(R"({"cloud":{"registration":[{"answer":"not-found"},{"answer":"success"}]}})"));
    EXPECT_EQ(responder.Respond(Request(MsgId::RegisterRequest, "{}"), "s").how, "not-found");
    EXPECT_EQ(responder.Respond(Request(MsgId::RegisterRequest, "{}"), "s").how, "");
    EXPECT_EQ(responder.Respond(Request(MsgId::StartupRequest, "{}"), "s").how, "");
}

TEST(BuildConfigurationTest, ATreeGivesItsEntriesAndAKeyItsValue)
{
    const auto configuration = Lab::Json::Parse(
        R"({"/config/mtr":{"1":{"a":1},"2":{"b":2}},"/config/tests":{"/config/mtr/1":{"enabled":true}},)"
        R"("/config/cversion/instance":12,"/config/other":{"x":1},"/config/agent":null})");
    EXPECT_EQ(
        BuildConfiguration(Lab::Json::Parse(R"({"trees":["/config/mtr"]})"), {{"U", configuration}}),
        R"({"success":true,"values":{"U":{"1":{"a":1},"2":{"b":2}}}})");
    EXPECT_EQ(
        BuildConfiguration(
            Lab::Json::Parse(
                R"({"keys":["/config/tests","/config/cversion/instance","/config/none","/config/agent"]})"),
            {{"U", configuration}}),
        R"({"success":true,"values":{"U":{"/config/tests":{"/config/mtr/1":{"enabled":true}},)"
        R"("/config/cversion/instance":12}}})");
}

TEST(BuildConfigurationTest, MembersOfAWrongTypeAreNothing)
{
    const auto configuration = Lab::Json::Parse(R"({"/config/mtr":7})");
    EXPECT_EQ(
        BuildConfiguration(Lab::Json::Parse(R"({"trees":["/config/mtr",7,null],"keys":"x"})"), {{"U", configuration}}),
        R"({"success":true,"values":{"U":{}}})");
}

TEST(AddressTest, AReplyGoesBackToWhereTheRequestCameFrom)
{
    const Envelope envelope =
        Lab::Cloud::Address({.msgId = 24100, .payload = "p", .status = 2}, Request(MsgId::RegisterRequest, "{}"));
    EXPECT_EQ(envelope.seqNum, 99U);
    EXPECT_EQ(envelope.msgId, 24100U);
    EXPECT_EQ(envelope.srcComp, 103U);
    EXPECT_EQ(envelope.dstComp, 55U);
    EXPECT_EQ(envelope.dstCompUuid, "00000000-0000-f000-f000-000000000055");
    EXPECT_EQ(envelope.payload, "p");
    EXPECT_EQ(envelope.status, 2U);
    EXPECT_EQ(envelope.flags, Lab::Wire::FlagResponse);
    EXPECT_EQ(Lab::Cloud::Address({.seqNumDistance = 7}, Request(MsgId::RegisterRequest, "{}")).seqNum, 106U);
}

TEST(GreetTest, RouterFeaturesComeUnasked)
{
    const Reply greeting = Responder::Greet();
    EXPECT_EQ(greeting.msgId, 22U);
    EXPECT_EQ(greeting.flags, 0U);
}

} // namespace
