#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include "poll.pb.h"
#include "register.pb.h"
#include "schemas.descriptors.hpp"
#include "schemas.goldenjson.hpp"
#include "self_service.pb.h"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"
#include "startup.pb.h"

namespace
{

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using Shared::Json::RapidJsonDocument;
using Shared::Protobuf::GenerateJSONFrom;
using Shared::Protobuf::ParseJSON;
using Shared::Protobuf::UnknownFields;

std::unique_ptr<Message> Make(const Descriptor* descriptor)
{
    return std::unique_ptr<Message>(MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

std::unique_ptr<Message> MakeFrom(const Schemas::GoldenJson& golden)
{
    auto message = Make(DescriptorPool::generated_pool()->FindMessageTypeByName(golden.message));
    ParseJSON(golden.json, *message);
    return message;
}

/// The JSON of the agent without its line breaks.
std::string CompactJson(const Message& message)
{
    return RapidJsonDocument(GenerateJSONFrom(message)).GetJsonText();
}

std::set<std::string> NamesOf(const std::vector<const FieldDescriptor*>& fields)
{
    std::set<std::string> names;
    for (const auto* field : fields)
    {
        names.insert(field->name());
    }
    return names;
}

std::set<std::string> SetFields(const Message& message)
{
    std::vector<const FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    return NamesOf(fields);
}

bool CanDifferFromDefault(const FieldDescriptor& field)
{
    return field.type() != FieldDescriptor::TYPE_ENUM || field.enum_type()->value_count() > 1;
}

std::set<std::string> SettableFields(const Descriptor& message)
{
    std::vector<const FieldDescriptor*> fields;
    for (int i = 0; i < message.field_count(); ++i)
    {
        if (CanDifferFromDefault(*message.field(i)))
        {
            fields.push_back(message.field(i));
        }
    }
    return NamesOf(fields);
}

} // namespace

TEST(SchemaJsonTest, EveryMessageHasItsGoldenJson)
{
    for (const auto& golden : Schemas::AllGoldenJson())
    {
        SCOPED_TRACE(golden.message);
        EXPECT_EQ(CompactJson(*MakeFrom(golden)), golden.json);
    }
}

TEST(SchemaJsonTest, TheGoldenJsonKnowsEveryMessageAndEveryField)
{
    std::map<std::string, std::set<std::string>> seen;
    for (const auto& golden : Schemas::AllGoldenJson())
    {
        seen[golden.message].merge(SetFields(*MakeFrom(golden)));
    }
    for (const auto* message : Schemas::AllMessages())
    {
        SCOPED_TRACE(message->full_name());
        ASSERT_TRUE(seen.contains(message->full_name()));
        EXPECT_EQ(seen[message->full_name()], SettableFields(*message));
    }
    EXPECT_EQ(seen.size(), Schemas::AllMessages().size());
}

TEST(SchemaJsonTest, WhatWentThroughTheWireFormatHasTheSameJson)
{
    for (const auto& golden : Schemas::AllGoldenJson())
    {
        SCOPED_TRACE(golden.message);
        const auto message = MakeFrom(golden);
        const auto received = Make(message->GetDescriptor());
        ASSERT_TRUE(received->ParseFromString(message->SerializeAsString()));
        EXPECT_EQ(CompactJson(*received), golden.json);
    }
}

TEST(SchemaJsonTest, AnEmptyMessageHasNoKeys)
{
    for (const auto* message : Schemas::AllMessages())
    {
        SCOPED_TRACE(message->full_name());
        EXPECT_EQ(CompactJson(*Make(message)), "{}");
    }
}

TEST(SchemaJsonTest, ValuesThatAreSetToTheirDefaultHaveNoKeys)
{
    Poll poll;
    poll.set_utc_time("");
    poll.set_account_id(0);
    poll.set_total_memory(0);
    poll.set_self_service_user_enabled(false);
    poll.set_operating_system(AGENT_OPERATING_SYSTEM_WINDOWS);
    poll.set_agent_class(MOBILE_USER);
    poll.set_product(DESKTOP);
    EXPECT_EQ(GenerateJSONFrom(poll), "{}\n");

    poll.mutable_cpu()->set_max_processing_time_percent(0.0F);
    EXPECT_EQ(CompactJson(poll), R"({"cpu":{}})");
}

TEST(SchemaJsonTest, EnumsAreNumbersAlsoInListsWhereZeroIsKept)
{
    Poll poll;
    poll.set_product(GATEOS);
    poll.add_agent_capabilities(AGENT_CAPABILITY_ASYNC_POLL_RESULT);
    poll.add_agent_capabilities(AGENT_CAPABILITY_USER_GROUPS);
    EXPECT_EQ(CompactJson(poll), R"({"product":2,"agentCapabilities":[3,0]})");
}

TEST(SchemaJsonTest, FieldNamesOfOddFormKeepTheirOddKeys)
{
    Startup startup;
    startup.mutable_system()->mutable_battery_status()->set_battery_full_lifetime(1);
    EXPECT_EQ(CompactJson(startup), R"({"system":{"batteryStatus":{"batteryFullLifeTime":1}}})");

    CurlTestResult curl;
    curl.mutable_targetdnsresolution()->set_originalresolutiontimeus(1);
    EXPECT_EQ(CompactJson(curl), R"({"targetDnsResolution":{"originalResolutionTimeUs":"1"}})");

    MtrTestResult mtr;
    mtr.mutable_report()->mutable_mtr()->set_dstaddress("a");
    mtr.mutable_report()->mutable_mtr()->set_initialrtt("b");
    auto& hub = *mtr.mutable_report()->add_hubs();
    hub.set_asn("c");
    hub.set_ds(1);
    hub.set_losspct(2);
    hub.set_snt(3);
    hub.set_last(4);
    hub.set_avg(5);
    hub.set_best(6);
    hub.set_wrst(7);
    hub.set_stdev(8);
    hub.set_isocountry("d");
    auto& label = *hub.add_mpls();
    label.set_tc(1);
    label.set_s(2);
    label.set_ttl(3);
    EXPECT_EQ(
        CompactJson(mtr),
        R"({"report":{"mtr":{"dstAddress":"a","initialRtt":"b"},"hubs":[{"ASN":"c","mpls":[{"TC":1,"S":2,"TTL":3}],)"
        R"("DS":1,"LossPct":2,"Snt":3,"Last":4,"Avg":5,"Best":6,"Wrst":7,"StDev":8,"ISOCountry":"d"}]}})");
}

TEST(SchemaJsonTest, TheFieldNamesThemselvesAreNoKeysOfWhatIsSent)
{
    Register message;
    message.set_sub_tenant_id("a");
    Poll poll;
    poll.add_norvik_version()->set_id(1);
    EXPECT_EQ(CompactJson(message), R"({"subTenantId":"a"})");
    EXPECT_EQ(CompactJson(poll), R"({"norvikVersion":[{"id":1}]})");
}

TEST(SchemaJsonTest, ARegisterResponseWithUnknownKeysIsReadWhenTheyAreToBeIgnored)
{
    RegisterResponse response;
    ParseJSON(
        R"({"statusCode": 302, "later": {"a": [1, {}]}, "server": "other.example", "more": null})", response,
        UnknownFields::Ignore);
    EXPECT_EQ(response.status_code(), 302);
    EXPECT_EQ(response.server(), "other.example");
}

TEST(SchemaJsonTest, ANotificationCarriesTheLastOfItsDetailsOnly)
{
    Notification notification;
    notification.set_type(NOTIFICATION_TYPE_SYSTEM_CPU);
    notification.mutable_wifi_link_quality()->set_quality(40);
    notification.mutable_system_cpu()->set_usage(95);
    EXPECT_FALSE(notification.has_wifi_link_quality());
    EXPECT_EQ(notification.notification_details_case(), Notification::kSystemCpu);
    EXPECT_EQ(CompactJson(notification), R"({"type":4,"systemCpu":{"usage":95}})");
}

TEST(SchemaJsonTest, ANotificationWithTwoDetailsIsRefused)
{
    Notification notification;
    EXPECT_THROW(
        ParseJSON(R"({"systemCpu": {"usage": 1}, "systemMemory": {"usage": 2}})", notification), std::runtime_error);
}

TEST(SchemaJsonTest, AnAbsentDetailIsToldFromAnEmptyOne)
{
    Notification notification;
    EXPECT_EQ(notification.notification_details_case(), Notification::NOTIFICATION_DETAILS_NOT_SET);
    notification.mutable_wifi_connectivity()->set_connected(false);
    EXPECT_EQ(CompactJson(notification), R"({"wifiConnectivity":{}})");
}
