#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

TEST(RapidJsonTest, APointerReachesIntoATreeAndAddsToIt)
{
    rapidjson::Document tree;
    tree.Parse(R"({"config": {"tests": [{"interval": 300}]}})");
    ASSERT_FALSE(tree.HasParseError());

    const auto* interval = rapidjson::Pointer{"/config/tests/0/interval"}.Get(tree);
    ASSERT_NE(interval, nullptr);
    EXPECT_EQ(interval->GetUint(), 300U);
    EXPECT_EQ(rapidjson::Pointer{"/config/tests/1"}.Get(tree), nullptr);

    rapidjson::Pointer{"/config/name"}.Set(tree, "local");
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer{text};
    tree.Accept(writer);
    EXPECT_STREQ(text.GetString(), R"({"config":{"tests":[{"interval":300}],"name":"local"}})");
}

TEST(RapidJsonTest, IterativeParsingTakesADepthThatWouldExhaustTheStack)
{
    constexpr std::size_t depth = 1'000'000;
    const std::string text = std::string(depth, '[') + std::string(depth, ']');
    rapidjson::StringStream stream{text.c_str()};
    rapidjson::Reader reader;
    rapidjson::BaseReaderHandler<> ignoring;
    EXPECT_FALSE(reader.Parse<rapidjson::kParseIterativeFlag>(stream, ignoring).IsError());
}

TEST(RapidJsonTest, AFaultIsToldWithItsPlace)
{
    rapidjson::Document tree;
    tree.Parse<rapidjson::kParseIterativeFlag>(R"({"a": tru})");
    ASSERT_TRUE(tree.HasParseError());
    EXPECT_EQ(tree.GetErrorOffset(), 9U);
}
