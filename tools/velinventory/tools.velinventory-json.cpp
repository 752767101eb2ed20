#include "tools.velinventory-json.hpp"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "shared.protobuf-functions.hpp"
#include "shared.util-utf8.hpp"

namespace Tools::VelInventory
{

namespace
{

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void WriteText(Writer& writer, const std::string& text)
{
    writer.String(Shared::Util::Utf8::DropInvalid(text));
}

void WriteKey(Writer& writer, const std::string& text)
{
    writer.Key(Shared::Util::Utf8::DropInvalid(text));
}

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

    Writer& e_writer;
};

void WriteSettings(Writer& writer, const std::vector<SettingSection>& sections, Secrets secrets)
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

void WriteMissing(Writer& writer, const AgentCore::System::InventoryGaps& gaps)
{
    writer.StartArray();
    for (const auto& gap : gaps)
    {
        writer.StartObject();
        writer.Key("field");
        WriteText(writer, gap.field);
        writer.Key("reason");
        WriteText(writer, gap.reason);
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
    Writer writer(buffer);
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
