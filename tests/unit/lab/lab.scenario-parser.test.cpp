#include "lab.scenario-parser.hpp"

#include "test.support-temporaryfolder.hpp"

#include <string>
#include <variant>

#include <gmock/gmock.h>

namespace
{

using Lab::AgentSeconds;
using Lab::AnswerKind;
using Lab::FaultKind;
using Lab::FaultOrigin;
using Lab::ParseScenario;
using Lab::Scenario;
using Lab::ScenarioError;
using ::testing::HasSubstr;

std::string ProblemOf(const std::string& text)
{
    try
    {
        (void)ParseScenario(text);
    }
    catch (const ScenarioError& problem)
    {
        return problem.what();
    }
    return "(none)";
}

std::string FaultProblem(const std::string& members)
{
    return ProblemOf(R"({"faults":[{)" + members + "}]}");
}

std::string AnswerProblem(const std::string& members)
{
    return ProblemOf(R"({"cloud":{"registration":[{)" + members + "}]}}");
}

TEST(ScenarioParserTest, AnEmptyObjectIsAnUneventfulRun)
{
    const Scenario scenario = ParseScenario("{}");
    EXPECT_EQ(scenario.server, "https://cloud.lab.example");
    EXPECT_FALSE(scenario.duration.has_value());
    EXPECT_TRUE(scenario.user.isSignedIn);
    EXPECT_EQ(scenario.user.subTenantId, "lab-subtenant");
    ASSERT_EQ(scenario.cloud.registration.size(), 1U);
    EXPECT_EQ(scenario.cloud.registration[0].kind, AnswerKind::Success);
    EXPECT_TRUE(scenario.faults.empty());
    EXPECT_EQ(scenario.exitCode, 0);
}

TEST(ScenarioParserTest, EverythingThatIsGivenIsRead)
{
    const Scenario scenario = ParseScenario(R"({
        "title": "All of it", "duration": 12.5, "server": "http://a.example:8443", "exitCode": 3500,
        "user": {"signedIn": false, "username": "u", "domain": "d", "tenant": "t", "subtenant": "s",
                 "groups": ["g", "h"], "agentUuid": "a"},
        "vpn": {"tunnel-status": "disconnected", "Version": "6"},
        "settings": {"ResponseTimeout": "00:00:05", "PingTimeoutMs": 700},
        "cloud": {"accountId": 7, "agentUuid": "U", "unreachable": ["x.example"],
                  "configuration": {"/config/mtr": {"one": {"netobj": "n"}}},
                  "registration": [{"answer": "redirect", "server": "b.example", "delay": 1.5}, {"answer": "stop"}]},
        "faults": [{"fault": "flood", "at": 3, "count": 1000, "size": 5121, "start": 2},
                   {"fault": "cut-link", "after": "registration", "delay": 0.5, "seconds": 4}]})");
    EXPECT_EQ(scenario.title, "All of it");
    EXPECT_EQ(scenario.duration, AgentSeconds(12.5));
    EXPECT_EQ(scenario.server, "http://a.example:8443");
    EXPECT_EQ(scenario.exitCode, 3500);
    EXPECT_EQ(scenario.user, (Lab::ScenarioUser{false, "u", "d", "t", "s", {"g", "h"}, "a"}));
    EXPECT_EQ(scenario.vpn, (std::map<std::string, std::string>{{"Version", "6"}, {"tunnel-status", "disconnected"}}));
    EXPECT_EQ(std::get<std::string>(scenario.settings.at("ResponseTimeout")), "00:00:05");
    EXPECT_EQ(std::get<std::uint32_t>(scenario.settings.at("PingTimeoutMs")), 700U);
    EXPECT_EQ(scenario.cloud.accountId, 7U);
    EXPECT_EQ(scenario.cloud.agentUuid, "U");
    EXPECT_EQ(scenario.cloud.unreachable, std::vector<std::string>{"x.example"});
    EXPECT_TRUE(scenario.cloud.configuration->HasMember("/config/mtr"));
    EXPECT_EQ(
        scenario.cloud.registration,
        (std::vector<Lab::RegistrationAnswer>{
            {AnswerKind::Redirect, "b.example", 500, AgentSeconds(1.5)},
            {AnswerKind::Stop, "", 500, AgentSeconds(0)}}));
    ASSERT_EQ(scenario.faults.size(), 2U);
    EXPECT_EQ(scenario.faults[0].kind, FaultKind::Flood);
    EXPECT_EQ(scenario.faults[0].time, AgentSeconds(3));
    EXPECT_EQ(scenario.faults[0].count, 1000U);
    EXPECT_EQ(scenario.faults[0].size, 5121U);
    EXPECT_EQ(scenario.faults[0].start, 2U);
    EXPECT_EQ(scenario.faults[1].origin, FaultOrigin::Registration);
    EXPECT_EQ(scenario.faults[1].time, AgentSeconds(0.5));
    EXPECT_EQ(scenario.faults[1].duration, AgentSeconds(4));
    EXPECT_EQ(ParseScenario(R"({"faults":[{"fault":"cut-link","after":"link"}]})").faults[0].origin, FaultOrigin::Link);
}

TEST(ScenarioParserTest, AMessageOfTheCloudHasItsPayloadAsText)
{
    const Scenario scenario =
        ParseScenario(R"({"faults":[{"fault":"send-message","msgId":24104,"payload":{"targetAgentVersion":"9"}}]})");
    EXPECT_EQ(scenario.faults[0].msgId, 24104U);
    EXPECT_EQ(scenario.faults[0].payload, R"({"targetAgentVersion":"9"})");
}

TEST(ScenarioParserTest, AChangeOfTheUserOrOfTheVpnHasTheSameKeysAsTheWhole)
{
    const Scenario scenario = ParseScenario(R"({"faults":[{"fault":"change-user","user":{"username":"eve"}},)"
                                            R"({"fault":"change-vpn","vpn":{"tunnel-status":"internal"}}]})");
    EXPECT_EQ(scenario.faults[0].user.username, "eve");
    EXPECT_EQ(scenario.faults[0].user.domain, "LABORATORY");
    EXPECT_EQ(scenario.faults[1].vpn.at("tunnel-status"), "internal");
    EXPECT_EQ(
        FaultProblem(R"("fault":"change-user","user":{"usernam":"eve"})"),
        "$.faults[0].user.usernam: there is no such key; there are: agentUuid, domain, groups, signedIn, subtenant, "
        "tenant, "
        "username; was \"username\" meant?");
}

TEST(ScenarioParserTest, WhatIsNoJsonIsToldWithItsLine)
{
    EXPECT_EQ(ProblemOf("{\n\"title\": }"), "line 2, column 10: Invalid value.");
}

TEST(ScenarioParserTest, AnythingButAnObjectIsRefused)
{
    EXPECT_EQ(ProblemOf("[]"), "$: must be an object, not a list");
    EXPECT_EQ(ProblemOf("null"), "$: must be an object, not null");
    EXPECT_EQ(ProblemOf("true"), "$: must be an object, not true or false");
}

TEST(ScenarioParserTest, AnUnknownKeyIsToldWithThoseThatThereAre)
{
    EXPECT_EQ(
        ProblemOf(R"({"duratoin":1})"),
        "$.duratoin: there is no such key; there are: cloud, duration, exitCode, faults, server, settings, title, "
        "user, vpn; was \"duration\" meant?");
    EXPECT_THAT(ProblemOf(R"({"something-else":1})"), ::testing::Not(HasSubstr("meant")));
    EXPECT_THAT(ProblemOf(R"({"vpn":{"user-id":"x"}})"), HasSubstr("$.vpn.user-id: there is no such key; there are: "));
    EXPECT_THAT(ProblemOf(R"({"a b\n":1})"), HasSubstr("$[\"a b\\n\"]: there is no such key"));
}

TEST(ScenarioParserTest, AWrongTypeIsToldWithTheRightOne)
{
    EXPECT_EQ(ProblemOf(R"({"server":7})"), "$.server: must be a text, not a number");
    EXPECT_EQ(ProblemOf(R"({"duration":"7"})"), "$.duration: must be a number, not a text");
    EXPECT_EQ(ProblemOf(R"({"user":{"signedIn":1}})"), "$.user.signedIn: must be true or false, not a number");
    EXPECT_EQ(ProblemOf(R"({"user":{"groups":[1]}})"), "$.user.groups: must be a list of texts, not a list");
    EXPECT_EQ(ProblemOf(R"({"faults":[1]})"), "$.faults: must be a list of objects, not a list");
    EXPECT_EQ(ProblemOf(R"({"faults":{}})"), "$.faults: must be a list of objects, not an object");
    EXPECT_EQ(ProblemOf(R"({"cloud":[]})"), "$.cloud: must be an object, not a list");
    EXPECT_EQ(ProblemOf(R"({"cloud":{"accountId":1.5}})"), "$.cloud.accountId: must be a whole number, not a number");
    EXPECT_EQ(ProblemOf(R"({"cloud":{"configuration":null}})"), "$.cloud.configuration: must be an object, not null");
}

TEST(ScenarioParserTest, ANumberOutsideOfItsLimitsIsToldWithThem)
{
    EXPECT_EQ(ProblemOf(R"({"duration":0})"), "$.duration: must be from 0.1 to 2592000, not 0");
    EXPECT_EQ(FaultProblem(R"("fault":"kill-connector","at":-1)"), "$.faults[0].at: must be from 0 to 2592000, not -1");
    EXPECT_EQ(
        FaultProblem(R"("fault":"flood","count":18446744073709551615)"),
        "$.faults[0].count: must be from 1 to 1000000, not 1.8446744073709552e+19");
}

TEST(ScenarioParserTest, AKeyThatIsGivenTwiceIsTold)
{
    EXPECT_EQ(ProblemOf(R"({"title":"a","title":"b"})"), "$.title: is given twice");
}

TEST(ScenarioParserTest, AnUnknownFaultIsToldWithThoseThatThereAre)
{
    EXPECT_EQ(
        FaultProblem(R"("fault":"kill")"),
        "$.faults[0].fault: \"kill\" is no fault; there are: change-configuration, change-groups, change-user, change-vpn, "
        "cut-link, exit-at-start, flood, fragment, garble-frame, hang-connector, kill-connector, never-connect, "
        "send-message, silence-cloud, trickle, update-request");
    EXPECT_EQ(FaultProblem(""), "$.faults[0].fault: is missing");
}

TEST(ScenarioParserTest, AKeyThatMeansNothingForAFaultIsTold)
{
    EXPECT_EQ(
        FaultProblem(R"("fault":"kill-connector","seconds":1)"),
        "$.faults[0].seconds: means nothing for \"kill-connector\"; there are: after, at, delay, fault, start");
}

TEST(ScenarioParserTest, AKeyThatAFaultNeedsIsTold)
{
    EXPECT_EQ(FaultProblem(R"("fault":"flood")"), "$.faults[0].count: is missing, and \"flood\" needs it");
}

TEST(ScenarioParserTest, TheTimesOfAFaultMustFitTogether)
{
    EXPECT_EQ(
        FaultProblem(R"("fault":"kill-connector","at":1,"after":"registration")"),
        "$.faults[0].at: cannot be given beside \"after\"");
    EXPECT_EQ(
        FaultProblem(R"("fault":"kill-connector","delay":1)"), "$.faults[0].delay: means nothing without \"after\"");
    EXPECT_EQ(
        FaultProblem(R"("fault":"kill-connector","after":"lunch")"),
        "$.faults[0].after: \"lunch\" is nothing that can be awaited; there are: configuration, link, registration");
}

TEST(ScenarioParserTest, AnAnswerIsHeldAgainstItsNameToo)
{
    EXPECT_EQ(
        AnswerProblem(R"("answer":"maybe")"),
        "$.cloud.registration[0].answer: \"maybe\" is no answer; there are: another-tenant, delivery-failure, "
        "internal-error, not-found, redirect, refuse-uuid, rubbish, silence, status, stop, success");
    EXPECT_EQ(
        AnswerProblem(R"("answer":"redirect")"),
        "$.cloud.registration[0].server: is missing, and \"redirect\" needs it");
    EXPECT_EQ(
        AnswerProblem(R"("answer":"stop","server":"a")"),
        "$.cloud.registration[0].server: means nothing for \"stop\"; there are: answer, delay");
    EXPECT_EQ(AnswerProblem(""), "$.cloud.registration[0].answer: is missing");
    EXPECT_EQ(ProblemOf(R"({"cloud":{"registration":[]}})"), "$.cloud.registration: needs at least one answer");
}

TEST(ScenarioParserTest, AllFaultsOfAFileAreToldAtOnceUpToALimit)
{
    EXPECT_EQ(
        ProblemOf(R"({"title":1,"server":2})"),
        "$.title: must be a text, not a number\n$.server: must be a text, not a number");
    std::string faults;
    for (int i = 0; i < 25; ++i)
    {
        faults += std::string(i == 0 ? "" : ",") + "{}";
    }
    const std::string problem = ProblemOf(R"({"faults":[)" + faults + "]}");
    EXPECT_THAT(problem, HasSubstr("$.faults[19].fault: is missing"));
    EXPECT_THAT(problem, ::testing::Not(HasSubstr("$.faults[20]")));
    EXPECT_THAT(problem, HasSubstr("\nand 5 more"));
}

TEST(ScenarioParserTest, TextsOfTheFileAreShownShortAndWithoutControlCharacters)
{
    const std::string problem = FaultProblem(R"("fault":")" + std::string(10'000, 'k') + R"(\u001b")");
    EXPECT_LT(problem.size(), 500U);
    EXPECT_THAT(FaultProblem(R"("fault":"\u001b[2J")"), HasSubstr("\"\\u001B[2J\" is no fault"));
}

std::string CloudProblem(const std::string& members)
{
    return ProblemOf(R"({"cloud":{)" + members + "}}");
}

std::string ScriptProblem(const std::string& members)
{
    return CloudProblem(R"("answers":[{)" + members + "}]");
}

TEST(ScenarioParserTest, AnswersToRequestsAreReadInTheirOrder)
{
    const Scenario scenario = ParseScenario(R"({"cloud":{"answers":[
        {"to":"mtr","how":"late","delay":40},
        {"to":"startup","how":"refuse","times":3,"code":400,"error":"e","action":"stop"},
        {"to":"tests","how":"body","body":{"success": true},"msgId":6054,"times":0},
        {"to":"user-groups","how":"body","body":"no JSON"},
        {"to":"tags","how":"refuse"}]}})");
    const auto& answers = scenario.cloud.answers;
    ASSERT_EQ(answers.size(), 5U);
    EXPECT_EQ(
        answers[0],
        (Lab::ScriptedAnswer{.to = Lab::RequestKind::Mtr, .way = Lab::AnswerWay::Late, .delay = AgentSeconds(40)}));
    EXPECT_EQ(
        answers[1],
        (Lab::ScriptedAnswer{
            .to = Lab::RequestKind::Startup,
            .way = Lab::AnswerWay::Refuse,
            .times = 3,
            .code = 400,
            .error = "e",
            .action = "stop"}));
    EXPECT_EQ(
        answers[2],
        (Lab::ScriptedAnswer{
            .to = Lab::RequestKind::Tests,
            .way = Lab::AnswerWay::Body,
            .times = 0,
            .body = R"({"success":true})",
            .msgId = 6054}));
    EXPECT_EQ(answers[3].body, "no JSON");
    EXPECT_EQ(answers[4].error, std::nullopt);
}

TEST(ScenarioParserTest, AnAnswerToARequestIsHeldAgainstItsNames)
{
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtrs","how":"drop")"),
        "$.cloud.answers[0].to: \"mtrs\" is no request; there are: account-agent, curl, ete, instance-agent, mtr, "
        "network-objects, poll, startup, tags, tests, user-groups");
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"never")"),
        "$.cloud.answers[0].how: \"never\" is no way to answer; there are: body, delivery-failure, drop, good, late, "
        "refuse, rubbish, twice, wrong-number");
    EXPECT_EQ(ScriptProblem(""), "$.cloud.answers[0].to: is missing\n$.cloud.answers[0].how: is missing");
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"late")"), "$.cloud.answers[0].delay: is missing, and \"late\" needs it");
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"drop","delay":1)"),
        "$.cloud.answers[0].delay: means nothing for \"drop\"; there are: how, times, to");
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"body","body":7)"),
        "$.cloud.answers[0].body: must be a text or an object, not a number");
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"drop","times":-1)"),
        "$.cloud.answers[0].times: must be from 0 to 1000000, not -1");
}

TEST(ScenarioParserTest, ARefusalIsHeldAgainstWhatTheRequestKnowsOfIt)
{
    EXPECT_EQ(
        ScriptProblem(R"("to":"mtr","how":"refuse","code":404,"action":"stop")"),
        "$.cloud.answers[0].code: means nothing for \"mtr\", only for \"startup\" and \"poll\"\n"
        "$.cloud.answers[0].action: means nothing for \"mtr\", only for \"startup\" and \"poll\"");
    EXPECT_EQ(ScriptProblem(R"("to":"poll","how":"refuse","code":404,"action":"stop")"), "(none)");
    EXPECT_EQ(
        ScriptProblem(R"("to":"user-groups","how":"refuse")"),
        "$.cloud.answers[0].how: \"refuse\" is not for \"user-groups\": they come as a notification, which refuses "
        "nothing");
}

TEST(ScenarioParserTest, AConfigurationHasItsPathsAndNoOthers)
{
    EXPECT_THAT(
        CloudProblem(R"("configuration":{"/config/mtrs":{}})"),
        ::testing::AllOf(
            HasSubstr(
                R"($.cloud.configuration["/config/mtrs"]: there is no such key; there are: /config/account/agent, )"),
            ::testing::EndsWith("was \"/config/mtr\" meant?")));
    EXPECT_EQ(
        CloudProblem(R"("configuration":{"/config/cversion/instance":{}})"),
        R"($.cloud.configuration["/config/cversion/instance"]: must be a whole number, not an object)");
    EXPECT_EQ(CloudProblem(R"("configuration":{"/config/mtr":null,"/config/cversion/instance":null})"), "(none)");
}

TEST(ScenarioParserTest, OtherOwnersHaveAPlace)
{
    const Scenario scenario = ParseScenario(
        R"({"cloud":{"owners":[{"uuid":"a"},{"uuid":"b","place":"first","configuration":{"/config/mtr":{"x":{}}}}]}})");
    ASSERT_EQ(scenario.cloud.owners.size(), 2U);
    EXPECT_EQ(scenario.cloud.owners[0].uuid, "a");
    EXPECT_FALSE(scenario.cloud.owners[0].isFirst);
    EXPECT_EQ(scenario.cloud.owners[0].configuration, nullptr);
    EXPECT_TRUE(scenario.cloud.owners[1].isFirst);
    EXPECT_TRUE(scenario.cloud.owners[1].configuration->HasMember("/config/mtr"));
    EXPECT_EQ(CloudProblem(R"("owners":[{}])"), "$.cloud.owners[0].uuid: is missing");
    EXPECT_EQ(
        CloudProblem(R"("owners":[{"uuid":"a","place":"last"}])"),
        "$.cloud.owners[0].place: \"last\" is no place; there are: behind, first");
    EXPECT_THAT(
        CloudProblem(R"("owners":[{"uuid":"a","configuration":{"x":1}}])"),
        HasSubstr("$.cloud.owners[0].configuration.x: there is no such key"));
}

TEST(ScenarioParserTest, WhatTheCloudChangesByItselfIsRead)
{
    const Scenario scenario = ParseScenario(R"({"faults":[
        {"fault":"change-configuration","after":"configuration","delay":5,
         "configuration":{"/config/agent":null,"/config/tests":{"/config/mtr/a":{"enabled":false}}}},
        {"fault":"change-groups","groups":["g"],"notify":false},
        {"fault":"update-request","version":"2.0"},
        {"fault":"send-message","msgId":24104,"payload":""}]})");
    ASSERT_EQ(scenario.faults.size(), 4U);
    EXPECT_EQ(scenario.faults[0].origin, FaultOrigin::Configuration);
    EXPECT_TRUE((*scenario.faults[0].configuration)["/config/agent"].IsNull());
    EXPECT_TRUE(scenario.faults[0].notifies);
    EXPECT_EQ(scenario.faults[1].groups, std::vector<std::string>{"g"});
    EXPECT_FALSE(scenario.faults[1].notifies);
    EXPECT_EQ(scenario.faults[2].version, "2.0");
    EXPECT_EQ(scenario.faults[3].payload, "");
    EXPECT_EQ(
        FaultProblem(R"("fault":"change-configuration")"),
        "$.faults[0].configuration: is missing, and \"change-configuration\" needs it");
    EXPECT_EQ(
        FaultProblem(R"("fault":"update-request")"),
        "$.faults[0].version: is missing, and \"update-request\" needs it");
}

TEST(ScenarioFileTest, TheFileIsNamedInEveryLine)
{
    const TestSupport::TemporaryFolder folder;
    const auto file = folder.Path() / "bad.json";
    TestSupport::WriteFile(file, R"({"title":1,"server":2})");
    try
    {
        (void)Lab::ReadScenario(file);
        FAIL() << "it was read";
    }
    catch (const ScenarioError& problem)
    {
        EXPECT_EQ(
            std::string(problem.what()),
            file.string() + ": $.title: must be a text, not a number\n" + file.string() +
                ": $.server: must be a text, not a number");
    }
}

TEST(ScenarioFileTest, OneThatIsNotThereIsNamed)
{
    const TestSupport::TemporaryFolder folder;
    EXPECT_THROW((void)Lab::ReadScenario(folder.Path() / "none.json"), ScenarioError);
    EXPECT_THROW((void)Lab::ReadScenario(folder.Path()), ScenarioError);
}

} // namespace
