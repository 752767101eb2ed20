#include "lab.vellab-runfolder.hpp"

#include "lab.tools-systemprogram.hpp"
#include "lab.vellab-surroundings.hpp"
#include "test.support-temporaryfolder.hpp"

#include <filesystem>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace
{

namespace fs = std::filesystem;

class RunFolderTest : public ::testing::Test
{
protected:
    RunFolderTest()
    {
        TestSupport::WriteFile(m_folder.Path() / "built-agent", "agent");
        TestSupport::WriteFile(m_folder.Path() / "built-connector", "connector");
        TestSupport::WriteFile(m_folder.Path() / "played.json", "{}");
        m_options.agent = m_folder.Path() / "built-agent";
        m_options.results = m_folder.Path() / "results";
    }

    TestSupport::TemporaryFolder m_folder;
    Lab::Options m_options;
};

TEST_F(RunFolderTest, AgentConnectorAndToolsLieSideBySide)
{
    m_options.connector = m_folder.Path() / "built-connector";
    m_options.scenario = m_folder.Path() / "played.json";
    const Lab::RunFolder folder = Lab::LayOutRunFolder(m_options);
    EXPECT_EQ(folder.program, folder.agent / Lab::ProgramName("AgentProcess"));
    EXPECT_EQ(TestSupport::ReadFile(folder.program), "agent");
    EXPECT_EQ(TestSupport::ReadFile(folder.agent / "VELPortalProcess.exe"), "connector");
    EXPECT_TRUE(fs::is_directory(folder.agent / "bin"));
    EXPECT_TRUE(fs::is_directory(folder.cloud));
    EXPECT_EQ(TestSupport::ReadFile(folder.results / "scenario.json"), "{}");
}

TEST_F(RunFolderTest, WithoutAConnectorThereIsNone)
{
    const Lab::RunFolder folder = Lab::LayOutRunFolder(m_options);
    EXPECT_FALSE(fs::exists(folder.agent / "VELPortalProcess.exe"));
}

TEST_F(RunFolderTest, ToolsLieInBinAndCurlIsTheSystemsIfItHasOne)
{
    const std::string curl = Lab::ProgramName("curl");
    for (const std::string& tool : {Lab::ProgramName("tcping"), Lab::ProgramName("mtr"), std::string("bmtr.exe"), curl})
    {
        TestSupport::WriteFile(m_folder.Path() / tool, tool);
    }
    m_options.tools = m_folder.Path();
    const Lab::RunFolder folder = Lab::LayOutRunFolder(m_options);
    for (const std::string& tool : {Lab::ProgramName("tcping"), Lab::ProgramName("mtr"), std::string("bmtr.exe")})
    {
        EXPECT_EQ(TestSupport::ReadFile(folder.agent / "bin" / tool), tool);
    }
    const fs::path systems = Lab::Tools::FindSystemProgram("curl");
    EXPECT_EQ(
        TestSupport::ReadFile(folder.agent / "bin" / curl), systems.empty() ? curl : TestSupport::ReadFile(systems));
}

TEST_F(RunFolderTest, WithoutToolsThereAreNone)
{
    const Lab::RunFolder folder = Lab::LayOutRunFolder(m_options);
    EXPECT_TRUE(fs::is_empty(folder.agent / "bin"));
}

TEST_F(RunFolderTest, AToolThatIsNotThereIsAnError)
{
    m_options.tools = m_folder.Path();
    EXPECT_THROW((void)Lab::LayOutRunFolder(m_options), fs::filesystem_error);
}

TEST_F(RunFolderTest, AFolderThatHoldsSomethingIsRefusedAndLeftAlone)
{
    m_options.results = m_folder.Path();
    EXPECT_THROW((void)Lab::LayOutRunFolder(m_options), std::invalid_argument);
    EXPECT_FALSE(fs::exists(m_folder.Path() / "agent"));
}

TEST_F(RunFolderTest, AProgramThatIsNotThereIsNamed)
{
    m_options.agent = m_folder.Path() / "nothing";
    try
    {
        (void)Lab::LayOutRunFolder(m_options);
        FAIL() << "it was laid out";
    }
    catch (const fs::filesystem_error& problem)
    {
        EXPECT_NE(std::string(problem.what()).find("nothing"), std::string::npos);
    }
}

} // namespace
