#include "integration.laboratoryfixture.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-supervisor.hpp"

#include <optional>
#include <regex>
#include <string>
#include <vector>

// Whole runs of the laboratory with the built agent.

namespace
{

using Integration::ReadFile;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;

using LaboratoryRunTest = Integration::LaboratoryTest;

/// Until the agent waits for a tenant.
const std::vector<std::string> Waiting = {"Main loop state: Disconnected"};

TEST_F(LaboratoryRunTest, EverythingOfARunIsInItsFolder)
{
    const Lab::Options options = MakeOptions(R"({"title":"a short run","user":{"signedIn":false}})", Waiting);
    EXPECT_TRUE(Lab::IsGood(Run(options))) << Timeline();
    EXPECT_TRUE(fs::exists(options.results / "agent" / "VELPortalProcess.exe"));
    EXPECT_TRUE(fs::exists(options.results / "agent" / "connector.json"));
    EXPECT_TRUE(fs::is_directory(options.results / "agent" / "bin"));
    EXPECT_TRUE(fs::is_directory(options.results / "cloud"));
    EXPECT_THAT(ReadFile(options.results / "scenario.json"), HasSubstr("a short run"));
    EXPECT_THAT(ReadFile(options.results / "timeline.txt"), HasSubstr("agent     | Main loop state: Disconnected"));
    EXPECT_THAT(Timeline(), HasSubstr("; plays: a short run"));
    EXPECT_THAT(Timeline(), HasSubstr("vellab    | the cloud listens at 127.0.0.1:"));
}

TEST_F(LaboratoryRunTest, TheAgentIsStartedAsOftenAsAskedForOnTheSameSettings)
{
    Lab::Options options = MakeOptions(R"({"user":{"signedIn":false}})", Waiting);
    options.starts = 2;
    EXPECT_TRUE(Lab::IsGood(Run(options))) << Timeline();
    EXPECT_THAT(Timeline(), HasSubstr("start 1 of 2"));
    EXPECT_THAT(Timeline(), HasSubstr("start 2 of 2"));
    const std::string log = ReadFile(options.results / "agent" / "tarvane_vel_agent.log");
    const std::size_t first = log.find("This agent is version 1.0.0");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find("This agent is version 1.0.0", first + 1), std::string::npos);
}

TEST_F(LaboratoryRunTest, AnEndWithAnotherCodeThanExpectedIsNotGood)
{
    const Lab::Outcome outcome = Run(MakeOptions(R"({"exitCode":3500,"user":{"signedIn":false}})", Waiting));
    EXPECT_FALSE(Lab::IsGood(outcome));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(Timeline(), HasSubstr("with exit code 0, and 3500 was expected"));
}

TEST_F(LaboratoryRunTest, AnExpectedEndIsGoodWhateverItsCode)
{
    EXPECT_TRUE(Lab::IsGood(Run(MakeOptions(R"({"server":"","exitCode":1500})", {})))) << Timeline();
}

TEST_F(LaboratoryRunTest, FaultsHappenAtTheirTimesAndThoseThatDoNotAreTold)
{
    EXPECT_TRUE(Lab::IsGood(Run(MakeOptions(
        R"({"user":{"signedIn":false},"faults":[)"
        R"({"fault":"cut-link","at":0,"seconds":5},{"fault":"kill-connector","at":20},)"
        R"({"fault":"silence-cloud","after":"registration"}]})",
        {Waiting[0], Waiting[0]}))))
        << Timeline();
    EXPECT_THAT(Timeline(), HasSubstr("fault     | cut-link: 0 links, for 5 s"));
    EXPECT_THAT(Timeline(), HasSubstr("fault     | kill-connector: "));
    EXPECT_THAT(Timeline(), Not(HasSubstr("silence-cloud")));
    EXPECT_THAT(Timeline(), HasSubstr("1 of the scenario's faults did not come to pass"));
    EXPECT_LT(Timeline().find("cut-link"), Timeline().find("started the agent"))
        << "what is due at once is there before the agent";
}

TEST_F(LaboratoryRunTest, ARunWhoseLogNeverSaysWhatIsAwaitedHasFailedAndSaysSo)
{
    Lab::Options options = MakeOptions(R"({"user":{"signedIn":false}})", Waiting);
    options.until.emplace_back("the moon");
    options.duration = std::chrono::milliseconds(100);
    const Lab::Outcome outcome = Run(options);
    EXPECT_FALSE(Lab::IsGood(outcome));
    EXPECT_EQ(outcome.exitCode, 0);
    ASSERT_TRUE(outcome.missed.has_value());
    EXPECT_THAT(Timeline(), HasSubstr("the run failed: its log never said \"" + *outcome.missed + "\""));
}

TEST_F(LaboratoryRunTest, ItsEndSumsItUp)
{
    EXPECT_TRUE(Lab::IsGood(Run(MakeOptions(R"({"user":{"signedIn":false}})", Waiting))));
    EXPECT_TRUE(std::regex_search(
        Timeline(),
        std::regex(
            "in all: 1 start, 0 faults, [0-9]+ starts? of the connector, 0 registrations accepted; the agent's log "
            "has [0-9]+ warnings? and [0-9]+ errors?")))
        << Timeline();
    EXPECT_TRUE(Timeline().ends_with("vellab    | the run went as it should\n")) << Timeline();
}

TEST_F(LaboratoryRunTest, AScenarioThatIsWrongStartsNothing)
{
    const Lab::Options options = MakeOptions(R"({"durations":60})", {});
    EXPECT_THROW((void)Run(options), Lab::ScenarioError);
    EXPECT_FALSE(fs::exists(options.results));
}

TEST_F(LaboratoryRunTest, OptionsWinOverTheScenario)
{
    Lab::Options options = MakeOptions(R"({"duration":100000,"server":"https://a.example"})", {});
    options.duration = std::chrono::milliseconds(500);
    options.isDurationGiven = true;
    options.server = "";
    options.isServerGiven = true;
    EXPECT_EQ(Run(options).exitCode, 1500) << Timeline();
}

} // namespace
