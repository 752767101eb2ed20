#include "tools.velinventory-json.hpp"

#include <rapidjson/document.h>

#include "shared.protobuf-functions.hpp"
#include "tools.shared-jsonwriter.hpp"

namespace Tools::VelInventory
{

namespace
{

/// Writes the alternative that a setting holds.
struct ValueWriter
{
    void operator()(const std::string& text) const
    {
        WriteText(e_writer, text);
    }

    void operator()(std::int64_t number) const
    {
        e_writer.Int64(number);
    }

    void operator()(bool isSet) const
    {
        e_writer.Bool(isSet);
    }

    JsonWriter& e_writer;
};

void WriteSettings(JsonWriter& writer, const std::vector<SettingSection>& sections, Secrets secrets)
{
    writer.StartObject();
    for (const auto& section : sections)
    {
        WriteKey(writer, section.title);
        writer.StartObject();
        for (const auto& row : section.rows)
        {
            WriteKey(writer, row.name);
            std::visit(ValueWriter{writer}, ToShown(row, secrets));
        }
        writer.EndObject();
    }
    writer.EndObject();
}

void WriteMissing(JsonWriter& writer, const AgentCore::System::InventoryGaps& gaps)
{
    writer.StartArray();
    for (const auto& gap : gaps)
    {
        writer.StartObject();
        WriteMember(writer, "field", gap.field);
        WriteMember(writer, "reason", gap.reason);
        writer.EndObject();
    }
    writer.EndArray();
}

} // namespace

std::string FormatJson(const Report& report, Secrets secrets)
{
    // Read back, so that all of the text is laid out alike.
    rapidjson::Document startup;
    startup.Parse(Shared::Protobuf::GenerateJSONFrom(report.startup));
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    writer.Key("startup");
    startup.Accept(writer);
    writer.Key("settings");
    WriteSettings(writer, report.settings, secrets);
    writer.Key("missing");
    WriteMissing(writer, report.missing);
    writer.EndObject();
    return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

} // namespace Tools::VelInventory
