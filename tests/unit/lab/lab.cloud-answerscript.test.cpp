#include "lab.cloud-answerscript.hpp"

#include "lab.json-functions.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Lab::AgentSeconds;
using Lab::AnswerWay;
using Lab::RequestKind;
using Lab::ScriptedAnswer;
using Lab::Cloud::AnswerScript;
using Lab::Cloud::Misanswer;
using Lab::Cloud::Reply;

ScriptedAnswer To(RequestKind kind, AnswerWay way, std::uint64_t times = 1)
{
    ScriptedAnswer answer;
    answer.to = kind;
    answer.way = way;
    answer.times = times;
    return answer;
}

const Reply Good = {.msgId = 6006, .payload = R"({"success":true})"};

TEST(AnswerScriptTest, EachEntryIsUsedUpByTheRequestsThatItIsForInOrder)
{
    AnswerScript script(
        {To(RequestKind::Mtr, AnswerWay::Drop, 2), To(RequestKind::Tags, AnswerWay::Refuse),
         To(RequestKind::Mtr, AnswerWay::Twice)});
    EXPECT_EQ(script.Take(RequestKind::Ete), std::nullopt);
    EXPECT_EQ(script.Take(RequestKind::Mtr)->way, AnswerWay::Drop);
    EXPECT_EQ(script.Take(RequestKind::Tags)->way, AnswerWay::Refuse);
    EXPECT_EQ(script.Take(RequestKind::Mtr)->way, AnswerWay::Drop);
    EXPECT_EQ(script.Take(RequestKind::Mtr)->way, AnswerWay::Twice);
    EXPECT_EQ(script.Take(RequestKind::Mtr), std::nullopt);
    EXPECT_EQ(script.Take(RequestKind::Tags), std::nullopt);
}

TEST(AnswerScriptTest, AnEntryForNoTimesIsForAllThatFollow)
{
    AnswerScript script({To(RequestKind::Mtr, AnswerWay::Twice), To(RequestKind::Mtr, AnswerWay::Drop, 0)});
    EXPECT_EQ(script.Take(RequestKind::Mtr)->way, AnswerWay::Twice);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(script.Take(RequestKind::Mtr)->way, AnswerWay::Drop);
    }
}

TEST(MisanswerTest, GoodAndLateDifferOnlyInTheirTime)
{
    EXPECT_EQ(Misanswer(To(RequestKind::Mtr, AnswerWay::Good), Good), std::vector{Good});
    ScriptedAnswer late = To(RequestKind::Mtr, AnswerWay::Late);
    late.delay = AgentSeconds(4);
    Reply expected = Good;
    expected.delay = AgentSeconds(4);
    EXPECT_EQ(Misanswer(late, Good), std::vector{expected});
}

TEST(MisanswerTest, DroppedIsNothingAndTwiceIsTwice)
{
    EXPECT_TRUE(Misanswer(To(RequestKind::Mtr, AnswerWay::Drop), Good).empty());
    EXPECT_EQ(Misanswer(To(RequestKind::Mtr, AnswerWay::Twice), Good), (std::vector{Good, Good}));
}

TEST(MisanswerTest, ARefusalOfConfigurationIsNoSuccess)
{
    ScriptedAnswer refusal = To(RequestKind::Mtr, AnswerWay::Refuse);
    EXPECT_EQ(Misanswer(refusal, Good).at(0).payload, R"({"success":false})");
    refusal.error = "\"no\"";
    EXPECT_EQ(Misanswer(refusal, Good).at(0).payload, R"({"success":false,"error":"\"no\""})");
}

TEST(MisanswerTest, ARefusalOfAnythingElseHasACodeAndWhatIsToBeDone)
{
    ScriptedAnswer refusal = To(RequestKind::Startup, AnswerWay::Refuse);
    EXPECT_EQ(Misanswer(refusal, Good).at(0).payload, R"({"statusCode":500})");
    refusal.code = 400;
    refusal.error = "";
    refusal.action = "stop";
    EXPECT_EQ(Misanswer(refusal, Good).at(0).payload, R"({"statusCode":400,"error":"","action":"stop"})");
}

TEST(MisanswerTest, AWrongNumberIsNoneThatTheAgentComesTo)
{
    const Reply wrong = Misanswer(To(RequestKind::Mtr, AnswerWay::WrongNumber), Good).at(0);
    EXPECT_GT(wrong.seqNumDistance, 1'000'000U);
    EXPECT_EQ(wrong.payload, Good.payload);
}

TEST(MisanswerTest, RubbishIsNoJson)
{
    EXPECT_FALSE(Lab::Json::IsJson(Misanswer(To(RequestKind::Mtr, AnswerWay::Rubbish), Good).at(0).payload));
}

TEST(MisanswerTest, ABodyIsSentAsItStandsUnderItsNumberOrTheUsualOne)
{
    ScriptedAnswer body = To(RequestKind::Mtr, AnswerWay::Body);
    body.body = "anything";
    EXPECT_EQ(Misanswer(body, Good), (std::vector{Reply{.msgId = 6006, .payload = "anything"}}));
    body.msgId = 6054;
    EXPECT_EQ(Misanswer(body, Good).at(0).msgId, 6054U);
}

TEST(MisanswerTest, AFailedDeliveryHasAStatusAndNoPayload)
{
    const Reply failed = Misanswer(To(RequestKind::Mtr, AnswerWay::DeliveryFailure), Good).at(0);
    EXPECT_EQ(failed.status, Lab::Wire::StatusUnreachable);
    EXPECT_EQ(failed.payload, "");
    EXPECT_EQ(failed.msgId, 6006U);
}

} // namespace
