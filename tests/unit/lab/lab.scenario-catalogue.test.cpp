#include "lab.scenario-catalogue.hpp"

#include "lab.scenario-parser.hpp"
#include "test.support-temporaryfolder.hpp"

#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace
{

const std::filesystem::path Tree = VEL_SOURCE_TREE;

TEST(ScenarioCatalogueTest, TheDocumentationShowsTheTablesAsTheyAre)
{
    constexpr std::string_view Begin = "<!-- keys: begin. Written by vellab keys -->\n\n";
    constexpr std::string_view End = "\n<!-- keys: end -->";
    const std::string document = TestSupport::ReadFile(Tree / "docs" / "laboratory.md");
    const std::size_t begin = document.find(Begin);
    const std::size_t end = document.find(End);
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(document.substr(begin + Begin.size(), end - begin - Begin.size()), Lab::DescribeScenarioKeys())
        << "put the output of `vellab keys` between the two marks of docs/laboratory.md";
}

TEST(ScenarioCatalogueTest, EveryKindHasItsName)
{
    for (const auto& rule : Lab::FaultRules())
    {
        EXPECT_EQ(Lab::NameOf(rule.kind), rule.name);
    }
    for (const auto& rule : Lab::AnswerRules())
    {
        EXPECT_EQ(Lab::NameOf(rule.kind), rule.name);
    }
    for (const auto& rule : Lab::RequestRules())
    {
        EXPECT_EQ(Lab::NameOf(rule.kind), rule.name);
    }
    for (const auto& rule : Lab::AnswerWayRules())
    {
        EXPECT_EQ(Lab::NameOf(rule.kind), rule.name);
    }
    EXPECT_EQ(Lab::RequestRules().size(), static_cast<std::size_t>(Lab::RequestKind::Poll) + 1);
    EXPECT_EQ(Lab::AnswerWayRules().size(), static_cast<std::size_t>(Lab::AnswerWay::DeliveryFailure) + 1);
    EXPECT_EQ(Lab::FaultRules().size(), static_cast<std::size_t>(Lab::FaultKind::ChangeVpn) + 1);
    EXPECT_EQ(Lab::AnswerRules().size(), static_cast<std::size_t>(Lab::AnswerKind::Silence) + 1);
}

TEST(ScenarioCatalogueTest, EveryScenarioOfTheLaboratoryIsGood)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Tree / "lab" / "scenarios"))
    {
        EXPECT_NO_THROW((void)Lab::ReadScenario(entry.path())) << entry.path();
        EXPECT_FALSE(Lab::ReadScenario(entry.path()).title.empty()) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 2U);
}

TEST(ScenarioCatalogueTest, TheScenariosLetEveryFaultAndEveryAnswerHappen)
{
    std::set<Lab::FaultKind> faults;
    std::set<Lab::AnswerKind> answers;
    std::set<Lab::AnswerWay> ways;
    for (const auto& entry : std::filesystem::directory_iterator(Tree / "lab" / "scenarios"))
    {
        const Lab::Scenario scenario = Lab::ReadScenario(entry.path());
        for (const Lab::Fault& fault : scenario.faults)
        {
            faults.insert(fault.kind);
        }
        for (const Lab::RegistrationAnswer& answer : scenario.cloud.registration)
        {
            answers.insert(answer.kind);
        }
        for (const Lab::ScriptedAnswer& answer : scenario.cloud.answers)
        {
            ways.insert(answer.way);
        }
    }
    EXPECT_EQ(faults.size(), Lab::FaultRules().size());
    EXPECT_EQ(answers.size(), Lab::AnswerRules().size());
    EXPECT_EQ(ways.size(), Lab::AnswerWayRules().size());
}

} // namespace
