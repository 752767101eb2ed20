#include "tools.velexplain-wording.hpp"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelExplain;
using AgentCore::Messaging::Match;
using AgentCore::Messaging::MatchKind;
using testing::ElementsAre;

Subject MakeSubject()
{
    Subject subject;
    subject.username = "CORP\\jo";
    subject.groups = {"Staff"};
    subject.tags = {{"/config/tags/blue", "Blue team", "blue"}, {"/config/tags/red", "", "red"}};
    return subject;
}

TestReport MakeTest(Fate fate, Match tagsOrInstances = {}, Match usersOrGroups = {})
{
    TestReport test;
    test.fate = fate;
    test.tagsOrInstances = std::move(tagsOrInstances);
    test.usersOrGroups = std::move(usersOrGroups);
    return test;
}

TEST(VelExplainWordingTest, EachRuleHasItsWords)
{
    const std::vector<std::pair<Match, std::string>> rules{
        {{MatchKind::Instance, "uuid"}, "names this agent"},
        {{MatchKind::AllAgents, "x"}, "meant for all agents"},
        {{MatchKind::Tag, "/config/tags/blue"}, "its tag /config/tags/blue (\"Blue team\") is a tag of this agent"},
        {{MatchKind::Tag, "/config/tags/red"}, "its tag /config/tags/red is a tag of this agent"},
        {{MatchKind::User, "corp\\JO"}, "names the user \"corp\\JO\""},
        {{MatchKind::Group, "staff"}, "names the user's group \"staff\""},
        {{MatchKind::None, ""}, ""},
        {{MatchKind::NoUsersField, ""}, ""},
        {{MatchKind::NoGroupsField, ""}, ""}};
    for (const auto& [match, words] : rules)
    {
        EXPECT_EQ(DescribeRule(match, MakeSubject()), words);
        EXPECT_EQ(match.IsMatch(), !words.empty());
    }
}

TEST(VelExplainWordingTest, BothRulesAreToldWhenBothHold)
{
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::Runs, {MatchKind::Instance, "u"}, {MatchKind::User, "jo"}), MakeSubject()),
        ElementsAre("names this agent", "names the user \"jo\""));
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::NotInMap, {}, {MatchKind::Group, "Staff"}), MakeSubject()),
        ElementsAre("names the user's group \"Staff\""));
}

TEST(VelExplainWordingTest, WhatDecidesBeforeAnyRuleIsTheOnlyReason)
{
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::NoNetobj), MakeSubject()),
        ElementsAre("it names no network object: it has no netobj"));
    EXPECT_THAT(DescribeReasons(MakeTest(Fate::NoTags), MakeSubject()), ElementsAre("it has no field for tags"));
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::SplitTunnel), MakeSubject()),
        ElementsAre("it is a split-tunnel test, which this agent does not run"));
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::Disabled), MakeSubject()),
        ElementsAre("it is switched off in the map of tests"));
}

TEST(VelExplainWordingTest, OfATestThatIsNotMeantItIsToldWhatWasLookedAt)
{
    auto test = MakeTest(Fate::NotMeant);
    test.named = {2, 3, 4, 5};
    EXPECT_THAT(
        DescribeReasons(test, MakeSubject()),
        ElementsAre(
            "it names 3 agents, and not this one", "it has 2 tags, and the agent has none of them",
            "it names 4 users, and not \"CORP\\jo\"", "it names 5 groups, and the user is in none of them"));
    test.named = {1, 1, 1, 1};
    EXPECT_THAT(
        DescribeReasons(test, MakeSubject()),
        ElementsAre(
            "it names one agent, and not this one", "it has one tag, and the agent has others",
            "it names one user, and not \"CORP\\jo\"", "it names one group, and the user is in others"));
    EXPECT_THAT(
        DescribeReasons(test, {}),
        ElementsAre(
            "it names one agent, and not this one", "it has one tag, and the agent has no tags",
            "it names one user, and nobody is signed in", "it names one group, and the user is in no group"));
    test.named = {};
    EXPECT_THAT(
        DescribeReasons(test, MakeSubject()), ElementsAre("it has no tags", "it names no users", "it names no groups"));
}

TEST(VelExplainWordingTest, AFieldThatIsMissingIsTheReason)
{
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::NotMeant, {}, {MatchKind::NoUsersField, ""}), MakeSubject()),
        ElementsAre("it has no tags", "it has no field for users, without which its groups do not count either"));
    EXPECT_THAT(
        DescribeReasons(MakeTest(Fate::NotMeant, {}, {MatchKind::NoGroupsField, ""}), MakeSubject()),
        ElementsAre("it has no tags", "it has no field for groups, without which its users do not count either"));
}

TEST(VelExplainWordingTest, FatesAndMatchesHaveWordsOfTheirOwn)
{
    EXPECT_EQ(WordOf(Fate::Runs), "runs");
    EXPECT_EQ(WordOf(Fate::NotInMap), "not-in-map");
    EXPECT_EQ(WordOf(Fate::NoNetobj), "no-netobj");
    EXPECT_EQ(WordOf(Fate::NoTags), "no-tags");
    EXPECT_EQ(WordOf(Fate::SplitTunnel), "split-tunnel");
    EXPECT_EQ(WordOf(Fate::Disabled), "disabled");
    EXPECT_EQ(WordOf(Fate::NotMeant), "not-meant");
    EXPECT_EQ(WordOf(MatchKind::None), "none");
    EXPECT_EQ(WordOf(MatchKind::Instance), "instance");
    EXPECT_EQ(WordOf(MatchKind::AllAgents), "all-agents");
    EXPECT_EQ(WordOf(MatchKind::Tag), "tag");
    EXPECT_EQ(WordOf(MatchKind::NoUsersField), "no-users-field");
    EXPECT_EQ(WordOf(MatchKind::NoGroupsField), "no-groups-field");
    EXPECT_EQ(WordOf(MatchKind::User), "user");
    EXPECT_EQ(WordOf(MatchKind::Group), "group");
}

} // namespace
