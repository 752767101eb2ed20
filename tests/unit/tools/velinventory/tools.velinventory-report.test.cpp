#include "tools.velinventory-report.hpp"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelInventory;

TEST(VelInventoryReportTest, ASecretIsShownOnDemandAlone)
{
    const SettingRow row{"user", std::string{"jo"}, true};
    EXPECT_EQ(ToShown(row, Secrets::Hidden), SettingValue{std::string{"(hidden; --show-secrets shows it)"}});
    EXPECT_EQ(ToShown(row, Secrets::Shown), SettingValue{std::string{"jo"}});
}

TEST(VelInventoryReportTest, ThatThereIsNoneIsNoSecret)
{
    EXPECT_EQ(ToShown({"user", std::string{}, true}, Secrets::Hidden), SettingValue{std::string{}});
}

TEST(VelInventoryReportTest, AnythingElseIsShown)
{
    EXPECT_EQ(ToShown({"server", std::string{"x"}}, Secrets::Hidden), SettingValue{std::string{"x"}});
    EXPECT_EQ(ToShown({"port", std::int64_t{443}}, Secrets::Hidden), SettingValue{std::int64_t{443}});
    EXPECT_EQ(ToShown({"on", true}, Secrets::Hidden), SettingValue{true});
}

} // namespace
