#pragma once

#include "agentcore.system-inventorysource.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// What Linux tells of batteries and power lines, in the numbers of the Windows power status. Pure.
namespace AgentCore::System
{

/// One folder of /sys/class/power_supply.
struct PowerSupply
{
    enum class Kind
    {
        /// Feeds the machine from outside: "Mains", the kinds of "USB", "Wireless".
        Line,
        /// "Battery" and "UPS".
        Battery,
        Unknown
    };

    enum class State
    {
        Unknown,
        Charging,
        Discharging,
        /// "Full" and "Not charging": neither of them, as on line power.
        Resting
    };

    Kind kind = Kind::Unknown;
    /// Belongs to a device at the machine, such as a mouse, and not to the machine.
    bool isOfDevice = false;
    /// Batteries only: whether one is in its place.
    bool isPresent = true;
    /// Lines only; nothing when it is not told.
    std::optional<bool> isOnline;
    State state = State::Unknown;
    /// Per cent.
    std::optional<std::uint32_t> capacity;
    /// Microwatt-hours, made of charge and voltage where a battery counts its charge; microwatts.
    std::optional<double> energyNow;
    std::optional<double> energyFull;
    std::optional<double> power;

    bool operator==(const PowerSupply&) const = default;
};

/// Reads a supply's files `type` and `uevent`. Values that make no sense are not told.
PowerSupply ParsePowerSupply(std::string_view type, std::string_view uevent);

/// The status of a machine with these supplies, those of devices aside.
///
/// A machine without a battery runs on its line. With one, the lines tell; where there is none to tell, the battery's state
/// does. Several batteries count as one: their energies and powers are added up, or, where not all tell energies, their
/// percentages averaged. Times are told while the battery discharges.
PowerStatusRecord MakePowerStatus(const std::vector<PowerSupply>& supplies);

} // namespace AgentCore::System
