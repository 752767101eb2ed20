#include "tools.velinventory-json.hpp"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

namespace
{

using namespace Tools::VelInventory;
using Shared::Json::RapidJsonDocument;

Report MakeReport()
{
    Report report;
    report.startup.set_uuid("a-b-c");
    report.startup.mutable_system()->mutable_computer()->set_name("fern \"quoted\"");
    report.startup.mutable_system()->add_logical_drives()->set_size(std::numeric_limits<std::uint64_t>::max());
    report.startup.mutable_network()->add_interfaces()->set_interface_type(NETWORK_INTERFACE_TYPE_WLAN);
    report.settings = {
        {"Agent",
         {{"server", std::string{"cloud.test"}},
          {"port", std::int64_t{8443}},
          {"on", true},
          {"user", std::string{"jo"}, true}}}};
    report.missing = {{"system.bios", "no \"BIOS\"\xFF"}};
    return report;
}

TEST(VelInventoryJsonTest, TheMessageComesBackFromIt)
{
    const auto report = MakeReport();
    const RapidJsonDocument document(FormatJson(report, Secrets::Hidden));
    Startup startup;
    Shared::Protobuf::ParseJSON(document.GetJsonTextByPath("/startup"), startup);
    EXPECT_EQ(startup.SerializeAsString(), report.startup.SerializeAsString());
}

TEST(VelInventoryJsonTest, SettingsKeepTheirTypes)
{
    const RapidJsonDocument document(FormatJson(MakeReport(), Secrets::Hidden));
    EXPECT_EQ(document.GetJsonTextByPath("/settings/Agent/server"), "\"cloud.test\"");
    EXPECT_EQ(document.GetJsonTextByPath("/settings/Agent/port"), "8443");
    EXPECT_EQ(document.GetJsonTextByPath("/settings/Agent/on"), "true");
}

TEST(VelInventoryJsonTest, SecretsAreShownOnDemandAlone)
{
    const RapidJsonDocument hidden(FormatJson(MakeReport(), Secrets::Hidden));
    EXPECT_EQ(hidden.GetJsonTextByPath("/settings/Agent/user"), "\"(hidden; --show-secrets shows it)\"");
    const RapidJsonDocument shown(FormatJson(MakeReport(), Secrets::Shown));
    EXPECT_EQ(shown.GetJsonTextByPath("/settings/Agent/user"), "\"jo\"");
}

TEST(VelInventoryJsonTest, ReasonsAreListedWithoutWhatIsNoText)
{
    const RapidJsonDocument document(FormatJson(MakeReport(), Secrets::Hidden));
    EXPECT_EQ(document.GetJsonTextByPath("/missing"), R"([{"field":"system.bios","reason":"no \"BIOS\""}])");
}

TEST(VelInventoryJsonTest, AnEmptyReportIsAnObject)
{
    const RapidJsonDocument document(FormatJson({}, Secrets::Hidden));
    EXPECT_EQ(document.GetJsonText(), R"({"startup":{},"settings":{},"missing":[]})");
}

} // namespace
