#include "tools.velexplain-ordering.hpp"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelExplain;
using testing::ElementsAre;
using testing::IsEmpty;

TestReport MakeTest(const std::string& key, Fate fate, std::int32_t priority = 0, const std::string& netobj = "n")
{
    TestReport test;
    test.key = key;
    test.netobj = netobj;
    test.fate = fate;
    test.priority = priority;
    return test;
}

KindReport WithClosing(const std::string& closing)
{
    KindReport report;
    report.closing = closing;
    return report;
}

std::vector<std::string> KeysOf(const std::vector<TestReport>& tests)
{
    std::vector<std::string> keys;
    for (const auto& test : tests)
    {
        keys.push_back(test.key);
    }
    return keys;
}

TEST(VelExplainOrderingTest, TestsThatRunStandInTheOrderOfTheListAndTheOthersAsTheyCame)
{
    auto report = WithClosing("Cached 3 MTR objects, skipped 2 MTR objects.");
    const auto contradictions = Arrange(
        {MakeTest("z", Fate::NotMeant), MakeTest("b", Fate::Runs, 2), MakeTest("a", Fate::Runs, 1),
         MakeTest("y", Fate::NotInMap), MakeTest("x", Fate::Disabled)},
        {{"a", "n"}, {"b", "n"}}, report);
    EXPECT_THAT(contradictions, IsEmpty());
    EXPECT_THAT(KeysOf(report.running), ElementsAre("a", "b"));
    EXPECT_THAT(KeysOf(report.others), ElementsAre("z", "y", "x"));
}

TEST(VelExplainOrderingTest, TestsOfTheSameKeyAreToldApartByTheirNetworkObject)
{
    auto report = WithClosing("Cached 3 MTR objects, skipped 0 MTR objects.");
    const auto contradictions = Arrange(
        {MakeTest("a", Fate::Runs, 1, "one"), MakeTest("a", Fate::Runs, 1, "two"), MakeTest("a", Fate::Runs, 1, "one")},
        {{"a", "two"}, {"a", "one"}, {"a", "one"}}, report);
    EXPECT_THAT(contradictions, IsEmpty());
    ASSERT_EQ(report.running.size(), 3U);
    EXPECT_EQ(report.running[0].netobj, "two");
}

TEST(VelExplainOrderingTest, AnAnswerThatIsNotUsedIsNoContradiction)
{
    auto report = WithClosing("");
    EXPECT_THAT(Arrange({}, {}, report), IsEmpty());
    EXPECT_THAT(report.running, IsEmpty());
}

TEST(VelExplainOrderingTest, ATestThatRunsAndIsNotJudgedToIsTold)
{
    auto report = WithClosing("Cached 0 MTR objects, skipped 1 MTR objects.");
    EXPECT_THAT(
        Arrange({MakeTest("a", Fate::NotMeant)}, {{"a", "n"}}, report), ElementsAre("a runs, and is not judged to"));
}

TEST(VelExplainOrderingTest, ATestThatIsJudgedToRunAndDoesNotIsTold)
{
    auto report = WithClosing("Cached 2 MTR objects, skipped 0 MTR objects.");
    EXPECT_THAT(
        Arrange({MakeTest("a", Fate::Runs), MakeTest("a", Fate::Runs)}, {{"a", "n"}}, report),
        ElementsAre("a is judged to run, and does not"));
}

TEST(VelExplainOrderingTest, AWrongOrderIsTold)
{
    auto report = WithClosing("Cached 2 MTR objects, skipped 0 MTR objects.");
    EXPECT_THAT(
        Arrange({MakeTest("a", Fate::Runs, 1), MakeTest("b", Fate::Runs, 2)}, {{"b", "n"}, {"a", "n"}}, report),
        ElementsAre("a comes after b"));
}

TEST(VelExplainOrderingTest, OtherCountsAreTold)
{
    for (const auto* const closing :
         {"Cached 2 MTR objects, skipped 0 MTR objects.", "Cached 1 MTR objects, skipped 1 "})
    {
        auto report = WithClosing(closing);
        EXPECT_THAT(
            Arrange({MakeTest("a", Fate::Runs)}, {{"a", "n"}}, report),
            ElementsAre(fmt::format("1 tests are judged to be taken over and 0 not: {}", closing)));
    }
}

} // namespace
