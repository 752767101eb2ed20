#include "lab.vellab-runfolder.hpp"

#include "lab.vellab-surroundings.hpp"

#include <stdexcept>
#include <system_error>

namespace Lab
{

namespace
{

namespace fs = std::filesystem;

void Place(const fs::path& program, const fs::path& target)
{
    std::error_code error;
    fs::create_hard_link(program, target, error);
    if (error)
    {
        fs::copy_file(program, target);
    }
}

} // namespace

RunFolder LayOutRunFolder(const Options& options)
{
    fs::create_directories(options.results);
    if (!fs::is_empty(options.results))
    {
        throw std::invalid_argument("the results folder " + options.results.string() + " is not empty");
    }
    RunFolder folder;
    folder.results = fs::absolute(options.results);
    folder.agent = folder.results / "agent";
    folder.program = folder.agent / ProgramName("AgentProcess");
    folder.cloud = folder.results / "cloud";
    folder.timeline = folder.results / "timeline.txt";
    fs::create_directories(folder.agent / "bin");
    fs::create_directories(folder.cloud);
    Place(options.agent, folder.program);
    if (!options.connector.empty())
    {
        Place(options.connector, folder.agent / ConnectorProgram);
    }
    if (!options.scenario.empty())
    {
        fs::copy_file(options.scenario, folder.results / "scenario.json");
    }
    return folder;
}

} // namespace Lab
