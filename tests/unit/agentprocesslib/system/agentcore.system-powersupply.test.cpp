#include "agentcore.system-powersupply.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using namespace AgentCore::System;
using Status = PowerStatusRecord;

PowerSupply Line(bool isOnline)
{
    return ParsePowerSupply("Mains\n", isOnline ? "POWER_SUPPLY_ONLINE=1\n" : "POWER_SUPPLY_ONLINE=0\n");
}

/// A battery by its state and the rest of its values, without what each name begins with.
PowerSupply Battery(const std::string& state, const std::vector<std::string>& values = {})
{
    auto uevent = "POWER_SUPPLY_STATUS=" + state + "\nPOWER_SUPPLY_PRESENT=1\n";
    for (const auto& value : values)
    {
        uevent.append("POWER_SUPPLY_").append(value).append("\n");
    }
    return ParsePowerSupply("Battery", uevent);
}

PowerSupply BatteryAt(const std::string& state, std::uint32_t percent)
{
    return Battery(state, {"CAPACITY=" + std::to_string(percent)});
}

TEST(PowerSupplyTest, ReadsALine)
{
    const auto supply =
        ParsePowerSupply("Mains\n", "DEVTYPE=power_supply\nPOWER_SUPPLY_NAME=AC\nPOWER_SUPPLY_ONLINE=1\n");
    EXPECT_EQ(supply.kind, PowerSupply::Kind::Line);
    EXPECT_EQ(supply.isOnline, true);
    EXPECT_EQ(ParsePowerSupply("USB_PD", "").kind, PowerSupply::Kind::Line);
    EXPECT_EQ(ParsePowerSupply("USB_PD", "").isOnline, std::nullopt);
    EXPECT_EQ(ParsePowerSupply("Unheard of", "").kind, PowerSupply::Kind::Unknown);
}

TEST(PowerSupplyTest, ReadsABatteryThatCountsItsEnergy)
{
    const auto supply = Battery(
        "Charging",
        {"CAPACITY=60", "ENERGY_NOW=30000000", "ENERGY_FULL=50000000", "POWER_NOW=-10000000", "VOLTAGE_NOW=1"});
    EXPECT_EQ(supply.kind, PowerSupply::Kind::Battery);
    EXPECT_EQ(supply.state, PowerSupply::State::Charging);
    EXPECT_EQ(supply.capacity, 60U);
    EXPECT_EQ(supply.energyNow, 3e7);
    EXPECT_EQ(supply.energyFull, 5e7);
    EXPECT_EQ(supply.power, 1e7);
}

TEST(PowerSupplyTest, ReadsABatteryThatCountsItsCharge)
{
    const auto supply = Battery(
        "Discharging", {"CHARGE_NOW=2000000", "CHARGE_FULL=4000000", "CURRENT_NOW=500000", "VOLTAGE_NOW=12000000"});
    EXPECT_EQ(supply.energyNow, 24e6);
    EXPECT_EQ(supply.energyFull, 48e6);
    EXPECT_EQ(supply.power, 6e6);
}

TEST(PowerSupplyTest, SenselessValuesAreNotTold)
{
    const auto supply = Battery("Sleeping", {"CAPACITY=101", "ENERGY_NOW=x", "CHARGE_FULL=1", "POWER_NOW="});
    EXPECT_EQ(supply.state, PowerSupply::State::Unknown);
    EXPECT_EQ(supply.capacity, std::nullopt);
    EXPECT_EQ(supply.energyNow, std::nullopt);
    EXPECT_EQ(supply.energyFull, std::nullopt);
    EXPECT_EQ(supply.power, std::nullopt);
    EXPECT_EQ(ParsePowerSupply("", ""), PowerSupply{});
}

TEST(PowerStatusTest, AMachineWithoutABatteryRunsOnItsLine)
{
    Status expected;
    expected.acLineStatus = Status::AcOnline;
    expected.batteryFlag = Status::NoBattery;
    EXPECT_EQ(MakePowerStatus({}), expected);
    EXPECT_EQ(MakePowerStatus({Line(true)}), expected);
    EXPECT_EQ(MakePowerStatus({Line(false)}), expected);
    EXPECT_EQ(MakePowerStatus({ParsePowerSupply("Battery", "POWER_SUPPLY_PRESENT=0\n")}), expected);
}

TEST(PowerStatusTest, BatteriesOfDevicesAreNotTheMachines)
{
    EXPECT_EQ(MakePowerStatus({Battery("Discharging", {"SCOPE=Device", "CAPACITY=3"})}).batteryFlag, Status::NoBattery);
}

TEST(PowerStatusTest, TheFlagTellsHowFullTheBatteryIs)
{
    const auto flagAt = [](std::uint32_t percent)
    {
        return MakePowerStatus({BatteryAt("Discharging", percent)}).batteryFlag;
    };
    EXPECT_EQ(flagAt(100), Status::BatteryHigh);
    EXPECT_EQ(flagAt(67), Status::BatteryHigh);
    EXPECT_EQ(flagAt(66), 0U);
    EXPECT_EQ(flagAt(33), 0U);
    EXPECT_EQ(flagAt(32), Status::BatteryLow);
    EXPECT_EQ(flagAt(5), Status::BatteryLow);
    EXPECT_EQ(flagAt(4), Status::BatteryCritical);
}

TEST(PowerStatusTest, TheFlagTellsOfCharging)
{
    EXPECT_EQ(MakePowerStatus({BatteryAt("Charging", 80)}).batteryFlag, Status::BatteryHigh | Status::BatteryCharging);
    EXPECT_EQ(MakePowerStatus({Battery("Charging")}).batteryFlag, Status::BatteryCharging);
}

TEST(PowerStatusTest, ABatteryThatTellsNothingIsUnknown)
{
    const auto status = MakePowerStatus({Battery("Unknown")});
    EXPECT_EQ(status, Status{});
}

TEST(PowerStatusTest, TheLinesTellWhetherThereIsPower)
{
    const auto battery = BatteryAt("Discharging", 50);
    EXPECT_EQ(MakePowerStatus({Line(true), battery}).acLineStatus, Status::AcOnline);
    EXPECT_EQ(MakePowerStatus({Line(false), battery}).acLineStatus, Status::AcOffline);
    EXPECT_EQ(MakePowerStatus({Line(false), Line(true), battery}).acLineStatus, Status::AcOnline);
    EXPECT_EQ(MakePowerStatus({Line(true), Line(false), battery}).acLineStatus, Status::AcOnline);
}

TEST(PowerStatusTest, WithoutALineTheBatteryTells)
{
    EXPECT_EQ(MakePowerStatus({BatteryAt("Discharging", 50)}).acLineStatus, Status::AcOffline);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Charging", 50)}).acLineStatus, Status::AcOnline);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Full", 100)}).acLineStatus, Status::AcOnline);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Not charging", 80)}).acLineStatus, Status::AcOnline);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Unknown", 80)}).acLineStatus, Status::Unknown);
}

TEST(PowerStatusTest, ADischargingBatteryTellsHowLongItLasts)
{
    const auto status = MakePowerStatus(
        {Line(false),
         Battery("Discharging", {"CAPACITY=60", "ENERGY_NOW=30000000", "ENERGY_FULL=50000000", "POWER_NOW=10000000"})});
    EXPECT_EQ(status.batteryLifePercent, 60U);
    EXPECT_EQ(status.batteryLifeTime, 3 * 3600);
    EXPECT_EQ(status.batteryFullLifeTime, 5 * 3600);
    EXPECT_EQ(status.systemStatusFlag, 0U);
}

TEST(PowerStatusTest, TimesAreUnknownOnLinePowerAndWithoutAPower)
{
    const std::vector<std::string> energies{"CAPACITY=60", "ENERGY_NOW=30000000", "ENERGY_FULL=50000000"};
    auto withPower = energies;
    withPower.emplace_back("POWER_NOW=10000000");
    auto withTinyPower = energies;
    withTinyPower.emplace_back("POWER_NOW=1");
    for (const auto& supplies :
         {std::vector{Line(true), Battery("Discharging", withPower)}, std::vector{Battery("Charging", withPower)},
          std::vector{Battery("Discharging", energies)}, std::vector{Battery("Discharging", withTinyPower)}})
    {
        EXPECT_EQ(MakePowerStatus(supplies).batteryLifeTime, Status::UnknownTime);
        EXPECT_EQ(MakePowerStatus(supplies).batteryFullLifeTime, Status::UnknownTime);
    }
}

TEST(PowerStatusTest, SeveralBatteriesCountAsOne)
{
    const auto small =
        Battery("Unknown", {"CAPACITY=100", "ENERGY_NOW=10000000", "ENERGY_FULL=10000000", "POWER_NOW=0"});
    const auto large =
        Battery("Discharging", {"CAPACITY=50", "ENERGY_NOW=20000000", "ENERGY_FULL=40000000", "POWER_NOW=15000000"});
    const auto status = MakePowerStatus({small, large});
    EXPECT_EQ(status.batteryLifePercent, 60U);
    EXPECT_EQ(status.batteryLifeTime, 2 * 3600);
    EXPECT_EQ(status.acLineStatus, Status::AcOffline);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Full", 100), BatteryAt("Full", 50)}).batteryLifePercent, 75U);
    EXPECT_EQ(MakePowerStatus({BatteryAt("Full", 100), Battery("Full")}).batteryLifePercent, Status::Unknown);
}

} // namespace
