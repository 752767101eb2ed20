#include "integration.agentfixture.hpp"
#include "integration.toolrun.hpp"

#include "lab.cloud-journal.hpp"
#include "lab.wire-names.hpp"
#include "shared.json-rapidjsondocument.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace
{

using Integration::ToolOutcome;
using Lab::Cloud::Direction;
using Shared::Json::RapidJsonDocument;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
namespace MsgId = Lab::Wire::MsgId;

/// Runs the program over answers in files, and over a results folder.
class VelExplainTest : public Integration::AgentTest
{
protected:
    VelExplainTest()
    {
        Write("network-objects.json", R"({"n": {"uuid": "u", "name": "Portal", "ips": ["192.0.2.1"]}})");
        Write(
            "tests.json",
            R"({"/config/tests": {"/config/mtr/late": {"enabled": true, "priority": 2},
                                    "/config/mtr/early": {"enabled": true, "priority": 1}}})");
        Write("tags.json", R"({"blue": "Blue team"})");
        Write(
            "mtr.json",
            R"({"late": {"netobj": "u", "tags": [], "users": ["corp\\J\u00f6"], "groups": []},
                  "early": {"netobj": "u", "tags": ["/config/tags/blue"]},
                  "never": {"netobj": "u", "tags": ["/config/tags/red"], "users": [], "groups": ["Board"]}})");
    }

    ToolOutcome Run(const std::vector<std::string>& arguments) const
    {
        return Integration::RunTool(Program("tools/velexplain/velexplain"), arguments, Folder());
    }

    ToolOutcome RunOverFiles(const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> arguments{
            "--network-objects", "network-objects.json", "--tests", "tests.json", "--tags", "tags.json", "--mtr",
            "mtr.json"};
        std::copy(more.begin(), more.end(), std::back_inserter(arguments));
        return Run(arguments);
    }

    static std::string MakeAnswer(const std::string& entries)
    {
        return R"({"success": true, "values": {"agent-1": )" + entries + "}}";
    }

    void Write(const std::string& name, const std::string& entries) const
    {
        std::ofstream(Folder() / name, std::ios::binary) << MakeAnswer(entries);
    }
};

TEST_F(VelExplainTest, TextTellsWhatRunsInWhichOrderAndWhy)
{
    const auto outcome = RunOverFiles({"--user", "CORP\\J\xC3\xB6"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, IsEmpty());
    EXPECT_THAT(outcome.output, StartsWith("Agent   agent-1 (from the answers"));
    // The user's name has come through the command line as it was given.
    EXPECT_THAT(
        outcome.output,
        AllOf(
            HasSubstr("1. early, priority 1"), HasSubstr("2. late, priority 2"),
            HasSubstr("target: Portal (192.0.2.1)"),
            HasSubstr("its tag /config/tags/blue (\"Blue team\") is a tag of this agent"),
            HasSubstr("names the user \"corp\\J\xC3\xB6\""),
            HasSubstr("it names one group, and the user is in no group"),
            HasSubstr("Cached 2 MTR objects, skipped 1 MTR objects.")));
}

TEST_F(VelExplainTest, ItsJsonSaysTheSameToScripts)
{
    const auto outcome = RunOverFiles({"--json", "--group", "BOARD", "--tag", "red", "--only", "mtr"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const RapidJsonDocument document(outcome.output);
    EXPECT_EQ(document.GetJsonTextByPath("/agent"), "\"agent-1\"");
    EXPECT_EQ(document.GetJsonTextByPath("/kinds/0/running"), "[]");
    EXPECT_EQ(document.GetJsonTextByPath("/kinds/0/others/2/fate"), "\"not-in-map\"");
    EXPECT_EQ(document.GetJsonTextByPath("/kinds/0/others/2/usersOrGroups/text"), "\"Board\"");
    EXPECT_EQ(document.GetJsonTextByPath("/kinds/1"), "");
    EXPECT_EQ(document.GetJsonTextByPath("/contradictions"), "[]");
}

TEST_F(VelExplainTest, AResultsFolderIsEnough)
{
    Lab::Cloud::Journal journal(Folder() / "results" / "cloud");
    const auto keep =
        [&journal](Direction direction, std::uint32_t msgId, std::uint32_t seqNum, const std::string& text)
    {
        Lab::Wire::Envelope envelope;
        envelope.msgId = msgId;
        envelope.seqNum = seqNum;
        envelope.payload = text;
        journal.Keep(direction, "cloud.lab.example", envelope);
    };
    keep(Direction::ToAgent, MsgId::RegisterResponse, 1, "rubbish");
    keep(Direction::ToAgent, MsgId::RegisterResponse, 1, R"({"statusCode":200,"agentUuid":"agent-1"})");
    keep(Direction::FromAgent, MsgId::ConfigGet2Request, 3, R"({"keys":["/config/tests"]})");
    keep(Direction::ToAgent, MsgId::ConfigGet2Response, 3, Integration::ReadFile(Folder() / "tests.json"));
    keep(Direction::FromAgent, MsgId::UserGroupsRequest, 4, R"({"user":"CORP\\somebody"})");
    keep(Direction::ToAgent, MsgId::UserGroupsNotification, 4, R"({"groups":["Board"]})");
    keep(Direction::FromAgent, MsgId::ConfigGet2Request, 5, R"({"trees":["/config/mtr"]})");
    keep(
        Direction::ToAgent, MsgId::ConfigGet2Response, 5,
        MakeAnswer(R"({"late": {"netobj": "u", "tags": [], "users": [], "groups": ["board"]}})"));
    const auto outcome = Run({"--results", "results"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, StartsWith("Agent   agent-1 (from results/cloud/0002-"));
    EXPECT_THAT(
        outcome.output,
        AllOf(
            HasSubstr("User    CORP\\somebody"), HasSubstr("Groups  Board"), HasSubstr("1. late, priority 2"),
            HasSubstr("names the user's group \"board\""), HasSubstr("tags:            none is there")));
    // What the agent's code has to say of the rubbish is nobody's news.
    EXPECT_THAT(outcome.output, Not(HasSubstr("rubbish")));
}

TEST_F(VelExplainTest, NothingOfAnAnswerReachesTheTerminalAsACommand)
{
    Write("mtr.json", R"({"\u001b[31m": {"netobj": "\u001b[32m", "tags": []}})");
    const auto outcome = RunOverFiles();
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, Not(HasSubstr("\x1B")));
    EXPECT_THAT(outcome.output, HasSubstr("\\x1B[31m, no priority"));
}

TEST_F(VelExplainTest, AFileThatIsNoJsonIsNamedAndEndsItWith1)
{
    std::ofstream(Folder() / "mtr.json", std::ios::binary) << "{\"success\":";
    const auto outcome = RunOverFiles();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.errors, HasSubstr("mtr.json: is no JSON: line 1, column "));
}

TEST_F(VelExplainTest, AFileThatIsNotThereIsNamedAndEndsItWith1)
{
    const auto outcome = Run({"--mtr", "none.json"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.errors, HasSubstr("none.json: cannot be read"));
}

TEST_F(VelExplainTest, AFolderWithoutResultsIsNamedAndEndsItWith1)
{
    const auto outcome = Run({"--results", "agent"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("agent: is no results folder of the laboratory"));
}

TEST_F(VelExplainTest, AWrongCallEndsItWith2AndTheUsage)
{
    for (const auto& [arguments, problem] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--jsno"}, "\"--jsno\" is no option of velexplain"},
             {{}, "there is nothing to explain"},
             {{"--mtr"}, "--mtr needs a value behind it"}})
    {
        const auto outcome = Run(arguments);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_THAT(outcome.output, IsEmpty());
        EXPECT_THAT(outcome.errors, HasSubstr(problem));
        EXPECT_THAT(outcome.errors, HasSubstr("--network-objects FILE"));
    }
}

TEST_F(VelExplainTest, HelpIsShownAndNothingElse)
{
    const auto outcome = Run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, StartsWith("velexplain --results FOLDER"));
    EXPECT_THAT(outcome.errors, IsEmpty());
}

} // namespace
