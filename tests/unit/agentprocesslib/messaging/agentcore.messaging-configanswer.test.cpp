#include "agentcore.messaging-configanswer.hpp"

#include "messaging.loglines.hpp"
#include "test.support-exceptions.hpp"

#include <string>
#include <string_view>

#include <gmock/gmock.h>

namespace
{

using AgentCore::Messaging::EscapeForPointer;
using AgentCore::Messaging::IsSuccessful;
using Shared::Json::RapidJsonDocument;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::LinesWithLevels;

TEST(ConfigAnswerTest, AnAnswerThatSaysSoIsSuccessfulAndNothingIsLogged)
{
    const TestSupport::CapturedLog log;
    EXPECT_TRUE(IsSuccessful(RapidJsonDocument(R"({"success":true,"error":"ignored"})"), "failed"));
    EXPECT_THAT(LinesWithLevels(log), IsEmpty());
}

TEST(ConfigAnswerTest, AFailureIsLoggedWithTheWordsOfTheServer)
{
    const TestSupport::CapturedLog log;
    EXPECT_FALSE(IsSuccessful(RapidJsonDocument(R"({"success":false,"error":"no {} such agent"})"), "failed"));
    EXPECT_FALSE(IsSuccessful(RapidJsonDocument(R"({"error":"","success":false})"), "failed"));
    EXPECT_THAT(LinesWithLevels(log), ElementsAre("warning: failed: no {} such agent", "warning: failed: "));
}

TEST(ConfigAnswerTest, AFailureWithoutWordsIsLoggedAlone)
{
    const TestSupport::CapturedLog log;
    for (const std::string_view answer :
         {R"({"success":false})", R"({"success":false,"error":null})", R"({"success":false,"error":{"text":"x"}})"})
    {
        EXPECT_FALSE(IsSuccessful(RapidJsonDocument(answer), "failed {}"));
    }
    EXPECT_THAT(LinesWithLevels(log), ElementsAre("warning: failed {}", "warning: failed {}", "warning: failed {}"));
}

TEST(ConfigAnswerTest, AnAnswerWithoutABooleanSuccessIsRefused)
{
    const TestSupport::CapturedLog log;
    for (const std::string_view answer :
         {"{}", "[]", "7", "null", "[true]", R"("success")", R"({"success":null})", R"({"success":1})",
          R"({"success":"true"})", R"({"success":{}})", R"({"Success":true})", R"({"values":{"success":true}})"})
    {
        EXPECT_EQ(
            TestSupport::RuntimeText([&] { (void)IsSuccessful(RapidJsonDocument(answer), "failed"); }),
            "Nullable is null")
            << answer;
    }
    EXPECT_THAT(LinesWithLevels(log), IsEmpty());
}

TEST(ConfigAnswerTest, OfASuccessThatComesTwiceTheFirstCounts)
{
    const TestSupport::CapturedLog log;
    EXPECT_TRUE(IsSuccessful(RapidJsonDocument(R"({"success":true,"success":false})"), "failed"));
    EXPECT_FALSE(IsSuccessful(RapidJsonDocument(R"({"success":false,"success":true})"), "failed"));
}

TEST(ConfigAnswerTest, AnyNameIsFoundThroughItsEscapedForm)
{
    for (const std::string name : {"plain", "/config/tests", "~", "~1", "~0/", "a~b/c", "{}", "\u00e9", "#", "%41"})
    {
        RapidJsonDocument document;
        document.Add(name, "found");
        EXPECT_EQ(document.GetJsonTextByPath("/" + EscapeForPointer(name)), R"("found")") << name;
    }
    EXPECT_EQ(EscapeForPointer("/config/tests"), "~1config~1tests");
    EXPECT_EQ(EscapeForPointer("~1"), "~01");
    EXPECT_EQ(EscapeForPointer(""), "");
}

} // namespace
