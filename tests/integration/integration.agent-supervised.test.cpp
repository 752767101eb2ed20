#include "lab.vellab-supervisor.hpp"

#include "integration.laboratoryfixture.hpp"

#include <optional>
#include <sstream>
#include <stdexcept>

namespace
{

using Integration::AgentTest;
using ::testing::HasSubstr;

class SupervisedTest : public AgentTest
{
protected:
    Lab::Options MakeOptions() const
    {
        Lab::Options options;
        options.agent = Program("lab/AgentProcessLab");
        options.results = Folder() / "results";
        options.speed = 50;
        options.duration = Integration::LaboratoryLimit;
        return options;
    }

    std::ostringstream m_timeline;
};

TEST_F(SupervisedTest, TheLaboratoryStartsShowsAndStopsTheAgent)
{
    Lab::Options options = MakeOptions();
    options.until = {"Main loop state: Disconnected"};
    const Lab::Outcome outcome = Lab::Supervise(options, m_timeline);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.missed, std::nullopt);
    EXPECT_FALSE(outcome.wasKilled);
    EXPECT_THAT(m_timeline.str(), HasSubstr("started the agent as process "));
    EXPECT_THAT(m_timeline.str(), HasSubstr("Main loop state: Initialise"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("signals the stop event"));
    EXPECT_THAT(m_timeline.str(), HasSubstr("with exit code 0"));
}

TEST_F(SupervisedTest, AnAgentThatEndsByItselfIsReportedWithItsWholeCode)
{
    Lab::Options options = MakeOptions();
    options.server.clear();
    const Lab::Outcome outcome = Lab::Supervise(options, m_timeline);
    EXPECT_EQ(outcome.exitCode, 1500);
    EXPECT_THAT(m_timeline.str(), HasSubstr("with exit code 1500"));
}

TEST_F(SupervisedTest, AResultsFolderThatHoldsSomethingIsRefused)
{
    Lab::Options options = MakeOptions();
    options.results = Folder();
    EXPECT_THROW((void)Lab::Supervise(options, m_timeline), std::invalid_argument);
}

} // namespace
