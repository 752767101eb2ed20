#include "tools.velexplain-text.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools.velexplain-examples.hpp"
#include "tools.velexplain-explain.hpp"

namespace
{

using namespace Tools::VelExplain;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string ShowExamples()
{
    return FormatText(Explain(Examples::MakeAnswers(), {}));
}

TEST(VelExplainTextTest, ItBeginsWithWhomItIsAbout)
{
    EXPECT_THAT(
        ShowExamples(),
        StartsWith("Agent   5f0c5a52-0000-4000-8000-000000000001 (from the answers, which have no other owner)\n"
                   "User    CORP\\jo (from the answer with the user's groups)\n"
                   "Groups  Staff, Sales\n"
                   "Tags    blue (\"Blue team\"), red\n"
                   "\nAnswers\n"));
}

TEST(VelExplainTextTest, OfNobodyItIsSaid)
{
    EXPECT_THAT(FormatText({}), StartsWith("Agent   none\nUser    none\nGroups  none\nTags    none\n"));
}

TEST(VelExplainTextTest, AnswersHaveTheirSourcesAndWhatTheAgentWarnsOf)
{
    EXPECT_THAT(
        ShowExamples(),
        HasSubstr("  network objects: network-objects.json\n"
                  "      the agent says: Detected a duplicate domain value portal.example on network object u-portal\n"
                  "  tests:           tests.json\n"
                  "  tags:            tags.json\n"
                  "  user groups:     user-groups.json\n"
                  "  MTR:             mtr.json\n"
                  "  curl:            curl.json\n"
                  "  ETE:             ete.json\n"
                  "\nMTR tests\n"));
}

TEST(VelExplainTextTest, WhatIsMissingOrCannotBeUsedIsSaid)
{
    Answers answers;
    answers.byRequest[Request::Mtr] = {"mtr.json", R"({"success":false})"};
    answers.byRequest[Request::Curl] = {"curl.json", "{}"};
    const auto text = FormatText(Explain(answers, {}));
    EXPECT_THAT(
        text,
        HasSubstr("  tests:           none is there; read as an empty one\n"
                  "      the agent says: No member /values//~1config~1tests found for test config\n"));
    EXPECT_THAT(
        text,
        HasSubstr("  MTR:             mtr.json\n"
                  "      the agent says: ObjectGenerator::ProcessMtrConfigMessage(): error processing MTR config\n"
                  "      a running agent asks again until it gets one that it can use\n"
                  "  curl:            curl.json\n"
                  "      the agent cannot use it: Nullable is null\n"
                  "      a running agent asks again until it gets one that it can use\n"));
    EXPECT_THAT(
        text, HasSubstr("\nMTR tests\n  None runs: the agent cannot use the answer\n\nETE tests\n  None runs\n"));
}

TEST(VelExplainTextTest, TestsThatRunAreNumberedWithTargetAndRules)
{
    EXPECT_THAT(
        ShowExamples(),
        HasSubstr("\nMTR tests\n"
                  "  These run, in this order\n"
                  "    1. first, priority 1\n"
                  "        target: no such network object (u-nowhere)\n"
                  "        names the user's group \"sales\"\n"
                  "    2. second, priority 2\n"
                  "        target: Portal (portal.example, 192.0.2.1)\n"
                  "        its tag /config/tags/blue (\"Blue team\") is a tag of this agent\n"
                  "        names the user \"corp\\JO\"\n"
                  "  Ignored\n"
                  "    other, priority 9\n"));
}

TEST(VelExplainTextTest, TheOthersStandUnderTheirTitlesAndTheAgentsCountsAtTheEnd)
{
    EXPECT_THAT(
        ShowExamples(),
        HasSubstr("    nonet, no priority\n"
                  "        it names no network object: it has no netobj\n"
                  "    notags, no priority\n"
                  "        target: Mail (no addresses)\n"
                  "        it has no field for tags\n"
                  "  Not in the map of tests, and so dropped\n"
                  "    dropped, no priority\n"
                  "        target: Mail (no addresses)\n"
                  "        meant for all agents\n"
                  "  Switched off\n"
                  "    off, priority 3\n"
                  "        target: Portal (portal.example, 192.0.2.1)\n"
                  "        it is switched off in the map of tests\n"
                  "  Cached 3 MTR objects, skipped 6 MTR objects.\n"
                  "\nETE tests\n"));
}

TEST(VelExplainTextTest, NothingReachesTheTerminalAsACommand)
{
    Answers answers;
    answers.byRequest[Request::Tests] = {
        "t", Examples::MakeAnswer(R"({"/config/tests":{"/config/mtr/\u001b[1m":{"enabled":true}}})")};
    answers.byRequest[Request::NetworkObjects] = {
        "n", Examples::MakeAnswer(R"({"o":{"uuid":"u","name":"\u001b[2m","ips":["\u001b[3m"]}})")};
    answers.byRequest[Request::Tags] = {"\x1B[4m", Examples::MakeAnswer(R"({"\u001b[5m":"\u001b[6m"})")};
    answers.byRequest[Request::UserGroups] = {"g", R"({"user":"\u001b[7m","groups":["\u001b[8m"]})"};
    answers.byRequest[Request::Mtr] = {
        "m",
        Examples::MakeAnswer(
            R"({"\u001b[1m":{"netobj":"u","tags":["/config/tags/\u001b[5m"],"users":[],"groups":["\u001b[8m"]},
                "\u009b2m":{"netobj":"\u009b3m","tags":[],"users":["x"],"groups":[]}})")};
    answers.byRequest[Request::Curl] = {"c", R"({"success":false,"error":"\u001b[9m\nnew line"})"};
    answers.byRequest[Request::Ete] = {"e", "{}"};
    auto report = Explain(answers, {});
    report.contradictions.emplace_back("\x1B[0m");
    const auto text = FormatText(report);
    EXPECT_THAT(text, Not(HasSubstr("\x1B")));
    EXPECT_THAT(text, Not(HasSubstr("\xC2\x9B")));
    for (const auto* const part :
         {"\\x1B[1m, priority 0", "target: \\x1B[2m (\\x1B[3m)", "tags:            \\x1B[4m",
          "Tags    \\x1B[5m (\"\\x1B[6m\")", "User    \\x1B[7m", "Groups  \\x1B[8m", "\\x1B[9m\\x0Anew line",
          "\\x9B2m, no priority", "(\\x9B3m)"})
    {
        EXPECT_THAT(text, HasSubstr(part));
    }
}

TEST(VelExplainTextTest, ContradictionsAreInternalErrors)
{
    EXPECT_THAT(ShowExamples(), Not(HasSubstr("Internal error")));
    Report report;
    report.contradictions = {"a runs, and is not judged to"};
    EXPECT_THAT(
        FormatText(report),
        HasSubstr("\nInternal error: what the agent runs and how it judges single tests disagree\n"
                  "  a runs, and is not judged to\n"));
}

} // namespace
