#pragma once

#include <string>
#include <string_view>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace Tools
{

using JsonWriter = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

/// Writes `text` as a string, or as the name of the member that follows, without what is no UTF-8 in it.
void WriteText(JsonWriter& writer, std::string_view text);
void WriteKey(JsonWriter& writer, std::string_view text);

/// A name, and the string behind it.
void WriteMember(JsonWriter& writer, std::string_view name, std::string_view text);

} // namespace Tools
