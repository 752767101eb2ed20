#include "tools.velinventory-options.hpp"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelInventory;
using testing::HasSubstr;

TEST(VelInventoryOptionsTest, WithoutOptionsItIsTextWithoutSecrets)
{
    const auto options = ParseOptions({});
    EXPECT_EQ(options.form, OutputForm::Text);
    EXPECT_EQ(options.secrets, Secrets::Hidden);
    EXPECT_FALSE(options.help);
}

TEST(VelInventoryOptionsTest, OptionsMayComeInAnyOrder)
{
    for (const auto& arguments : {std::vector<std::string>{"--json", "--show-secrets"}, {"--show-secrets", "--json"}})
    {
        const auto options = ParseOptions(arguments);
        EXPECT_EQ(options.form, OutputForm::Json);
        EXPECT_EQ(options.secrets, Secrets::Shown);
    }
    EXPECT_TRUE(ParseOptions({"--help"}).help);
}

TEST(VelInventoryOptionsTest, AnythingElseIsNamedAndRefused)
{
    for (const auto* const argument : {"--jsno", "json", "", "-h", "--json=yes"})
    {
        try
        {
            ParseOptions({"--json", argument});
            ADD_FAILURE() << "nothing was thrown for " << argument;
        }
        catch (const std::invalid_argument& problem)
        {
            EXPECT_THAT(problem.what(), HasSubstr("\"" + std::string{argument} + "\" is no option"));
        }
    }
}

TEST(VelInventoryOptionsTest, TheUsageNamesAllOptions)
{
    for (const auto* const option : {"--json", "--show-secrets", "--help"})
    {
        EXPECT_THAT(UsageText(), HasSubstr(option));
    }
}

} // namespace
