#include "agentcore.tests-plainjson.hpp"

#include "shared.protobuf-functions.hpp"

#include <string>

#include <gtest/gtest.h>
#include <test_results.pb.h>

using AgentCore::Tests::ReadPlainJson;
using Shared::Json::RapidJsonDocument;

namespace
{

bool Read(const std::string& json, MtrTestResult& result)
{
    return ReadPlainJson(RapidJsonDocument(json).GetRoot(), result);
}

bool IsPlain(const std::string& json)
{
    MtrTestResult result;
    return Read(json, result);
}

/// Whether it is read here, and as the library reads it.
bool IsReadAsByTheLibrary(const std::string& json)
{
    MtrTestResult ours;
    MtrTestResult library;
    Shared::Protobuf::ParseJSON(json, library, Shared::Protobuf::UnknownFields::Ignore);
    return Read(json, ours) && ours.SerializeAsString() == library.SerializeAsString();
}

} // namespace

TEST(PlainJsonTest, WhatToolsPrintIsReadAsTheLibraryReadsIt)
{
    for (const char* json :
         {"{}", R"({"report":{}})", R"({"report":{"hubs":[]}})", R"({"target":"","dnsServers":["a","a",""]})",
          R"({"report":{"mtr":{"src":"\u00e9\n","options":["x","y"]},"hubs":[{"Snt":-5,"Last":1,"Avg":1.5e-3},{}]}})",
          R"({"tags":[{"key":"k","value":"v"}],"index":2147483647,"startTime":-2147483648})",
          R"({"report":{"hubs":[{"mpls":[{"label":1},{"TTL":2}],"LossPct":18446744073709551615}]}})"})
    {
        EXPECT_TRUE(IsReadAsByTheLibrary(json)) << json;
    }
}

TEST(PlainJsonTest, FieldsHaveTheirNameOfJsonOrOfTheSchema)
{
    EXPECT_TRUE(IsReadAsByTheLibrary(R"({"network_object_uuid":"a","mtrConfigUuid":"b","target_ip":"c"})"));
}

TEST(PlainJsonTest, SimpleValuesOfUnknownNamesArePassedOver)
{
    EXPECT_TRUE(IsReadAsByTheLibrary(
        R"({"x":1,"y":"text","z":null,"b":true,"x":2.5,"report":{"hubs":[{"Loss%":0.0,"Snt":1}]}})"));
}

TEST(PlainJsonTest, AllElseIsTheLibrarysToJudge)
{
    for (const char* json :
         {"[]",
          "7",
          "null",
          R"({"x":[]})",
          R"({"x":{}})",
          R"({"target":null})",
          R"({"target":7})",
          R"({"index":"5"})",
          R"({"index":5.0})",
          R"({"index":2147483648})",
          R"({"serverType":1})",
          R"({"serverType":"INTERNET"})",
          R"({"report":[]})",
          R"({"report":{"hubs":{}}})",
          R"({"report":{"hubs":[null]}})",
          R"({"dnsServers":"a"})",
          R"({"target":"a","target":"b"})",
          R"({"start_time":1,"startTime":2})",
          R"({"report":{"hubs":[{"Last":"NaN"}]}})",
          R"({"targetDnsResolution":{"resolutionRequired":true}})"})
    {
        EXPECT_FALSE(IsPlain(json)) << json;
    }
}
