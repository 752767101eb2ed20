#include "tools.shared-jsonwriter.hpp"

#include <string>

#include <gtest/gtest.h>

#include "shared.json-rapidjsondocument.hpp"

namespace
{

TEST(JsonWriterTest, TextsLoseWhatIsNoUtf8AndNothingElse)
{
    rapidjson::StringBuffer buffer;
    Tools::JsonWriter writer(buffer);
    writer.StartObject();
    Tools::WriteKey(writer, "a\xFF\"");
    Tools::WriteText(writer, "\xC3\xBC\xC2\n");
    Tools::WriteMember(writer, "b", std::string("c\0d", 3));
    writer.EndObject();
    const Shared::Json::RapidJsonDocument document(std::string_view(buffer.GetString(), buffer.GetSize()));
    EXPECT_EQ(document.GetJsonText(), "{\"a\\\"\":\"\xC3\xBC\\n\",\"b\":\"c\\u0000d\"}");
}

} // namespace
