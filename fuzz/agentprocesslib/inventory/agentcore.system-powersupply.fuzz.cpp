// Any texts as the files of power supplies, and the status that is made of them.
//   Null characters separate the texts: type and uevent of the first supply, of the second, and so on.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "agentcore.system-powersupply.hpp"
#include "fuzz.require.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using namespace AgentCore::System;
using Status = PowerStatusRecord;

std::string_view TakeText(std::string_view& bytes)
{
    const auto text = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(text.size() < bytes.size() ? text.size() + 1 : text.size());
    return text;
}

void CheckStatus(const Status& status)
{
    Require(
        status.acLineStatus == Status::AcOffline || status.acLineStatus == Status::AcOnline ||
        status.acLineStatus == Status::Unknown);
    Require(status.batteryLifePercent <= 100 || status.batteryLifePercent == Status::Unknown);
    Require(status.batteryLifeTime >= Status::UnknownTime && status.batteryFullLifeTime >= Status::UnknownTime);
    constexpr auto levels = Status::BatteryHigh | Status::BatteryLow | Status::BatteryCritical;
    Require(
        status.batteryFlag == Status::NoBattery || status.batteryFlag == Status::Unknown ||
        (status.batteryFlag & ~(levels | Status::BatteryCharging)) == 0);
    if (status.batteryFlag == Status::NoBattery)
    {
        Require(status.acLineStatus == Status::AcOnline && status.batteryLifePercent == Status::Unknown);
    }
    if (status.acLineStatus == Status::AcOnline)
    {
        Require(status.batteryLifeTime == Status::UnknownTime && status.batteryFullLifeTime == Status::UnknownTime);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::vector<PowerSupply> supplies;
    while (!bytes.empty())
    {
        const auto type = TakeText(bytes);
        supplies.push_back(ParsePowerSupply(type, TakeText(bytes)));
        Require(!supplies.back().capacity || *supplies.back().capacity <= 100);
    }
    CheckStatus(MakePowerStatus(supplies));
    return 0;
}
