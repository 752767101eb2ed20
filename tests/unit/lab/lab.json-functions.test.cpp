#include "lab.json-functions.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

namespace Json = Lab::Json;

std::string ProblemOf(const std::string& text)
{
    try
    {
        (void)Json::Parse(text);
    }
    catch (const Json::JsonError& problem)
    {
        return problem.what();
    }
    return "(none)";
}

TEST(LabJsonTest, AFaultIsToldWithItsPlace)
{
    EXPECT_EQ(
        ProblemOf("{\n  \"a\": 1\n  \"b\": 2\n}"), "line 3, column 3: Missing a comma or '}' after an object member.");
    EXPECT_EQ(ProblemOf(""), "line 1, column 1: The document is empty.");
    EXPECT_EQ(ProblemOf("{} x"), "line 1, column 4: The document root must not be followed by other values.");
}

TEST(LabJsonTest, WhatIsNoUtf8OrHoldsANullCharacterIsNoJson)
{
    EXPECT_FALSE(Json::IsJson("\"\xC0\xAF\""));
    EXPECT_FALSE(Json::IsJson(std::string("{}\0{", 4)));
    EXPECT_TRUE(Json::IsJson("\"\xC3\xA9\""));
}

TEST(LabJsonTest, DeepNestingIsRefusedWithoutUsingUpTheStack)
{
    const std::string deepest = std::string(Json::DeepestNesting, '[') + std::string(Json::DeepestNesting, ']');
    EXPECT_TRUE(Json::IsJson(deepest));
    EXPECT_EQ(Json::ToText(Json::Parse(deepest)), deepest);
    EXPECT_EQ(ProblemOf("[" + deepest + "]"), "line 1, column 101: Nested deeper than 100.");
    EXPECT_FALSE(Json::IsJson(std::string(1'000'000, '[')));
}

TEST(LabJsonTest, MembersAreAskedForWithoutKnowingWhatIsThere)
{
    const rapidjson::Document document = Json::Parse(R"({"text":"a","count":7,"negative":-1,"null":null})");
    EXPECT_EQ(Json::TextMember(document, "text"), "a");
    EXPECT_EQ(Json::TextMember(document, "count"), "");
    EXPECT_EQ(Json::TextMember(document, "absent"), "");
    EXPECT_EQ(Json::CountMember(document, "count", 1), 7U);
    EXPECT_EQ(Json::CountMember(document, "negative", 1), 1U);
    EXPECT_EQ(Json::CountMember(document, "text", 1), 1U);
    EXPECT_TRUE(Json::FindMember(document, "null")->IsNull());
    EXPECT_EQ(Json::FindMember(Json::Parse("[]"), "a"), nullptr);
}

/// The example of RFC 7396, and what it says beside it.
TEST(JsonMergeTest, APatchReplacesAddsTakesAwayAndGoesIntoObjects)
{
    const auto merged = [](const char* target, const char* patch)
    {
        return Lab::Json::ToText(Lab::Json::Merge(Lab::Json::Parse(target), Lab::Json::Parse(patch)));
    };
    EXPECT_EQ(
        merged(R"({"a":"b","c":{"d":"e","f":"g"}})", R"({"a":"z","c":{"f":null}})"), R"({"a":"z","c":{"d":"e"}})");
    EXPECT_EQ(merged(R"({"a":1})", R"({"b":{"c":{"d":null,"e":2}}})"), R"({"a":1,"b":{"c":{"e":2}}})");
    EXPECT_EQ(merged(R"({"a":[1,2]})", R"({"a":[3]})"), R"({"a":[3]})");
    EXPECT_EQ(merged(R"({"a":[1]})", R"({"a":{"b":1}})"), R"({"a":{"b":1}})");
    EXPECT_EQ(merged(R"({"a":{"b":1}})", R"({"a":7})"), R"({"a":7})");
    EXPECT_EQ(merged(R"({"a":null})", R"({"b":null})"), R"({"a":null})");
    EXPECT_EQ(merged(R"({"a":1})", "{}"), R"({"a":1})");
}

TEST(JsonMergeTest, NeitherOfTheTwoIsChanged)
{
    const auto target = Lab::Json::Parse(R"({"a":{"b":1}})");
    const auto patch = Lab::Json::Parse(R"({"a":{"b":null,"c":2}})");
    (void)Lab::Json::Merge(target, patch);
    EXPECT_EQ(Lab::Json::ToText(target), R"({"a":{"b":1}})");
    EXPECT_EQ(Lab::Json::ToText(patch), R"({"a":{"b":null,"c":2}})");
}

} // namespace
