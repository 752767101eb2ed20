#include "integration.agentfixture.hpp"

#include "lab.vellab-settings.hpp"
#include "lab.vellab-surroundings.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.system-exitcode.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <chrono>
#include <fstream>
#include <random>
#include <sstream>

namespace Integration
{

namespace
{

namespace fs = std::filesystem;

constexpr std::uint32_t EndLimitMs = 20'000U * VEL_TIME_SCALE;

} // namespace

std::string ReadFile(const fs::path& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

AgentTest::AgentTest()
    : m_folder(fs::temp_directory_path() / ("vel-agent-test-" + std::to_string(std::random_device{}())))
{
    fs::create_directories(AgentFolder());
    Lab::UseOwnSurroundings(m_folder);
    Lab::LayOutSettings("https://cloud.lab.example", std::nullopt);
}

AgentTest::~AgentTest()
{
    std::error_code ignored;
    if (!HasFailure())
    {
        fs::remove_all(m_folder, ignored);
    }
}

fs::path AgentTest::Program(const std::string& path)
{
    const fs::path tests = Shared::Util::GetCurrentExecutableDirectory();
    return tests.parent_path().parent_path() / Lab::ProgramName(path);
}

std::unique_ptr<Lab::ChildProcess> AgentTest::StartAgent(const std::vector<std::string>& arguments, bool shipped)
{
    Lab::ChildRequest request;
    request.program = AgentFolder() / Lab::ProgramName("AgentProcess");
    // Beside it first: a helper of the agent before may still be ending, and its program's file is not to be written to.
    const fs::path fresh = AgentFolder() / "agent being copied";
    fs::copy_file(
        Program(shipped ? "AgentProcess/AgentProcess" : "lab/AgentProcessLab"), fresh,
        fs::copy_options::overwrite_existing);
    fs::rename(fresh, request.program);
    request.arguments = arguments;
    request.workingFolder = AgentFolder();
    request.output = Folder() / "output.txt";
    request.errors = Folder() / "errors.txt";
    return std::make_unique<Lab::ChildProcess>(request);
}

RunResult AgentTest::AwaitEnd(Lab::ChildProcess& agent)
{
    RunResult result;
    if (!Shared::Concurrency::WaitFor(agent.GetHandle(), EndLimitMs))
    {
        ADD_FAILURE() << "the agent does not end; its log:\n" << ReadLog();
        agent.Kill();
    }
    const auto status = agent.GetExitStatus();
    result.exitCode = Shared::System::ReadReportedExitCode(agent.GetId()).value_or(status.value_or(-1));
    result.log = ReadLog();
    result.output = ReadFile(Folder() / "output.txt");
    result.errors = ReadFile(Folder() / "errors.txt");
    return result;
}

fs::path AgentTest::Folder() const
{
    return m_folder;
}

fs::path AgentTest::AgentFolder() const
{
    return m_folder / "agent";
}

fs::path AgentTest::LogFile() const
{
    return AgentFolder() / "tarvane_vel_agent.log";
}

std::string AgentTest::ReadLog() const
{
    return ReadFile(LogFile());
}

void AgentTest::AwaitLog(const std::string& text) const
{
    const auto end = Shared::Time::MonotonicNow() + std::chrono::milliseconds(EndLimitMs);
    while (ReadLog().find(text) == std::string::npos)
    {
        ASSERT_LT(Shared::Time::MonotonicNow(), end) << "never logged: " << text << "\nthe log:\n" << ReadLog();
        Shared::Time::SleepFor(std::chrono::milliseconds(20));
    }
}

} // namespace Integration
