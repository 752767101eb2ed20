#include "integration.agentfixture.hpp"
#include "integration.toolrun.hpp"

#include "lab.vellab-settings.hpp"
#include "lab.vellab-surroundings.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

#include "startup.pb.h"

namespace
{

using Shared::Json::RapidJsonDocument;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* Hidden = "(hidden; --show-secrets shows it)";

/// Runs the program on this machine, with the settings that an installer and the VPN client lay out.
class VelInventoryTest : public Integration::AgentTest
{
protected:
    VelInventoryTest()
    {
        Lab::LayOutSettings("https://cloud.lab.example:8443");
    }

    Integration::ToolOutcome Run(const std::vector<std::string>& arguments) const
    {
        return Integration::RunTool(Program("tools/velinventory/velinventory"), arguments, Folder());
    }
};

TEST_F(VelInventoryTest, ItsJsonIsTheMessageThatTheAgentWouldSend)
{
    const auto outcome = Run({"--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const RapidJsonDocument document(outcome.output);
    Startup startup;
    Shared::Protobuf::ParseJSON(document.GetJsonTextByPath("/startup"), startup);
    EXPECT_EQ(startup.version(), "1.0.0");
    EXPECT_THAT(startup.utc_time(), Not(IsEmpty()));
    EXPECT_THAT(startup.system().computer().name(), Not(IsEmpty()));
    EXPECT_THAT(startup.system().os().name(), Not(IsEmpty()));
    ASSERT_GE(startup.system().hardware().cpu_size(), 1);
    EXPECT_GE(startup.system().hardware().cpu(0).core_count(), 1);
}

TEST_F(VelInventoryTest, ItsJsonHasTheSettings)
{
    const RapidJsonDocument document(Run({"--json"}).output);
    EXPECT_EQ(document.GetJsonTextByPath("/settings/Settings of the agent/server"), "\"cloud.lab.example\"");
    EXPECT_EQ(document.GetJsonTextByPath("/settings/Settings of the agent/port"), "8443");
    EXPECT_EQ(document.GetJsonTextByPath("/settings/VPN client and user/tunnelStatus"), "\"connected\"");
}

TEST_F(VelInventoryTest, SecretsAreShownOnDemandAlone)
{
    const auto hidden = Run({});
    ASSERT_EQ(hidden.exitCode, 0) << hidden.errors;
    EXPECT_THAT(hidden.output, HasSubstr(std::string{"fullUsername: "} + Hidden));
    EXPECT_THAT(hidden.output, Not(HasSubstr("lab.user")));
    EXPECT_THAT(Run({"--json"}).output, Not(HasSubstr("lab.user")));

    EXPECT_THAT(Run({"--show-secrets"}).output, HasSubstr("fullUsername: LABORATORY\\lab.user"));
    const RapidJsonDocument shown(Run({"--json", "--show-secrets"}).output);
    EXPECT_EQ(shown.GetJsonTextByPath("/settings/VPN client and user/fullUsername"), "\"LABORATORY\\\\lab.user\"");
}

TEST_F(VelInventoryTest, TextIsForPeople)
{
    const auto outcome = Run({});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, StartsWith("Inventory"));
    EXPECT_THAT(outcome.output, HasSubstr("installedVersion: 1.0.0"));
    EXPECT_THAT(outcome.output, HasSubstr("core_count: "));
}

TEST_F(VelInventoryTest, WhatIsMissingHasItsReason)
{
    const RapidJsonDocument document(Run({"--json"}).output);
    Startup startup;
    Shared::Protobuf::ParseJSON(document.GetJsonTextByPath("/startup"), startup);
    const auto missing = document.GetJsonTextByPath("/missing");
    if (startup.system().bios().serial_number().empty())
    {
        EXPECT_THAT(missing, HasSubstr("system.bios"));
    }
    if (startup.system().logical_drives().empty())
    {
        EXPECT_THAT(missing, HasSubstr("system.logical_drives"));
    }
    if (startup.system().hardware().ram().modules().empty())
    {
        EXPECT_THAT(missing, HasSubstr("system.hardware.ram.modules"));
    }
}

TEST_F(VelInventoryTest, WithoutSettingsTheInventoryIsShownAllTheSame)
{
    Lab::RemoveSettings();
    const auto outcome = Run({});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("core_count: "));
    EXPECT_THAT(outcome.output, HasSubstr("VEL\\Config does not exist."));
}

TEST_F(VelInventoryTest, AnUnknownOptionIsNamedAndEndsItWith2)
{
    const auto outcome = Run({"--jsno"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.errors, HasSubstr("\"--jsno\" is no option of velinventory"));
    EXPECT_THAT(outcome.errors, HasSubstr("--show-secrets"));
}

TEST_F(VelInventoryTest, HelpIsShownAndNothingElse)
{
    const auto outcome = Run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, StartsWith("velinventory [options]"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("core_count: ")));
}

} // namespace
