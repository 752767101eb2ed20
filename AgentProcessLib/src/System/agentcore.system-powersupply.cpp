#include "agentcore.system-powersupply.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string>

#include "agentcore.system-texts.hpp"

namespace AgentCore::System
{

namespace
{

using Kind = PowerSupply::Kind;
using State = PowerSupply::State;

struct StateRow
{
    std::string_view text;
    State state;
};

constexpr std::array<StateRow, 4> States{
    {{"Charging", State::Charging},
     {"Discharging", State::Discharging},
     {"Full", State::Resting},
     {"Not charging", State::Resting}}};

/// The values of a file `uevent`, by their names without what all of them begin with.
class Values
{
public:
    explicit Values(std::string_view uevent)
    {
        constexpr std::string_view prefix = "POWER_SUPPLY_";
        while (!uevent.empty())
        {
            const auto row = Texts::SplitAt('=', Texts::TakeLine(uevent));
            if (row && row->name.starts_with(prefix))
            {
                m_values.insert_or_assign(row->name.substr(prefix.size()), row->value);
            }
        }
    }

    std::string_view Text(std::string_view name) const
    {
        const auto found = m_values.find(name);
        return found == m_values.end() ? std::string_view{} : found->second;
    }

    /// A whole number; its sign, by which some drivers tell the direction of a current, is dropped.
    std::optional<double> Magnitude(std::string_view name) const
    {
        const auto number = Texts::ParseNumber<std::int64_t>(Text(name));
        return number ? std::optional{std::abs(static_cast<double>(*number))} : std::nullopt;
    }

private:
    std::map<std::string_view, std::string_view> m_values;
};

Kind ParseKind(std::string_view type)
{
    if (type == "Battery" || type == "UPS")
    {
        return Kind::Battery;
    }
    // "USB", "USB_C", "USB_PD_DRP" and more.
    return type == "Mains" || type == "Wireless" || type.starts_with("USB") ? Kind::Line : Kind::Unknown;
}

State ParseState(std::string_view text)
{
    const auto* const row = std::find_if(
        States.begin(), States.end(), [text](const StateRow& candidate) { return candidate.text == text; });
    return row == States.end() ? State::Unknown : row->state;
}

/// A value told in energy or power; else its counterpart in charge or current, times the voltage.
std::optional<double> ReadEnergy(const Values& values, std::string_view energyName, std::string_view chargeName)
{
    constexpr double microvoltsPerVolt = 1e6;
    if (const auto energy = values.Magnitude(energyName))
    {
        return energy;
    }
    const auto charge = values.Magnitude(chargeName);
    const auto voltage = values.Magnitude("VOLTAGE_NOW");
    return charge && voltage ? std::optional{*charge * (*voltage / microvoltsPerVolt)} : std::nullopt;
}

std::optional<std::uint32_t> ParseCapacity(std::string_view text)
{
    constexpr std::uint32_t full = 100;
    const auto capacity = Texts::ParseNumber<std::uint32_t>(text);
    return capacity && *capacity <= full ? capacity : std::nullopt;
}

/// All batteries of the machine as one.
struct Battery
{
    std::uint32_t count = 0;
    bool isCharging = false;
    bool isDischarging = false;
    bool hasUnknownState = false;
    /// Sums; nothing as soon as one of the batteries does not tell.
    std::optional<double> energyNow = 0.0;
    std::optional<double> energyFull = 0.0;
    std::optional<std::uint32_t> capacities = 0U;
    /// Sum of those that tell.
    double power = 0.0;

    void Add(const PowerSupply& supply)
    {
        ++count;
        isCharging = isCharging || supply.state == State::Charging;
        isDischarging = isDischarging || supply.state == State::Discharging;
        hasUnknownState = hasUnknownState || supply.state == State::Unknown;
        AddOrForget(energyNow, supply.energyNow);
        AddOrForget(energyFull, supply.energyFull);
        AddOrForget(capacities, supply.capacity);
        power += supply.power.value_or(0.0);
    }

    std::uint32_t Percent() const
    {
        constexpr double full = 100.0;
        // One battery tells its own percentage better than its energies do.
        const bool addsUp = energyNow && energyFull && *energyFull > 0.0;
        if (addsUp && (count > 1 || !capacities))
        {
            return static_cast<std::uint32_t>(std::lround(std::min(*energyNow / *energyFull, 1.0) * full));
        }
        return capacities ? *capacities / count : PowerStatusRecord::Unknown;
    }

    /// How long the given energy lasts.
    std::int32_t Seconds(std::optional<double> energy) const
    {
        constexpr double secondsPerHour = 3600.0;
        if (!energy || !isDischarging || power <= 0.0)
        {
            return PowerStatusRecord::UnknownTime;
        }
        const double seconds = *energy / power * secondsPerHour;
        return seconds < std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(seconds)
                                                                  : PowerStatusRecord::UnknownTime;
    }

private:
    template <typename Number>
    static void AddOrForget(std::optional<Number>& sum, std::optional<Number> part)
    {
        sum = sum && part ? std::optional<Number>{*sum + *part} : std::nullopt;
    }
};

/// How full it is, in the flags.
std::uint32_t LevelFlag(std::uint32_t percent)
{
    constexpr std::uint32_t highAbove = 66;
    constexpr std::uint32_t lowBelow = 33;
    constexpr std::uint32_t criticalBelow = 5;
    if (percent > highAbove)
    {
        return PowerStatusRecord::BatteryHigh;
    }
    if (percent < criticalBelow)
    {
        return PowerStatusRecord::BatteryCritical;
    }
    return percent < lowBelow ? PowerStatusRecord::BatteryLow : 0;
}

std::uint32_t MakeFlag(const Battery& battery)
{
    const auto percent = battery.Percent();
    const auto charging = battery.isCharging ? PowerStatusRecord::BatteryCharging : 0U;
    if (percent == PowerStatusRecord::Unknown)
    {
        return battery.isCharging ? charging : PowerStatusRecord::Unknown;
    }
    return LevelFlag(percent) | charging;
}

/// What the battery tells of the line.
std::uint32_t InferLineStatus(const Battery& battery)
{
    if (battery.count == 0 || battery.isCharging)
    {
        return PowerStatusRecord::AcOnline;
    }
    if (battery.isDischarging)
    {
        return PowerStatusRecord::AcOffline;
    }
    return battery.hasUnknownState ? PowerStatusRecord::Unknown : PowerStatusRecord::AcOnline;
}

} // namespace

PowerSupply ParsePowerSupply(std::string_view type, std::string_view uevent)
{
    const Values values(uevent);
    PowerSupply supply;
    supply.kind = ParseKind(Texts::Trim(type));
    supply.isOfDevice = values.Text("SCOPE") == "Device";
    supply.isPresent = values.Text("PRESENT") != "0";
    if (const auto online = Texts::ParseNumber<std::uint32_t>(values.Text("ONLINE")))
    {
        supply.isOnline = *online != 0;
    }
    supply.state = ParseState(values.Text("STATUS"));
    supply.capacity = ParseCapacity(values.Text("CAPACITY"));
    supply.energyNow = ReadEnergy(values, "ENERGY_NOW", "CHARGE_NOW");
    supply.energyFull = ReadEnergy(values, "ENERGY_FULL", "CHARGE_FULL");
    supply.power = ReadEnergy(values, "POWER_NOW", "CURRENT_NOW");
    return supply;
}

PowerStatusRecord MakePowerStatus(const std::vector<PowerSupply>& supplies)
{
    Battery battery;
    std::optional<bool> isLineOnline;
    for (const auto& supply : supplies)
    {
        if (!supply.isOfDevice && supply.kind == Kind::Battery && supply.isPresent)
        {
            battery.Add(supply);
        }
        else if (!supply.isOfDevice && supply.kind == Kind::Line && supply.isOnline)
        {
            isLineOnline = isLineOnline.value_or(false) || *supply.isOnline;
        }
    }
    PowerStatusRecord status;
    if (isLineOnline && battery.count > 0)
    {
        status.acLineStatus = *isLineOnline ? PowerStatusRecord::AcOnline : PowerStatusRecord::AcOffline;
    }
    else
    {
        status.acLineStatus = InferLineStatus(battery);
    }
    if (battery.count == 0)
    {
        status.batteryFlag = PowerStatusRecord::NoBattery;
        return status;
    }
    status.batteryFlag = MakeFlag(battery);
    status.batteryLifePercent = battery.Percent();
    if (status.acLineStatus != PowerStatusRecord::AcOnline)
    {
        status.batteryLifeTime = battery.Seconds(battery.energyNow);
        status.batteryFullLifeTime = battery.Seconds(battery.energyFull);
    }
    return status;
}

} // namespace AgentCore::System
