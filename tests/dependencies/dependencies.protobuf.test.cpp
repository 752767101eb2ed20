#include <string>

#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include "dependencies.proof.pb.h"

namespace
{
Dependencies::Proof Example()
{
    Dependencies::Proof proof;
    proof.set_name("Größe \"quoted\"");
    for (int i = 1; i <= 3; ++i)
    {
        auto& sample = *proof.add_samples();
        sample.set_milliseconds(0xFFFFFFFF00000000ULL + static_cast<unsigned>(i));
        sample.set_loss(i / 8.0);
        sample.set_payload(std::string("\0\x01\xFF", 3));
    }
    (*proof.mutable_counts())["sent"] = -7;
    return proof;
}
} // namespace

TEST(ProtobufTest, WhatIsSerialisedIsParsedBackUnchanged)
{
    std::string bytes;
    ASSERT_TRUE(Example().SerializeToString(&bytes));
    Dependencies::Proof parsed;
    ASSERT_TRUE(parsed.ParseFromString(bytes));
    EXPECT_EQ(parsed.SerializeAsString(), bytes);
    EXPECT_EQ(parsed.name(), Example().name());
    EXPECT_EQ(parsed.samples(2).milliseconds(), 0xFFFFFFFF00000003ULL);
    EXPECT_EQ(parsed.samples(0).payload().size(), 3U);
}

TEST(ProtobufTest, CutBytesAreRefused)
{
    const auto bytes = Example().SerializeAsString();
    Dependencies::Proof parsed;
    EXPECT_FALSE(parsed.ParseFromString(bytes.substr(0, bytes.size() - 1)));
}

TEST(ProtobufTest, JsonGoesOutAndComesBackUnchanged)
{
    std::string json;
    ASSERT_TRUE(google::protobuf::util::MessageToJsonString(Example(), &json).ok());
    Dependencies::Proof parsed;
    ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(json, &parsed).ok());
    EXPECT_EQ(parsed.SerializeAsString(), Example().SerializeAsString());
}

TEST(ProtobufTest, AnUnknownFieldOfJsonIsRefusedUnlessAskedToBeIgnored)
{
    const std::string json = R"({"name": "a", "later": 1})";
    Dependencies::Proof parsed;
    EXPECT_FALSE(google::protobuf::util::JsonStringToMessage(json, &parsed).ok());

    google::protobuf::util::JsonParseOptions options;
    options.ignore_unknown_fields = true;
    EXPECT_TRUE(google::protobuf::util::JsonStringToMessage(json, &parsed, options).ok());
    EXPECT_EQ(parsed.name(), "a");
}
