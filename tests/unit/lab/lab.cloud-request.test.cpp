#include "lab.cloud-request.hpp"

#include "lab.json-functions.hpp"
#include "lab.wire-names.hpp"

#include <string>

#include <gtest/gtest.h>

namespace
{

using Lab::RequestKind;
using Lab::Cloud::IsForConfiguration;
using Lab::Cloud::KindOf;
namespace MsgId = Lab::Wire::MsgId;

std::optional<RequestKind> KindOfMessage(std::uint32_t msgId, const std::string& payload = "{}")
{
    Lab::Wire::Envelope envelope;
    envelope.msgId = msgId;
    envelope.payload = payload;
    return KindOf(envelope);
}

std::optional<RequestKind> KindOfConfig(const std::string& payload)
{
    return KindOfMessage(MsgId::ConfigGet2Request, payload);
}

TEST(RequestKindTest, RequestsForConfigurationAreKnownByWhatTheyNameInAnyOrder)
{
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/network_object"]})"), RequestKind::NetworkObjects);
    EXPECT_EQ(KindOfConfig(R"({"keys":["/config/tests"]})"), RequestKind::Tests);
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/tags"],"keys":[]})"), RequestKind::Tags);
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/mtr"]})"), RequestKind::Mtr);
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/curl"]})"), RequestKind::Curl);
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/ete"]})"), RequestKind::Ete);
    EXPECT_EQ(KindOfConfig(R"({"keys":["/config/cversion/instance","/config/agent"]})"), RequestKind::InstanceAgent);
    EXPECT_EQ(
        KindOfConfig(R"({"keys":["/config/account/agent","/config/cversion/account","/config/self_service"]})"),
        RequestKind::AccountAgent);
}

TEST(RequestKindTest, TheOthersAreKnownByTheirNumbers)
{
    EXPECT_EQ(KindOfMessage(MsgId::StartupRequest), RequestKind::Startup);
    EXPECT_EQ(KindOfMessage(MsgId::UserGroupsRequest), RequestKind::UserGroups);
    EXPECT_EQ(KindOfMessage(MsgId::PollRequest), RequestKind::Poll);
}

TEST(RequestKindTest, WhatIsNothingOfThatHasNone)
{
    EXPECT_EQ(KindOfMessage(MsgId::RegisterRequest), std::nullopt);
    EXPECT_EQ(KindOfConfig(R"({"trees":["/config/other",7]})"), std::nullopt);
    EXPECT_EQ(KindOfConfig("{}"), std::nullopt);
    EXPECT_EQ(KindOfConfig("no JSON"), std::nullopt);
    EXPECT_EQ(KindOfMessage(MsgId::ConfigGet2Response, R"({"trees":["/config/mtr"]})"), std::nullopt);
}

TEST(RequestKindTest, ThreeOfThemAskForSomethingElseThanConfiguration)
{
    EXPECT_TRUE(IsForConfiguration(RequestKind::Tests));
    EXPECT_TRUE(IsForConfiguration(RequestKind::AccountAgent));
    EXPECT_FALSE(IsForConfiguration(RequestKind::Startup));
    EXPECT_FALSE(IsForConfiguration(RequestKind::UserGroups));
    EXPECT_FALSE(IsForConfiguration(RequestKind::Poll));
}

} // namespace
