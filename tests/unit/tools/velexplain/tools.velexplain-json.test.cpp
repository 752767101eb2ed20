#include "tools.velexplain-json.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.json-rapidjsondocument.hpp"
#include "tools.velexplain-examples.hpp"
#include "tools.velexplain-explain.hpp"

namespace
{

using namespace Tools::VelExplain;
using Shared::Json::RapidJsonDocument;

class VelExplainJsonTest : public testing::Test
{
protected:
    std::string At(const std::string& path) const
    {
        return m_document.GetJsonTextByPath(path);
    }

private:
    RapidJsonDocument m_document{FormatJson(Explain(Examples::MakeAnswers(), {}))};
};

TEST_F(VelExplainJsonTest, ItSaysWhomItIsAbout)
{
    EXPECT_EQ(At("/agent"), "\"5f0c5a52-0000-4000-8000-000000000001\"");
    EXPECT_EQ(At("/user"), R"("CORP\\jo")");
    EXPECT_EQ(At("/groups"), R"(["Staff","Sales"])");
    EXPECT_EQ(
        At("/tags"), R"([{"key":"/config/tags/blue","value":"Blue team"},{"key":"/config/tags/red","value":""}])");
}

TEST_F(VelExplainJsonTest, AnswersHaveTheirLines)
{
    EXPECT_EQ(
        At("/answers/3"),
        R"({"request":"user-groups","source":"user-groups.json","problem":null,"isFailure":false,"log":[]})");
    EXPECT_EQ(
        At("/answers/1"),
        R"({"request":"tests","source":"tests.json","problem":null,"isFailure":false,"log":[)"
        R"({"level":"info","text":"Caching Tests config..."},{"level":"info","text":"Cached 6 Test objects"}]})");
}

TEST_F(VelExplainJsonTest, TestsHaveEverythingThatWasDecided)
{
    EXPECT_EQ(At("/kinds/0/kind"), "\"mtr\"");
    EXPECT_EQ(At("/kinds/1/kind"), "\"ete\"");
    EXPECT_EQ(At("/kinds/2/kind"), "\"curl\"");
    EXPECT_EQ(
        At("/kinds/0/running/1"),
        R"json({"id":"second","key":"/config/mtr/second","priority":2,"netobj":"u-portal",)json"
        R"json("target":{"name":"Portal","domains":["portal.example"],"ips":["192.0.2.1"]},"fate":"runs",)json"
        R"json("tagsOrInstances":{"kind":"tag","text":"/config/tags/blue"},)json"
        R"json("usersOrGroups":{"kind":"user","text":"corp\\JO"},"reasons":)json"
        R"json(["its tag /config/tags/blue (\"Blue team\") is a tag of this agent","names the user \"corp\\JO\""]})json");
    EXPECT_EQ(
        At("/kinds/0/others/4"),
        R"json({"id":"nonet","key":"/config/mtr/nonet","priority":null,"netobj":"","target":null,"fate":"no-netobj",)json"
        R"json("tagsOrInstances":{"kind":"none","text":null},"usersOrGroups":{"kind":"none","text":null},)json"
        R"json("reasons":["it names no network object: it has no netobj"]})json");
    EXPECT_EQ(At("/kinds/0/closing"), "\"Cached 3 MTR objects, skipped 6 MTR objects.\"");
    EXPECT_EQ(At("/contradictions"), "[]");
}

TEST(VelExplainEmptyJsonTest, WhatIsNotKnownIsNull)
{
    Report report;
    report.contradictions = {"one\xFF"};
    const RapidJsonDocument document(FormatJson(report));
    EXPECT_EQ(
        document.GetJsonText(),
        R"({"agent":null,"user":null,"groups":[],"tags":[],"answers":[],"kinds":[],"contradictions":["one"]})");
}

TEST(VelExplainEmptyJsonTest, AFailureIsTold)
{
    Answers answers;
    answers.byRequest[Request::Mtr] = {"mtr.json", R"({"success":false})"};
    answers.byRequest[Request::Ete] = {"ete.json", "{}"};
    const RapidJsonDocument document(FormatJson(Explain(answers, {})));
    EXPECT_EQ(document.GetJsonTextByPath("/answers/4/isFailure"), "true");
    EXPECT_EQ(document.GetJsonTextByPath("/answers/4/log/1/level"), "\"warning\"");
    EXPECT_EQ(document.GetJsonTextByPath("/kinds/0/closing"), "null");
    EXPECT_EQ(document.GetJsonTextByPath("/answers/6/problem"), "\"Nullable is null\"");
    EXPECT_EQ(document.GetJsonTextByPath("/answers/0/source"), "null");
}

} // namespace
