#include "integration.agentfixture.hpp"
#include "lab.scenario-parser.hpp"
#include "lab.vellab-supervisor.hpp"

#include <fstream>
#include <sstream>
#include <string>

// Whole runs of the laboratory with the built agent.

namespace
{

using Integration::AgentTest;
using Integration::ReadFile;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;

class LaboratoryRunTest : public AgentTest
{
protected:
    Lab::Options MakeOptions(const std::string& scenario)
    {
        const fs::path file = Folder() / "scenario.json";
        std::ofstream(file) << scenario;
        Lab::Options options;
        options.agent = Program("lab/AgentProcessLab");
        options.connector = Program("lab/VELPortalProcess").replace_extension(".exe");
        options.scenario = file;
        options.results = Folder() / "results";
        options.speed = 50;
        return options;
    }

    Lab::Outcome Run(const Lab::Options& options)
    {
        return Lab::Supervise(options, m_timeline);
    }

    std::ostringstream m_timeline;
};

TEST_F(LaboratoryRunTest, EverythingOfARunIsInItsFolder)
{
    const Lab::Options options = MakeOptions(R"({"title":"a short run","duration":60,"user":{"signedIn":false}})");
    EXPECT_TRUE(Lab::IsGood(Run(options))) << m_timeline.str();
    EXPECT_TRUE(fs::exists(options.results / "agent" / "VELPortalProcess.exe"));
    EXPECT_TRUE(fs::exists(options.results / "agent" / "connector.json"));
    EXPECT_TRUE(fs::is_directory(options.results / "agent" / "bin"));
    EXPECT_TRUE(fs::is_directory(options.results / "cloud"));
    EXPECT_THAT(ReadFile(options.results / "scenario.json"), HasSubstr("a short run"));
    EXPECT_THAT(ReadFile(options.results / "timeline.txt"), HasSubstr("agent     | Main loop state: Disconnected"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("; plays: a short run"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("vellab    | the cloud listens at 127.0.0.1:"));
}

TEST_F(LaboratoryRunTest, TheAgentIsStartedAsOftenAsAskedForOnTheSameSettings)
{
    Lab::Options options = MakeOptions(R"({"duration":60,"user":{"signedIn":false}})");
    options.starts = 2;
    EXPECT_TRUE(Lab::IsGood(Run(options))) << m_timeline.str();
    EXPECT_THAT(m_timeline.str(), HasSubstr("start 1 of 2"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("start 2 of 2"));
    const std::string log = ReadFile(options.results / "agent" / "tarvane_vel_agent.log");
    const std::size_t first = log.find("This agent is version 1.0.0");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(log.find("This agent is version 1.0.0", first + 1), std::string::npos);
}

TEST_F(LaboratoryRunTest, AnEndWithAnotherCodeThanExpectedIsNotGood)
{
    const Lab::Outcome outcome = Run(MakeOptions(R"({"duration":60,"exitCode":3500,"user":{"signedIn":false}})"));
    EXPECT_FALSE(Lab::IsGood(outcome));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(m_timeline.str(), HasSubstr("with exit code 0, and 3500 was expected"));
}

TEST_F(LaboratoryRunTest, AnExpectedEndIsGoodWhateverItsCode)
{
    EXPECT_TRUE(Lab::IsGood(Run(MakeOptions(R"({"server":"","exitCode":1500})")))) << m_timeline.str();
}

TEST_F(LaboratoryRunTest, FaultsHappenAtTheirTimesAndThoseThatDoNotAreTold)
{
    EXPECT_TRUE(
        Lab::IsGood(Run(MakeOptions(R"({"duration":100,"user":{"signedIn":false},"faults":[)"
                                    R"({"fault":"cut-link","at":0,"seconds":5},{"fault":"kill-connector","at":20},)"
                                    R"({"fault":"silence-cloud","after":"registration"}]})"))))
        << m_timeline.str();
    EXPECT_THAT(m_timeline.str(), HasSubstr("fault     | cut-link: 0 links, for 5 s"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("fault     | kill-connector: "));
    EXPECT_THAT(m_timeline.str(), Not(HasSubstr("silence-cloud")));
    EXPECT_THAT(m_timeline.str(), HasSubstr("1 of the scenario's faults did not come to pass"));
    EXPECT_LT(m_timeline.str().find("cut-link"), m_timeline.str().find("started the agent"))
        << "what is due at once is there before the agent";
}

TEST_F(LaboratoryRunTest, AScenarioThatIsWrongStartsNothing)
{
    const Lab::Options options = MakeOptions(R"({"durations":60})");
    EXPECT_THROW((void)Run(options), Lab::ScenarioError);
    EXPECT_FALSE(fs::exists(options.results));
}

TEST_F(LaboratoryRunTest, OptionsWinOverTheScenario)
{
    Lab::Options options = MakeOptions(R"({"duration":100000,"server":"https://a.example"})");
    options.duration = std::chrono::milliseconds(500);
    options.isDurationGiven = true;
    options.server = "";
    options.isServerGiven = true;
    EXPECT_EQ(Run(options).exitCode, 1500) << m_timeline.str();
}

} // namespace
