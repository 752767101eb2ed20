#include "tools.velexplain-explain.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools.velexplain-examples.hpp"
#include "tools.velexplain-randomanswers.hpp"

namespace
{

using namespace Tools::VelExplain;
using AgentCore::Messaging::MatchKind;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

std::vector<std::string> IdsOf(const std::vector<TestReport>& tests)
{
    std::vector<std::string> ids;
    for (const auto& test : tests)
    {
        ids.push_back(test.id);
    }
    return ids;
}

std::vector<std::pair<std::string, Fate>> FatesOf(const std::vector<TestReport>& tests)
{
    std::vector<std::pair<std::string, Fate>> fates;
    for (const auto& test : tests)
    {
        fates.emplace_back(test.id, test.fate);
    }
    return fates;
}

const KindReport& KindOf(const Report& report, TestKind kind)
{
    const auto found = std::find_if(
        report.kinds.begin(), report.kinds.end(),
        [kind](const KindReport& candidate) { return candidate.kind == kind; });
    return found == report.kinds.end() ? throw std::runtime_error("the kind is not explained") : *found;
}

const AnswerReport& AnswerTo(const Report& report, Request request)
{
    return report.answers.at(static_cast<std::size_t>(request));
}

TEST(VelExplainTest, TestsThatRunAreInOrderOfPriorityWithTheirRules)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    const auto& mtr = KindOf(report, TestKind::Mtr);
    ASSERT_THAT(IdsOf(mtr.running), ElementsAre("first", "second"));
    EXPECT_EQ(mtr.running[0].key, "/config/mtr/first");
    EXPECT_EQ(mtr.running[0].priority, 1);
    EXPECT_EQ(mtr.running[0].tagsOrInstances.kind, MatchKind::None);
    EXPECT_EQ(mtr.running[0].usersOrGroups.kind, MatchKind::Group);
    EXPECT_EQ(mtr.running[0].usersOrGroups.text, "sales");
    EXPECT_EQ(mtr.running[1].tagsOrInstances.kind, MatchKind::Tag);
    EXPECT_EQ(mtr.running[1].usersOrGroups.kind, MatchKind::User);
    EXPECT_EQ(mtr.closing, "Cached 3 MTR objects, skipped 6 MTR objects.");
    EXPECT_EQ(KindOf(report, TestKind::Ete).running.at(0).tagsOrInstances.kind, MatchKind::AllAgents);
    EXPECT_EQ(KindOf(report, TestKind::Curl).running.at(0).tagsOrInstances.kind, MatchKind::Instance);
    EXPECT_EQ(KindOf(report, TestKind::Curl).running.at(0).priority, -4);
}

TEST(VelExplainTest, EveryOtherTestHasItsFate)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    EXPECT_THAT(
        FatesOf(KindOf(report, TestKind::Mtr).others),
        ElementsAre(
            Pair("off", Fate::Disabled), Pair("other", Fate::NotMeant), Pair("nousers", Fate::NotMeant),
            Pair("split", Fate::SplitTunnel), Pair("nonet", Fate::NoNetobj), Pair("notags", Fate::NoTags),
            Pair("dropped", Fate::NotInMap)));
    EXPECT_THAT(report.contradictions, IsEmpty());
}

TEST(VelExplainTest, WhatATestNamesIsCounted)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    const auto& other = KindOf(report, TestKind::Mtr).others.at(1);
    EXPECT_EQ(other.named.tags, 2U);
    EXPECT_EQ(other.named.instances, 1U);
    EXPECT_EQ(other.named.users, 2U);
    EXPECT_EQ(other.named.groups, 1U);
}

TEST(VelExplainTest, TargetsAreFoundByUuidTheFirstOfSeveral)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    const auto& running = KindOf(report, TestKind::Mtr).running;
    EXPECT_FALSE(running.at(0).target.has_value());
    ASSERT_TRUE(running.at(1).target.has_value());
    EXPECT_EQ(running[1].target->name, "Portal");
    EXPECT_THAT(running[1].target->domains, ElementsAre("portal.example"));
    EXPECT_THAT(running[1].target->ips, ElementsAre("192.0.2.1"));
}

TEST(VelExplainTest, TheOneOwnerOfTheAnswersIsTheAgent)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    EXPECT_EQ(report.subject.agentUuid, Examples::Agent);
    EXPECT_EQ(report.subject.agentSource, "the answers, which have no other owner");
}

TEST(VelExplainTest, OfSeveralOwnersOneMustBeNamed)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest[Request::Ete].text = R"({"success":true,"values":{"another":{}}})";
    try
    {
        Explain(answers, {});
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const InputError& problem)
    {
        EXPECT_THAT(problem.what(), HasSubstr("--agent"));
        EXPECT_THAT(problem.what(), HasSubstr(Examples::Agent));
        EXPECT_THAT(problem.what(), HasSubstr("another"));
    }
    Options options;
    options.agentUuid = Examples::Agent;
    EXPECT_THAT(IdsOf(KindOf(Explain(answers, options), TestKind::Mtr).running), ElementsAre("first", "second"));
}

TEST(VelExplainTest, WhatTheLaboratoryKnowsOfTheAgentAndItsUserIsTaken)
{
    auto answers = Examples::MakeAnswers();
    answers.agentUuid = "registered";
    answers.agentSource = "a file";
    answers.username = "somebody";
    const auto report = Explain(answers, {});
    EXPECT_EQ(report.subject.agentUuid, "registered");
    EXPECT_EQ(report.subject.agentSource, "a file");
    EXPECT_EQ(report.subject.username, "somebody");
    // Another agent's tests are not this one's.
    EXPECT_THAT(report.subject.tags, IsEmpty());
    EXPECT_THAT(KindOf(report, TestKind::Mtr).running, IsEmpty());
}

TEST(VelExplainTest, TheUserIsNamedOrTheOneWhomTheGroupsAreAbout)
{
    EXPECT_EQ(Explain(Examples::MakeAnswers(), {}).subject.username, Examples::User);
    Options options;
    options.username = "else";
    options.groups = {"none"};
    const auto report = Explain(Examples::MakeAnswers(), options);
    EXPECT_EQ(report.subject.username, "else");
    EXPECT_EQ(report.subject.userSource, "--user");
    // By its tag alone.
    EXPECT_THAT(IdsOf(KindOf(report, TestKind::Mtr).running), ElementsAre("second"));
    EXPECT_EQ(KindOf(report, TestKind::Mtr).running[0].usersOrGroups.kind, MatchKind::None);
}

TEST(VelExplainTest, TagsAndGroupsThatAreNamedTakeThePlaceOfTheAnswers)
{
    Options options;
    options.groups = {"BOARD"};
    options.tagIds = {"green", "quoted \"\xFF"};
    const auto report = Explain(Examples::MakeAnswers(), options);
    EXPECT_THAT(report.subject.groups, ElementsAre("BOARD"));
    ASSERT_EQ(report.subject.tags.size(), 2U);
    EXPECT_EQ(report.subject.tags[0].key, "/config/tags/green");
    EXPECT_EQ(report.subject.tags[1].id, "quoted \"");
    EXPECT_EQ(AnswerTo(report, Request::Tags).source, "--tag");
    EXPECT_EQ(AnswerTo(report, Request::UserGroups).source, "--group");
    const auto& others = KindOf(report, TestKind::Mtr).others;
    EXPECT_THAT(
        FatesOf(others),
        testing::Contains(Pair("nousers", Fate::NotInMap))); // its tag is there now, but it is not in the map
    EXPECT_THAT(IdsOf(KindOf(report, TestKind::Mtr).running), testing::Contains("other"));
    // No answer about groups, so nobody whom they are about.
    EXPECT_EQ(report.subject.username, "");
}

TEST(VelExplainTest, MissingAnswersAreEmptyAnswers)
{
    const auto report = Explain({}, {});
    ASSERT_EQ(report.answers.size(), Requests.size());
    for (const auto& answer : report.answers)
    {
        EXPECT_EQ(answer.source, "");
        EXPECT_EQ(answer.problem, "");
        EXPECT_FALSE(answer.isFailure);
    }
    EXPECT_EQ(report.subject.agentUuid, "");
    EXPECT_EQ(
        AnswerTo(report, Request::Tests).log.back().text, "No member /values//~1config~1tests found for test config");
    EXPECT_EQ(KindOf(report, TestKind::Ete).closing, "Cached 0 ETE objects, skipped 0 ETE objects.");
    EXPECT_THAT(report.contradictions, IsEmpty());
}

TEST(VelExplainTest, WithoutTheMapOfTestsAllThatAreMeantAreDropped)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest.erase(Request::Tests);
    const auto report = Explain(answers, {});
    EXPECT_THAT(KindOf(report, TestKind::Mtr).running, IsEmpty());
    EXPECT_THAT(FatesOf(KindOf(report, TestKind::Mtr).others), testing::Contains(Pair("off", Fate::NotInMap)));
}

TEST(VelExplainTest, AnswersAreInTheOrderOfTheChainWithTheirLines)
{
    const auto report = Explain(Examples::MakeAnswers(), {});
    ASSERT_EQ(report.answers.size(), Requests.size());
    for (std::size_t i = 0; i < Requests.size(); ++i)
    {
        EXPECT_EQ(report.answers[i].request, Requests.at(i).request);
    }
    const auto& log = AnswerTo(report, Request::NetworkObjects).log;
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[1].level, Level::Warning);
    EXPECT_EQ(log[1].text, "Detected a duplicate domain value portal.example on network object u-portal");
    EXPECT_EQ(log[2].text, "Cached 3 network objects.");
}

TEST(VelExplainTest, AFailureIsToldInTheWordsOfTheAgent)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest[Request::Mtr].text = R"({"success":false,"error":"no database"})";
    const auto report = Explain(answers, {});
    const auto& answer = AnswerTo(report, Request::Mtr);
    EXPECT_TRUE(answer.isFailure);
    EXPECT_EQ(
        answer.log.back().text, "ObjectGenerator::ProcessMtrConfigMessage(): error processing MTR config: no database");
    EXPECT_EQ(KindOf(report, TestKind::Mtr).closing, "");
    EXPECT_THAT(KindOf(report, TestKind::Mtr).others, IsEmpty());
    EXPECT_THAT(report.contradictions, IsEmpty());
}

TEST(VelExplainTest, AnAnswerThatTheAgentCannotUseLeavesItsListEmpty)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest[Request::Mtr].text = "{}";
    answers.byRequest[Request::Tags].text = "7";
    answers.byRequest[Request::UserGroups].text = fmt::format(R"({{"groups": 7, "x": "{}"}})", std::string(1000, 'x'));
    const auto report = Explain(answers, {});
    EXPECT_EQ(AnswerTo(report, Request::Mtr).problem, "Nullable is null");
    EXPECT_EQ(AnswerTo(report, Request::Tags).problem, "Nullable is null");
    EXPECT_THAT(
        AnswerTo(report, Request::UserGroups).problem,
        testing::StartsWith("Failed to parse UserGroups notification: "));
    EXPECT_LT(AnswerTo(report, Request::UserGroups).problem.size(), 400U);
    EXPECT_THAT(report.subject.tags, IsEmpty());
    EXPECT_THAT(report.subject.groups, IsEmpty());
    EXPECT_EQ(KindOf(report, TestKind::Mtr).closing, "");
}

TEST(VelExplainTest, OnlyTheKindsThatAreWantedAreExplained)
{
    Options options;
    options.only = {TestKind::Curl};
    const auto report = Explain(Examples::MakeAnswers(), options);
    ASSERT_EQ(report.kinds.size(), 1U);
    EXPECT_EQ(report.kinds[0].kind, TestKind::Curl);
}

TEST(VelExplainTest, AListIsReadFromItsFirstOwnerAsInTheAgent)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest[Request::Ete].text = fmt::format(
        R"({{"success":true,"values":{{"another":{0},"{1}":{{}}}}}})",
        R"({"all":{"netobj":"u-mail","tags":["/config/tags/red"]}})", Examples::Agent);
    Options options;
    options.agentUuid = Examples::Agent;
    const auto report = Explain(answers, options);
    EXPECT_THAT(IdsOf(KindOf(report, TestKind::Ete).running), ElementsAre("all"));
    EXPECT_THAT(KindOf(report, TestKind::Ete).others, IsEmpty());
}

TEST(VelExplainTest, IdsThatComeTwiceAreBothExplained)
{
    auto answers = Examples::MakeAnswers();
    answers.byRequest[Request::Ete].text = Examples::MakeAnswer(
        R"({"all":{"netobj":"u-mail","tags":["/config/tags/red"]},"all":{"netobj":"u-portal","tags":["/config/tags/red"]},
            "all":{"netobj":"u-mail","tags":[]}})");
    const auto report = Explain(answers, {});
    EXPECT_THAT(IdsOf(KindOf(report, TestKind::Ete).running), ElementsAre("all", "all"));
    EXPECT_THAT(FatesOf(KindOf(report, TestKind::Ete).others), ElementsAre(Pair("all", Fate::NotMeant)));
    EXPECT_THAT(report.contradictions, IsEmpty());
}

TEST(VelExplainTest, TheAgentsListsAndItsJudgementNeverDisagree)
{
    Options options;
    options.agentUuid = Examples::RandomAgent;
    std::size_t running = 0;
    std::size_t others = 0;
    for (std::uint32_t seed = 0; seed < 2000; ++seed)
    {
        const auto report = Explain(Examples::MakeRandomAnswers(seed), options);
        ASSERT_THAT(report.contradictions, IsEmpty()) << "seed " << seed;
        for (const auto& kind : report.kinds)
        {
            running += kind.running.size();
            others += kind.others.size();
        }
    }
    // The answers are worth judging.
    EXPECT_GT(running, 500U);
    EXPECT_GT(others, 500U);
}

} // namespace
