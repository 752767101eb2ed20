#include "tools.velinventory-text.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include "tools.shared-printable.hpp"

namespace Tools::VelInventory
{

namespace
{

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

constexpr const char* NotKnown = "-";

struct UnitRow
{
    std::string_view field;
    std::string_view unit;
};

constexpr std::array<UnitRow, 11> Units{
    {{"Cpu.max_clock_speed", "MHz"},
     {"PhysicalRamDevice.capacity", "bytes"},
     {"Startup.Hardware.Ram.total_physical", "bytes"},
     {"LogicalDisk.free_space", "bytes"},
     {"LogicalDisk.size", "bytes"},
     {"BatteryStatus.battery_life_percent", "%"},
     {"BatteryStatus.battery_life_time", "s"},
     {"BatteryStatus.battery_full_lifeTime", "s"},
     {"WirelessLan.rx", "kbit/s"},
     {"WirelessLan.tx", "kbit/s"},
     {"WirelessLan.quality", "%"}}};

/// Numbers that are words.
struct MeaningRow
{
    std::string_view field;
    std::int64_t number;
    std::string_view meaning;
};

constexpr std::array<MeaningRow, 13> Meanings{
    {{"BatteryStatus.ac_line_status", 0, "on battery"},
     {"BatteryStatus.ac_line_status", 1, "on line power"},
     {"BatteryStatus.ac_line_status", 255, "unknown"},
     {"BatteryStatus.battery_flag", 128, "no battery"},
     {"BatteryStatus.battery_flag", 255, "unknown"},
     {"BatteryStatus.battery_life_percent", 255, "unknown"},
     {"BatteryStatus.system_status_flag", 0, "battery saver off"},
     {"BatteryStatus.system_status_flag", 1, "battery saver on"},
     {"BatteryStatus.battery_life_time", -1, "unknown"},
     {"BatteryStatus.battery_full_lifeTime", -1, "unknown"},
     {"LogicalDisk.drive_type", 0, "unknown"},
     {"LogicalDisk.drive_type", 11, "removable"},
     {"LogicalDisk.drive_type", 12, "fixed"}}};

/// Messages of which the inventory fills a part: only what is there is shown.
constexpr std::array<std::string_view, 2> FilledInPart{"NetworkInterface", "WirelessLan"};

std::string_view UnitOf(const FieldDescriptor& field)
{
    const auto* const row = std::find_if(
        Units.begin(), Units.end(),
        [&field](const UnitRow& candidate) { return candidate.field == field.full_name(); });
    return row == Units.end() ? std::string_view{} : row->unit;
}

std::optional<std::string_view> MeaningOf(const FieldDescriptor& field, std::int64_t number)
{
    const auto* const row = std::find_if(
        Meanings.begin(), Meanings.end(),
        [&field, number](const MeaningRow& candidate)
        { return candidate.field == field.full_name() && candidate.number == number; });
    return row == Meanings.end() ? std::nullopt : std::optional{row->meaning};
}

/// A size in the largest unit of which it has one, with one decimal.
std::string Shorten(std::uint64_t bytes)
{
    constexpr std::array<const char*, 7> units{"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    constexpr double step = 1024.0;
    auto size = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; size >= step && unit + 1 < units.size(); ++unit)
    {
        size /= step;
    }
    return fmt::format("{:.1f} {}", size, units.at(unit));
}

template <typename Number>
std::string FormatNumber(const FieldDescriptor& field, Number number)
{
    if (const auto meaning = MeaningOf(field, static_cast<std::int64_t>(number)))
    {
        return fmt::format("{} ({})", number, *meaning);
    }
    const auto unit = UnitOf(field);
    constexpr int kilobyte = 1024;
    if (unit == "bytes" && number >= kilobyte)
    {
        return fmt::format("{} bytes ({})", number, Shorten(static_cast<std::uint64_t>(number)));
    }
    return unit.empty() ? fmt::format("{}", number) : fmt::format("{} {}", number, unit);
}

std::string FormatScalar(const Message& message, const FieldDescriptor& field)
{
    const auto& reflection = *message.GetReflection();
    switch (field.cpp_type())
    {
    case FieldDescriptor::CPPTYPE_BOOL:
        return reflection.GetBool(message, &field) ? "yes" : "no";
    case FieldDescriptor::CPPTYPE_INT32:
        return FormatNumber(field, reflection.GetInt32(message, &field));
    case FieldDescriptor::CPPTYPE_UINT32:
        return FormatNumber(field, reflection.GetUInt32(message, &field));
    case FieldDescriptor::CPPTYPE_UINT64:
        return FormatNumber(field, reflection.GetUInt64(message, &field));
    case FieldDescriptor::CPPTYPE_ENUM:
        return reflection.GetEnum(message, &field)->name();
    case FieldDescriptor::CPPTYPE_STRING:
        return Printable(reflection.GetString(message, &field));
    default:
        return fmt::format("(a value of type {})", field.cpp_type_name());
    }
}

/// Writes a message's fields, one a line, deeper ones further to the right.
class MessageWriter
{
public:
    explicit MessageWriter(std::string& out) : e_out(out)
    {
    }

    void Write(const Message& message, std::size_t depth)
    {
        const auto& type = *message.GetDescriptor();
        for (int i = 0; i < type.field_count(); ++i)
        {
            WriteField(message, *type.field(i), depth);
        }
    }

private:
    void WriteField(const Message& message, const FieldDescriptor& field, std::size_t depth)
    {
        const auto& reflection = *message.GetReflection();
        if (field.is_repeated())
        {
            WriteList(message, field, depth);
        }
        else if (field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE)
        {
            Line(depth, field.name());
            Write(reflection.GetMessage(message, &field), depth + 1);
        }
        else if (reflection.HasField(message, &field) || !IsFilledInPart(*message.GetDescriptor()))
        {
            const auto value = FormatScalar(message, field);
            Line(depth, fmt::format("{}: {}", field.name(), value.empty() ? NotKnown : value));
        }
    }

    void WriteList(const Message& message, const FieldDescriptor& field, std::size_t depth)
    {
        const auto& reflection = *message.GetReflection();
        const int count = reflection.FieldSize(message, &field);
        if (count == 0)
        {
            Line(depth, fmt::format("{}: none", field.name()));
        }
        for (int i = 0; i < count; ++i)
        {
            Line(depth, fmt::format("{}[{}]", field.name(), i));
            Write(reflection.GetRepeatedMessage(message, &field, i), depth + 1);
        }
    }

    static bool IsFilledInPart(const Descriptor& type)
    {
        return std::find(FilledInPart.begin(), FilledInPart.end(), type.full_name()) != FilledInPart.end();
    }

    void Line(std::size_t depth, std::string_view text)
    {
        constexpr std::size_t indentation = 2;
        e_out.append(depth * indentation, ' ').append(text).append("\n");
    }

    std::string& e_out;
};

/// Tells the alternative that a setting holds.
struct ValueFormatter
{
    std::string operator()(const std::string& text) const
    {
        return text.empty() ? NotKnown : Printable(text);
    }

    std::string operator()(std::int64_t number) const
    {
        return fmt::format("{}", number);
    }

    std::string operator()(bool isSet) const
    {
        return isSet ? "yes" : "no";
    }
};

void AppendSettings(std::string& out, const std::vector<SettingSection>& sections, Secrets secrets)
{
    for (const auto& section : sections)
    {
        out.append("\n").append(Printable(section.title)).append("\n");
        for (const auto& row : section.rows)
        {
            out += fmt::format("  {}: {}\n", Printable(row.name), std::visit(ValueFormatter{}, ToShown(row, secrets)));
        }
    }
}

void AppendMissing(std::string& out, const AgentCore::System::InventoryGaps& gaps)
{
    out += gaps.empty() ? "\nNothing is missing\n" : "\nWhat could not be had, and why\n";
    for (const auto& gap : gaps)
    {
        out += fmt::format("  {}: {}\n", Printable(gap.field), Printable(gap.reason));
    }
}

} // namespace

std::string FormatText(const Report& report, Secrets secrets)
{
    std::string out = "Inventory\n";
    MessageWriter(out).Write(report.startup, 1);
    AppendSettings(out, report.settings, secrets);
    AppendMissing(out, report.missing);
    return out;
}

} // namespace Tools::VelInventory
