#include "agentcore.messaging-testselection.hpp"

#include "messaging.loglines.hpp"
#include "shared.json-rapidjsondocument.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using namespace AgentCore::Messaging;
using Shared::Json::RapidJsonDocument;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using TestSupport::LinesWithLevels;

constexpr std::string_view Key = "/config/mtr/t1";
constexpr std::string_view NotMeantLine =
    "warning: Ignored test /config/mtr/t1 as it failed tags/instances and usergroups test.";
constexpr std::string_view NoUsersLine = "warning: No users field was detected on config object /config/mtr/t1.";
constexpr std::string_view NoGroupsLine = "warning: No groups field was detected on config object /config/mtr/t1.";

Config::Test MakeTest(bool enabled, std::int32_t priority)
{
    Config::Test test;
    test.set_enabled(enabled);
    test.set_priority(priority);
    return test;
}

/// An agent "agent-1" with the tags "red" and "blue", and its user "CORP\anna" in the groups "Staff" and "Sales".
class TestSelectionTest : public ::testing::Test
{
protected:
    TestSelectionTest()
    {
        m_tags = {{"/config/tags/red", "Red", "red"}, {"/config/tags/blue", "", "blue"}};
        m_userGroups.add_groups("Staff");
        m_userGroups.add_groups("Sales of the whole company, North and South");
    }

    TestSelection Selection() const
    {
        return TestSelection({m_tests, m_userGroups, m_tags, "agent-1", "CORP\\anna"});
    }

    /// A test for the network object "net" with those members.
    TestVerdict Judge(const std::string& members) const
    {
        const RapidJsonDocument document("{\"netobj\":\"net\"," + members + "}");
        return Selection().Judge(document.GetRoot(), Key);
    }

    /// What the log says of it, and whether it is meant.
    bool IsApplicable(const std::string& members)
    {
        return IsWholeApplicable("{\"netobj\":\"net\"," + members + "}");
    }

    bool IsWholeApplicable(const std::string& test)
    {
        const TestSupport::CapturedLog log;
        const RapidJsonDocument document(test);
        const bool isApplicable = Selection().IsTestApplicable(document.GetRoot(), Key);
        m_lines = LinesWithLevels(log);
        const TestSupport::CapturedLog silence;
        EXPECT_EQ(isApplicable, Selection().Judge(document.GetRoot(), Key).outcome == TestOutcome::Applicable);
        EXPECT_THAT(silence.Lines(), IsEmpty());
        return isApplicable;
    }

    TestMap m_tests;
    UserGroups m_userGroups;
    std::vector<Tag> m_tags;
    std::vector<std::string> m_lines;
};

TEST_F(TestSelectionTest, ATestWithoutANetworkObjectIsIgnored)
{
    for (const std::string test :
         {R"({"tags":[],"users":["corp\\anna"],"groups":[]})", R"({"netobj":null,"tags":["/config/tags/red"]})",
          R"({"netobj":7,"tags":[]})", R"({"netobj":["net"],"tags":[]})", "{}", "[]", "null", "7", R"("netobj")"})
    {
        EXPECT_FALSE(IsWholeApplicable(test)) << test;
        EXPECT_THAT(m_lines, ElementsAre("warning: Ignored test /config/mtr/t1 due to missing netobj field")) << test;
    }
}

TEST_F(TestSelectionTest, ATestWithoutTagsIsIgnored)
{
    for (const std::string members :
         {R"("instances":["agent-1"])", R"("tags":null)", R"("tags":"/config/tags/red")",
          R"("tags":{"a":"/config/tags/red"},"users":["corp\\anna"],"groups":[])"})
    {
        EXPECT_FALSE(IsApplicable(members)) << members;
        EXPECT_THAT(m_lines, ElementsAre("warning: Ignored test /config/mtr/t1 due to missing tags field")) << members;
    }
}

TEST_F(TestSelectionTest, AnEmptyNetworkObjectIsThereAllTheSame)
{
    EXPECT_TRUE(IsWholeApplicable(R"({"netobj":"","tags":["/config/tags/red"],"users":[],"groups":[]})"));
}

TEST_F(TestSelectionTest, ASplitTunnelTestIsIgnored)
{
    const std::string meant = R"("tags":["/config/tags/red"],"users":["corp\\anna"],"groups":[])";
    EXPECT_FALSE(IsApplicable(meant + R"(,"mtr":{"split_tunnel":true})"));
    EXPECT_THAT(m_lines, ElementsAre("info: Ignoring split-tunnel MTR test /config/mtr/t1"));
}

TEST_F(TestSelectionTest, OnlyTheBooleanTrueInsideMtrMakesASplitTunnelTest)
{
    for (const std::string_view test :
         {"{}", "[]", R"({"mtr":{}})", R"({"mtr":{"split_tunnel":false}})", R"({"mtr":{"split_tunnel":"true"}})",
          R"({"mtr":{"split_tunnel":1}})", R"({"mtr":[true]})", R"({"split_tunnel":true})",
          R"({"curl":{"split_tunnel":true}})", R"({"mtr":{},"mtr":{"split_tunnel":true}})"})
    {
        EXPECT_FALSE(IsSplitTunnelTest(RapidJsonDocument(test).GetRoot())) << test;
    }
    const RapidJsonDocument document(R"({"mtr":{"split_tunnel":true}})");
    EXPECT_TRUE(IsSplitTunnelTest(document.GetRoot()));
}

TEST_F(TestSelectionTest, ADisabledTestIsSkippedBeforeAnyMatching)
{
    m_tests.emplace(Key, MakeTest(false, 1));
    EXPECT_FALSE(IsApplicable(R"("tags":["/config/tags/red"],"users":["corp\\anna"],"groups":[])"));
    EXPECT_THAT(m_lines, ElementsAre("warning: Ignored test /config/mtr/t1 as it's disabled"));
    EXPECT_FALSE(IsApplicable(R"("tags":["/config/tags/red"])"));
    EXPECT_THAT(m_lines, ElementsAre("warning: Ignored test /config/mtr/t1 as it's disabled"));
    EXPECT_EQ(
        Judge(R"("tags":["/config/tags/red"],"users":["corp\\anna"],"groups":[])").tagsOrInstances.kind,
        MatchKind::None);
}

TEST_F(TestSelectionTest, AnEnabledTestAndOneThatTheMapDoesNotKnowPass)
{
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/red"],"users":[],"groups":[])"));
    m_tests.emplace(Key, MakeTest(true, 1));
    m_tests.emplace("/config/mtr/t2", MakeTest(false, 1));
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/red"],"users":[],"groups":[])"));
    EXPECT_THAT(m_lines, IsEmpty());
}

TEST_F(TestSelectionTest, WithoutTagsTheUserIsEnough)
{
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":["CORP\\bert","CORP\\anna"],"groups":[])"));
    EXPECT_THAT(m_lines, ElementsAre("info: User CORP\\anna matched for test /config/mtr/t1."));
}

TEST_F(TestSelectionTest, TheTagOfAllAgentsIsEnoughWhileUsersAreAbsent)
{
    EXPECT_TRUE(IsApplicable(R"("tags":["other","3fff553d-527b-432a-acda-466e7e784e2a"])"));
    EXPECT_THAT(m_lines, ElementsAre(NoUsersLine));
}

TEST_F(TestSelectionTest, NoTagThatMatchesAndNoGroupsGiveTwoWarnings)
{
    EXPECT_FALSE(IsApplicable(R"("tags":["/config/tags/green"],"users":["CORP\\anna"])"));
    EXPECT_THAT(m_lines, ElementsAre(NoGroupsLine, NotMeantLine));
}

TEST_F(TestSelectionTest, UsersAndGroupsOfAnotherTypeCountAsAbsent)
{
    for (const std::string users : {"null", R"("CORP\\anna")", R"({"a":"CORP\\anna"})", "true"})
    {
        EXPECT_FALSE(IsApplicable(R"("tags":[],"groups":[],"users":)" + users));
        EXPECT_THAT(m_lines, ElementsAre(NoUsersLine, NotMeantLine)) << users;
        EXPECT_FALSE(IsApplicable(R"("tags":[],"users":["CORP\\anna"],"groups":)" + users));
        EXPECT_THAT(m_lines, ElementsAre(NoGroupsLine, NotMeantLine)) << users;
    }
}

TEST_F(TestSelectionTest, ATestThatIsMeantForNobodyIsIgnored)
{
    EXPECT_FALSE(IsApplicable(R"("tags":[],"users":[],"groups":[])"));
    EXPECT_THAT(m_lines, ElementsAre(NotMeantLine));
    EXPECT_FALSE(IsApplicable(
        R"("instances":["agent-2"],"tags":["/config/tags/green"],"users":["CORP\\bert"],"groups":["Guests"])"));
    EXPECT_THAT(m_lines, ElementsAre(NotMeantLine));
}

TEST_F(TestSelectionTest, AGroupOfTheUserIsEnough)
{
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":[],"groups":["Guests","STAFF","staff"])"));
    EXPECT_THAT(m_lines, ElementsAre("info: Group STAFF matched for test /config/mtr/t1."));
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":[],"groups":["SALES OF THE WHOLE COMPANY, NORTH AND south"])"));
}

TEST_F(TestSelectionTest, TheUserIsToldBeforeTheGroupsWhateverTheOrderOfTheMembers)
{
    EXPECT_TRUE(IsApplicable(R"("groups":["staff"],"users":["corp\\ANNA"],"tags":[])"));
    EXPECT_THAT(m_lines, ElementsAre("info: User corp\\ANNA matched for test /config/mtr/t1."));
}

TEST_F(TestSelectionTest, TheUserIsLookedForEvenWhenATagHasMatched)
{
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/blue"],"users":["corp\\anna"],"groups":[])"));
    EXPECT_THAT(m_lines, ElementsAre("info: User corp\\anna matched for test /config/mtr/t1."));
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/blue"],"users":["corp\\anna"])"));
    EXPECT_THAT(m_lines, ElementsAre(NoGroupsLine));
}

TEST_F(TestSelectionTest, OnlyTheLettersOfAsciiHaveTwoCases)
{
    m_userGroups.add_groups("\u00c9t\u00e9");
    EXPECT_TRUE(IsApplicable("\"tags\":[],\"users\":[],\"groups\":[\"\u00c9T\u00e9\"]"));
    EXPECT_FALSE(IsApplicable("\"tags\":[],\"users\":[],\"groups\":[\"\u00e9t\u00e9\"]"));
    // Characters that differ from one another as the two cases of a letter do.
    m_userGroups.add_groups("[at]@");
    EXPECT_FALSE(IsApplicable(R"("tags":[],"users":[],"groups":["{AT}`"])"));
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":[],"groups":["[AT]@"])"));
}

TEST_F(TestSelectionTest, WholeTextsMatchAndPartsDoNot)
{
    for (const std::string text : {"CORP\\\\ann", "CORP\\\\annas", "anna", "CORP\\\\anna ", "*", "CORP\\\\*", ""})
    {
        EXPECT_FALSE(IsApplicable(R"("tags":[],"groups":[],"users":[")" + text + "\"]")) << text;
    }
    for (const std::string text : {"Staf", "Staffs", "*", "", "Staff\\u0000"})
    {
        EXPECT_FALSE(IsApplicable(R"("tags":[],"users":[],"groups":[")" + text + "\"]")) << text;
    }
    for (const std::string text : {"red", "Red", "/config/tags/", "/config/tags/reds", ""})
    {
        EXPECT_FALSE(IsApplicable(R"("users":[],"groups":[],"tags":[")" + text + "\"]")) << text;
    }
}

TEST_F(TestSelectionTest, InstancesAndTagsAreComparedExactly)
{
    EXPECT_TRUE(IsApplicable(R"("instances":["agent-2","agent-1"],"tags":[],"users":[],"groups":[])"));
    EXPECT_FALSE(IsApplicable(R"("instances":["AGENT-1"],"tags":[],"users":[],"groups":[])"));
    EXPECT_FALSE(IsApplicable(R"("tags":["/config/tags/RED"],"users":[],"groups":[])"));
    EXPECT_FALSE(IsApplicable(R"("tags":["3FFF553D-527B-432A-ACDA-466E7E784E2A"],"users":[],"groups":[])"));
    EXPECT_FALSE(IsApplicable(R"("instances":"agent-1","tags":[],"users":[],"groups":[])"));
}

TEST_F(TestSelectionTest, WhatIsNoStringInAListIsPassedOver)
{
    const std::string strange = R"(null,7,true,[],{},["CORP\\anna"],)";
    EXPECT_TRUE(IsApplicable(R"("tags":[)" + strange + R"("/config/tags/red"],"users":[],"groups":[])"));
    EXPECT_TRUE(IsApplicable(R"("tags":[],"instances":[)" + strange + R"("agent-1"],"users":[],"groups":[])"));
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":[)" + strange + R"("corp\\anna"],"groups":[])"));
    EXPECT_TRUE(IsApplicable(R"("tags":[],"users":[],"groups":[)" + strange + R"("staff"])"));
}

TEST_F(TestSelectionTest, OfAMemberThatComesTwiceTheFirstCounts)
{
    EXPECT_FALSE(IsApplicable(R"("tags":[],"tags":["/config/tags/red"],"users":[],"groups":[])"));
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/red"],"tags":null,"users":[],"groups":[])"));
}

TEST_F(TestSelectionTest, AnAgentWithNothingMatchesOnlyTheTagOfAllAgents)
{
    m_tags.clear();
    m_userGroups.Clear();
    EXPECT_FALSE(IsApplicable(R"("tags":["/config/tags/red"],"users":["bert"],"groups":["staff"])"));
    EXPECT_TRUE(IsApplicable(R"("tags":["3fff553d-527b-432a-acda-466e7e784e2a"],"users":[],"groups":["staff"])"));
}

TEST_F(TestSelectionTest, TheVerdictNamesWhatMatched)
{
    const TestVerdict byTag = Judge(
        R"("instances":["x"],"tags":["y","/config/tags/blue","/config/tags/red"],"users":["x"],"groups":["SALES of the whole company, North and South"])");
    EXPECT_EQ(byTag.outcome, TestOutcome::Applicable);
    EXPECT_EQ(byTag.tagsOrInstances.kind, MatchKind::Tag);
    EXPECT_EQ(byTag.tagsOrInstances.text, "/config/tags/blue");
    EXPECT_EQ(byTag.usersOrGroups.kind, MatchKind::Group);
    EXPECT_EQ(byTag.usersOrGroups.text, "SALES of the whole company, North and South");
    const TestVerdict byInstance = Judge(
        R"("instances":["agent-1"],"tags":["3fff553d-527b-432a-acda-466e7e784e2a"],"users":["Corp\\Anna"],"groups":[])");
    EXPECT_EQ(byInstance.tagsOrInstances.kind, MatchKind::Instance);
    EXPECT_EQ(byInstance.tagsOrInstances.text, "agent-1");
    EXPECT_EQ(byInstance.usersOrGroups.kind, MatchKind::User);
    EXPECT_EQ(byInstance.usersOrGroups.text, "Corp\\Anna");
    const TestVerdict forAll = Judge(R"("tags":["3fff553d-527b-432a-acda-466e7e784e2a","/config/tags/red"])");
    EXPECT_EQ(forAll.tagsOrInstances.kind, MatchKind::AllAgents);
    EXPECT_EQ(forAll.tagsOrInstances.text, AllAgentsTag);
    EXPECT_EQ(forAll.usersOrGroups.kind, MatchKind::NoUsersField);
    EXPECT_FALSE(forAll.usersOrGroups.IsMatch());
    const TestVerdict notMeant = Judge(R"("tags":[],"users":[])");
    EXPECT_EQ(notMeant.outcome, TestOutcome::NotMeant);
    EXPECT_EQ(notMeant.tagsOrInstances.kind, MatchKind::None);
    EXPECT_EQ(notMeant.usersOrGroups.kind, MatchKind::NoGroupsField);
}

TEST_F(TestSelectionTest, ATagThatTheAgentHasTwiceMatchesLikeAnyOther)
{
    m_tags.push_back(m_tags.front());
    m_userGroups.add_groups("STAFF");
    EXPECT_TRUE(IsApplicable(R"("tags":["/config/tags/red"],"users":[],"groups":["Staff"])"));
}

TEST_F(TestSelectionTest, ManyTagsAndGroupsAreAllFound)
{
    for (int i = 0; i < 2'000; ++i)
    {
        m_tags.push_back({"/config/tags/" + std::to_string(i), "", std::to_string(i)});
        m_userGroups.add_groups("Group-" + std::to_string(i));
    }
    const TestSelection selection = Selection();
    for (int i = 0; i < 2'000; ++i)
    {
        const auto number = std::to_string(i);
        const RapidJsonDocument document(
            R"({"tags":["/config/tags/)" + number + R"("],"users":[],"groups":["gROUP-)" + number + R"("]})");
        ASSERT_EQ(selection.MatchesTagsOrInstances(document.GetRoot()).kind, MatchKind::Tag) << i;
        ASSERT_EQ(selection.MatchesUsersOrGroups(document.GetRoot()).kind, MatchKind::Group) << i;
    }
}

// Ordering

template <typename Test>
std::vector<std::string> Keys(const std::vector<Test>& list)
{
    std::vector<std::string> keys;
    for (const Test& test : list)
    {
        keys.push_back(test.key);
    }
    return keys;
}

template <typename Test>
std::vector<Test> ListOf(const std::vector<std::string>& keys)
{
    std::vector<Test> list;
    for (const std::string& key : keys)
    {
        Test test;
        test.key = key;
        test.id = "id of " + key;
        list.push_back(test);
    }
    return list;
}

TEST(SortByPriorityTest, TheLowestNumberComesFirst)
{
    const TestMap tests = {
        {"a", MakeTest(true, 5)},
        {"b", MakeTest(true, -2147483647 - 1)},
        {"c", MakeTest(false, 2147483647)},
        {"d", Config::Test()},
        {"e", MakeTest(true, -1)}};
    const TestSupport::CapturedLog log;
    auto list = ListOf<MtrTest>({"a", "b", "c", "d", "e"});
    SortByPriority(list, tests);
    EXPECT_THAT(Keys(list), ElementsAre("b", "e", "d", "a", "c"));
    EXPECT_EQ(list[0].id, "id of b");
    auto curlList = ListOf<CurlTest>({"c", "a"});
    SortByPriority(curlList, tests);
    EXPECT_THAT(Keys(curlList), ElementsAre("a", "c"));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(SortByPriorityTest, ATestThatTheMapDoesNotKnowIsDiscardedWithAWarning)
{
    const TestMap tests = {{"/config/mtr/b", MakeTest(true, 1)}};
    const TestSupport::CapturedLog log;
    auto list = ListOf<MtrTest>({"/config/mtr/a", "/config/mtr/b", "/config/mtr/c"});
    SortByPriority(list, tests);
    EXPECT_THAT(Keys(list), ElementsAre("/config/mtr/b"));
    const auto lines = LinesWithLevels(log);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[0], StartsWith("warning: Error in function operator ()() of file "));
    EXPECT_THAT(lines[0], EndsWith(" ---> Discarding test /config/mtr/a as it was not found in the test config map"));
    EXPECT_THAT(lines[1], EndsWith(" ---> Discarding test /config/mtr/c as it was not found in the test config map"));
}

TEST(SortByPriorityTest, AnEmptyMapDiscardsAll)
{
    const TestSupport::CapturedLog log;
    auto list = ListOf<CurlTest>({"a", "b"});
    SortByPriority(list, {});
    EXPECT_THAT(list, IsEmpty());
    EXPECT_THAT(log.Lines(), SizeIs(2));
}

TEST(SortByPriorityTest, ATestThatStandsTwiceStaysTwice)
{
    const TestMap tests = {{"a", MakeTest(true, 2)}, {"b", MakeTest(true, 1)}};
    auto list = ListOf<MtrTest>({"a", "b", "a"});
    SortByPriority(list, tests);
    EXPECT_THAT(Keys(list), ElementsAre("b", "a", "a"));
}

} // namespace
