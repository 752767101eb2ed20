#include "tools.velexplain-options.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelExplain;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string ProblemOf(const std::vector<std::string>& arguments)
{
    try
    {
        ParseOptions(arguments);
    }
    catch (const std::invalid_argument& problem)
    {
        return problem.what();
    }
    return "nothing was thrown";
}

TEST(VelExplainOptionsTest, AResultsFolderIsEnough)
{
    const auto options = ParseOptions({"--results", "run 1"});
    EXPECT_EQ(options.results, "run 1");
    EXPECT_EQ(options.form, OutputForm::Text);
    EXPECT_FALSE(options.help);
    EXPECT_FALSE(options.agentUuid.has_value());
    EXPECT_FALSE(options.username.has_value());
    EXPECT_THAT(options.files, IsEmpty());
    EXPECT_THAT(options.only, IsEmpty());
}

TEST(VelExplainOptionsTest, EachAnswerHasAFile)
{
    for (const auto& row : Requests)
    {
        const auto options = ParseOptions({std::string(row.option), "a.json"});
        ASSERT_EQ(options.files.size(), 1U) << row.option;
        EXPECT_EQ(options.files.at(row.request), "a.json") << row.option;
    }
}

TEST(VelExplainOptionsTest, AgentUserAndWhatTheyHaveCanBeNamed)
{
    const auto options = ParseOptions(
        {"--json", "--mtr", "m", "--agent", "uuid", "--user", "CORP\\jo", "--group", "a", "--tag", "t", "--group", "b",
         "--tag", "u", "--only", "ete", "--only", "curl"});
    EXPECT_EQ(options.form, OutputForm::Json);
    EXPECT_EQ(options.agentUuid, "uuid");
    EXPECT_EQ(options.username, "CORP\\jo");
    EXPECT_THAT(options.groups, ElementsAre("a", "b"));
    EXPECT_THAT(options.tagIds, ElementsAre("t", "u"));
    EXPECT_THAT(options.only, ElementsAre(TestKind::Ete, TestKind::Curl));
}

TEST(VelExplainOptionsTest, ThatNobodyIsSignedInCanBeSaid)
{
    EXPECT_EQ(ParseOptions({"--mtr", "m", "--user", ""}).username, "");
}

TEST(VelExplainOptionsTest, AnythingElseIsNamedAndRefused)
{
    for (const std::string argument : {"--jsno", "json", "", "-h", "--mtr=file"})
    {
        EXPECT_EQ(ProblemOf({"--json", argument}), "\"" + argument + "\" is no option of velexplain");
    }
    EXPECT_EQ(ProblemOf({"--mtr", "m", "--only", "ping"}), "\"ping\" is no kind of test; there are mtr, ete and curl");
}

TEST(VelExplainOptionsTest, AValueThatIsForgottenIsMissed)
{
    EXPECT_EQ(ProblemOf({"--mtr"}), "--mtr needs a value behind it");
    EXPECT_EQ(ProblemOf({"--agent", "--json"}), "--agent needs a value behind it");
    EXPECT_EQ(ProblemOf({"--mtr", "m", "--group"}), "--group needs a value behind it");
}

TEST(VelExplainOptionsTest, WhatThereIsOneOfIsNamedOnce)
{
    for (const std::string option : {"--mtr", "--results", "--agent", "--user"})
    {
        EXPECT_EQ(ProblemOf({option, "a", option, "b"}), option + " is given twice");
    }
}

TEST(VelExplainOptionsTest, SomethingMustBeThereToExplain)
{
    EXPECT_THAT(ProblemOf({}), HasSubstr("nothing to explain"));
    EXPECT_THAT(ProblemOf({"--agent", "uuid"}), HasSubstr("nothing to explain"));
    EXPECT_TRUE(ParseOptions({"--help"}).help);
}

TEST(VelExplainOptionsTest, TheUsageNamesAllOptions)
{
    for (const auto& row : Requests)
    {
        EXPECT_THAT(UsageText(), HasSubstr(std::string(row.option)));
    }
    for (const auto* const option :
         {"--results", "--agent", "--user", "--group", "--tag", "--only", "--json", "--help"})
    {
        EXPECT_THAT(UsageText(), HasSubstr(option));
    }
}

} // namespace
