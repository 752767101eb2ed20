#include "shared.protobuf-functions.hpp"

#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"

#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <google/protobuf/duration.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include "poll.pb.h"
#include "register.pb.h"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.util-utf8.hpp"

using Shared::Json::RapidJsonDocument;
using Shared::Log::Level;
using Shared::Protobuf::GenerateJSONFrom;
using Shared::Protobuf::ParseJSON;
using Shared::Protobuf::TryParseJSON;
using Shared::Protobuf::UnknownFields;
using TestSupport::RuntimeText;

namespace
{

constexpr int Depth = 100'000;

/// The error of a refused text, without the library's word for why.
bool IsRefused(std::string_view text, UnknownFields unknownFields = UnknownFields::Refuse)
{
    Poll poll;
    poll.set_uuid("as it was");
    try
    {
        ParseJSON(text, poll, unknownFields);
    }
    catch (const Shared::Exception::RuntimeException& exception)
    {
        const std::string_view what = exception.what();
        EXPECT_NE(what.find(" --> Failed parsing JSON string. Error "), std::string_view::npos);
        EXPECT_TRUE(what.ends_with(std::string(", string ").append(text)));
        EXPECT_EQ(poll.uuid(), "as it was");
        return true;
    }
    EXPECT_EQ(poll.uuid(), "");
    return false;
}

std::string Repeat(std::string_view text, int count)
{
    std::string all;
    for (int i = 0; i < count; ++i)
    {
        all += text;
    }
    return all;
}

} // namespace

// Writing

TEST(ProtobufFunctionsTest, JsonComesWithLineBreaksCamelCaseKeysAndNumbersForEnums)
{
    Poll poll;
    poll.set_account_id(7);
    poll.set_product(GATEOS);
    poll.add_norvik_version()->set_value("1.2");
    EXPECT_EQ(
        GenerateJSONFrom(poll),
        "{\n \"accountId\": 7,\n \"norvikVersion\": [\n  {\n   \"value\": \"1.2\"\n  }\n ],\n \"product\": 2\n}\n");
}

TEST(ProtobufFunctionsTest, FieldsAtTheirDefaultAreAbsent)
{
    Poll poll;
    EXPECT_EQ(GenerateJSONFrom(poll), "{}\n");
    poll.set_total_memory(0);
    poll.set_uuid("");
    poll.set_product(DESKTOP);
    EXPECT_EQ(GenerateJSONFrom(poll), "{}\n");
}

TEST(ProtobufFunctionsTest, LargeIntegersAreStrings)
{
    Poll poll;
    poll.set_total_memory(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(GenerateJSONFrom(poll), "{\n \"totalMemory\": \"18446744073709551615\"\n}\n");
}

TEST(ProtobufFunctionsTest, WhatIsNotANumberIsAString)
{
    SampledCpuResults cpu;
    cpu.set_min_processing_time_percent(std::numeric_limits<float>::quiet_NaN());
    cpu.set_max_processing_time_percent(std::numeric_limits<float>::infinity());
    EXPECT_EQ(
        RapidJsonDocument(GenerateJSONFrom(cpu)).GetJsonText(),
        R"({"minProcessingTimePercent":"NaN","maxProcessingTimePercent":"Infinity"})");
}

TEST(ProtobufFunctionsTest, OfAStringThatIsNotUtf8WhatStandsBeforeTheFaultComesOut)
{
    // The library tells each such field on the standard error stream besides.
    const google::protobuf::LogSilencer silence;
    for (const std::string bytes : {"\xFF", "\xC3", "\xC0\x80", "\xE2\x82", "\xED\xB0\x80", "\xF4\x90\x80\x80"})
    {
        Poll poll;
        poll.set_uuid(bytes);
        poll.set_version("before" + bytes);
        poll.set_message_uuid("another");
        const auto json = GenerateJSONFrom(poll);
        EXPECT_EQ(Shared::Util::Utf8::DropInvalid(json), json);
        const RapidJsonDocument document(json);
        EXPECT_TRUE(document.GetOptionalValueByPath("version").GetString().GetValue().starts_with("before"));
        EXPECT_EQ(document.GetOptionalValueByPath("messageUuid").GetString().GetValue(), "another");
    }
}

TEST(ProtobufFunctionsTest, TextOfAnyLanguageGoesThroughUnchanged)
{
    Poll poll;
    poll.set_uuid("\u00e9\u20ac\U0001F600 \"quoted\" \\ <tag> \x01");
    Poll read;
    ParseJSON(GenerateJSONFrom(poll), read);
    EXPECT_EQ(read.uuid(), poll.uuid());
}

TEST(ProtobufFunctionsTest, AMessageThatHasNoJsonIsRefused)
{
    google::protobuf::Duration duration;
    duration.set_seconds(std::numeric_limits<std::int64_t>::max());
    const auto text = RuntimeText([&] { GenerateJSONFrom(duration); });
    EXPECT_EQ(text.find("MessageToJsonString() failed to serialise JSON: "), 0U) << text;
    EXPECT_GT(text.size(), std::string("MessageToJsonString() failed to serialise JSON: ").size());
}

// Reading

TEST(ProtobufFunctionsTest, WhatIsReadTakesThePlaceOfWhatWasThere)
{
    Register message;
    message.set_site_id("old");
    message.add_spn_names("old");
    ParseJSON(R"({"spnNames": ["new"], "product": 1})", message);
    EXPECT_EQ(message.site_id(), "");
    ASSERT_EQ(message.spn_names_size(), 1);
    EXPECT_EQ(message.spn_names(0), "new");
    EXPECT_EQ(message.product(), EDGEUNIT);
}

TEST(ProtobufFunctionsTest, TextThatIsNotJsonIsNamedInTheError)
{
    Poll poll;
    const auto text = RuntimeText([&] { ParseJSON("{\"accountId\": }", poll); });
    EXPECT_EQ(text.find("Failed parsing JSON string. Error "), 0U) << text;
    EXPECT_TRUE(text.ends_with(", string {\"accountId\": }")) << text;
}

TEST(ProtobufFunctionsTest, TextThatTheMessageCannotHoldIsRefused)
{
    for (const std::string text :
         {"", "null", "[]", "5", "{", "{} x", R"({"accountId": 5.5})", R"({"accountId": 99999999999})",
          R"({"accountId": true})", R"({"accountId": "five"})", R"({"version": 5})", R"({"version": ["a"]})",
          R"({"cpu": 5})", R"({"cpu": {"avgProcessingTimePercent": 1e39}})", R"({"totalMemory": -1})",
          R"({"product": "GATE"})", R"({"accountId": 1e400})", R"({"wlans": [5]})"})
    {
        EXPECT_TRUE(IsRefused(text)) << text;
    }
    EXPECT_FALSE(IsRefused("{}"));
    Poll poll;
    EXPECT_THROW(ParseJSON(std::string_view("{}\0", 3), poll), std::runtime_error);
}

TEST(ProtobufFunctionsTest, TextThatIsNotUtf8IsRefused)
{
    for (const std::string bytes :
         {"\xFF", "\xC3", "\xC0\x80", "\xED\xB0\x80", "\xF4\x90\x80\x80", "\\uD800", "\\uDC00"})
    {
        EXPECT_TRUE(IsRefused("{\"version\": \"" + bytes + "\"}"));
        EXPECT_TRUE(IsRefused("{\"" + bytes + "\": 1}", UnknownFields::Ignore));
    }
}

TEST(ProtobufFunctionsTest, UnknownKeysAreRefusedUnlessTheyAreToBeIgnored)
{
    const std::string text = R"({"accountId": 5, "later": {"a": [1, {"b": null}]}, "product": "NEW"})";
    EXPECT_TRUE(IsRefused(text));
    EXPECT_TRUE(IsRefused(R"({"later": null})"));
    Poll poll;
    ParseJSON(text, poll, UnknownFields::Ignore);
    EXPECT_EQ(poll.account_id(), 5);
    EXPECT_EQ(poll.product(), DESKTOP);
}

TEST(ProtobufFunctionsTest, IgnoringUnknownKeysForgivesNothingElse)
{
    EXPECT_TRUE(IsRefused(R"({"accountId": "five"})", UnknownFields::Ignore));
    EXPECT_TRUE(IsRefused("{", UnknownFields::Ignore));
}

TEST(ProtobufFunctionsTest, AnEnumIsReadByNumberAndByName)
{
    Poll poll;
    ParseJSON(R"({"product": "GATEOS", "agentCapabilities": [3, "AGENT_CAPABILITY_SELF_SERVE"]})", poll);
    EXPECT_EQ(poll.product(), GATEOS);
    EXPECT_EQ(poll.agent_capabilities(0), AGENT_CAPABILITY_ASYNC_POLL_RESULT);
    EXPECT_EQ(poll.agent_capabilities(1), AGENT_CAPABILITY_SELF_SERVE);
}

TEST(ProtobufFunctionsTest, AnEnumNumberOfALaterVersionIsKept)
{
    Poll poll;
    ParseJSON(R"({"product": 99})", poll);
    EXPECT_EQ(GenerateJSONFrom(poll), "{\n \"product\": 99\n}\n");
}

TEST(ProtobufFunctionsTest, DeepNestingIsReadOrRefusedWithoutHarm)
{
    const auto lists = std::string(Depth, '[') + std::string(Depth, ']');
    const auto objects = Repeat(R"({"cpu":)", Depth) + "{}" + std::string(Depth, '}');
    for (const auto& deep : {lists, objects})
    {
        EXPECT_TRUE(IsRefused(deep));
        EXPECT_TRUE(IsRefused(deep, UnknownFields::Ignore));
        EXPECT_TRUE(IsRefused(deep.substr(0, deep.size() / 2), UnknownFields::Ignore));
        EXPECT_TRUE(IsRefused("{\"version\":" + deep + "}"));
        EXPECT_TRUE(IsRefused("{\"cpu\":" + deep + "}"));
    }
    EXPECT_FALSE(IsRefused("{\"later\":" + lists + "}", UnknownFields::Ignore));
    EXPECT_TRUE(IsRefused("{\"later\":" + objects + "}", UnknownFields::Ignore));
}

TEST(ProtobufFunctionsTest, ALargeTextIsRead)
{
    std::string text = R"({"later":[)";
    while (text.size() < 8'000'000)
    {
        text += R"({"name":"some text","values":[1,-2,3.25,true,null]},)";
    }
    text += R"(0],"version":")" + std::string(50'000'000, 'x') + "\"}";
    Poll poll;
    ParseJSON(text, poll, UnknownFields::Ignore);
    EXPECT_EQ(poll.version().size(), 50'000'000U);
    EXPECT_TRUE(IsRefused(text));
    text.pop_back();
    EXPECT_TRUE(IsRefused(text, UnknownFields::Ignore));
}

// Without exceptions

TEST(ProtobufFunctionsTest, TheFormWithoutExceptionsLogsWhatItCouldNotRead)
{
    const TestSupport::CapturedLog log;
    Poll poll;
    poll.set_uuid("as it was");
    EXPECT_FALSE(TryParseJSON("{\"uuid\": 1}", poll));
    EXPECT_EQ(poll.uuid(), "as it was");
    EXPECT_EQ(log.Count(Level::Error, "ParseJSON() failed"), 1U);
    EXPECT_EQ(log.Count(Level::Error, "Failed parsing JSON string. Error "), 1U);
    EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(ProtobufFunctionsTest, TheFormWithoutExceptionsIsSilentWhenItReads)
{
    const TestSupport::CapturedLog log;
    Poll poll;
    EXPECT_TRUE(TryParseJSON(R"({"uuid": "a"})", poll));
    EXPECT_TRUE(TryParseJSON(R"({"uuid": "b", "later": 1})", poll, UnknownFields::Ignore));
    EXPECT_EQ(poll.uuid(), "b");
    EXPECT_TRUE(log.Lines().empty());
}

TEST(LibraryMessagesTest, TheyGoToTheLogAndNowhereElse)
{
    Shared::Protobuf::LogLibraryMessages();
    const TestSupport::CapturedLog log;
    Poll poll;
    poll.set_uuid("\xFF");
    testing::internal::CaptureStderr();
    (void)Poll().ParseFromString(poll.SerializePartialAsString());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GE(log.Count(Level::Warning, "protobuf: "), 1U);
    EXPECT_GE(log.Count(Level::Warning, "UTF-8"), 1U);
    google::protobuf::SetLogHandler(nullptr);
}
