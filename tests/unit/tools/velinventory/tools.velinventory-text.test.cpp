#include "tools.velinventory-text.hpp"

#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace Tools::VelInventory;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::string Show(const Report& report, Secrets secrets = Secrets::Hidden)
{
    return FormatText(report, secrets);
}

TEST(VelInventoryTextTest, EachValueHasItsLine)
{
    Report report;
    report.startup.mutable_system()->mutable_computer()->set_name("fern");
    report.startup.mutable_system()->mutable_computer()->set_is_hypervisor_present(true);
    const auto text = Show(report);
    EXPECT_THAT(
        text, HasSubstr("\n    computer\n      is_hypervisor_present: yes\n      domain: -\n      name: fern\n"));
    EXPECT_THAT(text, HasSubstr("\n    logical_drives: none\n"));
}

TEST(VelInventoryTextTest, NumbersHaveUnitsAndMeanings)
{
    Report report;
    auto& system = *report.startup.mutable_system();
    auto& disk = *system.add_logical_drives();
    disk.set_drive_type(12);
    disk.set_size(3ULL << 40U);
    disk.set_free_space(1000);
    system.mutable_hardware()->add_cpu()->set_max_clock_speed(2400);
    system.mutable_battery_status()->set_battery_flag(128);
    system.mutable_battery_status()->set_battery_life_percent(80);
    system.mutable_battery_status()->set_battery_life_time(-1);
    system.mutable_battery_status()->set_battery_full_lifetime(7200);
    const auto text = Show(report);
    EXPECT_THAT(text, HasSubstr("drive_type: 12 (fixed)\n"));
    EXPECT_THAT(text, HasSubstr("size: 3298534883328 bytes (3.0 TiB)\n"));
    EXPECT_THAT(text, HasSubstr("free_space: 1000 bytes\n"));
    EXPECT_THAT(text, HasSubstr("max_clock_speed: 2400 MHz\n"));
    EXPECT_THAT(text, HasSubstr("ac_line_status: 0 (on battery)\n"));
    EXPECT_THAT(text, HasSubstr("battery_flag: 128 (no battery)\n"));
    EXPECT_THAT(text, HasSubstr("battery_life_percent: 80 %\n"));
    EXPECT_THAT(text, HasSubstr("battery_life_time: -1 (unknown)\n"));
    EXPECT_THAT(text, HasSubstr("battery_full_lifeTime: 7200 s\n"));
}

TEST(VelInventoryTextTest, OfInterfacesAndLinksOnlyWhatIsThereIsShown)
{
    Report report;
    auto& networkInterface = *report.startup.mutable_network()->add_interfaces();
    networkInterface.set_id("eth0");
    networkInterface.set_interface_type(NETWORK_INTERFACE_TYPE_ETHERNET);
    report.startup.mutable_network()->add_wlans()->set_rx(866000);
    const auto text = Show(report);
    EXPECT_THAT(
        text, HasSubstr("    interfaces[0]\n      id: eth0\n      interface_type: NETWORK_INTERFACE_TYPE_ETHERNET\n"));
    EXPECT_THAT(text, HasSubstr("    wlans[0]\n      rx: 866000 kbit/s\n"));
    EXPECT_THAT(text, Not(HasSubstr("service_provider")));
}

TEST(VelInventoryTextTest, SettingsHaveTheirSections)
{
    Report report;
    report.settings = {
        {"Agent",
         {{"server", std::string{"cloud.test"}}, {"port", std::int64_t{443}}, {"on", false}, {"none", std::string{}}}},
        {"VPN", {{"user", std::string{"jo"}, true}}}};
    EXPECT_THAT(Show(report), HasSubstr("\nAgent\n  server: cloud.test\n  port: 443\n  on: no\n  none: -\n"));
    EXPECT_THAT(Show(report), AllOf(HasSubstr("  user: (hidden; --show-secrets shows it)\n"), Not(HasSubstr("jo"))));
    EXPECT_THAT(Show(report, Secrets::Shown), HasSubstr("\nVPN\n  user: jo\n"));
}

TEST(VelInventoryTextTest, ReasonsStandAtTheEndALineEach)
{
    Report report;
    report.missing = {{"system.bios.serial_number", "locked"}, {"settings", "two\nlines"}};
    EXPECT_THAT(
        Show(report),
        HasSubstr(
            "\nWhat could not be had, and why\n  system.bios.serial_number: locked\n  settings: two\\x0Alines\n"));
    EXPECT_THAT(Show({}), HasSubstr("\nNothing is missing\n"));
}

TEST(VelInventoryTextTest, NothingReachesTheTerminalAsACommand)
{
    Report report;
    report.startup.mutable_system()->mutable_computer()->set_name("\x1B]0;title\x07");
    EXPECT_THAT(Show(report), HasSubstr("name: \\x1B]0;title\\x07\n"));
}

} // namespace
