#include "tools.shared-jsonwriter.hpp"

#include "shared.util-utf8.hpp"

namespace Tools
{

void WriteText(JsonWriter& writer, std::string_view text)
{
    writer.String(Shared::Util::Utf8::DropInvalid(text));
}

void WriteKey(JsonWriter& writer, std::string_view text)
{
    writer.Key(Shared::Util::Utf8::DropInvalid(text));
}

void WriteMember(JsonWriter& writer, std::string_view name, std::string_view text)
{
    WriteKey(writer, name);
    WriteText(writer, text);
}

} // namespace Tools
